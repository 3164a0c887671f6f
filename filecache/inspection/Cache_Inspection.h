#pragma once

#include "util/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::OSWRAPI {
class IOSWrapper;
}

namespace QEL::FrontEnd::FileCache {

class CFileCache;
struct Http_Response;

/// One line of the cache's list. Times are 100 ns intervals since 1601-01-01 UTC.
struct Inspected_Entry {
    std::string url;                         ///< normalised, as the list holds it
    std::string copy;                        ///< full path of the local copy
    std::string last_modified;               ///< of the remote side; of a share file a time as a number
    std::uint64_t last_checked_remotely = 0; ///< 0 when unknown
    std::uint64_t fresh_until = 0;           ///< the last moment at which the copy is served without a check
    bool fresh = false;                      ///< a request now is served from the copy without a check
    bool copy_exists = false;                ///< false: the next load of the list drops the entry
};

/// One value of the configuration that decides how requests are served.
struct Inspected_Setting {
    std::string name;    ///< such as "LandscapeCacheExpiryPeriod"
    std::string value;   ///< in use, as text
    std::string source;  ///< file, registry key or variable that holds it; empty: the default is used
    std::string written; ///< the text there; differs from `value` when it cannot be used unchanged
};

/// How a certificate that is not valid is handled, for one URL; see
/// Util::HttpWinInet::CertErrorHandlingMode.
struct Certificate_Handling {
    int mode = 0;                    ///< see CertErrorHandlingMode
    bool listed = false;             ///< the URL is on the white list, in any mode
    bool errors_are_ignored = false; ///< a second attempt ignores errors of the certificate
};

/// How the cache would serve a request now.
struct Request_Explanation {
    /// The kinds of requests.
    enum class Kind {
        Unusable, ///< a form of "file:" URL that is not supported
        Local,    ///< served with the path itself
        Web,      ///< "http:" or "https:"
        Share     ///< a file on a share, or on a drive that is not a fixed disk
    };

    std::string request;                  ///< as it was passed
    Kind kind = Kind::Unusable;           ///< of the request
    std::string normalised;               ///< the form by which the cache knows it; empty when unusable
    bool local_file_exists = false;       ///< of Kind::Local
    std::optional<Inspected_Entry> entry; ///< none: the list has no entry for it
    Certificate_Handling certificate;     ///< of Kind::Web
    std::uint64_t now = 0;                ///< the moment of this explanation
};

/// The result of asking the remote side as a freshness check does.
struct Remote_Answer {
    /// The second client, which repeats a request that failed with a transport error.
    enum class Second_Attempt { Not_Needed, Not_Allowed, Failed, Succeeded };

    bool answered = false;     ///< the remote side delivers the file; a share may refuse it and still report its time
    long status = 0;           ///< HTTP status of the last response, perhaps of a proxy's; 0 without one
    std::string last_modified; ///< in the form of Inspected_Entry's; may be empty
    bool unchanged = false;    ///< last_modified is that of the entry: the copy is current
    std::uint32_t error = 0;   ///< why there was none at first: WinInet error number, of a share a system error
    std::string error_text;    ///< the system's text for it; may be empty
    Second_Attempt second = Second_Attempt::Not_Needed; ///< the result of the repetition
};

/// More about the response in Remote_Answer; texts are empty when unknown or absent. For a file on a share, only
/// content_length and refusal are set.
struct Response_Details {
    std::string final_url;                       ///< of the response, or where an unfollowed redirect leads
    std::string content_type;                    ///< header of the response
    std::optional<std::uint64_t> content_length; ///< bytes of the file, unless the response is compressed
    std::string age;                             ///< header of an HTTP cache: seconds that it has had the response
    std::string via;                             ///< header of the proxies and caches between
    std::uint32_t refusal = 0;    ///< error number with which a copy of that length would fail here; on Linux only
    std::string content_encoding; ///< header of a response that is compressed, as its copy would be
};

/// Examines the cache of a directory, for administrators' tools: its entries, and how it would
/// serve a request. The results come from the operations that serve requests.
///
/// Changes nothing: no copy, no entry, no metadata file, no sweep. It does not use the process-wide
/// cache (IFileCache::Instance). Only Ask_Remote_Side and Is_Left_In_Place ask a remote side.
///
/// It knows the metadata file as it was when the object was made. Thread rules are those of IFileCache:
/// each operation holds the process-wide lock until it ends, and on Windows the thread that calls
/// Ask_Remote_Side must have initialised COM.
class QEL_FILECACHE_API Cache_Inspection {
public:
    /// @param directory as for IFileCache::Set_Cache_Directory; empty or missing: a cache without
    ///        entries, as before the first request.
    explicit Cache_Inspection(const std::string& directory);

    /// The same with the caller's own services, see CFileCache's constructor. It does not call their
    /// operations that delete or copy.
    Cache_Inspection(const std::string& directory, std::shared_ptr<OSWRAPI::IOSWrapper> os_wrapper);

    Cache_Inspection(const Cache_Inspection&) = delete;
    Cache_Inspection& operator=(const Cache_Inspection&) = delete;
    ~Cache_Inspection();

    /// The current time, 100 ns intervals since 1601-01-01 UTC.
    std::uint64_t Now() const;

    /// False when the metadata file is damaged: only the entries before the damage are known.
    bool Metadata_Is_Sound() const;

    /// All entries by URL, also those whose copy is gone.
    std::vector<Inspected_Entry> Entries() const;

    /// Paths of the copies without an entry: the next request of a new process deletes them.
    std::vector<std::string> Unreferenced_Copies() const;

    /// The values of the configuration in use now: expiry period (minutes), connect time-out
    /// (seconds), certificate mode, white list, trace directory; the largest file (MB) where the platform limits it;
    /// SSL_CERT_FILE and SSL_CERT_DIR if they are set.
    std::vector<Inspected_Setting> Settings() const;

    /// The places of the configuration that cannot be used, and why; empty when there are none.
    static std::string Unusable_Configuration();

    /// The same.
    std::string Configuration_Problem() const;

    /// Faults of the configuration, one sentence each: unknown names that resemble one of the cache's,
    /// values out of range, missing directories, repeated keys.
    static std::vector<std::string> Configuration_Faults();

    /// How a request would be served now, without asking the remote side.
    Request_Explanation Explain(const std::string& url_or_path) const;

    /// Asks the remote side of a web or share request: with HEAD, or for the time of the file's
    /// last change. It may take as long as a request. For other kinds it asks nothing.
    /// It also opens a file on a share for reading.
    Remote_Answer Ask_Remote_Side(const Request_Explanation& explained) const;

    /// The same with details of a web server's response, over a connection of its own.
    /// @param address one of Addresses_Of, to which the connection goes; empty: the system chooses.
    Remote_Answer Ask_Remote_Side(const Request_Explanation& explained, Response_Details& details,
                                  const std::string& address = {}) const;

    /// The numeric addresses of a web server. Empty when they are unknown, or a request cannot choose one of them:
    /// through a proxy, and on Windows.
    static std::vector<std::string> Addresses_Of(const std::string& url);

    /// The proxy for a web address: `value` is its host and port, empty for a direct connection; `source` is the
    /// variable or setting that names it, or empty. None when the system does not report it.
    static std::optional<Inspected_Setting> Proxy_For(const std::string& url);

    // The next two use no cache and write no trace record, so that a host may call them for a request that failed.

    /// False when a request cannot be served because of its form: a "file:" URL that is not supported, a URL that the
    /// system's HTTP client refuses, a path with a line break or NUL. Asks no remote side. On Windows the thread
    /// must have initialised COM.
    static bool Is_Valid(const std::string& url_or_path);

    /// True when a request of this kind returns nothing because the file is writable on its share. Asks the
    /// share.
    static bool Is_Left_In_Place(const std::string& url_or_path, int request_kind);

private:
    Inspected_Entry Inspect(CFileCache& cache, const std::string& url) const;
    Certificate_Handling Handling_Of(const std::string& url) const;
    void Ask_Web_Server(CFileCache& probe, const std::string& url, Remote_Answer& answer) const;
    void Take(const Http_Response& response, Remote_Answer& answer) const;
    void Ask_Second_Client(CFileCache& probe, const std::string& url, Remote_Answer& answer) const;
    void Ask_Share(CFileCache& probe, const std::string& path, Remote_Answer& answer) const;

    struct State;
    std::unique_ptr<State> m_State;
};

} // namespace QEL::FrontEnd::FileCache
