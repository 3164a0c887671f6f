#include "util/Error_Meaning.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace QEL::FrontEnd::Util {

namespace {

constexpr std::string_view logon =
    "check the user and the password for the share: those of this user, or of [Shares] in qel.ini";

constexpr Error_Meaning meanings[] = {
    {0, "success", ""},
    {2, "the file cannot be found", "check the path"},
    {3, "the path cannot be found", "check the path"},
    {4, "too many files are open", "close some programs"},
    {5, "access is denied", "check that it is a file, and that this user may read it"},
    {6, "the handle is not valid", ""},
    {8, "there is not enough memory", "close some programs"},
    {14, "there is not enough memory for the request", "close some programs"},
    {19, "the disk is read-only", ""},
    {21, "the share is not ready", "try again"},
    {31, "the system failed and does not say why", ""},
    {32, "another program is using the file", "close it there"},
    {50, "the server does not support this", "check the path"},
    {53, "the server cannot be found or does not respond", "check its name, that it runs, and the network"},
    {55, "the share is gone", "check its name"},
    {59, "the network failed", "try again"},
    {64, "the server ended the connection", "check that it runs"},
    {65, "access over the network is denied", "check that this user may use the share"},
    {67, "the server has no such share", "check its name"},
    {71, "the server takes no more connections", "try again"},
    {80, "the file exists already", ""},
    {86, "the password is wrong", logon},
    {87, "a parameter is not valid", ""},
    {112, "the disk is full", "free some space on it"},
    {121, "the server did not respond in time", "check that it runs, and the network"},
    {123, "the path is not valid", "check its spelling"},
    {126, "a needed program or library is missing or refused", "see standard error"},
    {206, "the name is too long", "shorten it"},
    {223, "the file is too large", ""},
    {288, "the lock is not held by the caller", ""},
    {1003, "the system's object for HTTP requests failed and gave no number of a connection error", ""},
    {1117, "reading or writing failed", "check the disk and the network"},
    {1131, "the calling thread holds the lock already", ""},
    {1203, "no network recognises the path", "check its spelling"},
    {1231, "the server's network cannot be reached", "check the network"},
    {1232, "the server cannot be reached", "check the network"},
    {1265, "this machine cannot reach a domain controller for the logon", "check the network"},
    {1326, "the server refuses the user or the password", logon},
    {1331, "this user's account is disabled", ""},
    {1610, "the configuration is not valid", "correct it"},
    {1907, "the password has to be changed first", "change it"},
    {1909, "this user's account is locked", ""},
    {1921, "too many symbolic links", ""},
    {12001, "this machine has no room for another connection", "try again"},
    {12002, "the server did not respond in time", "check that it runs, its load, and the network"},
    {12004, "the system's HTTP client had an internal error", "try again"},
    {12005, "the address is not valid", "check its spelling"},
    {12006, "the scheme of the address is unknown", "use http: or https:"},
    {12007, "the server's name cannot be resolved", "check its spelling, the name service and the network"},
    {12009, "the system's HTTP client does not know an option that the cache sets", ""},
    {12017, "the request was cancelled", ""},
    {12029, "the server cannot be connected to", "check that it runs, its port, and the firewalls between"},
    {12030, "the server ended the connection before its response was complete",
     "check the server and the proxies between"},
    {12031, "the connection was reset", "check the server and the firewalls between"},
    {12037, "the server's certificate has expired or is not yet valid", "renew it, or correct this machine's date"},
    {12038, "the server's certificate was issued for another name", "use the name that the certificate was issued for"},
    {12044, "the server wants a certificate of the client, and the cache has none to show", ""},
    {12045,
     "the server's certificate comes from an authority that this machine does not trust, or its chain is incomplete",
     "install the authority's certificate, or have the server send its chain"},
    {12055, "the server's certificate has several faults", ""},
    {12057, "it is unknown whether the server's certificate was revoked",
     "let this machine reach the authority's revocation list"},
    {12152, "the server's response is not valid HTTP", "check that the address names a web server, and the port"},
    {12156, "the server redirects the request too often, or from https to http", "check the server's redirects"},
    {12157, "the TLS handshake with the server failed", "check that it offers TLS 1.2 or newer on this port"},
    {12169, "the server's certificate is not valid", "have it replaced"},
    {12170, "the server's certificate has been revoked", "do not trust this server until it has a new one"},
    {12175, "the TLS handshake with the server failed, or its certificate is not valid",
     "check its certificate, and that it offers TLS 1.2 or newer"},
    {12176, "the script that chooses the proxy is of an unknown type", "check this machine's proxy settings"},
    {12177, "the script that chooses the proxy failed", "check this machine's proxy settings"},
    {12178, "the service that chooses the proxy failed", "check the WinHTTP proxy service of this machine"},
    {12179, "the server's certificate is for another use", "have it replaced"},
    {12180, "no proxy settings could be detected", "check this machine's proxy settings"},
    {12181, "the server's response has too many headers", "check the server and the proxies between"},
    {12182, "the headers of the server's response are too long", "check the server and the proxies between"},
    {12183, "a chunk header of the server's response is too long", "check the server and the proxies between"},
    {12184, "the rest of the server's response is too long to be skipped", "check the server"},
    {12185, "the client's certificate has no private key", "install it with its key"},
    {12186, "this user may not use the private key of the client's certificate", "allow it"},
    {12187, "the proxy wants a certificate of the client, and the cache has none to show", ""},
    {12188, "the TLS handshake with the proxy failed, or its certificate is not valid",
     "check the proxy's certificate"},
    {12190, "the server and this machine have no version of HTTP in common", "check the server"},
    {12191, "the program's callback of the system's HTTP client failed", ""},
    {12192, "this machine's settings have switched off a feature of the system's HTTP client", "ask its administrator"},
};

} // namespace

Error_Meaning Meaning_Of_Error(std::uint32_t number) {
    const auto* const found = std::find_if(std::begin(meanings), std::end(meanings),
                                           [number](const Error_Meaning& meaning) { return meaning.number == number; });
    return found == std::end(meanings) ? Error_Meaning{number, {}, {}} : *found;
}

std::string Sentence(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text.ends_with('?') ? text : text + '.';
}

std::string Sentences(const std::string& cause, std::string_view remedy) {
    std::string text = Sentence(cause);
    if (!remedy.empty()) {
        text += ' ' + Sentence(std::string(remedy));
    }
    return text;
}

std::string Sentences_On_Error(std::uint32_t number, std::string_view subject, std::string_view detail) {
    const auto meaning = Meaning_Of_Error(number);
    std::string cause(meaning.cause.empty() ? "the request failed" : meaning.cause);
    constexpr std::string_view server = "the server";
    constexpr std::string_view possessive = "'s ";
    if (const auto found = cause.find(server); found != std::string::npos) {
        std::string named = "the " + std::string(subject);
        auto end = found + server.size();
        if (cause.compare(end, possessive.size(), possessive) == 0) {
            const auto noun = end + possessive.size();
            end = cause.find(' ', noun);
            named = "the " + cause.substr(noun, end - noun) + " of " + named;
        }
        cause.replace(found, end - found, named);
    }
    return Sentences(cause + std::string(detail), meaning.remedy);
}

std::size_t End_Of_Cause(std::string_view sentences) {
    auto end = sentences.find(". ");
    // "server. (port 80)", "proxy. cannot": the full stop belongs to a name.
    while (end != std::string_view::npos && end + 2 < sentences.size() &&
           (sentences[end + 2] == '(' || std::islower(static_cast<unsigned char>(sentences[end + 2])) != 0)) {
        end = sentences.find(". ", end + 2);
    }
    return end;
}

bool Is_Certificate_Error(std::uint32_t number) {
    constexpr std::uint32_t faults[] = {12037, 12038, 12045, 12055, 12057, 12169, 12170, 12179};
    return std::ranges::find(faults, number) != std::end(faults);
}

} // namespace QEL::FrontEnd::Util
