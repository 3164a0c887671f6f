#include "util/Configuration_Source.h"

#include "platform/windows/configuration/Configuration.h"

namespace QEL::FrontEnd::Util {

namespace {

std::string Text_Of(const char* key, const char* value) {
    if (const auto text = Platform::Read_Text(key, value)) {
        return *text;
    }
    if (const auto number = Platform::Read_Integer(Platform::Configuration_Scope::User_Then_Machine, key, value)) {
        return std::to_string(*number);
    }
    const auto texts = Platform::Read_Text_List(key, value);
    return texts.empty() ? std::string() : texts.front();
}

} // namespace

std::optional<Configured_Value> Find_Configured_Value(const char* key, const char* value) {
    std::string place = Platform::Find_Key(key, value);
    if (place.empty()) {
        return std::nullopt;
    }
    return Configured_Value{std::move(place), Text_Of(key, value)};
}

std::string Configuration_Problem() {
    return {}; // the registry is there, and a value in it is whole
}

} // namespace QEL::FrontEnd::Util
