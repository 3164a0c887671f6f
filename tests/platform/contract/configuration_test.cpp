// What the configuration holds for the cache: numbers, certificate errors, trace directory.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/User_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Registry.h"
#include "util/Trace_Directory.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Util::HttpWinInet;
using namespace FrontEnd::Util::Tracing;
using FrontEnd::OSWRAPI::IOSWrapper;
using FrontEnd::Util::Find_Configured_Value;
using FrontEnd::Util::GetRegValInt;
using namespace testing;

constexpr int Only_User = 0;
constexpr int User_Then_Machine = 2;

class Configuration : public testing::Test {
protected:
    User_Configuration user;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    std::uint32_t Number(const std::string& name, int root = Only_User) const {
        return services->Read_Registry_Int(root, Options_Key, name);
    }

    static std::int32_t Signed_Number(const char* name, std::int32_t target, int also_machine = 0) {
        GetRegValInt(target, Options_Key, name, also_machine);
        return target;
    }
};

TEST_F(Configuration, ReadsNumbers) {
    user.Set_Number("Period", 60);
    EXPECT_EQ(Number("Period"), 60u);
    EXPECT_EQ(Number("Period", User_Then_Machine), 60u);
    EXPECT_EQ(Signed_Number("Period", 7), 60);
    EXPECT_EQ(Signed_Number("Period", 7, 1), 60);
}

TEST_F(Configuration, SaysWhereAValueStandsAndWhatIsWrittenThere) {
    EXPECT_FALSE(Find_Configured_Value(Options_Key, "Period"));
    user.Set_Number("Period", 60);
    user.Set_Text("Mode", "abc");
    user.Set_List("List", {"first", "second"});
    const auto number = Find_Configured_Value(Options_Key, "Period");
    ASSERT_TRUE(number);
    EXPECT_EQ(number->text, "60");
    EXPECT_THAT(number->place, testing::AnyOf(testing::EndsWith("/qel/qel.ini"),
                                              testing::Eq(std::string("HKEY_CURRENT_USER\\") + Options_Key)));
    EXPECT_EQ(Find_Configured_Value(Options_Key, "Mode")->text, "abc");
    EXPECT_EQ(Find_Configured_Value(Options_Key, "List")->text, "first");
    EXPECT_EQ(FrontEnd::Util::Configuration_Problem(), "");
}

TEST_F(Configuration, NamesHaveNoLetterCase) {
    user.Set_Number("Period", 60);
    EXPECT_EQ(Number("PERIOD"), 60u);
    EXPECT_EQ(services->Read_Registry_Int(Only_User, "SOFTWARE\\qel\\QELLOGON\\options", "period"), 60u);
}

TEST_F(Configuration, AMissingNumberIsZeroOrLeavesTheTargetAlone) {
    EXPECT_EQ(Number("NoSuchValue"), 0u);
    EXPECT_EQ(Number("NoSuchValue", User_Then_Machine), 0u);
    EXPECT_EQ(Signed_Number("NoSuchValue", 7), 7);
    EXPECT_EQ(Signed_Number("NoSuchValue", 7, 1), 7);
    user.Set_Number("Period", 60);
    EXPECT_EQ(Number("NoSuchValue"), 0u);
    EXPECT_EQ(services->Read_Registry_Int(Only_User, "Software\\QEL\\NoSuchKey", "Period"), 0u);
}

TEST_F(Configuration, TheMachineAndOtherRootsDoNotHaveTheUsersValues) {
    user.Set_Number("OnlyTheUserHasThis", 60);
    for (const int root : {1, -1, 3, 4, 1000}) {
        EXPECT_EQ(Number("OnlyTheUserHasThis", root), 0u) << root;
    }
}

TEST_F(Configuration, TheGreatestNumberIsRead) {
    user.Set_Number("Period", 0xFFFFFFFF);
    EXPECT_EQ(Number("Period"), 0xFFFFFFFFu);
    user.Set_Number("Period", 0x7FFFFFFF);
    EXPECT_EQ(Signed_Number("Period", 7), 0x7FFFFFFF);
}

TEST_F(Configuration, ATextIsReadAsTheNumberThatItIs) {
    user.Set_Text("Period", "60");
    EXPECT_EQ(Number("Period"), 60u);
    EXPECT_EQ(Signed_Number("Period", 7), 60);
    user.Set_Text("Period", "-5");
    EXPECT_EQ(Signed_Number("Period", 7), -5);
}

TEST_F(Configuration, ATextThatIsNoNumberCountsAsMissing) {
    for (const char* text : {"", "soon", "60abc", "abc60", "6 0", "6.5", "--6", "-", "0x", "9999999999999999999999"}) {
        user.Set_Text("Period", text);
        EXPECT_EQ(Number("Period"), 0u) << text;
        EXPECT_EQ(Signed_Number("Period", 7), 7) << text;
    }
}

TEST_F(Configuration, AChangeIsSeenAtOnce) {
    for (std::uint32_t number = 100; number < 130; ++number) {
        user.Set_Number("Period", number);
        ASSERT_EQ(Number("Period"), number);
    }
    user.Remove("Period");
    EXPECT_EQ(Number("Period"), 0u);
}

TEST_F(Configuration, ManyThreadsReadAtOnce) {
    user.Set_Number("Period", 60);
    user.Set_List("CertErrorWhiteList", {"https://one.example/", "https://two.example/"});
    std::vector<std::thread> readers;
    std::atomic<int> wrong = 0;
    for (int number = 0; number < 8; ++number) {
        readers.emplace_back([&] {
            for (int count = 0; count < 200; ++count) {
                CertErrorHandlingMode mode = IgnoreAllErrorsMode;
                std::vector<std::string> white_list;
                Read_CertErrorHandling_Parameters(mode, white_list);
                wrong += Number("Period") != 60 || white_list.size() != 2 ? 1 : 0;
            }
        });
    }
    for (auto& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
}

class Certificate_Errors : public Configuration {
protected:
    CertErrorHandlingMode mode = IgnoreAllErrorsMode;
    std::vector<std::string> white_list = {"left over"};

    void Read() { Read_CertErrorHandling_Parameters(mode, white_list); }
};

TEST_F(Certificate_Errors, EndTheRequestUnlessConfigured) {
    Read();
    EXPECT_EQ(mode, Default);
    EXPECT_THAT(white_list, IsEmpty());
}

TEST_F(Certificate_Errors, TheModeIsRead) {
    for (const std::uint32_t number : {0u, 1u, 2u, 3u, 77u}) {
        user.Set_Number("CertErrorHandlingMode", number);
        Read();
        EXPECT_EQ(static_cast<std::uint32_t>(mode), number);
    }
}

TEST_F(Certificate_Errors, AModeThatIsNoNumberIsTheDefault) {
    user.Set_Text("CertErrorHandlingMode", "everything");
    Read();
    EXPECT_EQ(mode, Default);
}

TEST_F(Certificate_Errors, TheWhiteListIsKeptWholeAndInItsOrder) {
    const std::string url = "https://server.example/" + std::string(2000, 'x');
    std::vector<std::string> many;
    for (int number = 1000; number > 0; --number) {
        many.push_back("https://server" + std::to_string(number) + ".example/landscape.xml");
    }
    for (const std::vector<std::string>& list :
         {std::vector<std::string>{"https://b.example/?a=b&c=d", "https://a.example/#x", "https://c.example/%20"},
          {url, url + "y"},
          many}) {
        user.Set_List("CertErrorWhiteList", list);
        Read();
        EXPECT_EQ(white_list, list);
    }
}

TEST_F(Certificate_Errors, AreReadAfreshEveryTime) {
    user.Set_Number("CertErrorHandlingMode", 1);
    user.Set_List("CertErrorWhiteList", {"https://one.example/"});
    Read();
    user.Set_Number("CertErrorHandlingMode", 2);
    user.Set_List("CertErrorWhiteList", {"https://two.example/"});
    Read();
    EXPECT_EQ(mode, IgnoreAllErrorsMode);
    EXPECT_THAT(white_list, ElementsAre("https://two.example/"));
    user.Remove("CertErrorHandlingMode");
    user.Remove("CertErrorWhiteList");
    Read();
    EXPECT_EQ(mode, Default);
    EXPECT_THAT(white_list, IsEmpty());
}

class Trace_Directory : public Configuration {
protected:
    const Environment_Variable no_variable{"QEL_TRACE_DIR", nullptr};
    Directory_Buffer buffer{};

    std::string Directory() {
        buffer.fill('x');
        InitBuffer(buffer);
        return InitTraceDir(buffer) != 0 ? buffer.data() : "none";
    }
};

TEST_F(Trace_Directory, NoneIsConfigured) {
    EXPECT_EQ(Directory(), "none");
    EXPECT_EQ(Trace_Directory_Source(), "");
    EXPECT_THAT(buffer, testing::Each('\0'));
}

TEST_F(Trace_Directory, ComesFromTheEnvironmentFirst) {
    user.Set_Text("TraceDirectory", "/var/trace");
    const Environment_Variable variable("QEL_TRACE_DIR", "/home/trace");
    EXPECT_EQ(Directory(), "/home/trace");
    EXPECT_EQ(Trace_Directory_Source(), "environment variable QEL_TRACE_DIR");
}

TEST_F(Trace_Directory, AnEmptyVariableIsNone) {
    user.Set_Text("TraceDirectory", "/var/trace");
    const Environment_Variable variable("QEL_TRACE_DIR", "");
    EXPECT_EQ(Directory(), "/var/trace");
    EXPECT_EQ(Trace_Directory_Source(), Find_Configured_Value(Options_Key, "TraceDirectory")->place);
}

TEST_F(Trace_Directory, HasToFitWithItsTerminatingZero) {
    const std::string longest(259, 'd');
    const Environment_Variable fits("QEL_TRACE_DIR", longest.c_str());
    EXPECT_EQ(Directory(), longest);
    const Environment_Variable too_long("QEL_TRACE_DIR", (longest + "d").c_str());
    EXPECT_EQ(Directory(), "none");
    EXPECT_THAT(buffer, testing::Each('\0'));
}

TEST_F(Trace_Directory, FollowsTheConfiguration) {
    user.Set_Text("TraceDirectory", "/var/trace of qel");
    EXPECT_EQ(Directory(), "/var/trace of qel");
    user.Set_Text("TraceDirectory", "/var/trac2");
    EXPECT_EQ(Directory(), "/var/trac2");
    user.Remove("TraceDirectory");
    EXPECT_EQ(Directory(), "none");
}

} // namespace

} // namespace QEL::Tests
