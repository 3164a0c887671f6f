#pragma once

#include "tests/unit/support/Cache_Fixture.h"

#include <cstdint>
#include <string>

/// A cache with a directory, and a file on a share that can be examined and copied.
class Share_Fixture : public Cache_Fixture {
protected:
    void SetUp() override {
        Use_Cache_Directory();
        g_services.uuids = {uuid};
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

    /// The path of the copy that the next fetch gets.
    std::string Copy_Path(const std::string& extension = ".xml") const { return In_Cache(uuid + extension); }

    static constexpr int unknown_path = 3;
    const std::string share = "\\\\server\\share\\landscape.xml";
    const std::string uuid = "a1b2c3d4-0001-0002-0003-112233445566";
    std::string source = "<landscape/>";
    std::int64_t source_time = 132000000000000001;
    int stat_error = 0;
    bool copy_fails = false;
};
