#include "util/Cert_Error_Handling.h"

#include "platform/posix/configuration/Configuration.h"
#include "util/Registry.h"

namespace QEL::FrontEnd::Util::HttpWinInet {

void Read_CertErrorHandling_Parameters(CertErrorHandlingMode& mode, std::vector<std::string>& white_list) {
    using Platform::Options_Section;
    constexpr int also_machine = 1;
    std::int32_t configured_mode = Default;
    GetRegValInt(configured_mode, Options_Section, "CertErrorHandlingMode", also_machine);
    mode = static_cast<CertErrorHandlingMode>(configured_mode);
    white_list = Platform::Configuration::System().Read_List(Platform::Configuration_Scope::User_Then_Machine,
                                                             Options_Section, "CertErrorWhiteList");
}

} // namespace QEL::FrontEnd::Util::HttpWinInet
