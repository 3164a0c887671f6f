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

#include <algorithm>

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
constexpr const char* Dead_Url = "http://dead.example/file.xml";

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

    static Sent Send(const char* method, const std::string& url, int connect_timeout = 1000,
                     int receive_timeout = 30000) {
        const auto request = Create_Request_Object().object;
        EXPECT_EQ(request->Set_Timeouts(60000, connect_timeout, 30000, receive_timeout), S_OK);
        EXPECT_EQ(request->Open(method, url), S_OK);
        const auto result = request->Send();
        return {result, request->Error_Description(Request_Interface::XMLHTTPRequest)};
    }

    /// Requests of the first client.
    auto Sends() const { return std::ranges::count(script.calls, "send omitted"); }

    Com_Script script;
    Scripted_Class scripted_class{script, L"Msxml2.ServerXMLHTTP.6.0"};
};

TEST_F(Dead_Servers_Of_Windows, FailTheRequestObjectAtOnceWithTheSameResult) {
    EXPECT_EQ(Send("HEAD", Dead_Url).result, Time_Out);
    const auto next = Send("GET", Dead_Url);
    EXPECT_EQ(next.result, Time_Out);
    EXPECT_THAT(next.description, HasSubstr("The server was last tried at "));
    EXPECT_EQ(Sends(), 1);
}

TEST_F(Dead_Servers_Of_Windows, AreAskedByOtherMethodsWhereTheyWereSilent) {
    Send("HEAD", Dead_Url, 60000, 1000);
    Send("HEAD", Dead_Url, 60000, 1000);
    EXPECT_EQ(Sends(), 1);
    Send("GET", Dead_Url, 60000, 1000);
    EXPECT_EQ(Sends(), 2);
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseThatRedirectThere) {
    script.reached_url = L"http://next.example/file.xml";
    Send("GET", Dead_Url);
    Send("GET", Dead_Url);
    EXPECT_EQ(Sends(), 2);
    script.reached_url = L"http://DEAD.example/other.xml";
    Send("GET", Dead_Url);
    Send("GET", Dead_Url);
    EXPECT_EQ(Sends(), 3);
}

TEST_F(Dead_Servers_Of_Windows, LiveAgainWithAResponse) {
    Send("HEAD", Dead_Url, 60000, 1000); // silent
    script.sent = S_OK;
    EXPECT_EQ(Send("GET", Dead_Url).result, S_OK);
    EXPECT_EQ(Send("HEAD", Dead_Url).result, Time_Out) << "the other method's silence stays";
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseWhoseBodyStalls) {
    Send("HEAD", Dead_Url, 60000, 1000); // silent
    script.status_known = S_OK;
    Send("GET", Dead_Url, 60000, 1000);
    Send("GET", Dead_Url, 1000, 60000);
    EXPECT_EQ(Sends(), 3);
    script.status = 0;
    Send("GET", Dead_Url, 60000, 1000);
    Send("GET", Dead_Url, 60000, 1000);
    EXPECT_EQ(Sends(), 4) << "there was no response";
}

TEST_F(Dead_Servers_Of_Windows, KeepTheDescriptionOfTheirFailure) {
    Leave_Error_Text(L"The line is busy.");
    EXPECT_EQ(Send("GET", Dead_Url).description, "The line is busy.");
    EXPECT_THAT(Send("GET", Dead_Url).description, StartsWith("The line is busy. The server was last tried at "));
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
    const auto& [taken, connect_timeout, second, time_outs] = GetParam();
    s_attempt_takes = taken;
    s_second_attempt = second;
    configuration.Set_Number("LandscapeServerFileConnectTimeout", connect_timeout);
    std::string list = "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n5\n";
    for (const char number : {'1', '2', '3', '4', '5'}) {
        const auto copy = In_Cache("12345678-1234-1234-1234-12345678901" + std::string(1, number) + ".xml");
        std::ofstream(copy) << "<a/>";
        list += "stamp\n131900000000000000\n" + copy + "\nhttp://dead.example/" + number + ".xml\n";
    }
    std::ofstream(Metadata_Path()) << list;
    Restart_Host();
    for (const char number : {'1', '2', '3', '4', '5'}) {
        const auto served = Get(std::string("http://dead.example/") + number + ".xml");
        EXPECT_THAT(served.path, HasSubstr(std::string("12345678901") + number));
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    }
    EXPECT_EQ(Sends() + s_exchanges, time_outs);
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
    for (const auto& ask : {+[](const std::string& asked) { return FrontEnd::Util::FileSystem::Path_Exists(asked); },
                            +[](const std::string& asked) {
                                return FrontEnd::Util::FileSystem::Get_File_Attributes(asked) != 0xFFFFFFFFU;
                            }}) {
        SetLastError(0);
        EXPECT_FALSE(ask(path));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(timed_out));
    }
    EXPECT_THROW(FrontEnd::Util::FileSystem::Read_File_Head(path, 1), std::runtime_error);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(timed_out));
}

struct Failure_Case {
    std::uint32_t error; ///< of WinInet
    std::chrono::milliseconds taken;
    int connect;
    int receive;
    Attempt attempt;
};

TEST(Failed_Attempt_Of_The_Request_Object, FollowsFromTheNumberAndTheTime) {
    for (const auto& [error, taken, connect, receive, attempt] :
         {Failure_Case{12007, 12s, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12029, 21s, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12157, 21s, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12030, 21s, 60, 30, Attempt::Failed_Otherwise},
          Failure_Case{12045, 21s, 60, 30, Attempt::Failed_Otherwise},
          Failure_Case{12175, 21s, 60, 30, Attempt::Failed_Otherwise},
          Failure_Case{12002, 21s, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12002, 30s, 60, 30, Attempt::Silent}, Failure_Case{12002, 31s, 60, 30, Attempt::Silent},
          Failure_Case{12002, 59900ms, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12002, 60s, 60, 30, Attempt::Server_Unreached},
          Failure_Case{12002, 2s, 2, 30, Attempt::Server_Unreached}, Failure_Case{12002, 32s, 2, 30, Attempt::Silent},
          Failure_Case{12002, 60s, 2, 30, Attempt::Server_Unreached},
          Failure_Case{12002, 30s, 30, 30, Attempt::Silent}}) {
        Http_Request request;
        request.timeouts = {60s, std::chrono::seconds(connect), 30s, std::chrono::seconds(receive)};
        EXPECT_EQ(Failed_Attempt(0x80070000U | error, taken, request, false), attempt) << error << " " << taken.count();
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

TEST(Failed_Attempt_Of_The_Request_Object, IsUnknownForOtherNumbers) {
    EXPECT_EQ(Failed_Attempt(0x800C0008U, 21s, Http_Request(), false), Attempt::Failed_Otherwise);
    EXPECT_EQ(Failed_Attempt(0x800C2EFDU, 21s, Http_Request(), false), Attempt::Failed_Otherwise);
}

TEST(Proxy_Settings, NameTheProxyOfAUrl) {
    const auto proxy = [](const char* proxies, const char* exemptions, const char* url) {
        return Proxy_In(proxies, exemptions, Http_Url::Parse(url).value());
    };
    EXPECT_EQ(proxy("", "", "http://a.example/"), "");
    EXPECT_EQ(proxy("proxy:8080", "", "http://a.example/"), "proxy:8080");
    EXPECT_EQ(proxy("proxy:8080", "", "https://a.example/"), "proxy:8080");
    EXPECT_EQ(proxy("http=one:1;https=two:2", "", "http://a.example/"), "one:1");
    EXPECT_EQ(proxy("http=one:1 https=two:2", "", "https://a.example/"), "two:2");
    EXPECT_EQ(proxy("ftp=one:1", "", "http://a.example/"), "");
    EXPECT_EQ(proxy("proxy:8080", "a.example", "http://a.example/"), "");
    EXPECT_EQ(proxy("proxy:8080", "b.example; *.EXAMPLE", "http://a.example/"), "");
    EXPECT_EQ(proxy("proxy:8080", "b.example", "http://a.example/"), "proxy:8080");
    EXPECT_EQ(proxy("proxy:8080", "<local>", "http://a.example/"), "proxy:8080");
    EXPECT_EQ(proxy("proxy:8080", "<local>", "http://a/"), "");
}

} // namespace

} // namespace QEL::Tests
