#pragma once

#include <cstdint>

namespace QEL::FrontEnd::FileCache {

/// Values of m_errHTTPFileDownLoad: the outcome of the last Internet operation.
inline constexpr std::int32_t Http_Ok = 0;
inline constexpr std::int32_t Http_Check_Failed = 1;
inline constexpr std::int32_t Http_Download_Failed = 2;
inline constexpr std::int32_t Http_Copy_Unnamed = 3; ///< the last good copy is not served

/// Values of m_errFileShareDownLoad: the outcome of the last file share operation.
inline constexpr std::int32_t Share_Ok = 0;
inline constexpr std::int32_t Share_Source_Not_Examined = 1; ///< the copy is still attempted
inline constexpr std::int32_t Share_Copy_Failed = 2;
inline constexpr std::int32_t Share_Copy_Unnamed = 3; ///< the last good copy is not served
inline constexpr std::int32_t Share_Copy_Missing = 4; ///< the copy reported success, yet is not there

} // namespace QEL::FrontEnd::FileCache
