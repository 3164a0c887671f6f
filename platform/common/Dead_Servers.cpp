#include "platform/common/Dead_Servers.h"

#include "platform/common/Configuration.h"
#include "platform/common/Network_State.h"
#include "util/Configuration_Source.h"
#include "util/Dead_Servers.h"
#include "util/Process.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <ranges>
#include <utility>

namespace QEL::FrontEnd::Platform {

namespace {

using std::chrono::seconds;

constexpr std::size_t Most_Servers = 64;
constexpr seconds Quick_Enough{1};
constexpr int Longest_Memory = 10;           ///< times what the attempt took
constexpr seconds Looks_At_Network_Apart{1}; ///< of those that each request makes: they take as long as a quick request

const std::string& Any_Method = *new std::string;

/// What requests of all clients to a server have in common.
std::string Way_To(const Server& server) {
    return " " + server.name + " " + server.proxy;
}

std::string Server_Key(const Server& server) {
    return server.client + Way_To(server);
}

/// The same client's requests through the same proxy, whichever server they are for.
std::string Proxy_Key(const Server& server) {
    return Server_Key({{}, server.proxy, server.client});
}

/// The local time so many seconds from now.
std::string Local_Time(seconds from_now = {}) {
    std::tm time = Util::Local_Time();
    time.tm_sec += static_cast<int>(from_now.count());
    std::mktime(&time);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &time)};
}

std::string Where_Configured(seconds period) {
    const auto configured = Util::Find_Configured_Value(Options_Key, Util::Server_Retry_Value);
    return std::string(Util::Server_Retry_Value) +
           (configured ? " in " + configured->place
                       : ", not configured: " + std::to_string(period.count()) + " seconds");
}

} // namespace

Dead_Servers& Dead_Servers::Instance() {
    // Threads may still make requests while the process ends.
    static auto& s_dead_servers = *new Dead_Servers(&std::chrono::steady_clock::now, &Platform::Network_State);
    return s_dead_servers;
}

Dead_Servers::Dead_Servers(Clock clock, Network network)
    : m_Clock(std::move(clock)), m_Network(std::move(network)), m_Network_State(m_Network()), m_Network_Seen(Now()) {}

Dead_Servers::Time Dead_Servers::Memory::End(seconds configured_period) const {
    return failed + std::min<Time::duration>(configured_period, longest);
}

std::optional<Dead_Servers::Failure> Dead_Servers::Recall(const Server& server, const std::string& method) {
    const std::lock_guard lock(m_Mutex);
    if (Now() - m_Network_Seen >= Looks_At_Network_Apart) {
        Has_Network_Changed(); // before the attempt, so that it is no change within it
    }
    if (m_Servers.empty() || Util::Asking_Anyway::Is_On()) {
        return std::nullopt;
    }
    const auto period = Util::Server_Retry_Period();
    const auto* const memory = Find(server, method, period);
    if (memory == nullptr || Has_Network_Changed()) {
        return std::nullopt;
    }
    const auto left = std::chrono::ceil<seconds>(memory->End(period) - Now());
    auto failure = memory->failure;
    failure.description += std::string(failure.description.empty() ? "" : " ") + "The server was last tried at " +
                           memory->tried_at + " and will be asked again at " + Local_Time(left) + " (" +
                           Where_Configured(period) + ").";
    return failure;
}

void Dead_Servers::Note(const Server& server, const std::string& method, Attempt attempt, const Failure& failure,
                        Time began) {
    const std::lock_guard lock(m_Mutex);
    if (attempt == Attempt::Responded) {
        Forget(Proxy_Key(server), Any_Method);
        Forget(Server_Key(server), Any_Method);
        Forget(Server_Key(server), method);
    } else if (attempt == Attempt::Silent) {
        Remember(Server_Key(server), method, failure, began);
    } else if (attempt != Attempt::Failed_Otherwise && Now() - began > Quick_Enough) {
        Remember(attempt == Attempt::Proxy_Unreached ? Proxy_Key(server) : Server_Key(server), Any_Method, failure,
                 began);
        // Then silence was no connection either, for another client that could not know.
        for (auto& [key, memories] : m_Servers) {
            if (key.ends_with(Way_To(server)) && key != Server_Key(server)) {
                memories.try_emplace(Any_Method, memories.begin()->second);
            }
        }
    }
}

const Dead_Servers::Memory* Dead_Servers::Find(const Server& server, const std::string& method,
                                               seconds configured_period) const {
    for (const auto& [key, kept_for] :
         {std::pair(Proxy_Key(server), Any_Method), std::pair(Server_Key(server), Any_Method),
          std::pair(Server_Key(server), method)}) {
        if (const auto found = m_Servers.find(key); found != m_Servers.end()) {
            const auto memory = found->second.find(kept_for);
            if (memory != found->second.end() && Now() < memory->second.End(configured_period)) {
                return &memory->second;
            }
        }
    }
    return nullptr;
}

void Dead_Servers::Remember(const std::string& key, const std::string& method, const Failure& failure, Time began) {
    // The network may have changed while the attempt was under way: what failed without a VPN may work with it.
    if (Has_Network_Changed() || m_Network_Changed > began) {
        return;
    }
    const auto failed = [](const auto& memory) { return memory.second.failed; };
    const auto last_failure = [&](const auto& server) {
        return failed(*std::ranges::max_element(server.second, {}, failed));
    };
    if (m_Servers.size() == Most_Servers && !m_Servers.contains(key)) {
        m_Servers.erase(std::ranges::min_element(m_Servers, {}, last_failure));
    }
    const auto now = Now();
    m_Servers[key].insert_or_assign(method, Memory{failure, Local_Time(), now, Longest_Memory * (now - began)});
}

void Dead_Servers::Forget(const std::string& key, const std::string& method) {
    const auto server = m_Servers.find(key);
    if (server != m_Servers.end() && server->second.erase(method) > 0 && server->second.empty()) {
        m_Servers.erase(server);
    }
}

bool Dead_Servers::Has_Network_Changed() {
    m_Network_Seen = Now();
    auto state = m_Network();
    if (state == m_Network_State) {
        return false;
    }
    m_Network_State = std::move(state);
    m_Network_Changed = m_Network_Seen;
    m_Servers.clear();
    return true;
}

} // namespace QEL::FrontEnd::Platform
