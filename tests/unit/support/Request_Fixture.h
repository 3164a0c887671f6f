#pragma once

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/unit/support/Expected_Steps.h"

#include <cstdint>
#include <string>

/// Requests as a host makes them, on any of the fixtures.
template <class Fixture>
class Request_Fixture : public Fixture {
protected:
    static constexpr int Ordinary = 213;
    static constexpr int Untouched = -77;
    static constexpr std::uint64_t Minute = 600000000;

    std::string Get(const std::string& asked, int request_kind = Ordinary) {
        download_error = true;
        http_error = Untouched;
        file_share_error = Untouched;
        return this->cache.Get_Cached_File_and_Status(asked, request_kind, download_error, &http_error,
                                                      &file_share_error);
    }

    void Pass_Minutes(std::uint64_t minutes) { this->os->current_time += minutes * Minute; }

    /// The records of a request up to the decision what it is, with the sweep of an empty directory.
    Recorded_Trace::Records First_Request_Entered(const std::string& asked) const {
        using namespace Recorded_Trace;
        const std::string no_handle = Address_Text(QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle);
        return Call("Get_Cached_File_and_Status", "url='" + asked + "'") + Call("Cleanup_Obsolete_Cached_Files") +
               Data("Cleanup_Obsolete_Cached_Files", "Cleaning up obsolete files.\n") +
               Call("Delete_Cached_Files", "only_obsolete=true") +
               Data("Delete_Cached_Files",
                    "FindFirstFile returned " + no_handle + " (INVALID_HANDLE_VALUE=" + no_handle + ")\n") +
               Normalized(asked);
    }

    Recorded_Trace::Records Later_Request_Entered(const std::string& asked) const {
        using namespace Recorded_Trace;
        return Call("Get_Cached_File_and_Status", "url='" + asked + "'") + Call("Cleanup_Obsolete_Cached_Files") +
               Data("Cleanup_Obsolete_Cached_Files",
                    "Obsolete files already cleaned up. Ignoring redundand cache cleanup request.\n") +
               Normalized(asked);
    }

    static Recorded_Trace::Records Returned(const std::string& result) {
        return Recorded_Trace::Return("Get_Cached_File_and_Status", result);
    }

    bool download_error = true;
    int http_error = Untouched;
    int file_share_error = Untouched;

private:
    static Recorded_Trace::Records Normalized(const std::string& asked) {
        using namespace Recorded_Trace;
        return Call("Normalize_if_File_URL", "url='" + asked + "'") + Kind_Test("Is_File_URL", asked, false) +
               Data("Normalize_if_File_URL", "Not file URL '" + asked + "'. Will not be normalized.\n") +
               Return("Normalize_if_File_URL", asked) +
               Data("Get_Cached_File_and_Status", "url_or_path = '" + asked + "'.\n");
    }
};
