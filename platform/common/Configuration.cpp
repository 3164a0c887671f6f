#include "platform/common/Configuration.h"

#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Registry.h"

#include <limits>

namespace QEL::FrontEnd {

using Platform::Configuration;
constexpr auto Both = Platform::Configuration_Scope::User_Then_Machine;

std::optional<std::uint32_t> Platform::Low_32_Bits(std::int64_t number) {
    const bool fits =
        number >= std::numeric_limits<std::int32_t>::min() && number <= std::numeric_limits<std::uint32_t>::max();
    return fits ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

void Util::GetRegValInt(std::int32_t& target, const char* key, const char* value, int also_machine) {
    const auto scope = also_machine != 0 ? Both : Platform::Configuration_Scope::User;
    if (const auto number = Configuration::System().Read_Integer(scope, key, value)) {
        target = static_cast<std::int32_t>(*number);
    }
}

void Util::HttpWinInet::Read_CertErrorHandling_Parameters(CertErrorHandlingMode& mode,
                                                          std::vector<std::string>& white_list) {
    auto& configuration = Configuration::System();
    mode = static_cast<CertErrorHandlingMode>(
        configuration.Read_Integer(Both, Options_Key, Cert_Error_Mode_Value).value_or(Default));
    white_list = configuration.Read_List(Both, Options_Key, Cert_Error_White_List_Value);
}

std::optional<Util::Configured_Value> Util::Find_Configured_Value(const char* key, const char* value) {
    auto& configuration = Configuration::System();
    auto place = configuration.Find_Place(Both, key, value);
    if (!place) {
        return std::nullopt;
    }
    if (auto text = configuration.Read_Text(Both, key, value)) {
        return Configured_Value{std::move(*place), std::move(*text)};
    }
    if (const auto number = configuration.Read_Integer(Both, key, value)) {
        return Configured_Value{std::move(*place), std::to_string(*number)};
    }
    const auto texts = configuration.Read_List(Both, key, value);
    return Configured_Value{std::move(*place), texts.empty() ? std::string() : texts.front()};
}

std::string Util::Configuration_Problem() {
    return Configuration::System().Problem();
}

} // namespace QEL::FrontEnd
