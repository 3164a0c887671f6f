// Any bytes as the user's INI file: it is read or passed over with a reason, the ways to ask for a
// value agree, and a plain value that is written into a file is the value that is read.

#include "fuzz/Require.h"
#include "fuzz/support/Scratch.h"
#include "platform/posix/configuration/Ini_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/Registry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

using QEL::FrontEnd::Platform::Configuration_Scope;
using QEL::FrontEnd::Platform::Ini_Configuration;
using QEL::FrontEnd::Platform::Low_32_Bits;
using QEL::FrontEnd::Platform::Options_Key;
using QEL::FrontEnd::Platform::Parse_Integer;

const std::string& User_File() {
    static const std::string path = [] {
        const auto home = QEL::Fuzz::Scratch_Directory();
        std::filesystem::create_directories(home / "qel");
        ::setenv("XDG_CONFIG_HOME", home.c_str(), 1);
        return (home / "qel" / "qel.ini").string();
    }();
    return path;
}

bool Is_Text_Of_One_Line(const std::string& text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

void Require_Agreement(Ini_Configuration& configuration, const char* key) {
    constexpr auto user = Configuration_Scope::User;
    const auto text = configuration.Read_Text(user, Options_Key, key);
    const auto list = configuration.Read_List(user, Options_Key, key);
    REQUIRE(text.has_value() == !list.empty());
    REQUIRE(!text || list.front() == *text);
    for (const std::string& value : list) {
        REQUIRE(Is_Text_Of_One_Line(value));
    }
    const auto number = configuration.Read_Integer(user, Options_Key, key);
    const auto written = text ? Parse_Integer(*text) : std::nullopt;
    REQUIRE(number == (written ? Low_32_Bits(*written) : std::nullopt));
    REQUIRE(!configuration.Read_Text(Configuration_Scope::Machine, Options_Key, key));

    // The operations that the product calls.
    std::int32_t target = 4711;
    QEL::FrontEnd::Util::GetRegValInt(target, Options_Key, key, 0);
    REQUIRE(target == static_cast<std::int32_t>(number.value_or(4711)));
}

/// A value as people write it: printable, no blanks around it.
std::string Plain_Value(std::string_view bytes) {
    std::string value;
    for (const char c : bytes.substr(0, 300)) {
        value += static_cast<unsigned char>(c) > 0x20 && c != 0x7F ? c : '-';
    }
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    QEL::Fuzz::Write_File(User_File(), text);
    Ini_Configuration configuration("/nonexistent/qel.ini");
    const std::string problem = configuration.Problem();
    REQUIRE(Is_Text_Of_One_Line(problem));
    const bool is_text = text.find('\0') == std::string::npos;
    const bool tells_of_a_line = problem.starts_with(User_File() + ": line ");
    REQUIRE(is_text ? problem.empty() || tells_of_a_line : problem == User_File() + ": not a text file");
    for (const char* const key : {"LandscapeCacheExpiryPeriod", "LandscapeServerFileConnectTimeout",
                                  "CertErrorHandlingMode", "CertErrorWhiteList", "TraceDirectory"}) {
        Require_Agreement(configuration, key);
        REQUIRE(is_text || !configuration.Read_Text(Configuration_Scope::User, Options_Key, key));
    }
    Parse_Integer(text);

    const std::string value = Plain_Value(text);
    QEL::Fuzz::Write_File(User_File(), std::string("[") + Options_Key + "]\nCertErrorHandlingMode = 1\n" +
                                           "CertErrorWhiteList = " + value + "\nCertErrorWhiteList=second\n");
    auto mode = QEL::FrontEnd::Util::HttpWinInet::Default;
    std::vector<std::string> white_list;
    QEL::FrontEnd::Util::HttpWinInet::Read_CertErrorHandling_Parameters(mode, white_list);
    REQUIRE(mode == QEL::FrontEnd::Util::HttpWinInet::WhiteListMode);
    REQUIRE(white_list == (std::vector<std::string>{value, "second"}));
    REQUIRE(configuration.Problem().empty());
    return 0;
}
