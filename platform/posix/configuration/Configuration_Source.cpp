#include "util/Configuration_Source.h"

#include "platform/posix/configuration/Configuration.h"

namespace QEL::FrontEnd::Util {

std::optional<Configured_Value> Find_Configured_Value(const char* key, const char* value) {
    using Platform::Configuration;
    constexpr auto both = Platform::Configuration_Scope::User_Then_Machine;
    const auto file = Configuration::System().Find_File(both, key, value);
    if (!file) {
        return std::nullopt;
    }
    return Configured_Value{*file, Configuration::System().Read_Text(both, key, value).value_or(std::string())};
}

std::string Configuration_Problem() {
    return Platform::Configuration::System().Problem();
}

} // namespace QEL::FrontEnd::Util
