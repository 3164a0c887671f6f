#include "util/Cert_Error_Handling.h"

#include "platform/windows/configuration/Configuration.h"

namespace QEL::FrontEnd::Util::HttpWinInet {

void Read_CertErrorHandling_Parameters(CertErrorHandlingMode& mode, std::vector<std::string>& white_list) {
    using Platform::Options_Key;
    const auto configured_mode =
        Platform::Read_Integer(Platform::Configuration_Scope::User_Then_Machine, Options_Key, "CertErrorHandlingMode");
    mode = static_cast<CertErrorHandlingMode>(configured_mode.value_or(Default));
    white_list = Platform::Read_Text_List(Options_Key, "CertErrorWhiteList");
}

} // namespace QEL::FrontEnd::Util::HttpWinInet
