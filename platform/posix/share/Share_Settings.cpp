#include "platform/posix/share/Share_Settings.h"

#include "platform/common/Wildcard.h"
#include "platform/posix/configuration/Ini_Configuration.h"
#include "platform/posix/share/agent/Agent_Protocol.h"
#include "platform/posix/system/File_Descriptor.h"
#include "util/Ascii.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr const char* Section = "Shares";
constexpr mode_t Rights_Of_Others = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

std::optional<std::string> Text_Of(const char* key) {
    return Configuration::System().Read_Text(Configuration_Scope::User_Then_Machine, Section, key);
}

/// False when the value is there and is not a number from `least` to `most`.
template <typename Number>
bool Read_Number(const char* key, std::int64_t least, std::int64_t most, Number& number, std::string& refusal) {
    const auto text = Text_Of(key);
    if (!text) {
        return true;
    }
    const auto value = Parse_Integer(*text);
    if (!value || *value < least || *value > most) {
        refusal = Fault_Of(std::string("[Shares] ") + key, *text,
                           "not a number from " + std::to_string(least) + " to " + std::to_string(most));
        return false;
    }
    number = static_cast<Number>(*value);
    return true;
}

/// False when a text makes no sense.
bool Is_Sound(const char* key, const std::string& text, std::string& refusal) {
    const std::string objection = Objection_To_Share_Setting(key, text);
    if (!objection.empty()) {
        refusal = Fault_Of(std::string("[Shares] ") + key, text, objection);
    }
    return objection.empty();
}

bool Read_Name(const char* key, std::string& name, std::string& refusal) {
    name = Text_Of(key).value_or("");
    return Is_Sound(key, name, refusal);
}

/// Whether a server gets user and password: nothing says otherwise, or one of the names is its.
/// @return false when a name makes no sense.
bool Read_Trust(const std::string& server, bool& is_trusted, std::string& refusal) {
    constexpr auto scope = Configuration_Scope::User_Then_Machine;
    const auto names = Configuration::System().Read_List(scope, Section, "Servers");
    is_trusted = names.empty();
    for (const std::string& name : names) {
        if (!Is_Sound("Servers", name, refusal)) {
            return false;
        }
        is_trusted = is_trusted || Matches_Wildcard(server, name, [](char one, char other) {
                         return Util::To_Ascii_Lower(one) == Util::To_Ascii_Lower(other);
                     });
    }
    return true;
}

/// Why a password must not be read from the file; null when it may be.
const char* Objection(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return "not a regular file";
    }
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return "belongs to another user";
    }
    return (status.st_mode & Rights_Of_Others) != 0 ? "open to others; chmod 600 closes it" : nullptr;
}

/// Reads the password.
/// @return why that must not or cannot be; empty on success.
std::string Read_Password(const std::string& path, std::string& password) {
    if (!path.starts_with('/')) {
        return "not an absolute path";
    }
    // The open file is judged, not its name: what is read is what was judged. A pipe does not block.
    const File_Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0) {
        return std::strerror(errno);
    }
    if (const char* const objection = Objection(status)) {
        return objection;
    }
    char text[Agent_Protocol::Max_Name + 2];
    const ssize_t size = ::read(file.Get(), text, sizeof text);
    if (size < 0) {
        return std::strerror(errno);
    }
    password.assign(text, static_cast<std::size_t>(size));
    password.erase(std::min(password.find_first_of("\r\n"), password.size()));
    return password.size() < Agent_Protocol::Max_Name ? "" : "its first line is too long";
}

} // namespace

std::string Objection_To_Share_Setting(std::string_view key, const std::string& text) {
    if (key == "PasswordFile") {
        std::string password;
        return Read_Password(text, password);
    }
    if (key == "Servers") {
        return text.find_first_of(" \t,;") == std::string::npos ? "" : "not a name; each has a line of its own";
    }
    if (key == "Signing") {
        return text == "required" ? "" : "not \"required\"";
    }
    return text.size() < Agent_Protocol::Max_Name ? "" : "too long";
}

bool Read_Share_Settings(const std::string& server, Share_Settings& settings, std::string& refusal) {
    Share_Settings read;
    bool is_trusted = false;
    std::uint32_t timeout_s = read.timeout_ms / 1000;
    if (!Read_Number("Timeout", 1, 3600, timeout_s, refusal) || !Read_Number("Port", 1, 65535, read.port, refusal) ||
        !Read_Name("User", read.user, refusal) || !Read_Name("Workgroup", read.workgroup, refusal) ||
        !Read_Trust(server, is_trusted, refusal)) {
        return false;
    }
    if (const auto signing = Text_Of("Signing")) {
        if (!Is_Sound("Signing", *signing, refusal)) {
            return false;
        }
        read.is_signing_required = true;
    }
    read.timeout_ms = timeout_s * 1000;
    if (!is_trusted) {
        read.user.clear();
    } else if (const auto path = Text_Of("PasswordFile")) {
        if (const std::string objection = Read_Password(*path, read.password); !objection.empty()) {
            refusal = Fault_Of("[Shares] PasswordFile", *path, objection);
            return false;
        }
    }
    settings = std::move(read);
    return true;
}

} // namespace QEL::FrontEnd::Platform
