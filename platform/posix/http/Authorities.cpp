#include "platform/posix/http/Authorities.h"

#include "util/Configuration_Source.h"
#include "util/Process.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include <openssl/err.h>
#include <openssl/pem.h>

namespace QEL::FrontEnd {

namespace Platform {

namespace {

constexpr const char* File_Variable = "SSL_CERT_FILE";
constexpr const char* Directory_Variable = "SSL_CERT_DIR";

/// Why no certificate can be read from the file; empty when one can.
std::string Fault_Of_File(const char* path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "re"), &std::fclose);
    if (file == nullptr) {
        return "cannot be read: " + std::generic_category().message(errno);
    }
    const std::unique_ptr<X509, void (*)(X509*)> certificate(PEM_read_X509_AUX(file.get(), nullptr, nullptr, nullptr),
                                                             &X509_free);
    ERR_clear_error();
    return certificate == nullptr ? "holds no certificate" : std::string();
}

/// Names under which OpenSSL finds certificates: the hash of their subject, as "0a1b2c3d.0".
bool Is_Hashed_Name(std::string_view name) {
    constexpr std::string_view digits = "0123456789";
    constexpr std::string_view hexadecimal_digits = "0123456789abcdef";
    return name.size() >= 10 && name.find_first_not_of(hexadecimal_digits) == 8 && name[8] == '.' &&
           name.find_first_not_of(digits, 9) == std::string_view::npos;
}

bool Holds_Certificate(const std::filesystem::path& directory) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (Is_Hashed_Name(entry->path().filename().native()) && Fault_Of_File(entry->path().c_str()).empty()) {
            return true;
        }
    }
    return false;
}

} // namespace

Authorities Authorities::Configured() {
    return {Util::Environment_Variable(File_Variable), Util::Environment_Variable(Directory_Variable)};
}

std::string Authorities::Fault() const {
    if (const auto fault = file.empty() ? std::string() : Fault_Of_File(file.c_str()); !fault.empty()) {
        return std::string(File_Variable) + " names " + file + ", which " + fault;
    }
    bool holds_certificate = directories.empty();
    for (std::string_view rest = directories; !rest.empty() && !holds_certificate;) {
        const auto length = std::min(rest.find(':'), rest.size());
        holds_certificate = Holds_Certificate(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return holds_certificate ? std::string()
                             : std::string(Directory_Variable) + " names " + directories +
                                   ", which cannot be read or holds no certificate that 'openssl rehash' has named";
}

} // namespace Platform

std::vector<Util::Configured_Value> Util::Configured_Authorities() {
    const auto authorities = Platform::Authorities::Configured();
    std::vector<Configured_Value> values;
    if (!authorities.file.empty()) {
        values.push_back({Platform::File_Variable, authorities.file});
    }
    if (!authorities.directories.empty()) {
        values.push_back({Platform::Directory_Variable, authorities.directories});
    }
    return values;
}

} // namespace QEL::FrontEnd
