#pragma once

#include "tests/support/Scratch_Directory.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace QEL::Bench {

/// The configuration of the process while the object exists: every copy is fresh for an hour, and
/// traces go to its directory.
class Configured_Home {
public:
    Configured_Home();
    ~Configured_Home();

    std::filesystem::path Path() const { return m_Home.Path(); }
    std::string Configuration_File() const { return (m_Home.Path() / "qel/qel.ini").string(); }

private:
    const Tests::Scratch_Directory m_Home;
};

/// A cache directory with its copies and its metadata file, as earlier runs of a host have left it.
class Cached_Files {
public:
    explicit Cached_Files(std::size_t count);

    const std::string& Url(std::size_t number) const { return m_Urls[number]; }
    const std::string& Copy(std::size_t number) const { return m_Copies[number]; }
    std::size_t Count() const { return m_Urls.size(); }

    std::string Cache_Directory() const { return m_Directory.Path().string(); }
    std::string Metadata_File() const { return Cache_Directory() + "/qelfilecache_Metadata.txt"; }

private:
    const Tests::Scratch_Directory m_Directory;
    std::vector<std::string> m_Urls; ///< ascending
    std::vector<std::string> m_Copies;
};

/// The name of a copy, which is a UUID with an extension, made of a number.
std::string Copy_Name(std::size_t number);

} // namespace QEL::Bench
