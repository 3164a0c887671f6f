#pragma once

#include "filecache/IFileCache.h"
#include "filecache/metadata/CacheEntry.h"
#include "filecache/oswrap/IOSWrapper.h"
#include "mime/Magic.h"
#include "util/Cert_Error_Handling.h"
#include "util/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::FileCache {

class Cache_Inspection;
class Com_Error;
class IRequest_Object;
struct Http_Response;
struct Request_Method;
struct Response_Body;

/// The file cache. Hosts reach it through IFileCache::Instance(). Tests and special hosts make objects
/// with services of their own. IFileCache describes the public operations, their threads and
/// errors.
///
/// The private operations take no lock: each public operation that calls them holds the
/// process-wide lock until it ends.
class QEL_FILECACHE_API CFileCache : public virtual IFileCache {
public:
    /// @param os_wrapper the operating-system services; shared with every copy of the object.
    ///        The object uses neither configuration nor disk before Set_Cache_Directory().
    explicit CFileCache(std::shared_ptr<OSWRAPI::IOSWrapper> os_wrapper);

    /// A copy has its own entries, texts and lists, and shares the operating-system services. No other
    /// thread may use either object during the copy.
    CFileCache(const CFileCache& other);
    CFileCache& operator=(const CFileCache& other); ///< as the copy constructor

    /// Saves nothing and deletes nothing: the metadata file is current after every change.
    ~CFileCache() override;

    bool Set_Cache_Directory(const std::string& absolute_dir_path) override;
    std::string Get_Cached_File(const std::string& url_or_path) override;
    std::string Get_Cached_File_and_Status(const std::string& url_or_path, int request_kind, bool& download_error,
                                           int* http_error, int* file_share_error) override;
    bool Clear() override;
    bool Purge_Cache_Folder() override;
    std::string Get_Additional_Error_Info() const override;
    std::string Get_Msg_Separator() const override;

private:
    /// Finds out what the cache would do by asking the private operations.
    friend class Cache_Inspection;
    friend struct Removal_On_Request;

    /// True when the remote file must be fetched again, and in every doubtful case.
    using Expired_Function = bool (CFileCache::*)(const std::string& url, bool& check_error);
    /// Fetches a remote file and records it. @return the path of the copy, empty on failure.
    using Downloader_Function = std::string (CFileCache::*)(const std::string& url, bool& download_error);

    void Initialize_Mime();

    // Lookup and remote policy
    bool Cached_File_Still_Fresh(const std::string& url);
    std::uint64_t Get_LandscapeCacheExpiryPeriod();
    std::string Get_Cached_Remote_File(const std::string& url, Expired_Function expired_f,
                                       Downloader_Function downloader_f, bool& download_error);

    // URL kinds
    bool Is_Inet_URL(const std::string& url);
    bool Is_File_URL(const std::string& url);
    bool Is_File_Share(const std::string& url);
    bool Is_Local(const std::string& url);
    std::string Normalize_if_File_URL(const std::string& url);
    /// The same without a copy: returns `url` itself, or for a "file:" URL `path`, which it sets.
    const std::string& Normalize_if_File_URL(const std::string& url, std::string& path);

    // Metadata file
    const std::string Get_Cache_Metadata() const;
    bool Serialize();
    bool Deserialize();
    void Persist_Downloaded_File_Metadata(const std::string& url, const CacheEntry& cache_entry);

    // Removal and sweep
    bool Remove_From_Cache(const std::string& url);
    void Delete_Cached_Files(bool only_obsolete);
    void Cleanup_Obsolete_Cached_Files();

    // Internet download
    std::unique_ptr<IRequest_Object> Create_HTTP_Request(const char* method);
    void Read_Connect_Timeout();
    void Set_Additional_Error_Info(std::string text);
    Http_Response Send_HTTP_Request(const Request_Method& method, const std::string& url, bool& error);
    void Note_Transport_Error(std::uint32_t error_number, const std::string& error_text);
    bool Save_Response_Body(const Response_Body& body, const std::string& content_type, CacheEntry& entry);
    void Write_Cached_File(const char* operation, const std::string& content_type, std::string_view body,
                           const std::function<void(const std::string& path)>& publish, CacheEntry& entry);
    std::string Download_Inet_URL(const std::string& url, bool& download_error);
    bool Is_Inet_URL_Expired(const std::string& url, bool& check_error);
    bool Process_Inet_URL_By_WinInet(int http_type, const std::string& url, bool& download_error, CacheEntry& entry);
    bool Download_Inet_URL_By_WinInet(int http_type, const std::string& url, bool& download_error, CacheEntry& entry);
    bool HTTP_Status_OK(long http_status) const;
    unsigned long win32_from_hresult(long hr) const;
    const std::string com_error_to_string(const Com_Error& e, const std::string& file) const;

    // File share fetch
    std::string Download_File_Share(const std::string& url, bool& download_error);
    bool Is_File_Share_Expired(const std::string& url, bool& check_error);

    // Names of cached files
    std::string Generate_Cached_File_Name_from_Contents(const std::string& mime_type, const char* file_contents,
                                                        std::size_t byte_size);
    std::string Generate_Cached_File_Name_from_File_Share(const std::string& absolute_path);
    std::string Generate_Cached_File_Name_from_Mime_Type(const std::string& mime_type);
    std::string Filter_Dangerous_Extensions(const std::string& extension);

    /// The entries by normalised URL, in the order of the metadata file.
    std::map<std::string, CacheEntry> m_Cache_Entries;
    /// As the host passed it; empty until a directory has been set.
    std::string m_Cache_Directory;
    QEL::Mime::Magic m_Magic;
    std::shared_ptr<OSWRAPI::IOSWrapper> m_OS_Wrapper;
    /// This object has swept obsolete copies.
    bool m_Obsolete_Files_Cleaned;
    /// Connect time-out of HTTP requests in milliseconds; 0 until it has been read.
    std::int32_t m_Connect_Timeout;
    /// Result of the last Internet operation, see IFileCache.
    std::int32_t m_errHTTPFileDownLoad;
    /// Result of the last file share operation, see IFileCache.
    std::int32_t m_errFileShareDownLoad;
    Util::HttpWinInet::CertErrorHandlingMode m_Cert_Error_Handling_Mode;
    /// The white list: whole URLs.
    std::vector<std::string> m_Cert_Error_Parameters;
    /// The last request failed with a transport error; the second client must be tried.
    bool m_Cert_Error_Detected;
    std::string m_Additional_Error_Info;
};

} // namespace QEL::FrontEnd::FileCache
