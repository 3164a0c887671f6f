#include "tests/live/share/Share_Fixture.h"

#include "platform/posix/share/Share_Settings.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using QEL::FrontEnd::Platform::Read_Share_Settings;
using QEL::FrontEnd::Platform::Share_Settings;
using namespace testing;

class Share_Settings_Test : public Home_Fixture {
protected:
    /// The settings, and why they are refused; empty when they are not.
    std::string Refusal(const std::string& server = "fs1") {
        std::string refusal;
        const bool is_accepted = Read_Share_Settings(server, settings, refusal);
        EXPECT_EQ(is_accepted, refusal.empty());
        return refusal;
    }

    fs::path Private_File(const std::string& content) {
        Configure(Password_File(content));
        return home / "password";
    }

    Share_Settings settings;
};

TEST_F(Share_Settings_Test, AreReadAsTheyAreAtThatMomentOrHaveDefaults) {
    Configure("Port = 1445\nUser = reader\nWorkgroup = OFFICE\nTimeout = 5\n" + Password_File("one"));
    EXPECT_EQ(Refusal(), "");
    EXPECT_EQ(settings.port, 1445);
    EXPECT_EQ(settings.user, "reader");
    EXPECT_EQ(settings.workgroup, "OFFICE");
    EXPECT_EQ(settings.timeout_ms, 5000u);
    EXPECT_EQ(settings.password, "one");

    Configure("");
    EXPECT_EQ(Refusal(), "");
    EXPECT_EQ(settings, Share_Settings());
    EXPECT_EQ(settings.timeout_ms, 30000u);
    EXPECT_EQ(settings.port, 0);
}

TEST_F(Share_Settings_Test, TakeTheFirstLineForThePassword) {
    for (const auto& [content, password] : {std::pair{"secret", "secret"},
                                            {"secret\r\nnote\n", "secret"},
                                            {" with blanks \n", " with blanks "},
                                            {"\n", ""},
                                            {"", ""}}) {
        Private_File(content);
        EXPECT_EQ(Refusal(), "");
        EXPECT_EQ(settings.password, password);
    }
}

TEST_F(Share_Settings_Test, RefuseAPasswordFileThatOthersMayReadOrWrite) {
    const auto file = Private_File("secret\n");
    fs::create_symlink(file, home / "link");
    EXPECT_EQ(Refusal(), "");
    for (const unsigned rights : {0640u, 0604u, 0620u, 0602u, 0644u, 0666u}) {
        fs::permissions(file, fs::perms(rights));
        EXPECT_EQ(Refusal(), "[Shares] PasswordFile = " + file.string() + ": open to others; chmod 600 closes it");
    }
    Configure("PasswordFile = " + (home / "link").string() + "\n");
    EXPECT_THAT(Refusal(), EndsWith("open to others; chmod 600 closes it")) << "the file that a link leads to";
    fs::permissions(file, fs::perms(0400));
    EXPECT_EQ(Refusal(), "");
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(file.c_str(), 65534, 0), 0);
        EXPECT_THAT(Refusal(), EndsWith("belongs to another user"));
    }
}

TEST_F(Share_Settings_Test, RefuseAPasswordFileThatIsNotOne) {
    ASSERT_EQ(::mkfifo((home / "pipe").c_str(), 0600), 0);
    Private_File(std::string(256, 'x'));
    for (const auto& [path, refusal] : {std::pair{home / "missing", "missing: No such file or directory"},
                                        {home, "not a regular file"},
                                        {"password", "not an absolute path"},
                                        {"/dev/null", "not a regular file"},
                                        {home / "pipe", "not a regular file"},
                                        {home / "password", "its first line is too long"}}) {
        Configure("PasswordFile = " + path.string() + "\n");
        EXPECT_THAT(Refusal(), EndsWith(refusal)) << path;
    }
}

TEST_F(Share_Settings_Test, KeepUserAndPasswordFromOtherServersThanTheListed) {
    for (const auto& [servers, server, is_listed] :
         {std::tuple{"", "fs1", true},
          {"Servers = fs1", "FS1", true},
          {"Servers = fs1", "fs1.office.example", false},
          {"Servers = fs2\nServers = *.Office.example", "fs1.office.EXAMPLE", true},
          {"Servers = fs2\nServers = *.office.example", "fs1.office.example.net", false},
          {"Servers = *", "fs1", true},
          {"Servers =", "fs1", false}}) {
        Configure(std::string(servers) + "\nUser = reader\nWorkgroup = OFFICE\n" + Password_File("secret"));
        EXPECT_EQ(Refusal(server), "");
        EXPECT_EQ(settings.user, is_listed ? "reader" : "") << servers << server;
        EXPECT_EQ(settings.password, is_listed ? "secret" : "") << servers << server;
        EXPECT_EQ(settings.workgroup, "OFFICE");
    }
}

TEST_F(Share_Settings_Test, RefuseValuesThatMakeNoSense) {
    const std::string no_timeout = ": not a number from 1 to 3600";
    const std::string no_port = ": not a number from 1 to 65535";
    for (const auto& [line, fault] : {std::pair{"Timeout = 0", no_timeout},
                                      {"Timeout = -5", no_timeout},
                                      {"Timeout = 3601", no_timeout},
                                      {"Timeout = soon", no_timeout},
                                      {"Port = 0", no_port},
                                      {"Port = 65536", no_port},
                                      {"Port = smb", no_port},
                                      {"Servers = fs1, fs2", ": not a name; each has a line of its own"},
                                      {"Signing = yes", ": not \"required\""}}) {
        Configure(line);
        EXPECT_EQ(Refusal(), std::string("[Shares] ") + line + fault);
    }
    Configure("Timeout =");
    EXPECT_EQ(Refusal(), "[Shares] Timeout is empty" + no_timeout);
    Configure("User = " + std::string(256, 'u') + "\n");
    EXPECT_EQ(Refusal(), "[Shares] User = " + std::string(200, 'u') + "...: too long");
}

} // namespace
