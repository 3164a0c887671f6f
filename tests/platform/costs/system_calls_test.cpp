#include "tests/support/Child_Process.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using namespace testing;

using Calls = std::map<std::string, int>;

/// What strace writes of a program: one system call a line.
class System_Calls : public testing::Test {
protected:
    System_Calls() {
        setenv("XDG_CONFIG_HOME", m_Home.Path().c_str(), 1);
        // A program under strace cannot be looked through for leaks.
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        std::filesystem::create_directory(Cache_Directory());
    }
    ~System_Calls() override {
        unsetenv("XDG_CONFIG_HOME");
        unsetenv("ASAN_OPTIONS");
    }

    void Set_Expiry_Minutes(int minutes) const {
        m_Home.Write("qel/qel.ini", "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=" +
                                        std::to_string(minutes) + "\n");
        // A configuration that has just been written is read again each time it is asked for.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }

    /// Puts one copy that is fresh into the cache.
    std::string Cache_Copy(const std::string& url) const {
        const std::string copy = m_Home.Write("cache/12345678-1234-1234-1234-123456789012.xml", "<a/>");
        m_Home.Write("cache/qelfilecache_Metadata.txt", "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n1\n"
                                                        "stamp\n" +
                                                            Now() + "\n" + copy + "\n" + url + "\n");
        return copy;
    }

    /// The lines that strace writes of a program that ends well.
    std::vector<std::string> Traced(const std::vector<std::string>& program) const {
        const std::string log = (m_Home.Path() / "strace.log").string();
        std::vector<std::string> command{"strace", "-f", "-qq", "-s", "200", "-o", log};
        command.insert(command.end(), program.begin(), program.end());
        EXPECT_EQ(Child_Process(command).Wait(), 0);
        std::vector<std::string> lines;
        std::ifstream file(log);
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line.substr(line.find_first_not_of("0123456789 "))); // behind the process id
        }
        return lines;
    }

    /// How often a request that has been made before calls the system, by name of the call.
    Calls Calls_Of_A_Request(const std::string& request) const {
        Calls calls;
        bool is_marked = false;
        for (const std::string& line : Traced({QEL_MARKED_REQUEST, Cache_Directory(), request})) {
            if (line.starts_with("access(\"/mark-of-the-")) {
                is_marked = line.find("beginning") != std::string::npos;
            } else if (is_marked) {
                ++calls[line.substr(0, line.find('('))];
            }
        }
        return calls;
    }

    std::string Cache_Directory() const { return (m_Home.Path() / "cache").string(); }

private:
    /// 100 ns since 1601.
    static std::string Now() {
        const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
        return std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(since_1970).count() * 10 +
                              116444736000000000);
    }

    const Scratch_Directory m_Home;
};

// One status of the copy, one of the configuration. The clock is read without a system call.
TEST_F(System_Calls, OfAFreshHitAreTwo) {
    Set_Expiry_Minutes(60);
    const std::string url = "https://landscape.example.com/landscape.xml";
    Cache_Copy(url);
    EXPECT_THAT(Calls_Of_A_Request(url), ElementsAre(Pair("newfstatat", 2)));
}

TEST_F(System_Calls, OfALocalFileAreOne) {
    EXPECT_THAT(Calls_Of_A_Request(Cache_Copy("unused")), ElementsAre(Pair("newfstatat", 1)));
}

// The status of the copy before and behind the check, one of the configuration and one of the metadata
// file; the request and its response; the metadata file with its five lines and four of the entry, each
// flushed; three to keep the signals of failed writes to the server away from the host, and one that asks for the
// greatest length of a file. How often the response is waited for depends on the server.
TEST_F(System_Calls, OfAFreshnessCheckAreTwentyOne) {
    Set_Expiry_Minutes(0);
    const Nginx_Server server({Nginx_Site{}});
    server.Write("landscape.xml", "<landscape/>");
    Calls calls = Calls_Of_A_Request(server.Site().Url("/landscape.xml", "127.0.0.1"));
    calls.erase("poll");
    calls.erase("ioctl");
    EXPECT_THAT(calls, ElementsAre(Pair("close", 1), Pair("newfstatat", 4), Pair("openat", 1), Pair("prlimit64", 1),
                                   Pair("recvfrom", 1), Pair("rt_sigprocmask", 2), Pair("rt_sigtimedwait", 1),
                                   Pair("sendto", 1), Pair("write", 9)));
}

TEST_F(System_Calls, OfTheToolsFreshHitPrepareNothingThatItDoesNotNeed) {
    Set_Expiry_Minutes(60);
    const std::string url = "https://landscape.example.com/landscape.xml";
    const std::string copy = Cache_Copy(url);
    const auto lines = Traced({QEL_TOOL, "--cache-dir", Cache_Directory(), "get", url});
    ASSERT_THAT(lines, Contains(HasSubstr(copy)));
    for (const auto* const unneeded :
         {"libsmbclient", "qel_share_agent", "openssl.cnf", "/etc/ssl", "socket(", "clone", "/dev/shm", ".trc\""}) {
        EXPECT_THAT(lines, Not(Contains(HasSubstr(unneeded))));
    }
}

} // namespace
