// What goes wrong with shares: each failure has its code, comes within its time and leaves nothing
// behind.

#include "tests/live/share/Share_Fixture.h"
#include "tests/support/Socket.h"
#include "tests/support/Web_Server.h"

#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/File_Descriptor.h"
#include "util/Dead_Servers.h"

#include <sys/resource.h>

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace QEL::FrontEnd::Platform;

constexpr int File_Not_Found = 2;
constexpr int Path_Not_Found = 3;
constexpr int Access_Denied = 5;
constexpr int Network_Path_Not_Found = 53;
constexpr int Connection_Lost = 64;
constexpr int Share_Not_Found = 67;
constexpr int Timed_Out = 121;
constexpr int Invalid_Name = 123;
constexpr int Library_Not_Found = 126;
constexpr int Logon_Failure = 1326;
constexpr int Wrong_Configuration = 1610;

class Share_Failures : public Share_Fixture {
protected:
    using Clock = std::chrono::steady_clock;

    /// Enough for a time-out of a second on a busy machine. The SMB library alone takes ten seconds for a response.
    static constexpr auto In_Time = 9s;

    void Configure_Port(int port, const std::string& lines = "Timeout = 1\n") {
        Configure("Port = " + std::to_string(port) + "\n" + lines);
    }

    /// A file that takes long enough to copy for something to happen meanwhile.
    static void Publish_Huge_File() {
        const auto file = Publish("huge.bin", "start");
        fs::resize_file(file, std::min(std::uintmax_t{20} << 30, fs::space(file).available / 2));
    }

    /// Waits in the background until a copy has got some content, then does something to the server.
    std::thread As_Soon_As_Data_Arrives(std::function<void()> action) {
        return std::thread([this, action] {
            const auto has_content = [](const fs::directory_entry& entry) {
                std::error_code gone;
                return entry.file_size(gone) > 0 && !gone;
            };
            ASSERT_TRUE(
                Wait_Until([&] { return std::any_of(fs::directory_iterator(target_folder), {}, has_content); }));
            action();
        });
    }

private:
    const QEL::FrontEnd::Util::Asking_Anyway m_Asking; // each failure is one of the server's
};

TEST_F(Share_Failures, HaveTheirCodes) {
    const auto secret = Publish("secret.xml", "secret");
    fs::permissions(secret, fs::perms(0));
    Publish("file", "content");
    fs::create_directory(server().Files() / "folder");

    const auto expect_of_both = [this](const std::string& path, int error) {
        EXPECT_EQ(Stat_Error(path), error) << path;
        EXPECT_EQ(Copy_Error(path), error) << path;
    };
    for (const auto& [path, error] : {std::pair{Samba_Server::Path("other.xml"), File_Not_Found},
                                      {Samba_Server::Path("folder\\other.xml"), File_Not_Found},
                                      {Samba_Server::Path("other\\other.xml"), Path_Not_Found},
                                      {Samba_Server::Path("file\\other.xml"), Path_Not_Found},
                                      {Samba_Server::Path("what:is*this?"), Invalid_Name},
                                      {Samba_Server::Path("file", "nothing"), Share_Not_Found},
                                      {Samba_Server::Path("file", "closed"), Access_Denied},
                                      {Samba_Server::Path("file", "staff"), Access_Denied},
                                      {"\\\\no-such-server.invalid\\share\\file", Network_Path_Not_Found},
                                      {"\\\\127.0.0.1", Network_Path_Not_Found},
                                      {"\\\\user@127.0.0.1\\share\\file", Network_Path_Not_Found},
                                      {Samba_Server::Path(std::string(40000, 'x')), 206},
                                      {Samba_Server::Path("line\nbreak"), Invalid_Name}}) {
        expect_of_both(path, error);
    }
    EXPECT_EQ(Copy_Error(Samba_Server::Path("secret.xml")), Access_Denied);
    EXPECT_EQ(Copy_Error(Samba_Server::Path("folder")), Access_Denied);
    EXPECT_EQ(Copy_Error("\\\\127.0.0.1\\share"), Access_Denied);

    Configure_Port(1, "");
    expect_of_both(Samba_Server::Path("file"), Network_Path_Not_Found);
}

TEST_F(Share_Failures, OfALogonHaveACodeOfTheirOwn) {
    Publish("file", "content");
    const std::string file = Samba_Server::Path("file");
    const std::string staff = Samba_Server::Path("file", "staff");
    const std::string user = server().User();
    const std::string password = Samba_Server::Password;
    struct Row {
        const char* lines;
        std::string user;
        std::string password;
        std::string path;
        int error;
    };
    for (const Row& row :
         {Row{"", "", "", file, 0}, // a guest by intention
          {"", user, password, staff, 0},
          {"", user, password, Samba_Server::Path("file", "closed"), Access_Denied},
          // A named user does not turn into a guest.
          {"", user, "wrong", staff, Logon_Failure},
          {"", user, "wrong", file, Logon_Failure},
          {"", "nobody_there", "secret", file, Logon_Failure},
          // Other servers do not get the user's name.
          {"Servers = localhost\n", "nobody_there", "secret", file, 0},
          {"Servers = localhost\n", "nobody_there", "secret", R"(\\localhost\share\file)", Logon_Failure},
          // Guests cannot sign.
          {"Signing = required\n", "", "", file, Logon_Failure},
          {"Signing = required\n", user, password, staff, 0}}) {
        SCOPED_TRACE(row.lines + row.user + " " + row.password + " " + row.path);
        Configure_Server(row.lines +
                         (row.user.empty() ? "" : "User = " + row.user + "\n" + Password_File(row.password)));
        const QEL::FrontEnd::Util::Unasked_Share_Server server;
        EXPECT_EQ(Stat_Error(row.path), row.error);
        const bool is_guest = row.error == Logon_Failure && row.user.empty();
        EXPECT_THAT(server.Refusal(),
                    testing::StartsWith(is_guest ? "The server refuses the logon: Signing is required, but" : ""));
        EXPECT_EQ(server.Refusal().empty(), !is_guest);
        EXPECT_TRUE(row.error == 0 || Copy_Error(row.path) == row.error);
    }
}

TEST_F(Share_Failures, OfAFullDiskHaveItsCodeAndComeBeforeTheContentOfAFileLargerThanItsFreeSpace) {
    Publish("file", "content");
    fs::resize_file(Publish("huge.bin", "start"), fs::space("/dev").available + 1);
    Share_File_Info info;
    for (const auto& [name, disk] :
         {std::pair{"file", "/dev/full"}, {"huge.bin", "/dev/null"}}) { // takes it all, and its file system says no
        const File_Descriptor target(::open(disk, O_WRONLY | O_CLOEXEC));
        EXPECT_EQ(Copy_Share_File(Samba_Server::Path(name), target.Get(), info), 112u) << name;
    }
    std::string head;
    EXPECT_EQ(Read_Share_File_Head(Samba_Server::Path("huge.bin"), 5, head), 0u);
    EXPECT_EQ(head, "start");
}

TEST_F(Share_Failures, OfAFileBeyondTheLimitOfItsLengthHaveItsCode) {
    Publish("file", "content");
    EXPECT_EQ(Child_Process([&] {
                  const rlimit limit{3, 3};
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  return Copy_Error();
              }).Wait(),
              223);
}

TEST_F(Share_Failures, OfAFileThatIsLargerThanConfiguredComeBeforeItsContent) {
    Configure_Server("[Software\\QEL\\QELLogon\\Options]\nLandscapeLargestFile = 1\n");
    fs::resize_file(Publish("large.bin", "start"), (1U << 20) + 1);
    EXPECT_EQ(Copy_Error(Samba_Server::Path("large.bin")), 223u);
    fs::resize_file(server().Files() / "large.bin", 1U << 20);
    EXPECT_EQ(Copy_Error(Samba_Server::Path("large.bin")), 0u);
}

TEST_F(Share_Failures, OfASilentServerComeInTime) {
    const Socket silent = Listen_On_Free_Port(16);
    Configure_Port(Port_Of(silent));
    for (const bool copies : {false, true}) {
        const auto start = Clock::now();
        EXPECT_EQ(copies ? Copy_Error() : Stat_Error(), Timed_Out);
        EXPECT_LT(Clock::now() - start, In_Time);
    }
    const Full_Port hole;
    Configure_Port(hole.Port());
    EXPECT_EQ(Stat_Error(), Timed_Out);
}

TEST_F(Share_Failures, OfAServerThatDiesInTheMiddleLeaveNoPartialCopy) {
    Publish_Huge_File();
    EXPECT_EQ(Stat_Error(Samba_Server::Path("huge.bin")), 0);
    auto killer = As_Soon_As_Data_Arrives([] { server().Kill(); });

    EXPECT_EQ(Copy_Error(Samba_Server::Path("huge.bin")), Connection_Lost);

    killer.join();
    EXPECT_EQ(Stat_Error(Samba_Server::Path("huge.bin")), Network_Path_Not_Found);
    server().Restart();
    EXPECT_EQ(Stat_Error(Samba_Server::Path("huge.bin")), 0);
}

TEST_F(Share_Failures, OfAStaleConnectionAreNotSeen) {
    Publish("file", "content");
    EXPECT_EQ(Stat_Error(), 0);
    server().Restart();
    EXPECT_EQ(Copy_Error(), 0);
    EXPECT_EQ(Content_Of(target_file), "content");
}

TEST_F(Share_Failures, AreNotDeclaredWhileASlowServerStillSends) {
    const std::string content = Rubbish(1500000);
    Publish("file", content);
    // At most 4096 bytes in 15 milliseconds.
    const Web_Server line([](Server_Connection& client) { client.Relay_To(server().Port(), 15ms); });
    Configure_Port(line.Port(), "Timeout = 4\n");

    const auto start = Clock::now();
    EXPECT_EQ(Copy_Error(), 0);
    EXPECT_GT(Clock::now() - start, 4500ms);
    EXPECT_TRUE(Content_Of(target_file) == content);
}

TEST_F(Share_Failures, OfTheConfigurationAreExplainedOnce) {
    Configure_Server("User = reader\n" + Password_File("secret"));
    fs::permissions(home / "password", fs::perms(0644));

    testing::internal::CaptureStderr();
    EXPECT_EQ(Stat_Error(), Wrong_Configuration);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "qelfilecache: no access to file shares: [Shares] PasswordFile = " + (home / "password").string() +
                  ": open to others; chmod 600 closes it\n");

    testing::internal::CaptureStderr();
    EXPECT_EQ(Copy_Error(), Wrong_Configuration);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Share_Failures, OfAMissingLibraryAreExplained) {
    Publish("file", "content");
    // The loader takes this for the library, which it is not.
    const std::string library = directory.Write("libraries/libsmbclient.so.0", "");
    ::setenv("LD_LIBRARY_PATH", (home / "libraries").c_str(), 1);
    Configure_Server("Timeout = 9\n"); // no agent runs with these settings yet

    testing::internal::CaptureStderr();
    EXPECT_EQ(Stat_Error(), Library_Not_Found);
    EXPECT_EQ(Copy_Error(), Library_Not_Found);
    const std::string said = testing::internal::GetCapturedStderr();
    ::unsetenv("LD_LIBRARY_PATH");

    EXPECT_EQ(said, "qelfilecache: no access to file shares: "
                    "the SMB client library (package libsmbclient) cannot be loaded: " +
                        library + ": file too short\n");
    EXPECT_EQ(Stat_Error(), 0);
}

/// A share's server that cost time in vain. Whether it is asked shows in the connections that it gets.
class Dead_Share_Server : public Share_Failures {
protected:
    /// Stats a file of the server without asking a dead one.
    static int Stat(const std::string& path = Samba_Server::Path("file")) {
        int error = 0;
        std::thread([&] { // asks nobody anyway
            std::int64_t time = 0;
            error = QEL::FrontEnd::OSWRAPI::IOSWrapper::Create()->Stat_File(path, time);
        })
            .join();
        return error;
    }

    static bool Is_Remembered() { return !Dead_Servers::Instance().m_Servers.empty(); }
};

TEST_F(Dead_Share_Server, IsNotAskedForAnyFileUntilItRespondsToSomebodyWhatever) {
    Publish("file", "content");
    Configure_Server("Timeout = 1\n");
    server().Freeze();
    EXPECT_EQ(Stat(Samba_Server::Path("other")), Timed_Out);
    server().Thaw();
    EXPECT_EQ(Stat(), Timed_Out) << "it has recovered, but is not asked";
    std::thread([this] { EXPECT_EQ(Copy_Error(), Timed_Out); }).join();
    EXPECT_EQ(Stat("\\\\localhost\\share\\file"), 0) << "the same server's under another name";
    EXPECT_EQ(Stat_Error(Samba_Server::Path("other")), File_Not_Found) << "asked anyway";
    EXPECT_FALSE(Is_Remembered());
    EXPECT_EQ(Stat(), 0);
}

TEST_F(Dead_Share_Server, IsNotOneThatFallsSilentWithinAFileWhichEndsInTime) {
    Publish_Huge_File();
    Configure_Server("Timeout = 1\n");
    Clock::time_point frozen;
    auto freezer = As_Soon_As_Data_Arrives([&] {
        server().Freeze();
        frozen = Clock::now();
    });
    EXPECT_EQ(Copy_Error(Samba_Server::Path("huge.bin")), Timed_Out);
    freezer.join();
    EXPECT_LT(Clock::now() - frozen, 1s + In_Time);
    server().Thaw();
    EXPECT_FALSE(Is_Remembered());
    EXPECT_EQ(Stat_Error(Samba_Server::Path("huge.bin")), 0);
}

} // namespace
