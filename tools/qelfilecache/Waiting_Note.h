#pragma once

#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Non_Copyable.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace QEL::FrontEnd::Tool {

/// Says on a terminal, after a second of its life, which server is waited for.
class Waiting_Note : private Util::Non_Copyable {
public:
    explicit Waiting_Note(const std::string& request) {
        if (Host::Terminal_Width(stderr)) {
            const auto proxy = FileCache::Cache_Inspection::Proxy_For(request);
            const bool may_redirect = request.starts_with("http");
            m_Thread = std::thread(
                [this,
                 whom = Quoted(Server_Of(request)) + (may_redirect ? " or a server that it redirects to" : "") +
                        (!proxy || proxy->value.empty() ? std::string() : ", through the " + Proxy_Text(*proxy))] {
                    Wait(whom);
                });
        }
    }
    ~Waiting_Note() {
        {
            const std::lock_guard lock(m_Mutex);
            m_Is_Done = true;
        }
        m_Done.notify_one();
        if (m_Thread.joinable()) {
            m_Thread.join();
        }
    }

private:
    static std::string Server_Of(const std::string& request) {
        const auto scheme = request.find("://");
        const auto begin = std::min(scheme == std::string::npos ? 2 : scheme + 3, request.size());
        return request.substr(0, request.find_first_of("/\\?#", begin));
    }

    void Wait(const std::string& whom) {
        std::unique_lock lock(m_Mutex);
        if (!m_Done.wait_for(lock, std::chrono::seconds(1), [this] { return m_Is_Done; })) {
            Write_Message("waiting for " + whom + " ...");
        }
    }

    std::mutex m_Mutex;
    std::condition_variable m_Done;
    bool m_Is_Done = false;
    std::thread m_Thread; ///< none where there is no terminal
};

} // namespace QEL::FrontEnd::Tool
