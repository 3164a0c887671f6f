#pragma once

#include "tests/unit/support/Cache_Fixture.h"

/// The result of a call by its bits.
inline constexpr QEL::FrontEnd::FileCache::HResult Result_Of(std::uint32_t bits) {
    return static_cast<QEL::FrontEnd::FileCache::HResult>(bits);
}

inline constexpr auto Certificate_Error = Result_Of(0x80072F0D); ///< 12045, a transport error
inline constexpr auto Access_Denied = Result_Of(0x80070005);     ///< 5, a system error of another kind
inline constexpr auto Unspecified = Result_Of(0x80004005);       ///< no system error

/// A result of a failed call, and the system error number in it.
struct Failure_Result {
    std::uint32_t bits;
    unsigned long code;
    bool transport_error;
};

inline void PrintTo(const Failure_Result& result, std::ostream* out) {
    *out << std::hex << result.bits << std::dec;
}

/// Results inside the range of transport errors, at its limits, and outside.
inline const std::vector<Failure_Result> Failure_Results = {
    {0x80072EE1, 12001, true}, {0x80072EE7, 12007, true},  {0x80072EFD, 12029, true},  {0x80072F0D, 12045, true},
    {0x80072FA0, 12192, true}, {0x80072EE0, 12000, false}, {0x80072FA1, 12193, false}, {0x80070005, 5, false},
    {0x80070000, 0, false},    {0x800C0008, 1003, false},  {0x80004005, 1003, false},  {0x80062EFD, 1003, false},
    {0xC0072EFD, 1003, false},
};

/// A cache with a directory, a web server that sends a landscape file, and a second client
/// that would get another version of it.
class Http_Fixture : public Cache_Fixture {
protected:
    using HResult = QEL::FrontEnd::FileCache::HResult;
    using Response_Body = QEL::FrontEnd::FileCache::Response_Body;
    using Request_Script = Scripted_Services::Request_Script;

    void SetUp() override {
        Use_Cache_Directory();
        Script().headers = {{"Last-Modified", stamp}, {"Content-Type", "text/xml"}};
        Script().change_body = [this](Response_Body& claimed) {
            claimed.data = body.data();
            claimed.upper_bound = static_cast<std::int32_t>(body.size()) - 1;
        };
        Script().description = "What the system says.";
        g_services.client.headers = {{"Last-Modified", second_stamp}, {"Content-Type", "text/plain"}};
        g_services.client.body = second_body;
        g_services.uuids = {uuid};
        values.insert({{"url", url},
                       {"stamp", stamp},
                       {"type", "text/xml"},
                       {"status", "200"},
                       {"ok", "true"},
                       {"contents", Recorded_Trace::Address_Text(body.data())},
                       {"size", "12"},
                       {"stem", In_Cache(uuid)},
                       {"extension", ".xml"},
                       {"copy", Copy_Path()},
                       {"entry", Recorded_Trace::Entry_Text(Copy_Path(), stamp)},
                       {"removal", "remove_unknown"}});
    }

    void TearDown() override {
        EXPECT_EQ(g_services.requests_alive, 0) << "a request object was not released";
        EXPECT_EQ(g_services.bodies_locked, 0) << "a body was not released";
    }

    /// The script of the request object.
    static Request_Script& Script() { return g_services.requests.front(); }

    /// The path of the copy that the next download gets.
    std::string Copy_Path(const std::string& extension = ".xml") const { return In_Cache(uuid + extension); }

    /// The text that a failed call of the request object is reported with.
    std::string Com_Error_Text() const {
        return std::string(39, '=') + "\nFile: " + url + "\nDescription: What the system says.\n";
    }

    /// A copy of an earlier time in the cache.
    std::string Old_Copy(const std::string& request, const std::string& last_modified,
                         std::uint64_t last_checked_remotely) {
        const std::string path = Cache_Copy(request, "old.xml", last_modified, last_checked_remotely);
        values["old_copy"] = path;
        values["old_entry"] = Recorded_Trace::Entry_Text(path, last_modified);
        values["removal"] = "remove_entry";
        return path;
    }

    /// The names of the files in the cache directory.
    std::vector<std::string> Files_In_Cache() const { return QEL::Tests::Names_In(directory); }

    const std::string url = "https://server/landscape.xml";
    const std::string uuid = "a1b2c3d4-0001-0002-0003-112233445566";
    const std::string stamp = "Tue, 01 Jan 2019 10:00:00 GMT";
    const std::string second_stamp = "Wed, 02 Jan 2019 11:00:00 GMT";
    std::string body = "<landscape/>";
    const std::string second_body = "second body";
};

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

    static constexpr int unknown_path = 3;
    const std::string share = "\\\\server\\share\\landscape.xml";
    std::string source = "<landscape/>";
    std::int64_t source_time = 132000000000000001;
    int stat_error = 0;
    bool copy_fails = false;
};
