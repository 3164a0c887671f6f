#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// The values of one INI file. Names of sections and keys have no letter case; a key may occur
/// several times in its section; a line that is neither section, key nor comment is passed over, and
/// Problem reports the first.
///
/// A file that cannot be read or does not hold text has no values, and Problem says why.
/// Not thread-safe.
class Ini_File {
public:
    explicit Ini_File(std::string path);
    ~Ini_File();

    /// Reads the file when it has changed since the last time: one stat when it has not.
    void Refresh();

    /// The first value of a key; null when there is none. Valid until the next Refresh.
    const char* Value(const char* section, const char* key) const;

    /// All values of a key in the file's order.
    std::vector<std::string> Values(const char* section, const char* key) const;

    /// A section or a key with its value.
    struct Line {
        std::size_t number;
        std::string section;
        std::string key; ///< empty: the section itself
        std::string value;
    };
    const std::vector<Line>& Lines() const { return m_Lines; }

    const std::string& Path() const { return m_Path; }

    /// Why the file has no values although it is there, or which line is passed over; empty when there is
    /// nothing to complain about.
    std::string Problem() const;

private:
    /// What a file's status says of its content.
    using Version = std::array<std::int64_t, 5>;
    struct Content;

    void Read();

    const std::string m_Path;
    std::string m_Problem;
    std::optional<Version> m_Version;   ///< none while the content may change and keep its status
    std::unique_ptr<Content> m_Content; ///< null when the file has no values
    std::vector<Line> m_Lines;
};

} // namespace QEL::FrontEnd::Platform
