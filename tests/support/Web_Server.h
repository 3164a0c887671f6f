#pragma once

#include "tests/support/Certificates.h"
#include "tests/support/Socket.h"
#include "util/Non_Copyable.h"

#include <openssl/ssl.h>

namespace QEL::Tests {

class Web_Server;

/// The server's side of one connection: what a behaviour is written with. Every call returns at
/// once when the client has gone or the server ends; Is_Open says so.
class Server_Connection {
public:
    Server_Connection(Web_Server& server, Socket socket) : m_Server(server), m_Socket(std::move(socket)) {}

    bool Is_Open() const { return m_Is_Open; }

    /// The next request, up to its empty line; empty when the client has gone.
    std::string Read_Request();

    /// True when the next request, which remains to be read, begins with the text.
    bool Is_Asked_For(std::string_view beginning);

    void Send(std::string_view bytes);

    /// The same again and again, until the client goes.
    void Send_Without_End(std::string_view bytes, std::chrono::milliseconds interval = {});

    void Pause(std::chrono::milliseconds duration);
    void Wait_For_Client_To_Go();

    /// Ends the connection with a TCP reset.
    void Reset();

    /// Passes bytes on between the client and the server at a port of this machine, until the server closes.
    /// @param pause behind each piece, of at most 4096 bytes, that the server sends
    /// @param is_last whether a piece of the client's, which is not passed on, ends it all
    void Relay_To(int port, std::chrono::milliseconds pause = {},
                  const std::function<bool(std::string_view)>& is_last = {});

    /// Says close_notify: nothing more comes. The end of the connection alone does not say so.
    void Close_Tls() { SSL_shutdown(m_Ssl.get()); }

private:
    friend class Web_Server;

    bool Start_Tls(SSL_CTX* context);
    void Shut_Down();

    struct Free_Ssl {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    Web_Server& m_Server;
    Socket m_Socket;
    std::unique_ptr<SSL, Free_Ssl> m_Ssl;
    std::atomic<bool> m_Is_Open = true;
};

/// A web server on a free port of 127.0.0.1. It serves the files it is given, and status 404 for all else; or
/// it sends the same response to every request, and closes; or it does on each connection what the test has it do.
/// It remembers what it was asked.
class Web_Server : private FrontEnd::Util::Non_Copyable {
public:
    using Behaviour = std::function<void(Server_Connection&)>;

    static constexpr char Empty_Response[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    static constexpr int Smallest_Receive_Buffer = 1;

    /// @param response to every request; empty: the files
    /// @param host its address of this machine, or a name for its URLs, which the tests resolve to 127.0.0.1
    /// @param port 0: a free one
    explicit Web_Server(std::string response = "", std::string host = "127.0.0.1", int port = 0);

    /// @param receive_buffer what the system takes from a client before the behaviour reads; 0: its own choice
    explicit Web_Server(Behaviour behaviour, int receive_buffer = 0);
    Web_Server(Behaviour behaviour, const Server_Certificate& tls);
    ~Web_Server() { Stop(); }

    /// From now on sends this to every request.
    void Respond_With(std::string response);

    /// @param path such as "/landscape.xml".
    void Publish(const std::string& path, const std::string& content, const std::string& last_modified);

    int Port() const { return m_Port; }
    std::string Url(const std::string& path = "/file.xml") const { return Url(path, m_Host); }
    std::string Url(const std::string& path, const std::string& host) const;

    /// Connections accepted so far.
    int Connections() const { return m_Connections; }
    /// The last request with its headers; empty when there was none.
    std::string Request() const;
    /// All requests so far, such as "GET /landscape.xml".
    std::vector<std::string> Requests() const;

    /// Ends the server; its port refuses connections from now on.
    void Stop();

private:
    friend class Server_Connection;

    struct Free_Context {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };
    struct File {
        std::string content;
        std::string last_modified;
    };

    void Listen(int receive_buffer = 0);
    void Accept();
    void Serve(Server_Connection& connection);
    void Respond(Server_Connection& connection);
    std::string File_For(const std::string& request) const;
    void Note(const std::string& request);
    /// False when the server ends before the time has passed.
    bool Sleep(std::chrono::milliseconds duration);

    const std::string m_Host;
    const Behaviour m_Behaviour;
    std::unique_ptr<SSL_CTX, Free_Context> m_Tls;
    Socket m_Listener;
    int m_Port = 0;
    std::atomic<int> m_Connections = 0;

    mutable std::mutex m_Mutex; ///< guards all below
    std::string m_Response;
    std::map<std::string, File> m_Files;
    std::string m_Request;
    std::vector<std::string> m_Requests;
    std::condition_variable m_Ended;
    bool m_Is_Ending = false;
    std::list<Server_Connection> m_Open_Connections;
    std::list<std::thread> m_Threads;
    std::latch m_Has_Started{1}; ///< awaited: a thread that starts allocates, which locks a child forked meanwhile
    std::thread m_Acceptor;
};

} // namespace QEL::Tests
