#include "platform/posix/configuration/Ini_File.h"

#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Ascii.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string_view>

// Texts are bytes here: the library converts nothing, so that a value reaches the cache as written.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

namespace QEL::FrontEnd::Platform {

namespace {

/// Far more than any configuration needs, and little enough to read it whole.
constexpr std::size_t Greatest_Size = std::size_t{4} << 20;

std::int64_t Nanoseconds(const struct timespec& time) {
    return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

/// True when the file changed so short a time ago that it can change once more without any sign of
/// it: the clock behind its time stamps advances in steps, of seconds on some file systems.
bool Changed_Just_Now(const struct stat& status) {
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t step = status.st_ctim.tv_nsec == 0 ? 2000000000 : 50000000;
    return std::abs(Nanoseconds(now) - Nanoseconds(status.st_ctim)) < step;
}

/// What is wrong with a line; null when it is a section, a key with its value, a comment or blank.
const char* Fault_Of_Line(std::string_view line) {
    const auto begin = line.find_first_not_of(" \t");
    if (begin == std::string_view::npos || line[begin] == ';' || line[begin] == '#') {
        return nullptr;
    }
    if (line[begin] == '[') {
        return line.find(']', begin) == std::string_view::npos ? "the section has no ']' at its end" : nullptr;
    }
    const auto equals = line.find('=', begin);
    if (equals == std::string_view::npos) {
        return "neither a section, nor a key with '=' and its value, nor a comment with ';' or '#'";
    }
    return equals == begin ? "no key stands before the '='" : nullptr;
}

/// A line without fault, as the library reads it; none for a comment.
void Add_Line(std::vector<Ini_File::Line>& lines, std::size_t number, std::string_view line) {
    line = Util::Trim(line, Util::Ascii_Blanks);
    if (line.empty() || line[0] == ';' || line[0] == '#') {
        return;
    }
    const auto trimmed = [](std::string_view part) { return std::string(Util::Trim(part, Util::Ascii_Blanks)); };
    if (line[0] == '[') {
        lines.push_back({number, trimmed(line.substr(1, line.find(']') - 1)), {}, {}});
        return;
    }
    const auto equals = line.find('=');
    std::string section = lines.empty() ? std::string() : lines.back().section;
    lines.push_back({number, std::move(section), trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))});
}

/// "line 3: " and what is wrong with it, of the first line that is passed over; empty when there is none.
/// @param lines receives the others.
std::string First_Fault(std::string_view text, std::vector<Ini_File::Line>& lines) {
    std::string first_fault;
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.find_first_of("\r\n"), text.size());
        const char* const fault = Fault_Of_Line(text.substr(0, end));
        if (fault == nullptr) {
            Add_Line(lines, number, text.substr(0, end));
        } else if (first_fault.empty()) {
            first_fault = "line " + std::to_string(number) + ": " + fault;
        }
        text.remove_prefix(end);
        text.remove_prefix(text.starts_with("\r\n") ? 2 : std::min<std::size_t>(text.size(), 1));
    }
    return first_fault;
}

std::array<std::int64_t, 5> Version_Of(const struct stat& status) {
    return {static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino), status.st_size,
            Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim)};
}

} // namespace

struct Ini_File::Content {
    CSimpleIniA values{/* is UTF-8 */ true, /* repeated keys */ true, /* values of several lines */ false};
};

Ini_File::Ini_File(std::string path) : m_Path(std::move(path)) {}

Ini_File::~Ini_File() = default;

void Ini_File::Refresh() {
    struct stat status {};
    if (::stat(m_Path.c_str(), &status) == 0) {
        if (m_Version != Version_Of(status)) {
            Read();
        }
        return;
    }
    m_Version.reset();
    m_Content.reset();
    m_Lines.clear();
    m_Problem.clear();
    if (errno != ENOENT && errno != ENOTDIR) {
        m_Problem = m_Path + ": " + Win32_Error_Text(Win32_Error_From_Errno(errno));
    }
}

void Ini_File::Read() {
    m_Content.reset();
    m_Lines.clear();
    m_Problem.clear();
    m_Version.reset();

    File_Descriptor file;
    struct stat status {};
    std::string text;
    auto error = Open_For_Reading(m_Path, file, status);
    if (error == Error_Success) {
        m_Version = Changed_Just_Now(status) ? std::nullopt : std::optional(Version_Of(status));
        error = Read_Some(file.Get(), Greatest_Size + 1, text);
    }
    if (error != Error_Success) {
        const bool is_other = status.st_mode != 0 && !S_ISREG(status.st_mode);
        m_Problem = m_Path + ": " + (is_other ? "not a file" : Win32_Error_Text(error));
        return;
    }
    if (text.size() > Greatest_Size) {
        m_Problem = m_Path + ": too large for a configuration file";
        return;
    }
    if (text.find('\0') != std::string::npos) {
        m_Problem = m_Path + ": not a text file";
        return;
    }
    auto content = std::make_unique<Content>();
    if (content->values.LoadData(text) < 0) {
        m_Problem = m_Path + ": not enough memory";
        return;
    }
    m_Content = std::move(content);
    if (const std::string fault = First_Fault(text, m_Lines); !fault.empty()) {
        m_Problem = m_Path + ": " + fault;
    }
}

std::string Ini_File::Problem() const {
    struct stat status {};
    const bool is_link = m_Problem.empty() && !m_Content && ::lstat(m_Path.c_str(), &status) == 0;
    return is_link ? m_Path + ": a link to a file that does not exist" : m_Problem;
}

const char* Ini_File::Value(const char* section, const char* key) const {
    return m_Content ? m_Content->values.GetValue(section, key) : nullptr;
}

std::vector<std::string> Ini_File::Values(const char* section, const char* key) const {
    CSimpleIniA::TNamesDepend in_any_order;
    if (m_Content) {
        m_Content->values.GetAllValues(section, key, in_any_order);
    }
    in_any_order.sort(CSimpleIniA::Entry::LoadOrder());
    std::vector<std::string> values;
    for (const auto& value : in_any_order) {
        values.emplace_back(value.pItem);
    }
    return values;
}

} // namespace QEL::FrontEnd::Platform
