#include "platform/common/Network_State.h"

#include <winsock2.h> // before <windows.h>

#include "platform/windows/Windows_Headers.h"

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr ULONG Wanted = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER |
                         GAA_FLAG_SKIP_FRIENDLY_NAME | GAA_FLAG_INCLUDE_GATEWAYS;

/// The bytes of each address in a list of the system's.
template <typename Address>
void Add_Addresses(const IP_ADAPTER_ADDRESSES& adapter, const char* kind, const Address* first,
                   std::set<std::string>& state) {
    for (const auto* entry = first; entry != nullptr; entry = entry->Next) {
        state.insert(std::string(adapter.AdapterName) + kind +
                     std::string(reinterpret_cast<const char*>(entry->Address.lpSockaddr),
                                 static_cast<std::size_t>(entry->Address.iSockaddrLength)));
    }
}

void Add_Adapters(std::set<std::string>& state) {
    std::vector<std::byte> room(16384);
    ULONG result = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < 3 && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        auto size = static_cast<ULONG>(room.size());
        result = GetAdaptersAddresses(AF_UNSPEC, Wanted, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(room.data()),
                                      &size);
        room.resize(std::max<std::size_t>(room.size(), size));
    }
    const auto* adapter =
        result == ERROR_SUCCESS ? reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(room.data()) : nullptr;
    for (; adapter != nullptr; adapter = adapter->Next) {
        Add_Addresses(*adapter, " has ", adapter->FirstUnicastAddress, state);
        Add_Addresses(*adapter, " leads to ", adapter->FirstGatewayAddress, state);
    }
}

void Add_Default_Route(std::set<std::string>& state) {
    MIB_IPFORWARDROW route{};
    if (GetBestRoute(INADDR_ANY, INADDR_ANY, &route) == NO_ERROR) {
        state.insert(std::to_string(route.dwForwardIfIndex) + " " + std::to_string(route.dwForwardNextHop));
    }
}

} // namespace

std::set<std::string> Network_State() {
    std::set<std::string> state;
    Add_Adapters(state);
    Add_Default_Route(state);
    return state;
}

} // namespace QEL::FrontEnd::Platform
