#pragma once

#include "filecache/oswrap/IOSWrapper.h"
#include "platform/common/Dead_Servers.h"
#include "tests/support/Samba_Server.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Last_Error.h"

#include <gmock/gmock.h>

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

/// A live file server, shared by the tests of a program.
class Share_Fixture : public Home_Fixture {
protected:
    Share_Fixture() {
        Configure_Server();
        FrontEnd::Platform::Dead_Servers::Instance().m_Servers.clear(); // of earlier tests
    }

    ~Share_Fixture() override {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(server().Files(), ignored)) {
            std::filesystem::remove_all(entry, ignored);
        }
    }

    static Samba_Server& server() {
        static Samba_Server s_server;
        return s_server;
    }

    /// Configures the server's port and further lines.
    void Configure_Server(const std::string& lines = "") {
        Configure("Port = " + std::to_string(server().Port()) + "\n" + lines);
    }

    /// The lines that make the user of the server log on.
    std::string Logon(const std::string& password = Samba_Server::Password) {
        return "User = " + server().User() + "\n" + Password_File(password + "\n");
    }

    /// Puts a file on the server and returns its path there.
    static std::filesystem::path Publish(const std::string& name, const std::string& content) {
        const auto path = server().Files() / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    /// Sets the modification time to a 100 ns interval since 1601.
    static void Set_Modification_Time(const std::filesystem::path& path, std::int64_t file_time) {
        const std::int64_t since_1970 = file_time - 116444736000000000;
        const timespec time{since_1970 / 10000000, since_1970 % 10000000 * 100};
        const timespec times[] = {time, time};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    /// 0, or the error of a look at a file of the server.
    int Stat_Error(const std::string& path = Samba_Server::Path("file")) const {
        std::int64_t time = 4711;
        const int error = os->Stat_File(path, time);
        EXPECT_EQ(time == 4711, error != 0);
        return error;
    }

    /// Copies a file of the server; 0, or the code of the failure, which has to leave nothing in the target folder.
    int Copy_Error(const std::string& path = Samba_Server::Path("file")) const {
        if (os->Copy_File(path.c_str(), target_file.c_str(), 1) != 0) {
            return 0;
        }
        EXPECT_TRUE(std::filesystem::is_empty(target_folder));
        return static_cast<int>(FrontEnd::Util::Get_Last_Error());
    }

    const std::shared_ptr<FrontEnd::OSWRAPI::IOSWrapper> os = FrontEnd::OSWRAPI::IOSWrapper::Create();
    const std::filesystem::path target_folder = directory.Make_Directory("target");
    const std::string target_file = target_folder / "copy";
};

} // namespace QEL::Tests
