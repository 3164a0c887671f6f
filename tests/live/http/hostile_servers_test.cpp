// Servers that break the protocol, the connection or the caller's patience. Whatever they do, the request ends within
// its time-outs, with the right error, and without taking much memory.

#include <gmock/gmock.h>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Hostile_Servers.h"
#include "util/HttpClient.h"

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace testing;

/// A line of the kernel's account of the process, in KB; -1 when there is none.
long Memory_In_KB(const std::string& line_name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(line_name + ":")) {
            return std::stol(line.substr(line_name.size() + 1));
        }
    }
    return -1;
}

/// A client that meets the end of a connection late finds it reset.
std::string Reset_Or_Closed(const std::string& description) {
    return std::regex_replace(description, std::regex(": Connection reset by peer"), "");
}

/// A scheme, a method, a server.
class Hostile_Http_Server : public TestWithParam<std::tuple<std::string, std::string, Hostile_Server>> {};

TEST_P(Hostile_Http_Server, EndsTheRequestAsDocumented) {
    const auto& [scheme, method, expected] = GetParam();
    const bool is_head = method == "HEAD";
    const bool is_spared = is_head && expected.failure.spares_head;
    const std::uint32_t error = is_spared ? 0 : expected.failure.error;
    const Web_Server server(expected.behaviour);
    const auto url = scheme + server.Url().substr(4);
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
    const long memory = Memory_In_KB("VmRSS");
    ASSERT_GT(memory, 0);

    const bool is_timed_out = error == FrontEnd::Platform::Error_Internet_Timeout;
    const auto outcome = Request(method.c_str(), url, is_timed_out ? Short_Receive : Timeouts());

    EXPECT_EQ(outcome.Error(), error) << outcome.description;
    EXPECT_EQ(outcome.status, is_spared ? 200 : expected.status);
    EXPECT_EQ(outcome.body, is_head ? "" : expected.body);
    EXPECT_EQ(outcome.last_modified, expected.last_modified);
    if (error == 0) {
        EXPECT_EQ(outcome.description, "");
    } else {
        EXPECT_THAT(outcome.description, HasSubstr("good.test (port " + std::to_string(server.Port()) + ")"));
    }
    EXPECT_EQ(outcome.description.find('\n'), std::string::npos);
    if (!is_head && !is_timed_out) {
        FrontEnd::Util::HttpWinInet::HttpClient second;
        EXPECT_EQ(second.SendWinInetRequest(FrontEnd::Util::HttpWinInet::Http_Get, url.c_str(), nullptr, 0),
                  outcome.status + error);
        EXPECT_EQ(second.GetError(), error);
        EXPECT_EQ(Reset_Or_Closed(second.GetErrorDescription()), Reset_Or_Closed(outcome.description));
        EXPECT_EQ(second.GetResponseBody(), outcome.body);
        EXPECT_EQ(second.GetResponseHeader("Last-Modified"), outcome.last_modified);
    }
    EXPECT_LT(outcome.elapsed, 8s);
    EXPECT_LT(Memory_In_KB("VmHWM") - memory, 64 * 1024) << "the system's authorities included";
}

std::string Name(const TestParamInfo<Hostile_Http_Server::ParamType>& test) {
    return std::get<2>(test.param).name + std::get<1>(test.param);
}

INSTANTIATE_TEST_SUITE_P(Plain, Hostile_Http_Server,
                         Combine(Values("http"), Values("GET", "HEAD"), ValuesIn(Hostile_Http_Servers)), Name);
INSTANTIATE_TEST_SUITE_P(Tls, Hostile_Http_Server,
                         Combine(Values("https"), Values("GET", "HEAD"), ValuesIn(Hostile_Tls_Servers)), Name);

} // namespace

} // namespace QEL::Tests
