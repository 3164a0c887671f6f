#pragma once

#include "tests/support/Child_Process.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace QEL::Tests {

/// A network with a loopback interface and nothing else, in which a forked process works. What it mounts is its own.
class Own_Network {
public:
    static constexpr int Not_Allowed = 77;

    /// Runs the steps in a network of their own.
    /// @return their result as an exit status; Not_Allowed where the machine does not let this user have a network.
    static int Run(const std::function<int(const Own_Network&)>& steps) {
        return Child_Process([&steps] {
                   return ::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) == 0 ? Own_Network().Run_Inside(steps)
                                                                                     : Not_Allowed;
               })
            .Wait();
    }

    /// A further address of the machine.
    bool Add_Address(const char* address) const {
        ifreq request = Request_For(Further_Address);
        request.ifr_addr = Address(address);
        return ::ioctl(m_Socket, SIOCSIFADDR, &request) == 0;
    }
    bool Remove_Address() const { return Set_Flags(Further_Address, 0); }

    bool Add_Default_Route() const { return Change_Default_Route(SIOCADDRT); }
    bool Remove_Default_Route() const { return Change_Default_Route(SIOCDELRT); }

private:
    Own_Network() = default;

    int Run_Inside(const std::function<int(const Own_Network&)>& steps) const {
        return Set_Flags("lo", IFF_UP) ? steps(*this) : Not_Allowed;
    }

    static constexpr const char* Further_Address = "lo:1";

    static ifreq Request_For(const char* interface) {
        ifreq request{};
        std::strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
        return request;
    }

    static sockaddr Address(const char* text) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        ::inet_pton(AF_INET, text, &address.sin_addr);
        sockaddr any{};
        std::memcpy(&any, &address, sizeof any);
        return any;
    }

    bool Set_Flags(const char* interface, short flags) const {
        ifreq request = Request_For(interface);
        request.ifr_flags = flags;
        return ::ioctl(m_Socket, SIOCSIFFLAGS, &request) == 0;
    }

    bool Change_Default_Route(unsigned long change) const {
        char interface[] = "lo";
        rtentry route{};
        route.rt_dst = route.rt_genmask = Address("0.0.0.0");
        route.rt_flags = RTF_UP;
        route.rt_dev = interface;
        return ::ioctl(m_Socket, change, &route) == 0;
    }

    const int m_Socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

/// Ends a test whose steps came to that: with a failure, or as skipped.
#define EXPECT_DONE_OR_SKIP(result)                                                                                    \
    if ((result) == Own_Network::Not_Allowed) {                                                                        \
        GTEST_SKIP() << "this machine does not let a user have a network of their own";                                \
    }                                                                                                                  \
    EXPECT_EQ(result, 0)

} // namespace QEL::Tests
