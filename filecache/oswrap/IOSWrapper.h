#pragma once

#include "util/Export.h"

#include <cstdint>
#include <memory>
#include <string>

// <windows.h> turns these two names into macros. The class below must be the same class
// whether or not that header came first.
#ifdef FindFirstFile
#undef FindFirstFile
#endif
#ifdef FindNextFile
#undef FindNextFile
#endif

namespace QEL::FrontEnd::OSWRAPI {

/// A running directory search, from FindFirstFile to FindClose.
using Find_Handle = void*;

/// The result of FindFirstFile when nothing matches: all bits set.
inline const Find_Handle Invalid_Find_Handle = reinterpret_cast<Find_Handle>(static_cast<std::intptr_t>(-1));

/// One match of a directory search.
struct Find_Data {
    std::string file_name; ///< plain name, no directory
};

/// Files, clock, drives and configuration, as the cache needs them.
///
/// The cache uses the operating system through this object. A host or a test can pass its own
/// implementation (see CFileCache's constructor). The cache calls it only while it holds its own
/// lock, so an implementation need not be thread-safe for it.
///
/// Paths are narrow strings in the system code page, passed exactly as the caller gave them.
/// Operations fail for a path that holds CR, LF or NUL, so that no such path gets into the
/// metadata file, which is line-oriented.
///
/// No operation throws for a failure of the operating system.
class QEL_FILECACHE_API IOSWrapper {
public:
    /// The object for this platform. Never null.
    static std::shared_ptr<IOSWrapper> Create();

    virtual ~IOSWrapper() = default;

    /// Reads the modification time of an existing file, local or on a share.
    /// @param modification_time set on success: 100 ns intervals since 1601-01-01 UTC, with
    ///        fractions of a second if the file system has them. The value is the same until the file
    ///        changes; the cache compares values for equality only. The caller sets it to 0 before.
    /// @return 0 on success, otherwise a Win32 error code.
    virtual int Stat_File(const std::string& path, std::int64_t& modification_time) = 0;

    /// The current time: 100 ns intervals since 1601-01-01 UTC.
    virtual std::uint64_t Get_Current_Time() = 0;

    /// True when a file (not a directory) exists at the path.
    virtual bool File_Exists(const std::string& path) = 0;

    /// Deletes one file, even with the read-only attribute, which a copy from a share keeps.
    /// Never deletes a directory.
    virtual bool Delete_File(const std::string& path) = 0;

    /// True when a directory exists at the path, on Linux only for a local one: the cache keeps no
    /// files on shares there.
    virtual bool Directory_Exists(const std::string& path) = 0;

    /// Starts a search for the files whose name matches the last component of the pattern.
    /// On every platform `?` is exactly one character and `*` any number of them; the directory part
    /// has no wildcards. Subdirectories are not searched. A pattern whose only separator is its
    /// first character finds nothing.
    /// @param found set to the first match.
    /// @return a handle for FindNextFile and FindClose, or Invalid_Find_Handle when nothing matches
    ///         or the directory is missing.
    virtual Find_Handle FindFirstFile(const char* pattern, Find_Data& found) = 0;

    /// Finds the next match. @return 0 when there are no more; `found` is then unchanged.
    virtual int FindNextFile(Find_Handle search, Find_Data& found) = 0;

    /// Ends the search and releases its handle. The invalid handle is ignored.
    virtual void FindClose(Find_Handle search) = 0;

    /// 0 to 25 when the path begins with a drive letter A to Z (either case) and a colon,
    /// -1 otherwise.
    virtual int Get_Drive_Number(const char* path) = 0;

    /// The drive type of a root such as "C:" in the system's numbers: 1 no such root, 2 removable,
    /// 3 fixed disk, 4 network drive, 5 optical disk, 6 RAM disk, 0 unknown.
    virtual unsigned int Get_Drive_Type(const char* root) = 0;

    /// Copies a file, local or on a share, with its read-only attribute. The copy is atomic: the
    /// target has the whole content or does not exist.
    /// @param fail_if_exists nonzero: an existing target does not change and the copy fails.
    /// @return nonzero on success. On failure the calling thread's last error is a Win32 code.
    virtual int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) = 0;

    /// Reads an integer of the configuration.
    /// @param root 2: the user's value, else the machine's. 0: only the user's. 1: only the
    ///        machine's. Any other root holds no values.
    /// @return the current value; 0 when it is missing or not a number.
    virtual std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) = 0;
};

} // namespace QEL::FrontEnd::OSWRAPI
