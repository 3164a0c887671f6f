#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <openssl/ssl.h>

#include "tests/support/Certificates.h"
#include "tests/support/Socket.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

class Misbehaving_Server;

/// The server's side of one connection: what a behaviour is written with. Every call returns at
/// once when the client has gone or the server ends; Is_Open says so.
class Server_Connection {
public:
    Server_Connection(Misbehaving_Server& server, Socket socket);

    bool Is_Open() const { return m_Is_Open; }

    /// The next request, up to its empty line; empty when the client has gone.
    std::string Read_Request();

    /// True when the next request, which remains to be read, begins with the text.
    bool Is_Asked_For(std::string_view beginning);

    void Send(std::string_view bytes);

    /// A byte at a time.
    void Send_Slowly(std::string_view bytes, std::chrono::milliseconds interval);

    /// The same again and again, until the client goes.
    void Send_Without_End(std::string_view bytes, std::chrono::milliseconds interval = {});

    void Pause(std::chrono::milliseconds duration);
    void Wait_For_Client_To_Go();

    /// Ends the connection with a TCP reset.
    void Reset();

    /// Tells a TLS client that nothing more comes, which the end of the connection alone does not.
    void Close_Tls();

private:
    friend class Misbehaving_Server;

    bool Start_Tls(SSL_CTX* context);
    void Shut_Down();

    struct Free_Ssl {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    Misbehaving_Server& m_Server;
    Socket m_Socket;
    std::unique_ptr<SSL, Free_Ssl> m_Ssl;
    std::atomic<bool> m_Is_Open = true;
};

/// A server on a free port of 127.0.0.1 that does on each connection what the test has it do.
class Misbehaving_Server : private FrontEnd::Util::Non_Copyable {
public:
    using Behaviour = std::function<void(Server_Connection&)>;

    static constexpr int Smallest_Receive_Buffer = 1;

    /// @param receive_buffer what the system takes from a client before the behaviour reads; 0: its
    /// own choice.
    explicit Misbehaving_Server(Behaviour behaviour, int receive_buffer = 0);
    Misbehaving_Server(Behaviour behaviour, const Server_Certificate& tls);
    ~Misbehaving_Server();

    int Port() const { return m_Port; }

    /// URL under a host name that the tests resolve to 127.0.0.1.
    std::string Url(const std::string& path = "/file.xml", const std::string& host = "good.test") const;

    /// Connections accepted so far.
    int Connections() const { return m_Connections; }

private:
    friend class Server_Connection;

    struct Free_Context {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };

    void Listen(int receive_buffer = 0);
    void Accept();
    void Serve(Server_Connection& connection);
    /// False when the server ends before the time has passed.
    bool Sleep(std::chrono::milliseconds duration);

    const Behaviour m_Behaviour;
    std::unique_ptr<SSL_CTX, Free_Context> m_Tls;
    Socket m_Listener;
    int m_Port = 0;
    std::atomic<int> m_Connections = 0;

    std::mutex m_Mutex;
    std::condition_variable m_Ended;
    bool m_Is_Ending = false;
    std::list<Server_Connection> m_Open_Connections;
    std::list<std::thread> m_Threads;
    std::thread m_Acceptor;
};

} // namespace QEL::Tests
