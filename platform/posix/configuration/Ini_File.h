#pragma once

#include <memory>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// The values of one INI file. Names of sections and keys have no letter case; a key may occur
/// several times in its section; a line that is neither section, key nor comment is passed over.
///
/// A file that cannot be read or does not hold text has no values, and Problem tells why.
/// Not thread-safe.
class Ini_File {
public:
    explicit Ini_File(std::string path);
    Ini_File(Ini_File&&) noexcept;
    Ini_File& operator=(Ini_File&&) noexcept;
    ~Ini_File();

    /// Reads the file when it has changed since the last time: one stat when it has not.
    void Refresh();

    /// The first value of a key; null when there is none. Valid until the next Refresh.
    const char* Value(const char* section, const char* key) const;

    /// All values of a key in the file's order.
    std::vector<std::string> Values(const char* section, const char* key) const;

    /// Why the file has no values although it is there; empty when there is nothing to complain about.
    const std::string& Problem() const { return m_Problem; }

private:
    struct Version;
    struct Content;

    void Read();

    std::string m_Path;
    std::string m_Problem;
    std::unique_ptr<Version> m_Version; ///< of the file that was read
    std::unique_ptr<Content> m_Content; ///< null when the file has no values
};

} // namespace QEL::FrontEnd::Platform
