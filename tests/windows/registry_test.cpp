// The registry: the user's root before the machine's, and the kinds of values.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Overridden_Root.h"
#include "tests/support/User_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Registry.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Util::HttpWinInet;
using QEL::FrontEnd::OSWRAPI::IOSWrapper;
using QEL::FrontEnd::Util::GetRegValInt;
using namespace testing;

class Registry : public testing::Test {
protected:
    enum Root { User = 0, Machine = 1, User_Then_Machine = 2 };

    Overridden_Root user{HKEY_CURRENT_USER, "User"};
    Overridden_Root machine{HKEY_LOCAL_MACHINE, "Machine"};
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    std::uint32_t Number(Root root) const { return services->Read_Registry_Int(root, Options_Key, "Period"); }

    static std::int32_t Signed_Number(int also_machine) {
        std::int32_t number = 777;
        GetRegValInt(number, Options_Key, "Period", also_machine);
        return number;
    }

    static std::vector<std::string> White_List() {
        CertErrorHandlingMode mode = Default;
        std::vector<std::string> white_list = {"left over"};
        Read_CertErrorHandling_Parameters(mode, white_list);
        return white_list;
    }
};

TEST_F(Registry, TheUsersValueHidesTheMachinesWhichCountsWhereItIsAskedFor) {
    const auto place = [] { return QEL::FrontEnd::Util::Find_Configured_Value(Options_Key, "Period")->place; };
    machine.Write_Number("Period", 10);
    EXPECT_EQ(Number(User_Then_Machine), 10U);
    EXPECT_EQ(Signed_Number(1), 10);
    EXPECT_EQ(place(), std::string("HKEY_LOCAL_MACHINE\\") + Options_Key);
    EXPECT_EQ(Number(User), 0U);
    EXPECT_EQ(Signed_Number(0), 777);
    user.Write_Number("Period", 20);
    EXPECT_EQ(Number(User_Then_Machine), 20U);
    EXPECT_EQ(Signed_Number(1), 20);
    EXPECT_EQ(place(), std::string("HKEY_CURRENT_USER\\") + Options_Key);
    EXPECT_EQ(Number(Machine), 10U);
}

TEST_F(Registry, ANumberIsFourBytesOrATextInRangeAndKeepsItsSign) {
    user.Write_Number("Period", static_cast<std::uint32_t>(-5));
    EXPECT_EQ(Signed_Number(0), -5);
    const std::tuple<DWORD, std::string> others[] = {{REG_DWORD, std::string("\x05\x01", 2)},
                                                     {REG_BINARY, std::string("\x05\0\0\0", 4)},
                                                     {REG_SZ, "4294967296"},
                                                     {REG_SZ, "-2147483649"},
                                                     {REG_SZ, "0x10"}};
    for (const auto& [type, bytes] : others) {
        user.Write("Period", type, bytes);
        EXPECT_EQ(Number(User), 0U) << bytes;
        EXPECT_EQ(Signed_Number(0), 777) << bytes;
    }
}

TEST_F(Registry, AListMayBeTheMachinesLackItsLastZerosOrBeOneText) {
    machine.Write_List("CertErrorWhiteList", {"https://a/x"});
    EXPECT_THAT(White_List(), ElementsAre("https://a/x"));
    user.Write("CertErrorWhiteList", REG_MULTI_SZ, std::string("https://a/y\0https://b/y", 23));
    EXPECT_THAT(White_List(), ElementsAre("https://a/y", "https://b/y"));
    for (const std::string& text : {std::string("https://a/z\0", 12), std::string("https://a/z\0https://b/z\0", 24)}) {
        user.Write("CertErrorWhiteList", REG_SZ, text);
        EXPECT_THAT(White_List(), ElementsAre("https://a/z"));
    }
    machine.Remove("CertErrorWhiteList");
    user.Write("CertErrorWhiteList", REG_BINARY, "https://a/x");
    EXPECT_THAT(White_List(), IsEmpty()) << "of another kind";
}

TEST_F(Registry, NamesThatAreNearlyOursAreFaults) {
    const auto make_key = [](const char* path) {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        RegCloseKey(key);
    };
    const std::string place = std::string("HKEY_CURRENT_USER\\") + Options_Key + ": ";
    user.Write_Number("LandscapeCacheExpiryPeriode", 5);
    user.Write_Number("LandscapeServerRetryAfter", 3601);
    user.Write_Number("LandscapeLargestFile", 1);
    user.Write_Number("Colour", 1);
    RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\QEL\\QELLogon", "Colour", REG_SZ, "", 1);
    RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\QEL\\QELLogon", "TraceDirectory", REG_SZ, "", 1);
    make_key("Software\\QEL\\QELogon\\Option");
    make_key("Software\\QEL\\QELLogon\\Views");
    make_key("Software\\Qal\\QELLogon\\options");
    make_key("Software\\Another\\QELLogon\\Options");
    const std::string did_you_mean =
        std::string(": the cache does not read this key; did you mean ") + Options_Key + "?";
    EXPECT_THAT(
        QEL::FrontEnd::Util::Configuration_Faults(),
        UnorderedElementsAre(place + "LandscapeCacheExpiryPeriode is unknown; did you mean "
                                     "LandscapeCacheExpiryPeriod?",
                             place + "LandscapeServerRetryAfter = 3601: not a number from 0 to 3600 and counts as 3600",
                             place + "LandscapeLargestFile = 1: has no effect on this system",
                             "HKEY_CURRENT_USER\\Software\\QEL\\QELLogon: TraceDirectory stands in "
                             "[Software\\QEL\\QELLogon], which the cache does not read; put it below [" +
                                 std::string(Options_Key) + "]",
                             "HKEY_CURRENT_USER\\Software\\QEL\\QELogon\\Option" + did_you_mean,
                             "HKEY_CURRENT_USER\\Software\\Qal\\QELLogon\\options" + did_you_mean));
}

} // namespace
