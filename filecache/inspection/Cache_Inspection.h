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

/// One line of the cache's list. Times are 100 ns intervals since 1601-01-01 UTC.
struct Inspected_Entry {
    std::string url;                         ///< normalised, as the list holds it
    std::string copy;                        ///< full path of the local copy
    std::string last_modified;               ///< the remote side's own stamp; of a share file a time as a number
    std::uint64_t last_checked_remotely = 0; ///< 0 when unknown
    std::uint64_t fresh_until = 0;           ///< the last moment at which the copy is served unasked
    bool fresh = false;                      ///< a request now is served from the copy unasked
    bool copy_exists = false;                ///< false: whoever loads the list now forgets the entry
};

/// One value of the configuration that decides how requests are served.
struct Inspected_Setting {
    std::string name;    ///< such as "LandscapeCacheExpiryPeriod"
    std::string value;   ///< what counts, as text
    std::string source;  ///< file, registry key or variable that holds it; empty: the default counts
    std::string written; ///< what stands there; differs from `value` when it cannot be used as it stands
};

/// What is done about a certificate that is not valid, for one URL; see
/// Util::HttpWinInet::CertErrorHandlingMode.
struct Certificate_Handling {
    int mode = 0;                    ///< see CertErrorHandlingMode
    bool listed = false;             ///< the URL is on the white list, whether or not that counts
    bool errors_are_ignored = false; ///< a second attempt overlooks the certificate
};

/// How the cache would serve a request now.
struct Request_Explanation {
    /// What the request names.
    enum class Kind {
        Unusable, ///< a form of "file:" URL that is not supported
        Local,    ///< served with the path itself
        Web,      ///< "http:" or "https:"
        Share     ///< a file on a share, or on a drive that is no fixed disk
    };

    std::string request;                  ///< as it was passed
    Kind kind = Kind::Unusable;           ///< what it names
    std::string normalised;               ///< the form by which the cache knows it; empty when unusable
    bool local_file_exists = false;       ///< of Kind::Local
    std::optional<Inspected_Entry> entry; ///< none: nothing is listed for it
    Certificate_Handling certificate;     ///< of Kind::Web
    std::uint64_t now = 0;                ///< the moment of this explanation
};

/// What the remote side says when it is asked as a freshness check asks it.
struct Remote_Answer {
    /// The second client, which repeats a request that failed with a transport error.
    enum class Second_Attempt { Not_Needed, Not_Allowed, Failed, Succeeded };

    bool answered = false;     ///< the remote side hands the file out; a share may have a stamp of one it does not
    long status = 0;           ///< HTTP status of the first client's response; 0 without one
    std::string last_modified; ///< the remote side's stamp, in the form of Inspected_Entry's; may be empty
    bool unchanged = false;    ///< the stamp is the one of the entry: the copy is current
    std::uint32_t error = 0;   ///< why there was no response: WinInet error number, of a share a system error
    std::string error_text;    ///< the system's text for it; may be empty
    Second_Attempt second = Second_Attempt::Not_Needed; ///< how the repetition went
};

/// What else is known of the response that Remote_Answer reports; texts are empty when unknown or absent.
struct Response_Details {
    std::string final_url;                       ///< whose response it is, after redirects
    std::string content_type;                    ///< header of the response
    std::optional<std::uint64_t> content_length; ///< bytes of the file, unless the response is compressed
    std::string age;                             ///< header of an HTTP cache: seconds that it has had the response
    std::string via;                             ///< header of the proxies and caches between
};

/// Looks into the cache of a directory, for administrators' tools: what it holds, and how it would
/// serve a request. Answers come from the very operations that serve requests.
///
/// Changes nothing: no copy, no entry, no metadata file, no sweep; the one process-wide cache
/// (IFileCache::Instance) takes no part. Nothing remote is asked but by Ask_Remote_Side.
///
/// What is known is what the metadata file held when the object was made. Thread rules are those of
/// IFileCache: the operations exclude each other and requests through the process-wide lock, and on
/// Windows the thread that calls Ask_Remote_Side has initialised COM.
class QEL_FILECACHE_API Cache_Inspection {
public:
    /// @param directory as for IFileCache::Set_Cache_Directory; empty or missing: a cache without
    ///        entries, as it is before the first request.
    explicit Cache_Inspection(const std::string& directory);

    /// The same on services of the caller's own, see CFileCache's constructor. Their operations
    /// that delete or copy are not called.
    Cache_Inspection(const std::string& directory, std::shared_ptr<OSWRAPI::IOSWrapper> os_wrapper);

    Cache_Inspection(const Cache_Inspection&) = delete;
    Cache_Inspection& operator=(const Cache_Inspection&) = delete;
    ~Cache_Inspection();

    /// The current time, 100 ns intervals since 1601-01-01 UTC.
    std::uint64_t Now() const;

    /// False when the metadata file is damaged: only the entries before the damage are known.
    bool Metadata_Is_Sound() const;

    /// Everything that is listed, by URL, entries whose copy is gone among it.
    std::vector<Inspected_Entry> Entries() const;

    /// Paths of the copies that no entry names: the next request of a new process deletes them.
    std::vector<std::string> Unreferenced_Copies() const;

    /// The values of the configuration that count now: expiry period (minutes), connect time-out
    /// (seconds), certificate mode, white list, trace directory; SSL_CERT_FILE and SSL_CERT_DIR where they are set.
    std::vector<Inspected_Setting> Settings() const;

    /// Which places of the configuration had to be passed over, and why; empty when all is well.
    std::string Configuration_Problem() const;

    /// What cannot be meant in the configuration, one sentence each: unknown names that resemble one of the cache's,
    /// values out of range, directories that are missing, keys that stand twice.
    static std::vector<std::string> Configuration_Faults();

    /// How a request would be served now; nothing remote is asked.
    Request_Explanation Explain(const std::string& url_or_path) const;

    /// Asks the remote side of a web or share request: with HEAD, or for the time of the file's
    /// last change. Takes as long as a request may take. Of other kinds nothing is asked.
    /// A file on a share is also opened for reading.
    Remote_Answer Ask_Remote_Side(const Request_Explanation& explained) const;

    /// The same with the rest of a web server's response.
    Remote_Answer Ask_Remote_Side(const Request_Explanation& explained, Response_Details& details) const;

    /// The proxy for a web address: as value its host and port, empty when there is none; as source the variable or
    /// setting that says so, empty when none does. None when the system does not say.
    static std::optional<Inspected_Setting> Proxy_For(const std::string& url);

    // The next two know no cache and write no trace record, so that a host may ask them about a request that failed.

    /// False when the form of a request keeps it from being served: a "file:" URL that is not supported, a URL that the
    /// system's HTTP client refuses, a path with a line break or NUL. Nothing remote is asked. On Windows the thread
    /// has initialised COM.
    static bool Is_Valid(const std::string& url_or_path);

    /// True when a request of this kind returns nothing because the file is writable on its share. Asks the
    /// share.
    static bool Is_Left_In_Place(const std::string& url_or_path, int request_kind);

private:
    Inspected_Entry Inspect(CFileCache& cache, const std::string& url) const;
    Certificate_Handling Handling_Of(const std::string& url) const;
    void Ask_Web_Server(CFileCache& probe, const std::string& url, Remote_Answer& answer) const;
    void Ask_Second_Client(CFileCache& probe, const std::string& url, Remote_Answer& answer) const;
    void Ask_Share(CFileCache& probe, const std::string& path, Remote_Answer& answer) const;

    struct State;
    std::unique_ptr<State> m_State;
};

} // namespace QEL::FrontEnd::FileCache
