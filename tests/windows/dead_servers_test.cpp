// Servers that cost time in vain, with both clients and the clock scripted: Wine's request object ignores time-outs.

#include "platform/common/Dead_Servers.h"
#include "platform/common/Http_Transfer.h"
#include "platform/windows/http/Failed_Attempt.h"
#include "platform/windows/http/Proxy.h"
#include "tests/windows/Host_Fixture.h"
#include "tests/windows/Scripted_Com_Object.h"
#include "util/Dead_Servers.h"
#include "util/File_Head.h"
#include "util/IRequest_Object.h"
#include "util/Path_Queries.h"

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::uint32_t Timed_Out = 12002;

int s_exchanges = 0; // of the second client
auto s_second_attempt = Attempt::Server_Unreached;
std::chrono::milliseconds s_attempt_takes; // of both clients
auto s_now = std::chrono::steady_clock::now();

} // namespace

const Http_Client& Platform_Client() {
    static const Http_Client s_client{"second",
                                      [](const auto&, const auto&, auto, auto&) {
                                          ++s_exchanges;
                                          s_now += s_attempt_takes;
                                          return Http_Failure{Timed_Out, {}, s_second_attempt};
                                      },
                                      [](const auto&) { return std::string(); }};
    return s_client;
}

} // namespace QEL::FrontEnd::Platform

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;
using FrontEnd::FileCache::Create_Request_Object;
using FrontEnd::FileCache::HResult;
using FrontEnd::FileCache::Request_Interface;
using namespace testing;

constexpr HRESULT Time_Out = static_cast<HRESULT>(0x80072EE2);

class Dead_Servers_Of_Windows : public Host_Fixture {
protected:
    Dead_Servers_Of_Windows() {
        Dead_Servers::Instance().m_Servers.clear();
        Dead_Servers::Instance().m_Clock = [] { return s_now; };
        s_exchanges = 0;
        s_second_attempt = Attempt::Server_Unreached;
        s_attempt_takes = 1100ms;
        script.sent = Time_Out;
        script.sending = [] { s_now += s_attempt_takes; };
        script.status_known = E_PENDING;
    }

    struct Sent {
        HResult result;
        std::string description;
    };

    static Sent Send(const char* method, int connect_timeout = 1000, int receive_timeout = 30000) {
        const auto request = Create_Request_Object().object;
        EXPECT_EQ(request->Set_Timeouts(60000, connect_timeout, 30000, receive_timeout), S_OK);
        EXPECT_EQ(request->Open(method, "http://dead.example/file.xml"), S_OK);
        const auto result = request->Send();
        return {result, request->Error_Description(Request_Interface::XMLHTTPRequest)};
    }

    /// Requests of the first client so far, with these in addition: to a server that falls silent when it is connected.
    auto Sends_After_Silent(const std::vector<const char*>& methods) {
        for (const char* const method : methods) {
            Send(method, 60000, 1000);
        }
        return Sends();
    }
    std::ptrdiff_t Sends() const { return std::ranges::count(script.calls, "send omitted"); }

    Com_Script script;
    Scripted_Class scripted_class{script};
};

TEST_F(Dead_Servers_Of_Windows, FailTheRequestObjectAtOnceWithResultAndDescriptionOfTheirFailure) {
    Leave_Error_Text(L"The line is busy.");
    const auto first = Send("HEAD");
    EXPECT_EQ(first.result, Time_Out);
    EXPECT_EQ(first.description, "The line is busy.");
    const auto next = Send("GET");
    EXPECT_EQ(next.result, Time_Out);
    EXPECT_THAT(next.description, StartsWith("The line is busy. The server was last tried at "));
    EXPECT_EQ(Sends(), 1);
}

TEST_F(Dead_Servers_Of_Windows, AreAskedByOtherMethodsWhereTheyWereSilentAndLiveAgainWithAResponse) {
    EXPECT_EQ(Sends_After_Silent({"HEAD", "HEAD"}), 1);
    EXPECT_EQ(Sends_After_Silent({"GET", "GET"}), 2);
    Dead_Servers::Instance().m_Servers.clear();
    EXPECT_EQ(Sends_After_Silent({"HEAD"}), 3);
    script.sent = S_OK;
    EXPECT_EQ(Send("GET").result, S_OK);
    EXPECT_EQ(Send("HEAD").result, Time_Out) << "the other method's silence stays";
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseThatRedirectThere) {
    for (const auto& [reached, sends] :
         {std::pair{L"http://next.example/file.xml", 2}, {L"http://DEAD.example/x", 3}}) {
        script.reached_url = reached;
        Send("GET");
        Send("GET");
        EXPECT_EQ(Sends(), sends);
    }
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseWhoseBodyStalls) {
    Sends_After_Silent({"HEAD"});
    script.status_known = S_OK;
    Send("GET", 60000, 1000);
    Send("GET", 1000, 60000);
    EXPECT_EQ(Sends(), 3);
    script.status = 0; // there was no response
    EXPECT_EQ(Sends_After_Silent({"GET", "GET"}), 4);
}

struct Time_Out_Case {
    std::chrono::milliseconds taken; ///< by each attempt
    std::uint32_t connect_timeout;   ///< in seconds
    Attempt second;                  ///< what the second client knows of its own
    int time_outs;
};

class Time_Outs_On_Windows : public Dead_Servers_Of_Windows, public WithParamInterface<Time_Out_Case> {};

INSTANTIATE_TEST_SUITE_P(, Time_Outs_On_Windows,
                         Values(Time_Out_Case{1100ms, 1, Attempt::Server_Unreached, 2},
                                // As long as a silent server may take.
                                Time_Out_Case{42000ms, 60, Attempt::Server_Unreached, 2},
                                Time_Out_Case{31000ms, 60, Attempt::Silent, 4}));

TEST_P(Time_Outs_On_Windows, AreAFewForFiveFilesWithCopies) {
    s_attempt_takes = GetParam().taken;
    s_second_attempt = GetParam().second;
    configuration.Set_Number("LandscapeServerFileConnectTimeout", GetParam().connect_timeout);
    std::vector<std::pair<std::string, std::string>> copies;
    for (const std::string number : {"1", "2", "3", "4", "5"}) {
        copies.emplace_back("http://dead.example/" + number,
                            In_Cache("12345678-1234-1234-1234-12345678901" + number + ".xml"));
        std::ofstream(copies.back().second) << "<a/>";
    }
    std::ofstream(Metadata_Path()) << List_Of(copies);
    Restart_Host();
    for (const auto& [url, copy] : copies) {
        const auto served = Get(url);
        EXPECT_EQ(served.path, copy);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    }
    EXPECT_EQ(Sends() + s_exchanges, GetParam().time_outs);
    EXPECT_THAT(cache->Get_Additional_Error_Info(), HasSubstr("The server was last tried at "));
}

TEST_F(Dead_Servers_Of_Windows, OfSharesAreAskedByNoOperation) {
    constexpr int timed_out = 121;
    const std::string path = "\\\\Dead.Example\\share\\file.xml";
    auto& memory = Dead_Servers::Instance();
    memory.Note({"share dead.example", {}}, {}, Attempt::Server_Unreached, {timed_out, {}}, memory.Now() - 60s);

    const FrontEnd::Util::Unasked_Share_Server unasked;
    const auto services = FrontEnd::OSWRAPI::IOSWrapper::Create();
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(path, time), timed_out);
    EXPECT_EQ(services->Copy_File(path.c_str(), (Home() / "copy").string().c_str(), 1), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(timed_out));
    EXPECT_THAT(unasked.Description(), StartsWith("The server was last tried at "));
    using namespace FrontEnd::Util::FileSystem;
    for (const std::function<void()>& ask : {std::function<void()>([&] { EXPECT_FALSE(Path_Exists(path)); }),
                                             {[&] { EXPECT_EQ(Get_File_Attributes(path), Invalid_Attributes); }}}) {
        SetLastError(0);
        ask();
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(timed_out));
    }
    EXPECT_THAT([&] { Read_File_Head(path, 1); },
                Throws<Unreadable_File>(Field(&Unreadable_File::error, static_cast<DWORD>(timed_out))));
}

struct Failure_Case {
    std::uint32_t result;
    std::chrono::milliseconds taken;
    std::chrono::seconds connect; ///< the time-out
    Attempt attempt;
};

TEST(Failed_Attempt_Of_The_Request_Object, FollowsFromTheNumberAndTheTime) {
    constexpr auto silent = Attempt::Silent;
    constexpr auto unreached = Attempt::Server_Unreached;
    constexpr auto otherwise = Attempt::Failed_Otherwise;
    for (const auto& [result, taken, connect, attempt] :
         std::initializer_list<Failure_Case>{{0x80072EE7, 12s, 60s, unreached},
                                             {0x80072EFD, 21s, 60s, unreached},
                                             {0x80072F7D, 21s, 60s, unreached},
                                             {0x80072EFE, 21s, 60s, otherwise},
                                             {0x80072F0D, 21s, 60s, otherwise},
                                             {0x80072F8F, 21s, 60s, otherwise},
                                             {0x800C0008, 21s, 60s, otherwise},
                                             {0x800C2EFD, 21s, 60s, otherwise},
                                             {0x80072EE2, 21s, 60s, unreached},
                                             {0x80072EE2, 30s, 60s, silent},
                                             {0x80072EE2, 31s, 60s, silent},
                                             {0x80072EE2, 59900ms, 60s, unreached},
                                             {0x80072EE2, 60s, 60s, unreached},
                                             {0x80072EE2, 2s, 2s, unreached},
                                             {0x80072EE2, 32s, 2s, silent},
                                             {0x80072EE2, 60s, 2s, unreached},
                                             {0x80072EE2, 30s, 30s, silent}}) {
        Http_Request request;
        request.timeouts = {60s, connect, 30s, 30s};
        EXPECT_EQ(Failed_Attempt(result, taken, request, false), attempt) << result << " " << taken.count();
    }
}

TEST(Failed_Attempt_Of_The_Request_Object, IsTheProxysWhereThereIsOne) {
    Http_Request request;
    for (const auto* scheme : {"http", "https"}) {
        request.url.scheme = scheme;
        // For https the proxy connects to the server, and the number says nothing of which of the two did not accept.
        const auto connecting = request.url.Is_Https() ? Attempt::Server_Unreached : Attempt::Proxy_Unreached;
        EXPECT_EQ(Failed_Attempt(0x80072EFDU, 21s, request, true), connecting) << scheme;
        EXPECT_EQ(Failed_Attempt(0x80072EE2U, 21s, request, true), connecting) << scheme;
        EXPECT_EQ(Failed_Attempt(0x80072EE7U, 21s, request, true), Attempt::Proxy_Unreached) << scheme;
        EXPECT_EQ(Failed_Attempt(0x80072F7DU, 21s, request, true), Attempt::Server_Unreached) << scheme;
    }
}

TEST(Proxy_Settings, NameTheProxyOfAUrl) {
    for (const auto& [proxies, exemptions, url, proxy] :
         {std::array{"", "", "http://a.example/", ""},
          {"proxy:8080", "", "http://a.example/", "proxy:8080"},
          {"proxy:8080", "", "https://a.example/", "proxy:8080"},
          {"http=one:1;https=two:2", "", "http://a.example/", "one:1"},
          {"http=one:1 https=two:2", "", "https://a.example/", "two:2"},
          {"ftp=one:1", "", "http://a.example/", ""},
          {"proxy:8080", "a.example", "http://a.example/", ""},
          {"proxy:8080", "b.example; *.EXAMPLE", "http://a.example/", ""},
          {"proxy:8080", "b.example", "http://a.example/", "proxy:8080"},
          {"proxy:8080", "<local>", "http://a.example/", "proxy:8080"},
          {"proxy:8080", "<local>", "http://a/", ""}}) {
        EXPECT_EQ(Proxy_In(proxies, exemptions, Http_Url::Parse(url).value()), proxy) << proxies << exemptions << url;
    }
}

} // namespace

} // namespace QEL::Tests
