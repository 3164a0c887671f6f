#include "platform/common/Configuration.h"

#include "platform/windows/handles/Unique_Handle.h"
#include "util/Configuration_Source.h"
#include "util/Similar_Words.h"

#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>

namespace QEL::FrontEnd::Platform {

namespace {

struct Registry_Value {
    DWORD type = REG_NONE;
    std::string data; ///< as stored; a text may or may not end in zeros
};

/// Programs of 32 and of 64 bit have views of their own of the machine's values. Both read the same: their own first.
constexpr bool Has_64_Bit = sizeof(void*) == 8;
constexpr REGSAM Other_View = Has_64_Bit ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
constexpr const char* Other_View_Name = Has_64_Bit ? " (32-bit view)" : " (64-bit view)";

std::optional<Registry_Value> Read_Value(HKEY root, REGSAM view, const char* key, const char* value) {
    Registry_Key opened;
    if (RegOpenKeyExA(root, key, 0, KEY_QUERY_VALUE | view, opened.Receive()) != ERROR_SUCCESS) {
        return std::nullopt;
    }

    // A number fits into the room that a text has without an allocation. The value may grow between
    // two calls.
    Registry_Value read;
    auto size = static_cast<DWORD>(read.data.capacity());
    LONG result = ERROR_MORE_DATA;
    while (result == ERROR_MORE_DATA) {
        read.data.resize(size);
        result = RegQueryValueExA(opened.Get(), value, nullptr, &read.type, reinterpret_cast<BYTE*>(read.data.data()),
                                  &size);
    }
    if (result != ERROR_SUCCESS) {
        return std::nullopt;
    }
    read.data.resize(size);
    return read;
}

struct Place {
    Configuration_Scope scope;
    HKEY root;
    REGSAM view;
    const char* root_name;
    const char* view_name;
};
const Place Places[] = {
    {Configuration_Scope::User, HKEY_CURRENT_USER, 0, "HKEY_CURRENT_USER\\", ""},
    {Configuration_Scope::Machine, HKEY_LOCAL_MACHINE, 0, "HKEY_LOCAL_MACHINE\\", ""},
    {Configuration_Scope::Machine, HKEY_LOCAL_MACHINE, Other_View, "HKEY_LOCAL_MACHINE\\", Other_View_Name}};

/// @param found where not null: the place of the value.
std::optional<Registry_Value> Read_Value(Configuration_Scope scope, const char* key, const char* value,
                                         const Place** found = nullptr) {
    for (const Place& place : Places) {
        if (scope != Configuration_Scope::User_Then_Machine && scope != place.scope) {
            continue;
        }
        if (auto read = Read_Value(place.root, place.view, key, value)) {
            if (found != nullptr) {
                *found = &place;
            }
            return read;
        }
    }
    return std::nullopt;
}

std::string Up_To_First_Zero(const std::string& data) {
    return data.substr(0, data.find('\0'));
}

std::string Expand_Environment(const std::string& text) {
    std::string expanded(32767, '\0');
    const DWORD size = ExpandEnvironmentStringsA(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
    // Some systems count more than they write.
    return size == 0 || expanded.back() != '\0' ? text : Up_To_First_Zero(expanded);
}

std::optional<std::uint32_t> Parse_Integer(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    return is_number ? Low_32_Bits(number) : std::nullopt;
}

std::optional<std::uint32_t> Integer_Of(const Registry_Value& value) {
    if (value.type == REG_SZ) {
        return Parse_Integer(Up_To_First_Zero(value.data));
    }
    std::uint32_t number = 0;
    if (value.type != REG_DWORD || value.data.size() != sizeof(number)) {
        return std::nullopt;
    }
    std::memcpy(&number, value.data.data(), sizeof(number));
    return number;
}

/// The names of the keys below a key.
std::vector<std::string> Keys_Below(const Place& place, const std::string& path) {
    Registry_Key key;
    std::vector<std::string> names;
    std::string name(256, '\0');
    auto size = static_cast<DWORD>(name.size());
    if (RegOpenKeyExA(place.root, path.c_str(), 0, KEY_ENUMERATE_SUB_KEYS | place.view, key.Receive()) ==
        ERROR_SUCCESS) {
        for (DWORD index = 0;
             RegEnumKeyExA(key.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++index, size = static_cast<DWORD>(name.size())) {
            names.push_back(name.substr(0, size));
        }
    }
    return names;
}

/// Adds the keys whose path is nearly that of the cache's options, from a level of it on.
void Add_Similar_Keys(const Place& place, const std::string& path, std::size_t level, std::size_t letters,
                      std::vector<Configuration_Item>& items) {
    constexpr const char* levels[] = {"QEL", "QELLogon", "Options"};
    if (level == std::size(levels)) {
        if (letters > 0) {
            const std::string shown = place.root_name + path + place.view_name;
            items.push_back({shown, shown, path, {}, {}, {}});
        }
        return;
    }
    constexpr std::size_t most = 2;
    for (const std::string& name : Keys_Below(place, path)) {
        if (const auto apart = letters + Util::Distance(name, levels[level]); apart <= most) {
            Add_Similar_Keys(place, path + '\\' + name, level + 1, apart, items);
        }
    }
}

/// Adds the values of a key.
void Add_Values(const Place& place, const char* path, std::vector<Configuration_Item>& items) {
    Registry_Key key;
    if (RegOpenKeyExA(place.root, path, 0, KEY_QUERY_VALUE | place.view, key.Receive()) != ERROR_SUCCESS) {
        return;
    }
    constexpr DWORD longest_name = 16384;
    std::string name(longest_name, '\0');
    DWORD size = longest_name;
    const std::string shown = std::string(place.root_name) + path + place.view_name;
    for (DWORD index = 0;
         RegEnumValueA(key.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++index, size = longest_name) {
        const std::string value = name.substr(0, size);
        const auto read = Read_Value(place.root, place.view, path, value.c_str());
        std::optional<std::int64_t> number;
        if (read) {
            number = Integer_Of(*read);
        }
        const bool is_text = read && (read->type == REG_SZ || read->type == REG_EXPAND_SZ);
        const auto text = is_text  ? Expand_Environment(Up_To_First_Zero(read->data))
                          : number ? std::to_string(*number)
                                   : std::string("(of another type)");
        items.push_back({shown, shown, path, value, text, number});
    }
}

/// The values of the registry. A list may be a single text; environment variables are expanded in a
/// text of the expandable kind; a number may be a text that is a decimal number with an optional sign.
class Registry_Configuration : public Configuration {
public:
    std::optional<std::string> Read_Text(Configuration_Scope scope, const char* key, const char* value) override {
        const auto read = Read_Value(scope, key, value);
        if (!read || (read->type != REG_SZ && read->type != REG_EXPAND_SZ)) {
            return std::nullopt;
        }
        const std::string text = Up_To_First_Zero(read->data);
        return read->type == REG_EXPAND_SZ ? Expand_Environment(text) : text;
    }

    std::vector<std::string> Read_List(Configuration_Scope scope, const char* key, const char* value) override {
        std::vector<std::string> texts;
        const auto read = Read_Value(scope, key, value);
        if (!read || (read->type != REG_MULTI_SZ && read->type != REG_SZ)) {
            return texts;
        }

        // Each text ends with a zero, the list with an empty text; a list written by hand may lack both.
        std::string_view rest = read->data;
        while (!rest.empty() && rest.front() != '\0') {
            const std::string_view text = rest.substr(0, rest.find('\0'));
            texts.emplace_back(text);
            rest.remove_prefix(text.size() == rest.size() ? text.size() : text.size() + 1);
            if (read->type == REG_SZ) {
                break;
            }
        }
        return texts;
    }

    std::optional<std::uint32_t> Read_Integer(Configuration_Scope scope, const char* key, const char* value) override {
        const auto read = Read_Value(scope, key, value);
        return read ? Integer_Of(*read) : std::nullopt;
    }

    std::optional<std::string> Find_Place(Configuration_Scope scope, const char* key, const char* value) override {
        const Place* place = nullptr;
        return Read_Value(scope, key, value, &place)
                   ? std::optional(std::string(place->root_name) + key + place->view_name)
                   : std::nullopt;
    }

    std::vector<Configuration_Item> Items() override {
        std::vector<Configuration_Item> items;
        for (const Place& place : Places) {
            Add_Similar_Keys(place, "Software", 0, 0, items);
            Add_Values(place, Options_Key, items);
            Add_Values(place, "Software\\QEL\\QELLogon", items); // where ours may be by mistake
        }
        return items;
    }

    /// The registry is there, and a value in it is whole.
    std::string Problem() override { return {}; }
};

} // namespace

std::string Objection_To_Share_Setting(std::string_view, const std::string&) {
    return {}; // the system logs on to shares
}

Configuration& Configuration::System() {
    static auto& s_configuration = *new Registry_Configuration; // threads may request to the end
    return s_configuration;
}

} // namespace QEL::FrontEnd::Platform

std::optional<std::int32_t> QEL::FrontEnd::Util::Largest_File_Megabytes() {
    return std::nullopt;
}
