#include "util/Registry.h"

#include "platform/posix/configuration/Configuration.h"

#include <limits>

namespace QEL::FrontEnd::Util {

void GetRegValInt(std::int32_t& target, const char* key, const char* value, int also_machine) {
    using Platform::Configuration_Scope;
    const auto scope = also_machine != 0 ? Configuration_Scope::User_Then_Machine : Configuration_Scope::User;
    const auto number = Platform::Configuration::System().Read_Integer(scope, key, value);
    using Limits = std::numeric_limits<std::int32_t>;
    if (number && *number >= Limits::min() && *number <= Limits::max()) {
        target = static_cast<std::int32_t>(*number);
    }
}

} // namespace QEL::FrontEnd::Util
