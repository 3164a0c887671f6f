#include <gmock/gmock.h>

#include <dlfcn.h>
#include <sys/socket.h>

#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Connection_Pool.h"
#include "platform/posix/system/Write_Signal_Guard.h"
#include "tests/live/http/Http_Result.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Tls_Sites.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/Cert_Error_Handling.h"
#include "util/HttpClient.h"

// Requests have objects of their own; the connections outlive them.

namespace {

thread_local int t_receive_error = 0; // 0: none
thread_local bool t_has_memory = true;

} // namespace

// In the places of the system's and libcurl's.
extern "C" __attribute__((visibility("default"))) ssize_t recv(int socket, void* buffer, size_t size, int flags) {
    static const auto s_recv = reinterpret_cast<decltype(&recv)>(dlsym(RTLD_NEXT, "recv"));
    errno = t_receive_error;
    return t_receive_error == 0 ? s_recv(socket, buffer, size, flags) : -1;
}

extern "C" __attribute__((visibility("default"))) CURL* curl_easy_init() {
    static const auto s_init = reinterpret_cast<decltype(&curl_easy_init)>(dlsym(RTLD_NEXT, "curl_easy_init"));
    return t_has_memory ? s_init() : nullptr;
}

using namespace QEL::Tests;

namespace {

using namespace std::chrono_literals;
using namespace QEL::FrontEnd::Platform;
using namespace QEL::FrontEnd::Util::HttpWinInet;

const std::string Response_With_Body = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";
const std::string Response_Without_Body = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n";

/// Serves one request after the other on each connection.
void Serve_All(Server_Connection& client) {
    for (auto request = client.Read_Request(); !request.empty(); request = client.Read_Request()) {
        client.Send(request.starts_with("HEAD") ? Response_Without_Body : Response_With_Body);
    }
}

TEST(Connections, BelongToTheProcessThatMadeThem) {
    const Scratch_Directory directory;
    const Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    const Nginx_Server server({{"", authority.Issue("server", {})}});
    server.Write("file", "abc");
    EXPECT_EQ(Head(server.Url("/file")).status, 200);
    EXPECT_EQ(Get(server.Url("/file")).body, "abc");

    EXPECT_EQ(Child_Process([&] { return Get(server.Url("/file")).body == "abc" ? 0 : 1; }).Wait(), 0);
    EXPECT_EQ(Get(server.Url("/file")).body, "abc");

    std::vector<std::string> connections;
    for (const auto& request : server.Requests(4)) {
        connections.push_back(request.substr(0, request.find(' ')));
    }
    ASSERT_EQ(connections.size(), 4U);
    EXPECT_EQ(connections[1], connections[0]) << "one TLS handshake for freshness check and download";
    EXPECT_NE(connections[2], connections[0]) << "one of the child's own";
    EXPECT_EQ(connections[3], connections[0]) << "the parent's is still open";
}

TEST(Connections, AreNotSharedBetweenServers) {
    const Web_Server first(Serve_All);
    const Web_Server second(Serve_All);

    Get(first.Url());
    Get(second.Url());
    Get(first.Url());
    Get(first.Url("/file.xml", "other.test"));

    EXPECT_EQ(first.Connections(), 2);
    EXPECT_EQ(second.Connections(), 1);
}

TEST(Connections, MadeWithoutCertificateCheckServeNoRequestThatWantsIt) {
    const Tls_Sites sites;
    const auto url = sites.Url("Good");
    const auto send = [&url] {
        HttpClient client;
        EXPECT_EQ(client.SendWinInetRequest(Http_Get, url.c_str(), client.GetHWnd(), 20000), 200U);
    };
    {
        User_Configuration configuration;
        configuration.Set_Number("CertErrorHandlingMode", IgnoreAllErrorsMode);
        send();
        send();
    }
    const User_Configuration default_mode;
    send();
    Get(url);

    std::vector<std::string> connections;
    for (const auto& request : sites.Server().Requests(4)) {
        connections.push_back(request.substr(0, request.find(' ')));
    }
    ASSERT_EQ(connections.size(), 4U);
    EXPECT_EQ(connections[0], connections[1]);
    EXPECT_NE(connections[1], connections[2]);
    EXPECT_EQ(connections[2], connections[3]);
}

TEST(Connections, ThatTheServerClosesAtOnceOrWithTheNextRequestAreReplaced) {
    for (const bool at_once : {true, false}) {
        const Web_Server server([at_once](Server_Connection& client) {
            client.Read_Request();
            client.Send(Response_With_Body);
            at_once ? "" : client.Read_Request();
        });
        EXPECT_EQ(Get(server.Url()).body, "abc");
        EXPECT_EQ(Get(server.Url()).body, "abc");
        EXPECT_EQ(server.Connections(), 2);
    }
}

TEST(Connections, ThatFailedAreNotUsedAgain) {
    std::binary_semaphore first_has_failed{0};
    std::binary_semaphore rest_is_sent{0};
    std::atomic<bool> is_first = true;
    const Web_Server server([&](Server_Connection& client) {
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
        if (is_first.exchange(false)) {
            first_has_failed.acquire();
            client.Send("defghij" + Response_With_Body);
            rest_is_sent.release();
        }
        Serve_All(client);
    });

    EXPECT_EQ(Get(server.Url(), Short_Receive).Error(), Error_Internet_Timeout);
    first_has_failed.release();
    ASSERT_TRUE(rest_is_sent.try_acquire_for(20s));
    EXPECT_EQ(Get(server.Url(), Short_Receive).Error(), Error_Internet_Timeout);

    EXPECT_EQ(server.Connections(), 2);
}

TEST(Connections, WithAResponseThatNobodyAskedForAreNotUsedAgain) {
    const Web_Server server([](Server_Connection& client) {
        while (!client.Read_Request().empty()) {
            client.Send(Response_With_Body + "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nforged");
        }
    });

    for (int request = 0; request < 5; ++request) {
        EXPECT_EQ(Get(server.Url()).body, "abc");
    }
}

// With a handle used before, libcurl appended the line to a header that it had freed.
TEST(Connections, CarryNoHeaderFromOneResponseToTheNext) {
    const Web_Server server([](Server_Connection& client) {
        for (int request = 0; request < 3; ++request) {
            client.Read_Request();
            client.Send("HTTP/1.1 200 OK\r\nLast-Modified: monday\r\nContent-Length: 0\r\n\r\n");
        }
        client.Read_Request();
        client.Send("HTTP/1.1 200 OK\r\n Last-Modified: " + std::string(100, 'x') + "\r\nContent-Length: 3\r\n\r\nabc");
    });

    for (int request = 0; request < 3; ++request) {
        EXPECT_EQ(Get(server.Url()).last_modified, "monday");
    }
    EXPECT_EQ(Get(server.Url()).Error(), Error_Http_Invalid_Server_Response);

    EXPECT_EQ(server.Connections(), 1);
}

TEST(Connections, ToManyServersAreLimited) {
    std::vector<std::unique_ptr<Web_Server>> servers;
    for (int server = 0; server < 20; ++server) {
        servers.push_back(std::make_unique<Web_Server>(Serve_All));
        EXPECT_EQ(Get(servers.back()->Url()).body, "abc");
    }

    EXPECT_EQ(Connection_Pool::Instance()->m_Idle.size(), 8U);
    Get(servers.back()->Url());
    EXPECT_EQ(servers.back()->Connections(), 1);
    Get(servers.front()->Url());
    EXPECT_EQ(servers.front()->Connections(), 2);
}

TEST(Connections, AreClosedAfterTwoIdleMinutes) {
    const Web_Server server(Serve_All);
    Get(server.Url());
    for (auto& idle : Connection_Pool::Instance()->m_Idle) {
        idle.since -= 121s;
    }

    Get(server.Url());

    EXPECT_EQ(Connection_Pool::Instance()->m_Idle.size(), 1U);
    EXPECT_EQ(server.Connections(), 2);
}

TEST(Connections, ThatTheSystemBreaksOrCannotMakeSayWhy) {
    const Web_Server server(Serve_All);
    t_receive_error = ETIMEDOUT;
    EXPECT_EQ(Get(server.Url()).Error(), Error_Internet_Timeout);
    t_receive_error = ECONNRESET;
    EXPECT_EQ(Get(server.Url()).Error(), Error_Internet_Connection_Aborted);
    t_receive_error = 0;
    for (int idle_connections = 0; idle_connections < 2; ++idle_connections) {
        t_has_memory = false;
        EXPECT_EQ(Get(server.Url()).description, "There is not enough memory for a connection.");
        t_has_memory = true;
        EXPECT_EQ(Get(server.Url()).body, "abc");
    }
}

TEST(Connections, DoNotPassAServersWordForTheEndOnToTheNextResponse) {
    const Scratch_Directory directory;
    const Certificate_Authority authority(directory.Path(), "authority");
    const Environment_Variable trusted("SSL_CERT_FILE", authority.File().c_str());
    std::atomic<bool> is_first = true;
    const Web_Server server(
        [&](Server_Connection& client) {
            client.Read_Request();
            if (is_first.exchange(false)) {
                client.Send(Response_With_Body);
                client.Close_Tls();
            } else {
                client.Send("HTTP/1.1 200 OK\r\n\r\nab");
            }
        },
        authority.Issue("server", {}));
    EXPECT_EQ(Get(server.Url()).body, "abc");
    EXPECT_EQ(Get(server.Url()).Error(), Error_Internet_Connection_Aborted);
}

/// Whatever the host writes there later would reach the server.
TEST(Connections, DoNotTakeThePlaceOfAClosedStandardError) {
    const Nginx_Server server(std::vector<Nginx_Site>(1));
    server.Write("file", "abc");
    EXPECT_EQ(Child_Process([&] {
                  ::close(STDERR_FILENO);
                  struct stat status {};
                  return Get(server.Url("/file")).status == 200 && ::fstat(STDERR_FILENO, &status) == 0 &&
                                 S_ISCHR(status.st_mode)
                             ? 0
                             : 1;
              }).Wait(),
              0);
}

TEST(Connections, ServeManyThreadsAtOnce) {
    const Web_Server server(Serve_All);
    std::atomic<int> served = 0;
    In_Threads(32, [&](int) {
        for (int request = 0; request < 50; ++request) {
            served += Get(server.Url()).body == "abc" ? 1 : 0;
        }
    });

    EXPECT_EQ(served, 32 * 50);
}

TEST(Sigpipe, IsKeptFromTheThreadAndForgottenAtTheEndUnlessItIsTheHosts) {
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    const timespec no_wait{};
    {
        const Write_Signal_Guard guard;
        raise(SIGPIPE);
    }
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
    EXPECT_EQ(sigismember(&before, SIGPIPE), 0);
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &no_wait), -1);
    raise(SIGPIPE);
    { const Write_Signal_Guard guard; }
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &no_wait), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
