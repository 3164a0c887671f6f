#pragma once

#include "tests/support/Child_Process.h"

#include <sched.h>

namespace QEL::Tests {

/// A network with a loopback interface and nothing else, in which a forked process works. What it mounts is its own.
class Own_Network {
public:
    static constexpr int Not_Allowed = 77;

    /// Runs the steps in a network of their own.
    /// @return their result as an exit status; Not_Allowed where the machine does not let this user have a network.
    static int Run(const std::function<int(const Own_Network&)>& steps) {
        const std::string map = "0 " + std::to_string(::geteuid()) + " 1"; // keeps the rights of a program that is run
        return Child_Process([&] {
                   if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) {
                       return Not_Allowed;
                   }
                   std::ofstream("/proc/self/uid_map") << map;
                   return Ip("link set lo up") ? steps(Own_Network()) : Not_Allowed;
               })
            .Wait();
    }

    /// A further address of the machine.
    bool Add_Address(const std::string& address) const { return Ip("address add " + address + "/8 dev lo label lo:1"); }
    bool Remove_Address() const { return Ip("address flush dev lo label lo:1"); }

    bool Add_Default_Route() const { return Ip("route add default dev lo"); }
    bool Remove_Default_Route() const { return Ip("route del default dev lo"); }

private:
    Own_Network() = default;

    static bool Ip(const std::string& change) {
        return std::system(("PATH=$PATH:/usr/sbin:/sbin ip " + change).c_str()) == 0;
    }
};

/// Ends a test whose steps came to that: with a failure, or as skipped.
#define EXPECT_DONE_OR_SKIP(result)                                                                                    \
    if ((result) == Own_Network::Not_Allowed) {                                                                        \
        GTEST_SKIP() << "this machine does not let a user have a network of their own";                                \
    }                                                                                                                  \
    EXPECT_EQ(result, 0)

} // namespace QEL::Tests
