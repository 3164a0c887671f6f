#pragma once

#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace QEL::Tests {

/// A home folder of its own for each test, with a configuration in it. Nothing of the machine's or the
/// user's configuration takes part.
class Home_Fixture : public testing::Test {
protected:
    Home_Fixture() {
        Configure("");
        directory.Write(".smb/smb.conf", ""); // what the SMB client library reads, in the place of the system's
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
        ::setenv("KRB5CCNAME", ("FILE:" + (home / "no_tickets").string()).c_str(), 1);
    }

    /// Writes section [Shares] of the configuration.
    void Configure(const std::string& lines) const { directory.Write("config/qel/qel.ini", "[Shares]\n" + lines); }

    /// Writes a private file with the password and returns the line that names it.
    std::string Password_File(const std::string& content) const {
        const auto path = directory.Write("password", content);
        std::filesystem::permissions(path, std::filesystem::perms(0600));
        return "PasswordFile = " + path + "\n";
    }

    const Scratch_Directory directory;
    const std::filesystem::path home = directory.Path();
};

} // namespace QEL::Tests
