#include "filecache/CFileCache.h"

#include "filecache/Directory_Use.h"
#include "filecache/metadata/parse_number.h"
#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "util/List_File.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"
#include "util/Process.h"

#include <array>
#include <charconv>
#include <fstream>
#include <limits>
#include <string_view>

namespace QEL::FrontEnd::FileCache {

namespace {

using Util::FileSystem::Occupant;
using Util::FileSystem::Occupant_Of;

constexpr std::uint32_t Written_Version = 2;
constexpr std::uint32_t Version_Without_Check_Time = 1;

/// Reads the file line by line. Behind the end of the file every line is empty.
class Line_Reader {
public:
    explicit Line_Reader(const std::string& path) {
        Open(path);
        if (!Is_Open() && Util::FileSystem::Outlast_Exclusive_Use(path, std::ios::in)) {
            Open(path);
        }
    }

    bool Is_Open() const { return m_Stream.is_open(); }

    /// Also takes the line end of the other platform: a cache directory may move between them. Text streams of one
    /// platform take a carriage return away themselves, so any number of them is part of the line end.
    void Read(std::string& line) {
        line.clear();
        std::getline(m_Stream, line);
        while (line.ends_with('\r')) {
            line.pop_back();
        }
    }

private:
    /// What is no file is not opened: a pipe would be waited for, a device read for ever, and a directory opens on one
    /// platform alone.
    void Open(const std::string& path) {
        if (Occupant_Of(path) == Occupant::File) {
            m_Stream.open(path);
        }
    }

    std::ifstream m_Stream;
};

/// Writes the file line by line. Every line is flushed: what was written before a crash is on disk. The buffer alone
/// costs less than a stream around it.
class Line_Writer {
public:
    explicit Line_Writer(const std::string& path) {
        const Occupant occupant = Occupant_Of(path);
        if (occupant == Occupant::Nothing) {
            Util::FileSystem::Make_Private_File(path);
        }
        if (occupant != Occupant::Other) {
            m_File.open(path, std::ios::out);
            if (!m_File.is_open() && Util::FileSystem::Outlast_Exclusive_Use(path, std::ios::out)) {
                m_File.open(path, std::ios::out);
            }
        }
    }

    void Write(std::string_view text) {
        const auto size = static_cast<std::streamsize>(text.size());
        // GCOVR_EXCL_BR_START: a full disk, which needs the real services
        m_Is_Whole = m_Is_Whole && m_File.sputn(text.data(), size) == size && m_File.sputc('\n') == '\n' &&
                     m_File.pubsync() == 0;
        // GCOVR_EXCL_BR_STOP
    }

    /// In plain digits: the host's global locale must not group them.
    void Write(std::uint64_t number) {
        std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> digits;
        const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        Write(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
    }

    void Close() { m_File.close(); }

private:
    std::filebuf m_File;
    bool m_Is_Whole = true; ///< so far; nothing is written behind a gap
};

} // namespace

const std::string CFileCache::Get_Cache_Metadata() const {
    std::string path;
    if (m_Cache_Directory.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Cache directory has not been set, but trying to load cache metadata.\n");
    } else {
        path = Util::FileSystem::Join_Path(m_Cache_Directory, Metadata_File_Name);
    }
    TRACE_RETURN("'%s'", path.c_str());
    return path;
}

bool CFileCache::Serialize() {
    TRACE_CALL_WITHOUT_ARGUMENTS();
    const std::string path = Get_Cache_Metadata();
    TRACE_DATA("Cache metadata stored in '%s'\n", path.c_str());

    // A list that could not be read names copies that this object does not know: it stays as it is while it is there.
    bool is_unread = Directory_Use::Is_List_Unread(*this);
    if (is_unread && Occupant_Of(path) == Occupant::Nothing) {
        is_unread = false;
        Directory_Use::Set_List_Unread(*this, is_unread);
    }
    const auto held = Util::Hold_Length_Signal();
    Line_Writer writer(is_unread ? std::string() : path);
    writer.Write(Metadata_Magic);
    writer.Write(Version_Keyword);
    writer.Write(Written_Version);
    writer.Write(Entries_Keyword);
    writer.Write(m_Cache_Entries.size());
    for (const auto& [url, entry] : m_Cache_Entries) {
        TRACE_DATA("Serializing metadata for URL '%s':\n%s\n\n", url.c_str(), entry.To_String().c_str());
        writer.Write(entry.last_modified);
        writer.Write(entry.last_checked_remotely);
        writer.Write(entry.cached_file);
        writer.Write(url);
    }
    writer.Close();

    return TRACED(true);
}

bool CFileCache::Deserialize() {
    TRACE_CALL_WITHOUT_ARGUMENTS();
    TRACE_DATA("Clearing cache %d entries...\n", static_cast<int>(m_Cache_Entries.size()));
    m_Cache_Entries.clear();

    const std::string path = Get_Cache_Metadata();
    TRACE_DATA("Cache metadata read from '%s'\n", path.c_str());
    Line_Reader reader(path);
    Directory_Use::Set_List_Unread(*this, !reader.Is_Open() && Occupant_Of(path) != Occupant::Nothing);
    if (!reader.Is_Open()) {
        TRACE_DATA("Cache metadata file '%s' does not exist. Cache is empty.\n", path.c_str());
        return true;
    }

    std::string line;

    reader.Read(line);
    if (line != Metadata_Magic) {
        TRACE_WARNING("Cache metadata file '%s' error: Header magic is '%s', expected '%s'.\n", path.c_str(),
                      line.c_str(), Metadata_Magic);
        return false;
    }
    reader.Read(line);
    if (line != Version_Keyword) {
        TRACE_WARNING("Cache metadata file '%s' error: Version string is wrong: '%s', expected '%s'.\n", path.c_str(),
                      line.c_str(), Version_Keyword);
        return false;
    }
    reader.Read(line);
    std::uint32_t version = 0;
    if (!Parse_Number(line, version)) {
        TRACE_WARNING("Cache metadata file '%s' error: Version is invalid: '%s', expected a number.\n", path.c_str(),
                      line.c_str());
        return false;
    }
    if (version != Version_Without_Check_Time && version != Written_Version) {
        TRACE_WARNING("Cache metadata file '%s' error: Version is wrong: %d, expected %d.\n", path.c_str(),
                      static_cast<int>(version), static_cast<int>(Written_Version));
        return false;
    }
    reader.Read(line);
    if (line != Entries_Keyword) {
        TRACE_WARNING("Cache metadata file '%s' error: Entries string is wrong: '%s', expected '%s'.\n", path.c_str(),
                      line.c_str(), Entries_Keyword);
        return false;
    }
    reader.Read(line);
    std::uint32_t entries = 0;
    if (!Parse_Number(line, entries)) {
        TRACE_WARNING("Cache metadata file '%s' error: Entries number is invalid: '%s', expected a number.\n",
                      path.c_str(), line.c_str());
        return false;
    }

    TRACE_DATA("Processing cache entries. -- Start --\n");
    std::string url;
    for (std::uint32_t i = 0; i < entries; ++i) {
        TRACE_DATA("New cache entry.\n");
        CacheEntry entry;
        reader.Read(entry.last_modified);
        if (version >= Written_Version) {
            reader.Read(line);
            if (!Parse_Number(line, entry.last_checked_remotely)) {
                TRACE_WARNING(
                    "Metadata file: '%s', last_checked_remotely is invalid for entry %d: '%s', expected a number.\n",
                    path.c_str(), static_cast<int>(i), line.c_str());
                return TRACED(false);
            }
        }
        reader.Read(entry.cached_file);
        reader.Read(url);
        if (url.empty() || entry.cached_file.empty()) {
            TRACE_WARNING("Empty URL encountered or empty cache file encountered: entry #%d, URL='%s', %s\n",
                          static_cast<int>(i), url.c_str(), entry.To_String().c_str());
            break;
        }
        if (m_OS_Wrapper->File_Exists(entry.cached_file)) {
            TRACE_DATA("Adding to the cache: entry #%d, URL='%s', %s\n", static_cast<int>(i), url.c_str(),
                       entry.To_String().c_str());
            m_Cache_Entries[url] = std::move(entry);
        } else {
            TRACE_WARNING("Cached file does not exist. Entry ignored: entry #%d, URL='%s', %s\n", static_cast<int>(i),
                          url.c_str(), entry.To_String().c_str());
        }
    }
    TRACE_DATA("Processing cache entries. -- End --\n");
    return TRACED(true);
}

void CFileCache::Persist_Downloaded_File_Metadata(const std::string& url, const CacheEntry& cache_entry) {
    TRACE_CALL("url='%s', cache_entry=%s", url.c_str(), cache_entry.To_String().c_str());
    Remove_From_Cache(url);
    m_Cache_Entries[url] = cache_entry;
    Serialize();
}

} // namespace QEL::FrontEnd::FileCache
