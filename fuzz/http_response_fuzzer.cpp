// Any bytes as what servers send: the request ends with a response or an error that says why, no
// header breaks a line, nothing grows beyond what was sent, and no server makes the client send
// anything but requests of its own.
//
// The first byte chooses the request; the rest is the response, or several of them with a line between
// each and the next, for the connections that a redirect leads to.

#include "fuzz/Require.h"
#include "fuzz/support/Responding_Sockets.h"
#include "fuzz/support/Scratch.h"
#include "util/HttpClient.h"
#include "util/IRequest_Object.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace QEL::FrontEnd::FileCache;
using QEL::FrontEnd::Util::HttpWinInet::HttpClient;

constexpr std::string_view Between_Responses = "\n======== next response ========\n";
constexpr const char* Url = "http://127.0.0.1/landscape.xml";
constexpr std::size_t Most_Exchanges = 11;

// What the first byte chooses. Servers that keep their side open are rare, for they cost time.
constexpr unsigned int Is_Head = 1;
constexpr unsigned int Stays_Open_Mask = 0x0E;
constexpr unsigned int Stays_Open = 0x02;
constexpr unsigned int Is_Second_Client = 4;

std::vector<std::string> Responses_In(std::string_view text) {
    std::vector<std::string> responses;
    for (;;) {
        const auto end = text.find(Between_Responses);
        responses.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return responses;
        }
        text.remove_prefix(end + Between_Responses.size());
    }
}

void Require_Line(const std::string& text) {
    REQUIRE(std::none_of(text.begin(), text.end(),
                         [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; }));
}

/// What a connection has received: whole requests of one method, with the client's own headers.
void Require_Own_Requests(std::string_view received, std::string_view method) {
    if (received.starts_with('\x16')) {
        return; // a redirect to https: the start of a TLS handshake
    }
    while (!received.empty()) {
        const auto end = received.find("\r\n\r\n");
        REQUIRE(end != std::string_view::npos);
        auto head = received.substr(0, end + 2);
        received.remove_prefix(end + 4);
        REQUIRE(head.starts_with(std::string(method) + " /"));
        for (std::size_t line_number = 0; !head.empty(); ++line_number) {
            const auto line_end = head.find("\r\n");
            const auto line = head.substr(0, line_end);
            head.remove_prefix(line_end + 2);
            REQUIRE(line.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos);
            REQUIRE(line_number != 0 ||
                    (line.ends_with(" HTTP/1.1") && std::count(line.begin(), line.end(), ' ') == 2));
            REQUIRE(line_number == 0 || line.starts_with("Host: ") || line.starts_with("User-Agent: ") ||
                    line.starts_with("Accept: ") || line.starts_with("Authorization: "));
        }
    }
}

bool Is_Documented(std::uint32_t error) {
    constexpr std::uint32_t out_of_memory = 14;
    return HttpClient::IsErrorInRange(error) || error == out_of_memory;
}

void Ask_First_Client(const char* method, bool stays_open, std::size_t sent) {
    const auto object = Create_Request_Object().object;
    const int patience = stays_open ? 10 : 2000;
    REQUIRE(object->Set_Timeouts(2000, 2000, patience, patience) == 0);
    REQUIRE(object->Open(method, Url) == 0);
    const HResult result = object->Send();
    if (Failed(result)) {
        const auto description = object->Error_Description(Request_Interface::ServerXMLHTTPRequest);
        REQUIRE(!description.empty());
        Require_Line(description);
        REQUIRE((static_cast<std::uint32_t>(result) & 0xFFFF0000U) == 0x80070000U ||
                (static_cast<std::uint32_t>(result) & 0xFFFF0000U) == 0x80072000U);
        REQUIRE(Is_Documented(static_cast<std::uint32_t>(result) & 0xFFFFU));
        return;
    }
    long status = 0;
    REQUIRE(object->Get_Status(status) == 0 && status >= 100 && status <= 999);
    for (const char* const name : {"Last-Modified", "Content-Type", "Location", "X", ""}) {
        std::string value;
        REQUIRE(object->Get_Response_Header(name, value) == 0);
        Require_Line(value);
        REQUIRE(value.size() <= sent);
    }
    Response_Body body;
    REQUIRE(object->Get_Response_Body(body) == 0 && body.data != nullptr);
    const auto size = static_cast<std::size_t>(body.upper_bound - body.lower_bound + 1);
    REQUIRE(size <= sent);
    REQUIRE(size == 0 || std::string_view(method) == "GET");
}

void Ask_Second_Client(int http_type, std::size_t sent) {
    HttpClient client;
    const unsigned long status = client.SendWinInetRequest(http_type, Url, client.GetHWnd(), 2000);
    REQUIRE((status >= 100 && status <= 999) || HttpClient::IsErrorInRange(static_cast<std::uint32_t>(status)));
    Require_Line(client.GetResponseHeader("Last-Modified"));
    REQUIRE(client.GetResponseBody().size() <= sent);
}

std::string First_Certificate(const char* path) {
    std::ifstream file(path);
    std::string certificate;
    for (std::string line; std::getline(file, line);) {
        certificate += line + '\n';
        if (line.starts_with("-----END")) {
            break;
        }
    }
    REQUIRE(!certificate.empty());
    return certificate;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // One authority, for reading the system's takes longer than everything else. No fuzzer gets past
    // the handshake anyway.
    const auto authority = QEL::Fuzz::Scratch_Directory() / "authority.pem";
    QEL::Fuzz::Write_File(authority, First_Certificate("/etc/ssl/certs/ca-certificates.crt"));
    ::setenv("SSL_CERT_FILE", authority.c_str(), 1);
    ::setenv("SSL_CERT_DIR", QEL::Fuzz::Scratch_Directory().c_str(), 1);
    // Each input has a server of its own: none is dead because an earlier one was silent.
    std::filesystem::create_directories(QEL::Fuzz::Scratch_Directory() / "qel");
    QEL::Fuzz::Write_File(QEL::Fuzz::Scratch_Directory() / "qel" / "qel.ini",
                          "[Software\\QEL\\QELLogon\\Options]\nLandscapeServerRetryAfter = 0\n");
    ::setenv("XDG_CONFIG_HOME", QEL::Fuzz::Scratch_Directory().c_str(), 1);
    for (const char* const variable : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        ::unsetenv(variable);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const unsigned int choice = bytes[0];
    const bool is_head = (choice & Is_Head) != 0;
    const bool is_second_client = (choice & Is_Second_Client) != 0;
    const bool stays_open = (choice & Stays_Open_Mask) == Stays_Open;
    QEL::Fuzz::Responding_Sockets servers(Responses_In({reinterpret_cast<const char*>(bytes) + 1, size - 1}),
                                          stays_open);
    const std::size_t sent = size * Most_Exchanges;
    if (is_second_client) {
        Ask_Second_Client(is_head ? 2 : 1, sent);
    } else {
        Ask_First_Client(is_head ? "HEAD" : "GET", stays_open, sent);
    }
    const auto received = servers.Received();
    REQUIRE(!received.empty() && received.size() <= 2 * Most_Exchanges);
    for (const std::string& text : received) {
        Require_Own_Requests(text, is_head ? "HEAD" : "GET");
    }
    return 0;
}
