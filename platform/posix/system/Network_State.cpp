#include "platform/common/Network_State.h"

#include <array>
#include <fstream>
#include <memory>
#include <sstream>

#include <arpa/inet.h>
#include <ifaddrs.h>

namespace QEL::FrontEnd::Platform {

namespace {

/// Interface and address of each of the machine's addresses.
void Add_Addresses(std::set<std::string>& state) {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> addresses(first, &::freeifaddrs);
    for (const auto* entry = first; entry != nullptr; entry = entry->ifa_next) {
        const auto family = entry->ifa_addr == nullptr ? AF_UNSPEC : entry->ifa_addr->sa_family;
        const void* const address =
            family == AF_INET ? static_cast<const void*>(&reinterpret_cast<sockaddr_in*>(entry->ifa_addr)->sin_addr)
            : family == AF_INET6
                ? static_cast<const void*>(&reinterpret_cast<sockaddr_in6*>(entry->ifa_addr)->sin6_addr)
                : nullptr;
        std::array<char, INET6_ADDRSTRLEN> text{};
        if (address != nullptr && ::inet_ntop(family, address, text.data(), text.size()) != nullptr) {
            state.insert(std::string(entry->ifa_name) + " " + text.data());
        }
    }
}

/// The lines of a table of routes whose destination is all addresses, without their counters.
void Add_Default_Routes(std::set<std::string>& state) {
    std::ifstream routes("/proc/net/route");
    for (std::string line; std::getline(routes, line);) {
        std::istringstream fields(line);
        std::string interface, destination, gateway, flags, references, uses, metric, mask;
        fields >> interface >> destination >> gateway >> flags >> references >> uses >> metric >> mask;
        if (destination == "00000000" && mask == "00000000") {
            state.insert(interface + " " + gateway + " " + metric);
        }
    }
    std::ifstream ipv6_routes("/proc/net/ipv6_route");
    for (std::string line; std::getline(ipv6_routes, line);) {
        std::istringstream fields(line);
        std::string destination, length, source, source_length, gateway, metric, references, uses, flags, interface;
        fields >> destination >> length >> source >> source_length >> gateway >> metric >> references >> uses >>
            flags >> interface;
        if (length == "00") {
            state.insert(interface + " " + gateway + " " + metric);
        }
    }
}

} // namespace

std::set<std::string> Network_State() {
    std::set<std::string> state;
    Add_Addresses(state);
    Add_Default_Routes(state);
    return state;
}

} // namespace QEL::FrontEnd::Platform
