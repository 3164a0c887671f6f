#include <gmock/gmock.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "platform/common/WinInet_Error.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Hostile_Servers.h"

// Servers that break the protocol, the connection or the caller's patience. Whatever they do, the
// request ends within its time-outs, with the right error, and without taking much memory.

namespace QEL::Tests {

namespace {

using namespace std::chrono_literals;
using namespace FrontEnd::Platform;

Timeouts Timeouts_For(const Hostile_Server& server) {
    return server.failure.error == Error_Internet_Timeout ? Short_Receive : Timeouts();
}

/// A line of the kernel's account of the process, in KB.
long Memory_In_KB(const std::string& line_name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(line_name + ":")) {
            return std::stol(line.substr(line_name.size() + 1));
        }
    }
    throw std::runtime_error("no " + line_name + " in /proc/self/status");
}

/// How much more memory than at its start the process has held at one time.
class Memory_Growth {
public:
    Memory_Growth() {
        std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
        m_Before = Memory_In_KB("VmRSS");
    }
    long In_KB() const { return Memory_In_KB("VmHWM") - m_Before; }

private:
    long m_Before = 0;
};

class Hostile_Http_Server : public testing::TestWithParam<Hostile_Server> {};

TEST_P(Hostile_Http_Server, EndsTheRequestAsDocumented) {
    const auto& expected = GetParam();
    const Web_Server server(expected.behaviour);
    const Memory_Growth memory;

    const auto outcome = Get(server.Url(), Timeouts_For(expected));

    EXPECT_EQ(outcome.Error(), expected.failure.error) << outcome.description;
    EXPECT_EQ(outcome.status, expected.status);
    EXPECT_EQ(outcome.body, expected.body);
    EXPECT_EQ(outcome.last_modified, expected.last_modified);
    EXPECT_EQ(outcome.description.empty(), expected.failure.error == 0);
    EXPECT_EQ(outcome.description.find('\n'), std::string::npos);
    EXPECT_LT(outcome.elapsed, 8s);
    EXPECT_LT(memory.In_KB(), 64 * 1024);
}

TEST_P(Hostile_Http_Server, EndsTheRequestForTheHeadAsDocumented) {
    const auto& expected = GetParam();
    const Web_Server server(expected.behaviour);
    const Memory_Growth memory;

    const bool spared = expected.failure.spares_head;
    const auto outcome = Head(server.Url(), spared ? Timeouts() : Timeouts_For(expected));

    EXPECT_EQ(outcome.Error(), spared ? 0 : expected.failure.error) << outcome.description;
    EXPECT_EQ(outcome.status, spared ? 200 : expected.status);
    EXPECT_EQ(outcome.body, "");
    EXPECT_EQ(outcome.last_modified, expected.last_modified);
    EXPECT_LT(outcome.elapsed, 8s);
    EXPECT_LT(memory.In_KB(), 64 * 1024);
}

INSTANTIATE_TEST_SUITE_P(Table, Hostile_Http_Server, testing::ValuesIn(Hostile_Http_Servers()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

class Hostile_Tls_Server : public testing::TestWithParam<Hostile_Server> {};

TEST_P(Hostile_Tls_Server, EndsTheRequestAsDocumented) {
    const auto& expected = GetParam();
    const Web_Server server(expected.behaviour);
    const Memory_Growth memory;

    const auto outcome = Get("https://good.test:" + std::to_string(server.Port()) + "/", Timeouts_For(expected));

    EXPECT_EQ(outcome.Error(), expected.failure.error) << outcome.description;
    EXPECT_THAT(outcome.description, testing::HasSubstr("good.test (port " + std::to_string(server.Port()) + ")"));
    EXPECT_LT(outcome.elapsed, 8s);
    EXPECT_LT(memory.In_KB(), 64 * 1024) << "the system's authorities included";
}

INSTANTIATE_TEST_SUITE_P(Table, Hostile_Tls_Server, testing::ValuesIn(Hostile_Tls_Servers()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

} // namespace

} // namespace QEL::Tests
