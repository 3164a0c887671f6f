#pragma once

#include <cstdint>
#include <mutex>

namespace QEL::FrontEnd::FileCache {

/// Held by every public operation that does work, for its whole run. Not recursive: none of them
/// may call another.
extern std::mutex s_api_mutex;

/// Guards the text for the host for as long as it takes to copy it. The host may ask for the text while
/// another thread's request, which holds the lock above, is changing it.
extern std::mutex s_error_info_guard;

/// The names of cached copies, as the sweep searches them. Split, because "??-" is a trigraph.
inline constexpr char Cached_File_Pattern[] = "????????"
                                              "-????"
                                              "-????"
                                              "-????"
                                              "-????????????"
                                              ".*";
inline constexpr char Metadata_File_Name[] = "qelfilecache_Metadata.txt";
inline constexpr char Default_Extension[] = ".cached";
inline constexpr char Metadata_Magic[] = "QEL Logon Landscape Cache Metadata";
inline constexpr char Version_Keyword[] = "version";
inline constexpr char Entries_Keyword[] = "entries";
inline constexpr char File_Prefix[] = "file:";
inline constexpr char Http_Prefix[] = "http:";
inline constexpr char Https_Prefix[] = "https:";
/// Kept with the other prefixes, and not consulted: an FTP URL is no Internet URL for this cache.
inline constexpr char Ftp_Prefix[] = "ftp:";

/// Where the cache's own values stand in the configuration.
inline constexpr char Options_Key[] = "Software\\QEL\\QELLogon\\Options";
inline constexpr char Expiry_Period_Value[] = "LandscapeCacheExpiryPeriod";
inline constexpr std::uint64_t Intervals_Per_Minute = 600000000; // of 100 ns, in the expiry period
inline constexpr char Connect_Timeout_Value[] = "LandscapeServerFileConnectTimeout";

} // namespace QEL::FrontEnd::FileCache
