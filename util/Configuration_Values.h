#pragma once

/// The names of the cache's own values in the configuration.
namespace QEL::FrontEnd::Util {

/// The registry key, or the section of the INI files, that holds all of them.
inline constexpr char Options_Key[] = "Software\\QEL\\QELLogon\\Options";

inline constexpr char Expiry_Period_Value[] = "LandscapeCacheExpiryPeriod";
inline constexpr char Connect_Timeout_Value[] = "LandscapeServerFileConnectTimeout";
inline constexpr char Server_Retry_Value[] = "LandscapeServerRetryAfter";
inline constexpr char Largest_File_Value[] = "LandscapeLargestFile";
inline constexpr char Cert_Error_Mode_Value[] = "CertErrorHandlingMode";
inline constexpr char Cert_Error_White_List_Value[] = "CertErrorWhiteList";
inline constexpr char Trace_Directory_Value[] = "TraceDirectory";

} // namespace QEL::FrontEnd::Util
