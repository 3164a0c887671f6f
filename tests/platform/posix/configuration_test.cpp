#include "filecache/oswrap/IOSWrapper.h"
#include "platform/posix/configuration/Ini_Configuration.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "util/Registry.h"

#include <gmock/gmock.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Configuration_Scope;
using FrontEnd::Platform::Parse_Integer;
using namespace testing;

constexpr auto User = Configuration_Scope::User;
constexpr auto Machine = Configuration_Scope::Machine;
constexpr auto Both = Configuration_Scope::User_Then_Machine;

const std::string Header = std::string("[") + Options_Key + "]\n";

class Ini_Files : public testing::Test {
protected:
    Scratch_Directory home;
    Scratch_Directory machine;
    const Environment_Variable config_home{"XDG_CONFIG_HOME", home.Path().c_str()};
    FrontEnd::Platform::Ini_Configuration configuration{machine / "qel.ini"};

    void SetUp() override { home.Make_Directory("qel"); }

    std::string User_File() const { return home / "qel/qel.ini"; }
    std::string Machine_File() const { return machine / "qel.ini"; }

    void Write_User_File(const std::string& values) const { home.Write("qel/qel.ini", Header + values); }
    void Write_Machine_File(const std::string& values) const { machine.Write("qel.ini", Header + values); }

    std::string Text(const std::string& name, Configuration_Scope scope = Both) {
        return configuration.Read_Text(scope, Options_Key, name.c_str()).value_or("none");
    }
    std::vector<std::string> List(const std::string& name, Configuration_Scope scope = Both) {
        return configuration.Read_List(scope, Options_Key, name.c_str());
    }
    std::optional<std::uint32_t> Number(const std::string& name, Configuration_Scope scope = Both) {
        return configuration.Read_Integer(scope, Options_Key, name.c_str());
    }
};

TEST_F(Ini_Files, TheUsersValueComesBeforeTheMachinesWhichCountsWhereThereIsNone) {
    EXPECT_EQ(Number("Period"), std::nullopt);
    EXPECT_EQ(configuration.Find_Place(Both, Options_Key, "Period"), std::nullopt);
    Write_Machine_File("Period = 2\nTimeout = 3\nList = c\nList = d\n");
    EXPECT_EQ(Number("Period"), 2) << "the user's file is missing";
    EXPECT_EQ(configuration.Find_Place(Both, Options_Key, "Period"), Machine_File());
    EXPECT_EQ(configuration.Find_Place(User, Options_Key, "Period"), std::nullopt);
    EXPECT_THAT(List("List"), ElementsAre("c", "d"));

    Write_User_File("Period = 1\nList = b\nList = a\n");
    EXPECT_EQ(Number("Period"), 1);
    EXPECT_EQ(configuration.Find_Place(Both, Options_Key, "Period"), User_File());
    EXPECT_EQ(configuration.Find_Place(Machine, Options_Key, "Period"), Machine_File());
    EXPECT_EQ(Number("Timeout"), 3);
    EXPECT_EQ(Number("Period", User), 1);
    EXPECT_EQ(Number("Period", Machine), 2);
    EXPECT_EQ(Number("Timeout", User), std::nullopt);
    EXPECT_THAT(List("List"), ElementsAre("b", "a"));

    Write_User_File("Period = soon\nList =\n");
    EXPECT_EQ(Number("Period"), std::nullopt) << "rubbish hides the machine's number";
    EXPECT_THAT(List("List"), ElementsAre(""));
    std::filesystem::remove(Machine_File());
    Write_User_File("Period = 1\n");
    EXPECT_EQ(Number("Period"), 1) << "the machine's file is missing";
    EXPECT_EQ(configuration.Problem(), "");
}

TEST_F(Ini_Files, HoldWhatTheirLinesSay) {
    const std::string options = Options_Key;
    const struct {
        std::string file;
        const char* name;
        std::string value;
    } cases[] = {
        // Sections have no letter case, may stand twice, and others do not count.
        {"Period=1\n[Software\\QEL]\nPeriod=2\n[" + options + "2]\nPeriod=3\n", "Period", "none"},
        {Header + "A=1\n[Other]\nA=2\n[software\\Qel\\qellogon\\OPTIONS]\nB=3\n", "A", "1"},
        {Header + "A=1\n[Other]\nA=2\n[software\\Qel\\qellogon\\OPTIONS]\nB=3\n", "b", "3"},
        // Nor do blanks, comments and line ends.
        {"\xEF\xBB\xBF; comment\r\n# comment\r\n\r\n  [ " + options + " ]  \r\n\t A b \t=\t x y \t\r\n;A b=z\r\n",
         "A b", "x y"},
        {Header + "A=1\r\nLast=end", "Last", "end"},
        // Of a repeated key the first value counts; values are taken literally.
        {Header + "Period = 1\nOther = 5\nperiod = 2\n", "Period", "1"},
        {Header + "A = \"quoted\"\n", "A", "\"quoted\""},
        {Header + "B = a;b#c=d\n", "B", "a;b#c=d"},
        {Header + "C = <<<END\nD = 1\nEND\n", "C", "<<<END"},
        {Header + "C = <<<END\nD = 1\nEND\n", "D", "1"},
        {Header + "E = \xE4\xFF\n", "E", "\xE4\xFF"},
        // Lines that are nothing are passed over.
        {Header + "rubbish\n=no key\n[no end\n" + Header + "A=1\n]\n[]\nB=2\n", "A", "1"},
        {Header + "rubbish\n=no key\n[no end\n" + Header + "A=1\n]\n[]\nB=2\n", "B", "none"},
    };
    for (const auto& [file, name, value] : cases) {
        home.Write("qel/qel.ini", file);
        EXPECT_EQ(Text(name), value) << file;
    }
    Write_User_File("Period = 1\nOther = 5\nperiod = 2\n");
    EXPECT_THAT(List("PERIOD"), ElementsAre("1", "2"));
    const std::string url = "https://server.example/" + std::string(100000, 'x');
    Write_User_File("List = " + url + "\nList = " + url + "y\n");
    EXPECT_THAT(List("List"), ElementsAre(url, url + "y"));
}

TEST_F(Ini_Files, AChangeOfAFileThatHasRestedIsSeenAndNothingElseRead) {
    const struct timespec long_ago[] = {{1000000000, 5}, {1000000000, 5}};
    Write_User_File("Period = 1\n");
    ASSERT_EQ(::utimensat(AT_FDCWD, User_File().c_str(), long_ago, 0), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    ASSERT_EQ(Number("Period"), 1);
    configuration.m_User_File->m_Problem = "as before"; // which reading it would put right
    EXPECT_EQ(Number("Period"), 1);
    EXPECT_EQ(configuration.m_User_File->Problem(), "as before");

    Write_User_File("Period = 2\n");
    ASSERT_EQ(::utimensat(AT_FDCWD, User_File().c_str(), long_ago, 0), 0);
    EXPECT_EQ(Number("Period"), 2) << "of the same size and time";
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    ASSERT_EQ(Number("Period"), 2);
    home.Write("new", Header + "Period = 3\n");
    std::filesystem::rename(home / "new", User_File());
    EXPECT_EQ(Number("Period"), 3) << "another file in its place";
    std::filesystem::remove(User_File());
    EXPECT_EQ(Number("Period"), std::nullopt);
    Write_User_File("Period = 4\n");
    EXPECT_EQ(Number("Period"), 4);
}

TEST_F(Ini_Files, AFileChangedJustNowIsReadAgain) {
    // It may change once more within the same step of the clock behind its time stamps. A busy machine
    // may not come to read it within that step.
    for (int attempt = 0; attempt < 100 && (attempt == 0 || configuration.m_User_File->m_Version.has_value());
         ++attempt) {
        Write_User_File("Period = 1\n");
        ASSERT_EQ(Number("Period"), 1);
    }
    ASSERT_FALSE(configuration.m_User_File->m_Version.has_value());
    configuration.m_User_File->m_Problem = "as before";
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    EXPECT_EQ(Number("Period"), 1);
    EXPECT_EQ(configuration.m_User_File->Problem(), "");
    EXPECT_TRUE(configuration.m_User_File->m_Version.has_value());
}

TEST_F(Ini_Files, WhatIsPassedOverIsReportedAndTheOthersCount) {
    const std::string neither = ": neither a section, nor a key with '=' and its value, nor a comment with ';' or '#'";
    const struct {
        std::string file;
        std::string fault;
        std::uint32_t period = 1;
    } cases[] = {
        {Header + "Period = 1\n[Shares\nPort = 2\n", ": line 3: the section has no ']' at its end"},
        {Header + "Period = 1\r\n\r\nPeriod 2\r\n", ": line 4" + neither},
        {Header + "Period = 1\n  = 2", ": line 3: no key stands before the '='"},
        {Header + "\rPeriod = 1\r// 2\r", ": line 4" + neither},
        {"\xEF\xBB\xBF" + Header + " ; a\n\t# b\n \t\n [Other] rest\nkey=\n" + Header + "Period = 1\nOther = 1 = 2",
         ""},
        {Header + "Period = 1\n" + Rubbish(100000), ": not a text file", 2},
        {Header + "Period = 1\n" + std::string(5 << 20, '\n'), ": too large for a configuration file", 2},
        {Header + "Period = 1\n", ""},
    };
    Write_Machine_File("Period = 2\n");
    for (const auto& [file, fault, period] : cases) {
        home.Write("qel/qel.ini", file);
        EXPECT_EQ(Number("Period"), period) << fault;
        EXPECT_EQ(configuration.Problem(), fault.empty() ? "" : User_File() + fault);
    }
}

TEST_F(Ini_Files, ALinkThatLeadsNowhereIsReported) {
    for (const std::string& file : {User_File(), Machine_File()}) {
        EXPECT_EQ(configuration.Problem(), "");
        std::filesystem::create_symlink("missing", file);
        EXPECT_EQ(Number("Period"), std::nullopt);
        EXPECT_EQ(configuration.Problem(), file + ": a link to a file that does not exist");
        std::filesystem::remove(file);
    }
}

TEST_F(Ini_Files, ADirectoryOrPipeIsRefusedAtOnce) {
    std::filesystem::create_directory(User_File());
    ASSERT_EQ(::mkfifo(Machine_File().c_str(), 0600), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Number("Period"), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(configuration.Problem(), User_File() + ": not a file\n" + Machine_File() + ": not a file");
}

TEST_F(Ini_Files, AFileUnreadableOrOutOfReachCountsAsMissingAndIsReported) {
    const auto wrong_without_rights = [this](std::optional<std::uint32_t> period) {
        return Run_Without_Rights([this, period] {
            return (Number("Period") == period ? 0 : 1) +
                   (configuration.Problem() == User_File() + ": access is denied (5)" ? 0 : 2);
        });
    };
    Write_User_File("Period = 1\n");
    ASSERT_EQ(::chmod(home.Path().c_str(), ::geteuid() == 0 ? 0700 : 0), 0);
    EXPECT_EQ(wrong_without_rights(std::nullopt), 0);
    ASSERT_EQ(::chmod(home.Path().c_str(), 0700), 0);

    Write_Machine_File("Period = 2\n");
    for (const auto& directory : {home / "", home / "qel", machine / ""}) {
        ASSERT_EQ(::chmod(directory.c_str(), 0711), 0);
    }
    ASSERT_EQ(::chmod(User_File().c_str(), 0), 0);
    EXPECT_EQ(wrong_without_rights(2), 0);
}

TEST_F(Ini_Files, TheEnvironmentNamesTheUsersFile) {
    Write_User_File("Period = 1\n");
    Write_Machine_File("Period = 2\n");
    const Scratch_Directory other_home;
    other_home.Write(".config/qel/qel.ini", Header + "Period = 3\n");
    const Environment_Variable home_variable("HOME", other_home.Path().c_str());
    EXPECT_EQ(Number("Period"), 1);
    for (const char* none : {static_cast<const char*>(nullptr), "", "relative/path", "."}) {
        const Environment_Variable no_config_home("XDG_CONFIG_HOME", none);
        EXPECT_EQ(Number("Period"), 3);
        for (const char* without_file : {home.Path().c_str(), none}) {
            const Environment_Variable home_moved("HOME", without_file);
            EXPECT_EQ(Number("Period"), 2);
            EXPECT_EQ(Number("Period", User), std::nullopt);
            EXPECT_EQ(configuration.m_User_File.has_value(), without_file != none);
        }
    }
    EXPECT_EQ(Number("Period"), 1);
    EXPECT_EQ(configuration.Problem(), "");
}

TEST_F(Ini_Files, ReadersNeverSeeAMixture) {
    // Replaced as a careful administrator does; every reader sees the old or the new file.
    Write_User_File("A = 0\nB = 0\nB = 0\n");
    std::atomic<bool> done = false;
    In_Threads(5, [&](int reader) {
        while (reader > 0 && !done) {
            const auto list = List("B");
            EXPECT_TRUE(list.size() == 2 && list[0] == list[1] && Number("A") && Text("A") != "none");
        }
        for (int version = 1; reader == 0 && version < 200; ++version) {
            const std::string text = std::to_string(version);
            home.Write("new", Header + "A = " + text + "\nB = " + text + "\nB = " + text + "\n");
            std::filesystem::rename(home / "new", User_File());
        }
        done = true;
    });
    EXPECT_EQ(Number("A"), 199);
}

TEST_F(Ini_Files, TheSystemsConfigurationIsTheMachinesWhoseNumberIsReadWhereItIsAskedFor) {
    using FrontEnd::Platform::Configuration;
    auto& system = dynamic_cast<FrontEnd::Platform::Ini_Configuration&>(Configuration::System());
    EXPECT_EQ(system.m_Machine_File.m_Path, "/etc/qel/qel.ini");
    EXPECT_EQ(&Configuration::System(), &system);
    const auto replace_machine_file = [&system](const std::string& path) {
        std::destroy_at(&system.m_Machine_File);
        std::construct_at(&system.m_Machine_File, path);
    };
    Write_Machine_File("Period = 2\n");
    replace_machine_file(Machine_File());
    std::int32_t with_machine = 7;
    std::int32_t only_user = 7;
    FrontEnd::Util::GetRegValInt(with_machine, Options_Key, "Period", 1);
    FrontEnd::Util::GetRegValInt(only_user, Options_Key, "Period", 0);
    replace_machine_file("/etc/qel/qel.ini");
    EXPECT_EQ(with_machine, 2);
    EXPECT_EQ(only_user, 7);
}

TEST_F(Ini_Files, NumbersHave32BitsAsThoseOfTheRegistry) {
    const auto services = FrontEnd::OSWRAPI::IOSWrapper::Create();
    constexpr std::int32_t as_before = 7;
    const std::tuple<const char*, std::int32_t, std::uint32_t> numbers[] = {
        {"0x10", 16, 16},
        {"0x7FFFFFFF", 0x7FFFFFFF, 0x7FFFFFFF},
        {"0xFFFFFFFF", -1, 0xFFFFFFFF},
        {"-1", -1, 0xFFFFFFFF},
        {"-2147483648", std::numeric_limits<std::int32_t>::min(), 0x80000000},
        {"-2147483649", as_before, 0},
        {"4294967296", as_before, 0},
        {"4294967356", as_before, 0}};
    for (const auto& [written, as_signed, as_period] : numbers) {
        Write_User_File(std::string("Period = ") + written + "\n");
        std::int32_t target = as_before;
        FrontEnd::Util::GetRegValInt(target, Options_Key, "Period", 0);
        EXPECT_EQ(target, as_signed) << written;
        EXPECT_EQ(services->Read_Registry_Int(0, Options_Key, "Period"), as_period) << written;
    }
}

TEST(Parse_Integer, ReadsDecimalAndHexadecimalNumbersAndNothingElse) {
    std::istringstream numbers("0=0|007=7|  60\t=60|4294967295=4294967295|-1=-1|0x1f=31|0X1F=31|-0x10=-16|"
                               "9223372036854775807=9223372036854775807");
    for (std::string text, number; std::getline(numbers, text, '=') && std::getline(numbers, number, '|');) {
        EXPECT_EQ(Parse_Integer(text), std::stoll(number)) << text;
    }
    std::istringstream others("| |-|--1|+1|60abc|abc|6 0|6,0|6.0|1e3|0x|0x-1|-0x|0xG|x10|1F|"
                              "9223372036854775808|99999999999999999999|\xC2\xA0 1");
    for (std::string text; std::getline(others, text, '|');) {
        EXPECT_EQ(Parse_Integer(text), std::nullopt) << text;
    }
}

} // namespace

} // namespace QEL::Tests
