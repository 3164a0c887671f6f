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

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using namespace QEL::FrontEnd::Platform;
using QEL::FrontEnd::FileCache::Create_Request_Object;
using QEL::FrontEnd::FileCache::HResult;
using QEL::FrontEnd::FileCache::Request_Interface;
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
        ON_CALL(com, send).WillByDefault([this](VARIANT) {
            ++sends;
            s_now += s_attempt_takes;
            return sent;
        });
        ON_CALL(com, get_status).WillByDefault([this](LONG* of_response) {
            *of_response = status.value_or(0);
            SetErrorInfo(0, nullptr);
            return status ? S_OK : E_PENDING;
        });
    }

    HResult Send(const char* method, int connect_timeout = 1000, int receive_timeout = 30000) {
        const auto request = Create_Request_Object().object;
        EXPECT_EQ(request->Set_Timeouts(60000, connect_timeout, 30000, receive_timeout), S_OK);
        EXPECT_EQ(request->Open(method, "http://dead.example/file.xml"), S_OK);
        const auto result = request->Send();
        description = request->Error_Description(Request_Interface::XMLHTTPRequest);
        return result;
    }

    /// Requests of the first client so far, with these in addition: to a server that falls silent when it is connected.
    int Sends_After_Silent(const std::vector<const char*>& methods) {
        for (const char* const method : methods) {
            Send(method, 60000, 1000);
        }
        return sends;
    }

    Scripted_Com_Object com;
    HRESULT sent = Time_Out;
    std::string description; // of the last failure
    std::optional<long> status;
    int sends = 0;
};

TEST_F(Dead_Servers_Of_Windows, FailTheRequestObjectAtOnceWithResultAndDescriptionOfTheirFailure) {
    Leave_Error_Text(L"The line is busy.");
    EXPECT_EQ(Send("HEAD"), Time_Out);
    EXPECT_EQ(description, "The line is busy.");
    EXPECT_EQ(Send("GET"), Time_Out);
    EXPECT_THAT(description, StartsWith("The line is busy. The server was last tried at "));
    EXPECT_EQ(sends, 1);
}

TEST_F(Dead_Servers_Of_Windows, AreAskedByOtherMethodsWhereTheyWereSilentAndLiveAgainWithAResponse) {
    EXPECT_EQ(Sends_After_Silent({"HEAD", "HEAD"}), 1);
    EXPECT_EQ(Sends_After_Silent({"GET", "GET"}), 2);
    Dead_Servers::Instance().m_Servers.clear();
    EXPECT_EQ(Sends_After_Silent({"HEAD"}), 3);
    sent = S_OK;
    EXPECT_EQ(Send("GET"), S_OK);
    EXPECT_EQ(Send("HEAD"), Time_Out) << "the other method's silence stays";
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseThatRedirectThere) {
    for (const auto& [reached, expected] :
         {std::pair{L"http://next.example/file.xml", 2}, {L"http://DEAD.example/x", 3}}) {
        ON_CALL(com, getOption(SXH_OPTION_URL, _)).WillByDefault([reached = reached](auto, VARIANT* value) {
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = SysAllocString(reached);
            return S_OK;
        });
        Send("GET");
        Send("GET");
        EXPECT_EQ(sends, expected);
    }
}

TEST_F(Dead_Servers_Of_Windows, AreNotThoseWhoseBodyStalls) {
    Sends_After_Silent({"HEAD"});
    status = 200;
    Send("GET", 60000, 1000);
    Send("GET", 1000, 60000);
    EXPECT_EQ(sends, 3);
    status = 0; // there was no response
    EXPECT_EQ(Sends_After_Silent({"GET", "GET"}), 4);
}

TEST_F(Dead_Servers_Of_Windows, CostAFewTimeOutsForFiveFilesWithCopies) {
    std::vector<std::pair<std::string, std::string>> copies;
    for (const std::string number : {"1", "2", "3", "4", "5"}) {
        copies.emplace_back("http://dead.example/" + number,
                            In_Cache("12345678-1234-1234-1234-12345678901" + number + ".xml"));
        std::ofstream(copies.back().second) << "<a/>";
    }
    std::ofstream(Metadata_Path()) << List_Of(copies);
    using enum Attempt;
    for (const auto& [taken, connect_timeout, second_attempt, time_outs] :
         {std::tuple{1100ms, 1, Server_Unreached, 2},
          {42000ms, 60, Server_Unreached, 2}, // as long as a silent server may take
          {31000ms, 60, Silent, 4}}) {
        Dead_Servers::Instance().m_Servers.clear();
        s_attempt_takes = taken;
        s_second_attempt = second_attempt;
        s_exchanges = sends = 0;
        configuration.Set_Number("LandscapeServerFileConnectTimeout", connect_timeout);
        Restart_Host();
        for (const auto& [url, copy] : copies) {
            const auto served = Get(url);
            EXPECT_EQ(served.path, copy);
            EXPECT_TRUE(served.download_error);
            EXPECT_EQ(served.http_error, 2);
        }
        EXPECT_EQ(sends + s_exchanges, time_outs);
        EXPECT_THAT(cache->Get_Additional_Error_Info(), HasSubstr("The server was last tried at "));
    }
}

TEST_F(Dead_Servers_Of_Windows, OfSharesAreAskedByNoOperation) {
    constexpr int timed_out = 121;
    const std::string path = "\\\\Dead.Example\\share\\file.xml";
    auto& memory = Dead_Servers::Instance();
    memory.Note({"share dead.example", {}}, {}, Attempt::Server_Unreached, {timed_out, {}}, memory.Now() - 60s);

    const QEL::FrontEnd::Util::Unasked_Share_Server unasked;
    const auto services = QEL::FrontEnd::OSWRAPI::IOSWrapper::Create();
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(path, time), timed_out);
    using namespace QEL::FrontEnd::Util::FileSystem;
    for (const std::function<bool()>& fails :
         {std::function<bool()>([&] { return services->Copy_File(path.c_str(), In_Cache("copy").c_str(), 1) == 0; }),
          {[&] { return !Path_Exists(path); }},
          {[&] { return Get_File_Attributes(path) == Invalid_Attributes; }}}) {
        SetLastError(0);
        EXPECT_TRUE(fails());
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(timed_out));
    }
    EXPECT_THAT(unasked.Description(), StartsWith("The server was last tried at "));
    EXPECT_THAT([&] { Read_File_Head(path, 1); },
                Throws<Unreadable_File>(Field(&Unreadable_File::error, static_cast<DWORD>(timed_out))));
}

TEST(Failed_Attempt_Of_The_Request_Object, FollowsFromTheNumberAndTheTime) {
    struct Row {
        std::uint32_t result;
        std::chrono::milliseconds taken;
        std::chrono::seconds connect; ///< the time-out
        Attempt attempt;
    };
    using enum Attempt;
    for (const auto& [result, taken, connect, attempt] : {Row{0x80072EE7, 12s, 60s, Server_Unreached},
                                                          {0x80072EFD, 21s, 60s, Server_Unreached},
                                                          {0x80072F7D, 21s, 60s, Server_Unreached},
                                                          {0x80072EFE, 21s, 60s, Failed_Otherwise},
                                                          {0x80072F0D, 21s, 60s, Failed_Otherwise},
                                                          {0x800C2EFD, 21s, 60s, Failed_Otherwise},
                                                          {0x80072EE2, 29s, 60s, Server_Unreached},
                                                          {0x80072EE2, 30s, 60s, Silent},
                                                          {0x80072EE2, 59900ms, 60s, Server_Unreached},
                                                          {0x80072EE2, 2s, 2s, Server_Unreached},
                                                          {0x80072EE2, 32s, 2s, Silent},
                                                          {0x80072EE2, 60s, 2s, Server_Unreached},
                                                          {0x80072EE2, 30s, 30s, Silent}}) {
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
