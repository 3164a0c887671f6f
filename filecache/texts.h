#pragma once

#include <cstdint>

/// The constant texts of the cache.
namespace QEL::FrontEnd::FileCache {

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
/// Kept with the other prefixes, and not consulted: to this cache an FTP URL is not an Internet URL.
inline constexpr char Ftp_Prefix[] = "ftp:";

inline constexpr std::uint64_t Intervals_Per_Minute = 600000000; // of 100 ns, in the expiry period

} // namespace QEL::FrontEnd::FileCache
