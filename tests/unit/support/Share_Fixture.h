#pragma once

#include "tests/unit/support/Http_Fixture.h"

#include <cstdint>
#include <string>

/// The same, and a file on a share that can be examined and copied.
class Share_Fixture : public Http_Fixture {
protected:
    void SetUp() override {
        Http_Fixture::SetUp();
        values["url"] = share;
        values["stat_error"] = "0";
        Use_Time(source_time);
        os->on_stat_file = [this](const std::string& path, std::int64_t& modification_time) {
            if (path != share) {
                return unknown_path;
            }
            if (stat_error == 0) {
                modification_time = source_time;
            }
            return stat_error;
        };
        os->on_copy_file = [this](const std::string& from, const std::string& to, int fail_if_exists) {
            if (from != share || copy_fails || (fail_if_exists != 0 && std::filesystem::exists(to))) {
                return 0;
            }
            Write_File(to, source);
            return 1;
        };
    }

    /// The time of the source as records show it: whole in the entry, its low half in a number.
    void Use_Time(std::int64_t time) {
        source_time = time;
        values["time"] = std::to_string(static_cast<std::int32_t>(time));
        values["entry"] = Recorded_Trace::Entry_Text(Copy_Path(), std::to_string(time));
    }

    /// A copy of an earlier time in the cache.
    std::string Old_Copy(const std::string& last_modified, std::uint64_t last_checked_remotely) {
        const std::string path = Cache_Copy(share, "old.xml", last_modified, last_checked_remotely);
        values["old_copy"] = path;
        values["old_entry"] = Recorded_Trace::Entry_Text(path, last_modified);
        values["removal"] = "remove_entry";
        return path;
    }

    static constexpr int unknown_path = 3;
    const std::string share = "\\\\server\\share\\landscape.xml";
    std::string source = "<landscape/>";
    std::int64_t source_time = 132000000000000001;
    int stat_error = 0;
    bool copy_fails = false;
};
