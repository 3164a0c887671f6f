#pragma once

#include "util/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace QEL::FrontEnd::FileCache {

/// A cache of remote files: for a URL or a path it returns the path of a local copy.
///
/// Order of use: Instance(), Set_Cache_Directory(), then any number of requests; Clear() and
/// Purge_Cache_Folder() as needed.
///
/// Threads: every operation runs synchronously on the caller's thread. Each operation that does work
/// holds one process-wide lock until it ends, downloads included. Do not call one of them from
/// inside another. On Windows the calling thread must have initialised COM before it requests an
/// Internet URL: the library never does.
///
/// Errors: no operation throws for a failed request. It throws std::system_error when the
/// process-wide lock cannot be taken, and std::bad_alloc when memory is exhausted.
struct QEL_FILECACHE_API IFileCache {
    IFileCache();
    IFileCache(const IFileCache& other);            ///< the interface holds nothing to copy
    IFileCache& operator=(const IFileCache& other); ///< the interface holds nothing to copy

    virtual ~IFileCache();

    /// Sets the directory of the cached copies and of the metadata file, and loads that file.
    /// The directory must exist; the cache never creates one.
    /// @param directory absolute path, used exactly as passed, without normalisation; letter case
    ///        matters.
    /// @return true when the directory is set (or was already) and its metadata was loaded. False
    ///         for an empty or missing directory (nothing changes) and for a damaged metadata file
    ///         (the directory is set; the entries before the damage are kept).
    virtual bool Set_Cache_Directory(const std::string& directory) = 0;

    /// Get_Cached_File_and_Status() for an ordinary request (kind 213), without the status.
    virtual std::string Get_Cached_File(const std::string& url_or_path) = 0;

    /// Returns the path of a local file with the content of `url_or_path`.
    ///
    /// A local path is returned unchanged when the file exists. An Internet URL ("http:", "https:",
    /// lower case) or a file on a share (UNC path, "file:" URL of a share, path on a drive that is
    /// not a fixed disk) is served from the cache: within the expiry period without any remote
    /// contact, after that with a check of the remote side. When the remote side cannot be reached,
    /// the last good copy is served.
    ///
    /// @param url_or_path Internet URL, "file:" URL, share path or local path. On Windows in the
    ///        process's ANSI code page, as the result is; elsewhere the bytes of the file system.
    /// @param request_kind 201 or 202: an existing, writable file on a share is not cached, and the
    ///        result is empty. Any other value, such as 213: an ordinary request.
    /// @param download_error always written: true when the remote file could not be fetched or
    ///        checked, also when the last good copy is served.
    /// @param http_error may be null. Written for an Internet URL that was not fresh: 0 ok, 1 the
    ///        freshness check failed, 2 the download failed, 3 the copy got no name.
    /// @param file_share_error may be null. Written for a share path that was not fresh: 0 ok, 1 the
    ///        source could not be examined, 2 the copy failed, 3 the copy got no name, 4 the copy
    ///        is missing.
    ///        Read the codes only when download_error is true. Otherwise they may come from an
    ///        earlier request: not every success resets them.
    /// @return full path of the file to open; empty when there is none. Opening it can fail: the
    ///         cache does not notice that its directory is gone or not writable, and
    ///         another thread's request may have replaced and deleted the copy.
    virtual std::string Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind,
                                                   bool& download_error, int* http_error, int* file_share_error) = 0;

    /// Forgets every entry and deletes its copy. Does not rewrite the metadata file: the next change
    /// does, or the next load drops the entries because their copies are gone.
    /// It deletes every file that the metadata file names, wherever it lies, as does each request that
    /// replaces a copy. So let only the host's user write to the cache directory.
    /// @return true when every copy was deleted. Otherwise the entries of the remaining copies stay.
    virtual bool Clear() = 0;

    /// Deletes every file in the cache directory that is named like a cached copy, with or without
    /// an entry. The entries and the metadata file do not change.
    /// @return false when no cache directory is set. Copies that cannot be deleted are only traced.
    virtual bool Purge_Cache_Folder() = 0;

    /// The text about the last request that failed with a transport error (certificates included),
    /// for the host to show; empty when there was none. It stays after later requests that succeed
    /// or fail otherwise: show it only when its line "File: " is the URL whose request has just
    /// ended with a download error. May be called at any time on any thread, and does not wait for
    /// requests under way.
    virtual std::string Get_Additional_Error_Info() const = 0;

    /// A line of 39 equals signs, for the host to put between messages.
    virtual std::string Get_Msg_Separator() const = 0;

    /// The one cache of the process, created on the first call. May be called on any thread.
    static std::shared_ptr<IFileCache> Instance();
};

/// How the last exchange of a request with a server or share ended.
struct Last_Request_Info {
    int http_status = 0;            ///< of the server's response, or of a proxy's that refused the connection; 0: none
    std::uint32_t system_error = 0; ///< why there was no response or no copy: a WinInet or Win32 number; 0: no failure
    std::string text; ///< cause and remedy of either, for people, at most 1023 bytes; empty when all went well
};

/// About the last request of this thread, to any object. Nothing is set when it asked no server, as for a copy
/// that had not expired. A download overwrites the result of the check before it. Waits for no lock.
/// The functions of Cache_Inspection that ask a server or share are requests, too.
QEL_FILECACHE_API Last_Request_Info Get_Last_Request_Info();

/// How Set_Cache_Directory() ended.
enum class Directory_Result {
    Set,         ///< it returned true
    Not_Set,     ///< false: the directory is missing or its name empty, and nothing has changed
    Damaged_List ///< false: the directory is set, with the entries before the damage
};

/// About the last call of Set_Cache_Directory() on this thread; Not_Set before the first. Waits for no lock.
QEL_FILECACHE_API Directory_Result Get_Last_Directory_Result();

/// Forgets the entry of one request, which it normalises first, and deletes its copy. Like Clear() it
/// does not rewrite the metadata file, and holds the process-wide lock.
/// @param cache the result of Instance(), or another object of the library.
/// @return false when the copy could not be deleted (then the entry stays), and for an object of another class.
///         True also when there is no entry.
QEL_FILECACHE_API bool Remove_From_Cache(IFileCache& cache, const std::string& url_or_path);

} // namespace QEL::FrontEnd::FileCache
