// What is remembered of servers that cost time in vain, by a clock and a network of the test's own; which servers of
// shares are asked; what counts as a change of the network.

#include "platform/common/Dead_Servers.h"
#include "platform/common/Network_State.h"
#include "platform/common/Share_Access.h"

#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "util/Dead_Servers.h"

#include <gmock/gmock.h>

#ifndef _WIN32
#include "tests/support/Own_Network.h"
#endif

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using QEL::FrontEnd::Platform::Attempt;
using QEL::FrontEnd::Platform::Network_State;
using QEL::FrontEnd::Platform::Share_Attempt;
using QEL::FrontEnd::Platform::Share_Server;
using QEL::FrontEnd::Util::Asking_Anyway;
using namespace testing;

constexpr const char* Retry_After = "LandscapeServerRetryAfter";
constexpr std::uint32_t Timed_Out = 12002;

class Dead_Servers : public testing::Test {
protected:
    using Memory = QEL::FrontEnd::Platform::Dead_Servers;
    using Server = QEL::FrontEnd::Platform::Server;

    const Server host{"http://server:80", ""};
    const Server behind_proxy{"http://server:80", "proxy:3128"};

    User_Configuration user;
    std::chrono::steady_clock::time_point now{1000h};
    std::set<std::string> network{"eth0 192.0.2.1"};
    int looks_at_the_network = 0;
    Memory memory{[this] { return now; },
                  [this] {
                      ++looks_at_the_network;
                      return network;
                  }};

    /// An attempt of that length, which ends now.
    void Attempt_Ends(Attempt attempt, const Server& server, std::chrono::milliseconds taken,
                      const std::string& method = "GET") {
        const auto began = memory.Now();
        now += taken;
        memory.Note(server, method, attempt, {Timed_Out, "It failed."}, began);
    }

    bool Is_Asked(const Server& server, const std::string& method = "GET") {
        return !memory.Recall(server, method).has_value();
    }
};

TEST_F(Dead_Servers, AreThoseThatTheAttemptsShowed) {
    const std::map<std::string, Server> servers = {{"host", host},
                                                   {"port-81", {"http://server:81", ""}},
                                                   {"https", {"https://server:80", ""}},
                                                   {"proxied", behind_proxy},
                                                   {"proxied-other", {"http://other:80", "proxy:3128"}},
                                                   {"by-other-proxy", {"http://server:80", "proxy:8080"}}};
    const std::map<std::string, Attempt> attempts = {{"unreached", Attempt::Server_Unreached},
                                                     {"no-proxy", Attempt::Proxy_Unreached},
                                                     {"silent", Attempt::Silent},
                                                     {"responded", Attempt::Responded},
                                                     {"otherwise", Attempt::Failed_Otherwise}};
    const struct {
        const char* ended; ///< each attempt with its milliseconds
        const char* asked;
        const char* not_asked;
    } cases[] = {
        {"", "GET host  GET proxied", ""},
        {"unreached GET host 60000", "GET port-81  GET https  GET proxied", "GET host  HEAD host"},
        {"unreached GET host 1000", "GET host", ""},
        {"unreached GET host 1001", "", "GET host"},
        {"silent HEAD host 30000", "GET host", "HEAD host"},
        {"otherwise GET host 60000", "GET host", ""},
        {"unreached GET proxied 60000", "GET proxied-other  GET host", "GET proxied"},
        {"no-proxy GET proxied 60000", "GET by-other-proxy  GET host", "GET proxied  GET proxied-other"},
        {"no-proxy GET proxied 60000  responded GET proxied-other 1", "GET proxied", ""},
        {"unreached GET host 60000  responded GET host 1", "GET host  HEAD host", ""},
        {"unreached GET host 60000  responded GET port-81 1  responded GET proxied 1", "", "GET host"},
        {"silent HEAD host 30000  silent GET host 30000  responded GET host 1", "GET host", "HEAD host"},
    };
    for (const auto& [ended, asked, not_asked] : cases) {
        memory.m_Servers.clear();
        std::string attempt, method, server;
        int milliseconds = 0;
        for (std::istringstream words(ended); words >> attempt >> method >> server >> milliseconds;) {
            Attempt_Ends(attempts.at(attempt), servers.at(server), std::chrono::milliseconds(milliseconds), method);
        }
        for (const bool expected : {true, false}) {
            for (std::istringstream words(expected ? asked : not_asked); words >> method >> server;) {
                EXPECT_EQ(Is_Asked(servers.at(server), method), expected) << ended << ": " << method << " " << server;
            }
        }
    }
}

TEST_F(Dead_Servers, WereNotSilentWhereAnotherClientDoesNotReachThem) {
    const Server of_one{"http://server:80", "proxy:3128", "one"};
    const Server of_another{"http://server:80", "proxy:3128", "another"};
    for (const auto attempt : {Attempt::Server_Unreached, Attempt::Proxy_Unreached}) {
        memory.m_Servers.clear();
        Attempt_Ends(Attempt::Silent, of_one, 40s, "HEAD");
        Attempt_Ends(Attempt::Silent, host, 40s, "HEAD");
        Attempt_Ends(attempt, of_another, 40s, "HEAD");
        EXPECT_FALSE(Is_Asked(of_one, "GET"));
        EXPECT_TRUE(Is_Asked(host, "GET")) << "without that proxy";
    }
}

TEST_F(Dead_Servers, AreAskedAgainAfterTenTimesTheLengthOfTheAttemptTwoMinutesAtMost) {
    for (const auto& [taken, waits] : {std::pair{60s, 120s}, {2s, 20s}}) {
        Attempt_Ends(Attempt::Server_Unreached, host, taken);
        now += waits - 1ms;
        EXPECT_FALSE(Is_Asked(host));
        now += 1ms;
        EXPECT_TRUE(Is_Asked(host));
    }
}

TEST_F(Dead_Servers, AreAskedAgainAfterTheConfiguredTimeAsItIsThen) {
    Attempt_Ends(Attempt::Server_Unreached, host, 1h);
    now += 10s;
    user.Set_Number(Retry_After, 10);
    EXPECT_TRUE(Is_Asked(host));
    user.Set_Number(Retry_After, 11);
    EXPECT_FALSE(Is_Asked(host));
    user.Set_Number(Retry_After, 0);
    EXPECT_TRUE(Is_Asked(host));
    now += 3590s - 1ms;
    for (const auto* text : {"3601", "100000", "2147483648", "4294967295", "4294967296", "99999999999999999999"}) {
        user.Set_Text(Retry_After, text);
        EXPECT_FALSE(Is_Asked(host)) << "an hour: " << text;
    }
    user.Set_Number(Retry_After, 0x80000000);
    EXPECT_FALSE(Is_Asked(host)) << "an hour";
    now += 1ms;
    EXPECT_TRUE(Is_Asked(host)) << "at most";
}

TEST_F(Dead_Servers, AreAskedAgainAfterTwoMinutesWhereTheConfigurationMakesNoSense) {
    for (const auto* text : {"-1", "-4294967296", "4294967296 seconds", "ten", ""}) {
        user.Set_Text(Retry_After, text);
        Attempt_Ends(Attempt::Server_Unreached, host, 60s);
        now += 120s - 1ms;
        EXPECT_FALSE(Is_Asked(host)) << text;
        now += 1ms;
        EXPECT_TRUE(Is_Asked(host)) << text;
    }
}

TEST_F(Dead_Servers, AreAllAskedWhenTheNetworkHasChanged) {
    Attempt_Ends(Attempt::Server_Unreached, host, 60s);
    Attempt_Ends(Attempt::Silent, behind_proxy, 60s);
    network.insert("tun0 198.51.100.1");
    EXPECT_TRUE(Is_Asked(host));
    EXPECT_TRUE(Is_Asked(behind_proxy));
    network.erase("tun0 198.51.100.1");
    EXPECT_TRUE(Is_Asked(host)) << "forgotten, even though the network is as it was";
}

TEST_F(Dead_Servers, AreNotRememberedWhereTheNetworkChangedDuringTheAttempt) {
    for (const bool seen_by_another : {false, true}) {
        memory.m_Servers.clear();
        const auto began = memory.Now();
        now += 30s;
        network.insert("tun" + std::to_string(seen_by_another));
        EXPECT_TRUE(!seen_by_another || Is_Asked(behind_proxy));
        now += 30s;
        memory.Note(host, "GET", Attempt::Server_Unreached, {Timed_Out, ""}, began);
        EXPECT_TRUE(Is_Asked(host));
        Attempt_Ends(Attempt::Server_Unreached, host, 60s);
        EXPECT_FALSE(Is_Asked(host)) << "the network changed before";
    }
}

TEST_F(Dead_Servers, CostOneLookAtTheNetworkASecondWhileAllIsWell) {
    looks_at_the_network = 0;
    now += 999ms;
    EXPECT_TRUE(Is_Asked(host));
    EXPECT_EQ(looks_at_the_network, 0);
    now += 1ms;
    EXPECT_TRUE(Is_Asked(host));
    EXPECT_TRUE(Is_Asked(host));
    Attempt_Ends(Attempt::Responded, host, 60s);
    Attempt_Ends(Attempt::Server_Unreached, host, 1ms);
    EXPECT_EQ(looks_at_the_network, 1);
    Attempt_Ends(Attempt::Server_Unreached, host, 60s);
    EXPECT_TRUE(Is_Asked(behind_proxy));
    EXPECT_EQ(looks_at_the_network, 2) << "to remember";
    EXPECT_FALSE(Is_Asked(host));
    EXPECT_EQ(looks_at_the_network, 3) << "to recall";
}

TEST_F(Dead_Servers, AreAskedByWhoAsksAnyway) {
    Attempt_Ends(Attempt::Server_Unreached, host, 60s);
    {
        const Asking_Anyway asking;
        EXPECT_TRUE(Is_Asked(host));
        std::thread([this] { EXPECT_FALSE(Is_Asked(host)); }).join();
    }
    EXPECT_FALSE(Is_Asked(host));
}

TEST_F(Dead_Servers, AreSixtyFourTheLatest) {
    const auto number = [](int count) { return Server{"http://server:" + std::to_string(count), ""}; };
    for (int count = 0; count < 64; ++count) {
        Attempt_Ends(Attempt::Silent, number(count), 1s, "GET");
        now -= 1s;
        Attempt_Ends(Attempt::Silent, number(count), 1001ms, "HEAD");
        now -= 1s;
    }
    Attempt_Ends(Attempt::Silent, number(5), 1s);
    EXPECT_FALSE(Is_Asked(number(0))) << "no room was needed";
    Attempt_Ends(Attempt::Silent, number(0), 1s);
    EXPECT_FALSE(Is_Asked(number(1)));
    Attempt_Ends(Attempt::Silent, number(64), 1s);
    EXPECT_FALSE(Is_Asked(number(0))) << "failed again lately";
    EXPECT_TRUE(Is_Asked(number(1))) << "failed longest ago";
    for (int count = 2; count <= 64; ++count) {
        EXPECT_FALSE(Is_Asked(number(count))) << count;
    }
}

TEST_F(Dead_Servers, MayBeAskedForByManyThreads) {
    In_Threads(4, [this](int thread) {
        for (int count = 0; count < 2000; ++count) {
            const Server server{std::to_string(count % 100), std::to_string(thread % 2)};
            memory.Note(server, "GET", count % 3 == 0 ? Attempt::Responded : Attempt::Silent, {}, now - 20s);
            memory.Recall(server, "GET");
        }
    });
    Attempt_Ends(Attempt::Silent, host, 30s);
    EXPECT_FALSE(Is_Asked(host));
}

constexpr const char* Moment = "....-..-.. ..:..:..";

class Description_Of_A_Dead_Server : public Dead_Servers {
protected:
    std::string Description() {
        Attempt_Ends(Attempt::Server_Unreached, host, 60s);
        const auto failure = memory.Recall(host, "GET").value_or(Memory::Failure{});
        EXPECT_EQ(failure.error, Timed_Out);
        return failure.description;
    }
};

TEST_F(Description_Of_A_Dead_Server, BeginsWithTheServerWhereTheFailureHadNoneAndSaysWhenItWasTried) {
    memory.Note(host, "GET", Attempt::Server_Unreached, {Timed_Out, ""}, now - 60s);
    memory.m_Servers.begin()->second.begin()->second.tried_at = "an earlier time";
    EXPECT_THAT(memory.Recall(host, "GET").value_or(Memory::Failure{}).description,
                StartsWith("The server was last tried at an earlier time and"));
}

TEST_F(Description_Of_A_Dead_Server, CountsFromTheMomentOfTheQuestion) {
    // Within the same minute but for the last one of an hour: seconds of the local clock.
    const auto second_of = [](const std::string& text, const std::string& before) {
        const auto moment = text.find(before) + before.size() + std::string("2026-11-21 10:").size();
        return std::stoi(text.substr(moment, 2)) * 60 + std::stoi(text.substr(moment + 3, 2));
    };
    const std::string description = Description();
    const int waits = second_of(description, "again at ") - second_of(description, "tried at ");
    EXPECT_THAT((waits + 3600) % 3600, testing::AllOf(testing::Ge(120), testing::Le(150))) << description;
}

TEST_F(Description_Of_A_Dead_Server, SaysWhenItWasTriedAndWillBeAskedAgainAndWhereThatIsConfigured) {
    const std::string times = std::string("It failed. The server was last tried at ") + Moment +
                              " and will be asked again at " + Moment + " .LandscapeServerRetryAfter";
    EXPECT_THAT(Description(), MatchesRegex(times + ", not configured: 120 seconds.*"));
    user.Set_Number(Retry_After, 60);
    EXPECT_THAT(Description(), MatchesRegex(times + " in .*"));
}

TEST(Share_Server, IsTheFirstPartOfAPath) {
    EXPECT_EQ(Share_Server("\\\\Server.Example\\share\\file"), "server.example");
    EXPECT_EQ(Share_Server("//server/share"), "server");
    EXPECT_EQ(Share_Server("\\\\server"), "server");
    EXPECT_EQ(Share_Server("\\\\\\server/share"), "server");
}

TEST(Share_Server, IsNoneOfOtherPaths) {
    for (const auto* path : {"", "\\", "\\\\", "C:\\file", "/home/file", "\\file", "\\/server\\share", "file",
                             "\\\\.\\pipe\\x", "\\\\?\\C:\\file"}) {
        EXPECT_EQ(Share_Server(path), "") << path;
    }
}

TEST(Share_Attempt, HasFailedOnlyWhereTheServerWasNotReached) {
    for (const std::uint32_t error : {53U, 59U, 64U, 121U, 1231U, 1232U, 1460U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Server_Unreached) << error;
        EXPECT_EQ(Share_Attempt({error, true}), Attempt::Responded) << error;
    }
    for (const std::uint32_t error : {0U, 2U, 3U, 5U, 32U, 67U, 1326U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Responded) << error;
    }
    for (const std::uint32_t error : {80U, 112U, 126U, 1610U}) {
        EXPECT_EQ(Share_Attempt({error, false}), Attempt::Failed_Otherwise) << error;
    }
}

TEST(Network_State, IsTheSameWhileNothingChanges) {
    EXPECT_EQ(Network_State(), Network_State());
    EXPECT_FALSE(Network_State().empty());
}

#ifndef _WIN32
TEST(Network_State, ChangesWithAnAddressAndWithADefaultRoute) {
    using Change = std::function<bool(const Own_Network&)>;
    const std::pair<Change, Change> changes[] = {
        {[](const auto& network) { return network.Add_Address("10.1.2.3"); }, &Own_Network::Remove_Address},
        {&Own_Network::Add_Default_Route, &Own_Network::Remove_Default_Route}};
    for (const auto& [add, remove] : changes) {
        const int result = Own_Network::Run([&](const Own_Network& network) {
            const auto before = Network_State();
            if (!add(network)) {
                return 1;
            }
            const auto changed = Network_State();
            if (changed == before || !remove(network)) {
                return 2;
            }
            return Network_State() == before ? 0 : 3;
        });
        EXPECT_DONE_OR_SKIP(result);
    }
}
#endif

} // namespace
