#include "platform/common/Configuration.h"

#include "util/Ascii.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Path_Queries.h"
#include "util/Registry.h"
#include "util/Similar_Words.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string_view>

namespace QEL::FrontEnd {

using Platform::Configuration;
constexpr auto Both = Platform::Configuration_Scope::User_Then_Machine;

std::optional<std::uint32_t> Platform::Low_32_Bits(std::int64_t number) {
    const bool fits =
        number >= std::numeric_limits<std::int32_t>::min() && number <= std::numeric_limits<std::uint32_t>::max();
    return fits ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

std::string Platform::Fault_Of(const std::string& name, const std::string& text, const std::string& objection) {
    constexpr std::size_t longest = 200;
    const std::string shown = text.size() > longest ? text.substr(0, longest) + "..." : text;
    return name + (text.empty() ? " is empty" : " = " + shown) + ": " + objection;
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

namespace {

/// What a value of the configuration may be.
struct Known_Value {
    const char* section;
    const char* key;
    enum Kind { Number, Text, List, Directory } kind;
    std::int64_t least = 0;
    std::int64_t most = 0;
    std::int64_t standard = 0; ///< used in place of what is not valid
};
constexpr const char* Shares = "Shares";
constexpr std::int64_t Largest = std::numeric_limits<std::uint32_t>::max();
constexpr Known_Value known_values[] = {
    {Util::Options_Key, Util::Expiry_Period_Value, Known_Value::Number, -1, Largest},
    {Util::Options_Key, Util::Connect_Timeout_Value, Known_Value::Number, 1, 2147483, 60},
    {Util::Options_Key, Util::Server_Retry_Value, Known_Value::Number, 0, 3600, 120},
    {Util::Options_Key, Util::Largest_File_Value, Known_Value::Number, 0, std::numeric_limits<std::int32_t>::max()},
    {Util::Options_Key, Util::Cert_Error_Mode_Value, Known_Value::Number, 0, 2},
    {Util::Options_Key, Util::Cert_Error_White_List_Value, Known_Value::List},
    {Util::Options_Key, Util::Trace_Directory_Value, Known_Value::Directory},
    {Shares, "Timeout", Known_Value::Number, 1, 3600},
    {Shares, "Port", Known_Value::Number, 1, 65535},
    {Shares, "User", Known_Value::Text},
    {Shares, "Workgroup", Known_Value::Text},
    {Shares, "PasswordFile", Known_Value::Text},
    {Shares, "Servers", Known_Value::List},
    {Shares, "Signing", Known_Value::Text},
};
constexpr std::size_t other_word = 3; ///< letters apart: not one of ours

/// The names of one section's values.
std::vector<std::string> Keys_Of(std::string_view section) {
    std::vector<std::string> keys;
    for (const auto& known : known_values) {
        if (Util::Equals_Ignoring_Case(section, known.section)) {
            keys.emplace_back(known.key);
        }
    }
    return keys;
}

/// Our section that is spelled nearly so, or stands behind other keys; empty for any other.
std::string Section_Meant_By(std::string section) {
    std::ranges::replace(section, '/', '\\');
    const std::string_view end = section;
    for (const std::string ours : {Util::Options_Key, Shares}) {
        if (section.size() > ours.size() &&
            Util::Equals_Ignoring_Case(end.substr(section.size() - ours.size() - 1), '\\' + ours)) {
            return ours;
        }
    }
    return Util::Nearest(section, std::vector<std::string>{Util::Options_Key, Shares}, other_word);
}

std::string Fault_Of_Name(const Platform::Configuration_Item& item) {
    const auto keys = Keys_Of(item.section);
    const auto did_you_mean = [](const std::string& name) {
        return name.empty() ? "" : "; did you mean " + name + "?";
    };
    if (keys.empty()) {
        if (const auto meant = Section_Meant_By(item.section); !meant.empty()) {
            return item.place == item.file // of the registry
                       ? "the cache does not read this key" + did_you_mean(meant)
                       : "[" + item.section + "] is an unknown section" + did_you_mean("[" + meant + "]");
        }
        // In a section of somebody else's, only names that nobody else would give.
        const bool has_section = !item.section.empty();
        for (const char* const section : {Util::Options_Key, Shares}) {
            if ((section != Shares || !has_section) &&
                !Util::Nearest(item.key, Keys_Of(section), has_section ? 1 : other_word).empty()) {
                return item.key + " stands in " +
                       (has_section ? "[" + item.section + "], which the cache does not read" : "no section") +
                       "; put it below [" + section + "]";
            }
        }
        return {};
    }
    if (item.key.empty() || std::ranges::any_of(keys, [&item](const std::string& key) {
            return Util::Equals_Ignoring_Case(key, item.key);
        })) {
        return {};
    }
    const auto nearest = Util::Nearest(item.key, keys, other_word);
    const bool is_all_ours = Util::Equals_Ignoring_Case(item.section, Shares);
    if (!nearest.empty() || !is_all_ours) {
        return nearest.empty() ? nearest : item.key + " is unknown" + did_you_mean(nearest);
    }
    std::string allowed;
    for (const std::string& key : keys) {
        allowed += (allowed.empty() ? "" : ", ") + key;
    }
    return item.key + " is unknown; [Shares] has " + allowed;
}

/// What the cache uses in place of a number that is not valid; empty when requests fail instead.
std::string In_Place_Of(const Platform::Configuration_Item& item, const Known_Value& known) {
    if (known.section == Shares) {
        return {};
    }
    const auto low_bits = item.number ? Platform::Low_32_Bits(*item.number) : std::nullopt;
    const std::uint32_t bits = low_bits.value_or(0);
    const bool fits = known.key == Util::Server_Retry_Value
                          ? !item.text.starts_with('-')
                          : known.key == Util::Connect_Timeout_Value && static_cast<std::int32_t>(bits) > 0;
    const bool is_unsigned = low_bits && known.key == Util::Expiry_Period_Value;
    const bool is_capped = fits && item.number && *item.number > known.most;
    return " and counts as " +
           std::to_string(is_unsigned ? bits
                          : is_capped ? known.most
                                      : known.standard) +
           (known.key == Util::Largest_File_Value ? ", no limit" : "");
}

std::string Fault_Of_Value(const Platform::Configuration_Item& item, const Known_Value& known) {
    const auto attributes = [&item] { return Util::FileSystem::Get_File_Attributes(item.text); };
    constexpr std::uint32_t directory = 0x10;
    if (known.key == Util::Largest_File_Value && !Util::Largest_File_Megabytes()) {
        return "has no effect on this system";
    }
    if (known.kind == Known_Value::Number &&
        (!item.number || *item.number < known.least || *item.number > known.most)) {
        return "not a number from " + std::to_string(std::max<std::int64_t>(known.least, 0)) + " to " +
               std::to_string(known.most) + In_Place_Of(item, known);
    }
    if (known.section == Shares) {
        return Platform::Objection_To_Share_Setting(known.key, item.text);
    }
    if (known.kind == Known_Value::Directory && attributes() == Util::FileSystem::Invalid_Attributes) {
        return "no such directory";
    }
    return known.kind == Known_Value::Directory && (attributes() & directory) == 0 ? "not a directory" : "";
}

} // namespace

std::vector<std::string> Util::Configuration_Faults() {
    Platform::Faults_Are_Known = true;
    std::vector<std::string> faults;
    std::set<std::string> seen;
    for (const auto& item : Configuration::System().Items()) {
        std::string fault = Fault_Of_Name(item);
        for (const auto& known : known_values) {
            if (!Equals_Ignoring_Case(item.section, known.section) || !Equals_Ignoring_Case(item.key, known.key)) {
                continue;
            }
            const bool is_first = seen.insert(item.file + '\n' + known.section + known.key).second;
            const std::string value = is_first || known.kind == Known_Value::List
                                          ? Fault_Of_Value(item, known)
                                          : "given twice; the first value is used";
            const std::string name = known.section == Shares ? "[Shares] " + item.key : item.key;
            fault = value.empty() ? value : Platform::Fault_Of(name, item.text, value);
        }
        const bool is_ours = item.section.empty() || !Keys_Of(item.section).empty();
        if (!fault.empty() && (is_ours || seen.insert(item.file + '[' + item.section).second)) {
            faults.push_back(item.place + ": " + fault);
        }
    }
    return faults;
}

std::string Util::Configuration_Problem() {
    return Configuration::System().Problem();
}

} // namespace QEL::FrontEnd
