// The process that works for the library: when it runs, what it keeps, and that it ends.

#include "tests/live/share/Share_Fixture.h"
#include "tests/support/Socket.h"
#include "tests/support/Web_Server.h"

#include "platform/posix/share/Agent_Program.h"
#include "platform/posix/share/Share_Agent.h"
#include "util/Path_Queries.h"

#include <grp.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using namespace testing;

class Share_Agent_Test : public Share_Fixture {
protected:
    /// The running agents that this test started: they know its home.
    std::set<int> Agents() const {
        const std::string program = fs::canonical(Find_Agent_Program()).string();
        std::set<int> agents;
        for (const auto& process : fs::directory_iterator("/proc")) {
            const std::string name = process.path().filename().string();
            int id = 0;
            std::error_code unreadable;
            if (std::from_chars(name.data(), name.data() + name.size(), id).ec == std::errc() &&
                fs::read_symlink(process.path() / "exe", unreadable) == program &&
                Content_Of(process.path() / "environ").find("HOME=" + home.string() + '\0') != std::string::npos) {
                agents.insert(id);
            }
        }
        return agents;
    }

    bool Have_Ended() const {
        return Wait_Until([this] { return Agents().empty(); });
    }

    static std::unique_ptr<Share_Agent> Start(int port) {
        Share_Settings settings;
        settings.port = static_cast<std::uint16_t>(port);
        std::string refusal;
        auto agent = Share_Agent::Start(settings, refusal);
        EXPECT_NE(agent, nullptr) << refusal;
        return agent;
    }

    /// An agent that no request comes to, and that ends while all the other tests run.
    struct Idle_Agent : Environment {
        void SetUp() override { agent = UnitTest::GetInstance()->test_to_run_count() > 20 ? Start(1) : nullptr; }
        void TearDown() override {
            pollfd end{agent ? agent->m_Socket.Get() : -1, POLLIN, 0};
            EXPECT_EQ(::poll(&end, 1, agent ? 20000 : 0), agent ? 1 : 0) << "it should have ended after 15 seconds";
        }
        std::unique_ptr<Share_Agent> agent;
    };
    inline static const Environment* const s_idle_agent = AddGlobalTestEnvironment(new Idle_Agent);

    /// A request for the status of a file of the server.
    static std::unique_ptr<Agent_Protocol::Request> Stat_Request(std::uint32_t timeout_ms) {
        auto request = std::make_unique<Agent_Protocol::Request>();
        request->timeout_ms = timeout_ms;
        std::strcpy(request->url, "smb://127.0.0.1/share/file");
        return request;
    }

    static Share_Agent::Clock::time_point In(std::chrono::milliseconds time) {
        return Share_Agent::Clock::now() + time;
    }
};

TEST_F(Share_Agent_Test, DoesNotRunForLocalFiles) {
    std::ofstream(home / "local") << "content";
    EXPECT_EQ(Stat_Error((home / "local").string()), 0);
    EXPECT_EQ(Copy_Error((home / "local").string()), 0);
    EXPECT_TRUE(FrontEnd::Util::FileSystem::Path_Exists((home / "local").string()));

    EXPECT_EQ(Agents(), std::set<int>());
}

TEST_F(Share_Agent_Test, ServesARowOfRequestsOverOneConnection) {
    Publish("file", "content");
    Configure_Server("Timeout = 11\n"); // no agent runs with these settings yet

    EXPECT_EQ(Stat_Error(), 0);
    const std::set<int> agents = Agents();
    EXPECT_EQ(agents.size(), 1u);
    EXPECT_EQ(Copy_Error(), 0);
    EXPECT_EQ(Stat_Error(Samba_Server::Path("other")), 2);
    EXPECT_EQ(Stat_Error(Samba_Server::Path("file", "nothing")), 67);
    EXPECT_EQ(Stat_Error(), 0);

    EXPECT_EQ(Agents(), agents);
    EXPECT_THAT(Content_Of("/proc/self/maps"), Not(HasSubstr("smbclient"))) << "the agent's alone";
}

TEST_F(Share_Agent_Test, LeavesNoDescriptorBehind) {
    Publish("file", "content");
    const auto use_everything = [this] {
        Stat_Error();
        Stat_Error(Samba_Server::Path("other"));
        Copy_Error();
        os->Delete_File(target_file);
        Copy_Error(Samba_Server::Path("other"));
        Configure("Port = 1\n");
        Stat_Error();
        Configure_Server();
    };
    use_everything();
    const auto before = Open_Files();

    for (int round = 0; round < 5; ++round) {
        use_everything();
    }

    EXPECT_EQ(Open_Files(), before);
}

TEST_F(Share_Agent_Test, IsNoChildOfTheHostAndInheritsNothingThatItHasOpen) {
    directory.Write("open", "");
    const int inheritable = ::open((home / "open").c_str(), O_RDONLY); // NOLINT: not closed on exec, on purpose
    const auto agent = Start(server().Port());
    const std::set<int> agents = Agents();
    ASSERT_EQ(agents.size(), 1u);
    const fs::path process = "/proc/" + std::to_string(*agents.begin());

    EXPECT_THAT(Content_Of(process / "status"),
                AllOf(HasSubstr("\nPPid:"), Not(HasSubstr("\nPPid:\t" + std::to_string(::getpid()) + "\n"))));
    std::size_t descriptors = 0;
    for (const auto& descriptor : fs::directory_iterator(process / "fd")) {
        std::error_code closed_meanwhile; // by the agent, which has just started
        EXPECT_NE(fs::read_symlink(descriptor, closed_meanwhile), home / "open");
        ++descriptors;
    }
    EXPECT_GE(descriptors, 2u) << "its two ends of the talk with its host";
    EXPECT_EQ(fs::read_symlink(process / "cwd"), "/");
    EXPECT_EQ(Content_Of(process / "comm"), "qel_share_agent\n");
    ::close(inheritable);
}

TEST_F(Share_Agent_Test, EndsWithAHostThatIsKilledWithinACopy) {
    const auto published = Publish("huge.bin", "start");
    fs::resize_file(published, fs::space(published).available / 2);
    Child_Process host([&] {
        Stat_Error(Samba_Server::Path("huge.bin")); // starts the agent
        if (::fork() == 0) {                        // has all that its parent has open, to the end of the test
            while (fs::exists(home)) {
                std::this_thread::sleep_for(50ms);
            }
            ::_exit(0);
        }
        return Copy_Error(Samba_Server::Path("huge.bin"));
    });
    while (!host.Has_Ended() &&
           (fs::is_empty(target_folder) || fs::file_size(fs::directory_iterator(target_folder)->path()) == 0)) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(Agents().size(), 1u);

    EXPECT_EQ(host.Kill(), Child_Process::Killed);

    EXPECT_TRUE(Have_Ended());
}

TEST_F(Share_Agent_Test, LeavesNoZombieToASubreaper) {
    Publish("file", "content");
    EXPECT_EQ(Child_Process([&] {
                  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
                  {
                      const auto agent = Start(server().Port());
                      if (agent->Ask(*Stat_Request(5000), -1, In(5s)).error != 0) {
                          return 1;
                      }
                  }
                  return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 0 : 2;
              }).Wait(),
              0);
}

TEST_F(Share_Agent_Test, EndsWhenAnOperationTakesTooLong) {
    const Full_Port hole; // the SMB library waits 5 s, whatever its time-out
    auto agent = Start(hole.Port());
    EXPECT_EQ(Agents().size(), 1u);

    const auto outcome = agent->Ask(*Stat_Request(200), -1, In(200ms));

    EXPECT_EQ(outcome.error, 121u);
    EXPECT_FALSE(outcome.is_agent_good);
    agent.reset();
    const auto start = Share_Agent::Clock::now();
    EXPECT_TRUE(Have_Ended());
    EXPECT_LT(Share_Agent::Clock::now() - start, 4s);
}

TEST_F(Share_Agent_Test, LivesOnBetweenItsOperations) {
    Publish("file", "content");
    const auto agent = Start(server().Port());
    const auto request = Stat_Request(4000);

    EXPECT_EQ(agent->Ask(*request, -1, In(5s)).error, 0u);
    std::this_thread::sleep_for(4500ms);

    EXPECT_EQ(agent->Ask(*request, -1, In(5s)).error, 0u);
}

TEST_F(Share_Agent_Test, ReadsNoMoreThanItIsAskedFor) {
    Publish("file", Rubbish(200000));
    const auto agent = Start(server().Port());
    const auto request = Stat_Request(5000);
    request->operation = Agent_Protocol::Operation::Read;
    for (const std::uint64_t limit : {3u, 65536u, 100000u}) {
        request->byte_limit = limit;
        const File_Descriptor target(::open((home / "head").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));

        EXPECT_EQ(agent->Ask(*request, target.Get(), In(5s)).error, 0u);

        struct stat status {};
        ASSERT_EQ(::fstat(target.Get(), &status), 0);
        EXPECT_EQ(status.st_size, static_cast<off_t>(limit));
    }
}

TEST_F(Share_Agent_Test, IsOfNoMoreUseWhenAFileCannotBeClosed) {
    Publish("file", "content");
    const Web_Server line([](Server_Connection& client) {
        client.Relay_To(server().Port(), {}, [has_read = false](std::string_view message) mutable {
            const int command = message.size() > 16 && message[4] == '\xFE' ? message[16] : 0; // of SMB2
            has_read = has_read || command == 8;
            return has_read && command == 6; // to close
        });
    });
    const auto agent = Start(line.Port());
    const auto request = Stat_Request(5000);
    request->operation = Agent_Protocol::Operation::Read;
    request->byte_limit = 100;
    const File_Descriptor target(::open((home / "head").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const auto outcome = agent->Ask(*request, target.Get(), In(5s));
    EXPECT_EQ(outcome.error, 0u);
    EXPECT_FALSE(outcome.is_agent_good);
    EXPECT_EQ(Content_Of(home / "head"), "content");
}

TEST_F(Share_Agent_Test, HasItsErrorWhenItEndsWithinARequest) {
    const auto agent = Start(1);
    const int process = *Agents().begin();
    ::kill(process, SIGSTOP);
    std::thread end([process] {
        std::this_thread::sleep_for(100ms);
        ::kill(process, SIGKILL);
    });
    EXPECT_EQ(agent->Ask(*Stat_Request(5000), -1, In(5s)).error, 59u);
    end.join();
}

TEST_F(Share_Agent_Test, IsReplacedWhenItHasEnded) {
    Publish("file", "content");
    Configure_Server("Timeout = 12\n"); // no agent runs with these settings yet
    EXPECT_EQ(Stat_Error(), 0);
    const std::set<int> agents = Agents();
    ASSERT_EQ(agents.size(), 1u);

    ::kill(*agents.begin(), SIGKILL);
    ASSERT_TRUE(Have_Ended());

    EXPECT_EQ(Stat_Error(), 0);
}

TEST_F(Share_Agent_Test, IsNotSharedWithAForkedProcess) {
    Publish("file", "content");
    EXPECT_EQ(Stat_Error(), 0);

    Child_Process child([&] {
        int errors = 0;
        for (int round = 0; round < 50; ++round) {
            errors += Stat_Error() == 0 ? 0 : 1;
        }
        return errors;
    });
    for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(Stat_Error(Samba_Server::Path("other")), 2);
    }
    EXPECT_EQ(child.Wait(), 0);
}

TEST_F(Share_Agent_Test, RunsForAHostWithoutStandardStreams) {
    Publish("file", "content");
    for (const std::vector<int>& closed : std::vector<std::vector<int>>{{0}, {1}, {2}, {0, 1}, {1, 2}, {0, 1, 2}}) {
        EXPECT_EQ(Child_Process([&] {
                      std::ranges::for_each(closed, ::close);
                      const bool is_copied = Copy_Error() == 0;
                      // Nothing of the host has come to stand where a stream was.
                      return is_copied && std::ranges::all_of(closed, [](int stream) { return ::close(stream) != 0; })
                                 ? 0
                                 : 1;
                  }).Wait(),
                  0);
        EXPECT_EQ(Content_Of(target_file), "content");
        fs::remove(target_file);
    }
}

/// A program in a folder of an installation.
class Share_Agent_Program : public testing::Test {
protected:
    /// Why it is not run; empty when it may be.
    std::string Objection(const fs::path& path) const {
        std::string refusal;
        const bool is_open = Open_Agent_Program(path, refusal).Get() >= 0;
        EXPECT_EQ(is_open, refusal.empty());
        const std::string beginning = "the program " + path.string() + " is not run: ";
        return refusal.starts_with(beginning) ? refusal.substr(beginning.size()) : refusal;
    }
    std::string Objection() const { return Objection(program); }

    const Scratch_Directory scratch;
    const fs::path program = scratch.Write("usr/libexec/qel/qel_share_agent");
    const fs::path folder = scratch.Path() / "usr/libexec";
};

TEST_F(Share_Agent_Program, IsTheOneOfThisInstallation) {
    EXPECT_EQ(fs::path(Find_Agent_Program()).lexically_normal(),
              fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "libexec/qel/qel_share_agent");
    EXPECT_EQ(Objection(folder / "other"),
              "the program " + (folder / "other").string() + " is not installed: No such file or directory");
    EXPECT_EQ(Objection(folder), "it is not a regular file");
}

TEST_F(Share_Agent_Program, IsNotRunWhereEverybodyMayPutOne) {
    fs::create_directory_symlink(folder, scratch.Path() / "link");
    const fs::path linked = scratch.Path() / "link/qel/qel_share_agent";
    EXPECT_EQ(Objection(), "");
    EXPECT_EQ(Objection(linked), "");
    fs::permissions(folder, fs::perms(0777));
    EXPECT_EQ(Objection(), "the folder " + folder.string() + " is writable for everybody");
    EXPECT_EQ(Objection(linked), Objection()) << "where a link leads";
    fs::permissions(folder, fs::perms(01777));
    EXPECT_EQ(Objection(), "") << "sticky";
    fs::permissions(program, fs::perms(0757));
    EXPECT_EQ(Objection(), "it is writable for everybody");
}

TEST_F(Share_Agent_Program, IsNotRunWhereAnotherUserOrGroupMayPutOne) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root gives folders away";
    }
    fs::permissions(folder, fs::perms(0775));
    EXPECT_EQ(Objection(), "") << "root's group";
    for (const char* const name : {"staff", "users"}) {
        ASSERT_EQ(::chown(folder.c_str(), 0, ::getgrnam(name)->gr_gid), 0);
        EXPECT_EQ(Objection(), "the folder " + folder.string() + " is writable for the group " + name);
    }
    ASSERT_EQ(::chown(folder.c_str(), 0, ::getgrnam("staff")->gr_gid), 0);
    EXPECT_EQ(Child_Process([this] {
                  const bool is_local =
                      ::unshare(CLONE_NEWNS) == 0 && ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                      ::mount((scratch / "usr").c_str(), "/usr/local", nullptr, MS_BIND, nullptr) == 0;
                  return !is_local || Objection("/usr/local/libexec/qel/qel_share_agent").empty() ? 0 : 1;
              }).Wait(),
              0);
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(::chown(folder.c_str(), nobody, 0), 0);
    EXPECT_EQ(Objection(), "the folder " + folder.string() + " belongs to another user");
    EXPECT_EQ(Run_Without_Rights([this] { return Objection().empty() ? 0 : 1; }), 0) << "that user's own";
}

TEST_F(Share_Agent_Program, IsTheFileThatWasChecked) {
    std::string refusal;
    const File_Descriptor opened = Open_Agent_Program(program, refusal);
    fs::rename(scratch.Write("other", "other"), program);
    EXPECT_EQ(Content_Of("/proc/self/fd/" + std::to_string(opened.Get())), "content");
}

TEST_F(Share_Agent_Test, SaysThatItIsNotForPeople) {
    const std::string command = "< /dev/null 2> " + directory / "message";
    EXPECT_EQ(WEXITSTATUS(std::system((Find_Agent_Program() + command).c_str())), 2);
    EXPECT_EQ(Content_Of(home / "message"),
              "qel_share_agent is started by the QEL file cache and is of no use by itself.\n");
}

} // namespace

} // namespace QEL::Tests
