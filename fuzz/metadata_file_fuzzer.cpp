// Any bytes as the metadata file: it is loaded or refused, only entries whose copy exists are taken
// over, and what was taken over comes back when it is written and loaded again.

#include "filecache/CFileCache.h"
#include "filecache/metadata/parse_number.h"
#include "fuzz/Require.h"
#include "fuzz/support/Scratch.h"
#include "tests/unit/support/Recorded_Trace.h"
#include "tests/unit/support/Scripted_OS.h"
#include "trace/Set_Trace_Level.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using QEL::FrontEnd::FileCache::CFileCache;

/// Some copies exist and some do not; which, depends on the name alone. As the interface demands,
/// none that holds a line end or a NUL does.
bool Copy_Exists(const std::string& path) {
    constexpr std::string_view in_no_name("\r\n\0", 3);
    return path.find_first_of(in_no_name) == std::string::npos && path.back() != 'x';
}

std::shared_ptr<Scripted_OS> Services() {
    auto services = std::make_shared<Scripted_OS>();
    services->on_file_exists = Copy_Exists;
    return services;
}

bool Is_Line(const std::string& text) {
    return text.find('\n') == std::string::npos;
}

bool Has_Warned() {
    const auto records = Recorded_Trace::Above_Additional_Data();
    return std::any_of(records.begin(), records.end(),
                       [](const auto& record) { return record.level <= QELPCTRC_WARNING; });
}

/// A number is read as a stream of the classic locale reads it.
template <typename Number>
void Compare_With_Stream(const std::string& line) {
    std::istringstream stream(line);
    stream.imbue(std::locale::classic());
    Number expected = 0;
    Number number = 0;
    const bool is_number = static_cast<bool>(stream >> expected);
    REQUIRE(QEL::FrontEnd::FileCache::Parse_Number(line, number) == is_number);
    REQUIRE(!is_number || number == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const std::string directory = QEL::Fuzz::Scratch_Directory();
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Recorded_Trace::Forget();
    QEL::Fuzz::Write_File(directory + "/qelfilecache_Metadata.txt", {reinterpret_cast<const char*>(bytes), size});

    std::istringstream lines(std::string(reinterpret_cast<const char*>(bytes), size));
    for (std::string line; std::getline(lines, line);) {
        Compare_With_Stream<std::uint32_t>(line);
        Compare_With_Stream<std::uint64_t>(line);
    }

    CFileCache cache(Services());
    const bool loaded = cache.Set_Cache_Directory(directory);
    REQUIRE(loaded || Has_Warned()); // it has said why not

    bool comes_back = true;
    for (const auto& [url, entry] : cache.m_Cache_Entries) {
        REQUIRE(!url.empty() && Is_Line(url));
        REQUIRE(!entry.cached_file.empty() && Copy_Exists(entry.cached_file));
        REQUIRE(Is_Line(entry.last_modified));
        // A carriage return at the end counts as a part of the line end when it is read again.
        comes_back = comes_back && !url.ends_with('\r') && !entry.last_modified.ends_with('\r');
    }
    REQUIRE(cache.Serialize());

    CFileCache next(Services());
    REQUIRE(next.Set_Cache_Directory(directory));
    if (comes_back) {
        REQUIRE(std::equal(cache.m_Cache_Entries.begin(), cache.m_Cache_Entries.end(), next.m_Cache_Entries.begin(),
                           next.m_Cache_Entries.end(), [](const auto& written, const auto& read) {
                               return written.first == read.first &&
                                      written.second.cached_file == read.second.cached_file &&
                                      written.second.last_modified == read.second.last_modified &&
                                      written.second.last_checked_remotely == read.second.last_checked_remotely;
                           }));
    }
    return 0;
}
