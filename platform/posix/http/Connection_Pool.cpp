#include "platform/posix/http/Connection_Pool.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <openssl/crypto.h>
#include <pthread.h>

#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Write_Signal_Guard.h"

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::size_t Most_Idle_Connections = 8;
// Servers close idle connections earlier than that; a closed one is only a descriptor in use.
constexpr std::chrono::seconds Longest_Idle_Time{120};

/// How many forks lie between this process and the one that made the pool.
int s_generation = 0;

} // namespace

std::unique_ptr<Connection> Connection::Create() {
    std::unique_ptr<Connection> connection(new Connection);
    Occupy_Standard_Error();
    connection->m_Multi.reset(curl_multi_init());
    if (connection->m_Multi == nullptr) {
        return nullptr;
    }
    curl_multi_setopt(connection->m_Multi.get(), CURLMOPT_MAXCONNECTS, 1L);
    return connection;
}

bool Connection::Begin_Exchange() {
    m_Easy.reset(curl_easy_init());
    if (m_Easy == nullptr) {
        return false;
    }
    const auto set = [easy = m_Easy.get()](CURLoption option, auto value) { curl_easy_setopt(easy, option, value); };
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    set(CURLOPT_USERAGENT, "QELFileCache/1.0");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L); // a name look-up that hangs is left behind, not waited for
    set(CURLOPT_BUFFERSIZE, 256L * 1024);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_NOPROXY, ""); // the choice of the proxy has heeded it
    set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
    return true;
}

std::shared_ptr<Connection_Pool> Connection_Pool::Instance() {
    // Threads may request to the end, so neither this nor OpenSSL is taken apart before.
    static const auto& s_pool = *new std::shared_ptr<Connection_Pool>(std::make_shared<Connection_Pool>());
    return s_pool;
}

Connection_Pool::Connection_Pool() {
    static const int s_is_counted = ::pthread_atfork(nullptr, nullptr, [] { ++s_generation; });
    static_cast<void>(s_is_counted);
    m_Generation = s_generation;
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    curl_global_init(CURL_GLOBAL_DEFAULT);
}

Connection_Pool::~Connection_Pool() {
    const Write_Signal_Guard guard;
    Leave_To_Parent();
    m_Idle.clear();
    curl_global_cleanup();
}

std::unique_ptr<Connection> Connection_Pool::Take(const std::string& origin, Certificate_Check check) {
    std::vector<Idle_Connection> outdated;
    {
        const std::lock_guard lock(m_Mutex);
        Leave_To_Parent();
        outdated = Remove_Outdated();
        const auto last_used = std::find_if(m_Idle.rbegin(), m_Idle.rend(), [&](const Idle_Connection& idle) {
            return idle.check == check && idle.origin == origin;
        });
        if (last_used != m_Idle.rend()) {
            auto connection = std::move(last_used->connection);
            m_Idle.erase(std::next(last_used).base());
            return connection;
        }
    }
    return Connection::Create();
}

void Connection_Pool::Put_Back(std::unique_ptr<Connection> connection, const std::string& origin,
                               Certificate_Check check) {
    std::vector<Idle_Connection> outdated;
    const std::lock_guard lock(m_Mutex);
    m_Idle.push_back({std::move(connection), origin, check, Clock::now()});
    outdated = Remove_Outdated();
}

void Connection_Pool::Leave_To_Parent() {
    if (m_Generation == s_generation) {
        return;
    }
    static auto& s_parents = *new std::vector<Idle_Connection>; // never closed
    std::move(m_Idle.begin(), m_Idle.end(), std::back_inserter(s_parents));
    m_Idle.clear();
    m_Generation = s_generation;
}

std::vector<Connection_Pool::Idle_Connection> Connection_Pool::Remove_Outdated() {
    const auto oldest = Clock::now() - Longest_Idle_Time;
    auto first_kept =
        std::find_if(m_Idle.begin(), m_Idle.end(), [&](const Idle_Connection& idle) { return idle.since >= oldest; });
    if (const auto kept = static_cast<std::size_t>(std::distance(first_kept, m_Idle.end()));
        kept > Most_Idle_Connections) {
        std::advance(first_kept, kept - Most_Idle_Connections);
    }
    std::vector<Idle_Connection> outdated(std::make_move_iterator(m_Idle.begin()), std::make_move_iterator(first_kept));
    m_Idle.erase(m_Idle.begin(), first_kept);
    return outdated;
}

} // namespace QEL::FrontEnd::Platform
