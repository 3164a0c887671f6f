#include "tests/support/Local_Names.h"

#include <dlfcn.h>
#include <netdb.h>

using QEL::Tests::Local_Names;

/// Takes the place of the system's function for the program and all its libraries.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto s_system_function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));

    if (name == nullptr) {
        return s_system_function(name, service, hints, result);
    }
    ++Local_Names::look_ups;
    const std::string_view host(name);
    if (host == "hanging.invalid") {
        std::this_thread::sleep_for(std::chrono::seconds(20));
    }
    if (host == "slow.test") {
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    }
    if (host.ends_with(".example")) {
        return s_system_function(name, service, hints, result);
    }
    if (host.ends_with(".nodes.test")) {
        int error = EAI_NONAME;
        *result = nullptr;
        for (int node = std::atoi(name); node > 0; --node) {
            addrinfo* address = nullptr;
            const auto number = node == 4 ? "::1" : "127.0.0." + std::to_string(node);
            error = s_system_function(number.c_str(), service, hints, &address);
            if (error == 0) {
                auto* last = address;
                while (last->ai_next != nullptr) {
                    last = last->ai_next;
                }
                last->ai_next = std::exchange(*result, address);
            }
        }
        return error;
    }
    if (host.ends_with(".test")) {
        return s_system_function("127.0.0.1", service, hints, result);
    }
    addrinfo numeric = hints != nullptr ? *hints : addrinfo{};
    numeric.ai_flags |= AI_NUMERICHOST;
    return s_system_function(name, service, &numeric, result);
}
