#pragma once

#include "util/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace QEL::FrontEnd::FileCache {

/// A cache of remote files: asked for a URL or a path, it returns the path of a local copy.
///
/// Order of use: Instance(), Set_Cache_Directory(), then any number of requests; Clear() and
/// Purge_Cache_Folder() as needed.
///
/// Threads: every operation runs synchronously on the caller's thread. The operations that do work
/// exclude each other through one process-wide lock that is held for the whole operation, a
/// download included; none of them may be called from inside another. On Windows the calling thread
/// must have initialised COM before it requests an Internet URL: the library never does.
///
/// Errors: no operation throws for a failed request. A failure to take the process-wide lock is
/// raised as std::system_error, exhausted memory as std::bad_alloc.
struct QEL_FILECACHE_API IFileCache {
    IFileCache();
    IFileCache(const IFileCache& other);            ///< the interface holds nothing to copy
    IFileCache& operator=(const IFileCache& other); ///< the interface holds nothing to copy

    virtual ~IFileCache();

    /// Sets the directory that holds the cached copies and the metadata file, and loads what it
    /// holds. The directory must exist; the cache never creates one.
    /// @param directory absolute path, used exactly as passed: no normalisation, and letter case
    ///        counts.
    /// @return true when the directory is set (or was already) and its metadata was loaded. False
    ///         for an empty or missing directory (nothing changes) and for a damaged metadata file
    ///         (the directory is set; the entries before the damage are kept).
    virtual bool Set_Cache_Directory(const std::string& directory) = 0;

    /// Get_Cached_File_and_Status() for an ordinary request (kind 213), without the status.
    virtual std::string Get_Cached_File(const std::string& url_or_path) = 0;

    /// Returns the path of a file that holds what `url_or_path` names.
    ///
    /// A local path is returned unchanged when the file exists. An Internet URL ("http:", "https:",
    /// lower case) or a file on a share (UNC path, "file:" URL of a share, path on a drive that is
    /// not a fixed disk) is served from the cache: without any remote contact within the expiry
    /// period, after a comparison with the remote side when it has expired. When the remote side cannot
    /// be reached, the last copy is served.
    ///
    /// @param url_or_path Internet URL, "file:" URL, share path or local path. On Windows in the
    ///        process's ANSI code page, as the result is; elsewhere the bytes of the file system.
    /// @param request_kind 201 or 202: a file on a share that exists and is writable is not cached,
    ///        the result is empty. Any other value, such as 213: an ordinary request.
    /// @param download_error always written: true when the remote file could not be fetched or
    ///        checked, also when the last good copy is served.
    /// @param http_error may be null. Written for an Internet URL that was not fresh: 0 ok, 1 the
    ///        freshness check failed, 2 the download failed, 3 the copy got no name.
    /// @param file_share_error may be null. Written for a share path that was not fresh: 0 ok, 1 the
    ///        source could not be examined, 2 the copy failed, 3 the copy got no name, 4 the copy
    ///        is missing.
    ///        Read the codes only when download_error is true. Otherwise they may be those of an
    ///        earlier request: not every success resets them.
    /// @return full path of the file to open; empty when there is none. Opening it can fail: a copy
    ///         that could not be written, because the directory is gone or closed, is not noticed,
    ///         and another thread's request may have replaced and deleted the copy.
    virtual std::string Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind,
                                                   bool& download_error, int* http_error, int* file_share_error) = 0;

    /// Forgets every entry and deletes its copy. Does not rewrite the metadata file: the entries
    /// drop out of it with the next change, or at the next load because their copies are gone.
    /// It deletes what the metadata file named, wherever that lies and whoever wrote it: only the host's
    /// user may write to the cache directory. The same goes for every request that replaces a copy.
    /// @return true when every copy could be deleted; an entry whose copy could not be stays.
    virtual bool Clear() = 0;

    /// Deletes every file in the cache directory whose name has the shape of a cached copy, whether
    /// or not an entry refers to it. The entries and the metadata file are left as they are.
    /// @return false when no cache directory is set. Copies that cannot be deleted are traced only.
    virtual bool Purge_Cache_Folder() = 0;

    /// The text of the last request failure in the range of transport errors (certificates among
    /// them), for the host to show; empty when there was none. It stays after later requests that
    /// succeed or fail otherwise: show it when its line "File: " is the URL whose request has just
    /// ended with a download error. May be called at any time on any thread, and does not wait for a
    /// request under way.
    virtual std::string Get_Additional_Error_Info() const = 0;

    /// A line of 39 equals signs, for the host to put between messages.
    virtual std::string Get_Msg_Separator() const = 0;

    /// The one cache of the process, created on the first call. May be called on any thread.
    static std::shared_ptr<IFileCache> Instance();
};

/// How the last question to a server or share ended that a request put.
struct Last_Request_Info {
    int http_status = 0;            ///< of the response; 0: there was none
    std::uint32_t system_error = 0; ///< why there was no response or no copy: a WinInet or Win32 number; 0: no failure
    std::string text; ///< cause and remedy of either, for people, at most 1023 bytes; empty when all went well
};

/// Of the last request of this thread, whichever object served it; nothing is set when it asked nobody, as for a copy
/// that had not expired. A download comes after the check and replaces what is known of that. Waits for no lock.
/// The functions of Cache_Inspection that ask a server or share count as requests.
QEL_FILECACHE_API Last_Request_Info Get_Last_Request_Info();

/// How Set_Cache_Directory() ended.
enum class Directory_Result {
    Set,         ///< it returned true
    Not_Set,     ///< false: the directory is missing or its name empty, and nothing has changed
    Damaged_List ///< false: the directory is set, with the entries before the damage
};

/// Of the last call of Set_Cache_Directory() on this thread; Not_Set before the first. Waits for no lock.
QEL_FILECACHE_API Directory_Result Get_Last_Directory_Result();

/// Forgets the entry of one request, in the form in which the cache knows it, and deletes its copy. Like Clear() it
/// does not rewrite the metadata file, and holds the process-wide lock.
/// @param cache what Instance() returns, or another object of the library.
/// @return false when the copy could not be deleted, and then the entry stays; for an object that is not the
///         library's; true also when there is no entry.
QEL_FILECACHE_API bool Remove_From_Cache(IFileCache& cache, const std::string& url_or_path);

} // namespace QEL::FrontEnd::FileCache
