#include "util/Registry.h"

#include "platform/windows/configuration/Configuration.h"

namespace QEL::FrontEnd::Util {

void GetRegValInt(std::int32_t& target, const char* key, const char* value, int also_machine) {
    using Platform::Configuration_Scope;
    const auto scope = also_machine != 0 ? Configuration_Scope::User_Then_Machine : Configuration_Scope::User;
    if (const auto number = Platform::Read_Integer(scope, key, value)) {
        target = static_cast<std::int32_t>(*number);
    }
}

} // namespace QEL::FrontEnd::Util
