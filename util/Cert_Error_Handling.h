#pragma once

#include <string>
#include <vector>

namespace QEL::FrontEnd::Util::HttpWinInet {

/// What the second HTTP client does about a server certificate that is not valid.
/// Any other configured value means: no second attempt.
enum CertErrorHandlingMode : int {
    Default = 0,            ///< certificate errors end the request
    WhiteListMode = 1,      ///< they are ignored for the URLs on the white list
    IgnoreAllErrorsMode = 2 ///< they are ignored for every URL
};

/// Reads mode and white list (whole URLs) from the configuration, on every call.
/// A missing or non-numeric mode is Default, a missing list is empty.
/// Source: values "CertErrorHandlingMode" and "CertErrorWhiteList" under
/// "Software\QEL\QELLogon\Options", the user's override the machine's.
void Read_CertErrorHandling_Parameters(CertErrorHandlingMode& mode, std::vector<std::string>& white_list);

} // namespace QEL::FrontEnd::Util::HttpWinInet
