// What the configuration holds for the cache: numbers, certificate errors, trace directory.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "util/Cert_Error_Handling.h"
#include "util/Configuration_Source.h"
#include "util/Registry.h"
#include "util/Trace_Directory.h"

#include <gmock/gmock.h>

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

TEST_F(Configuration, ReadsNumbersAndTextsThatAreOnesUnderNamesWithoutLetterCase) {
    const auto expect = [this](std::uint32_t number, std::int32_t as_signed) {
        EXPECT_EQ(Number("Period"), number);
        EXPECT_EQ(Number("Period", User_Then_Machine), number);
        EXPECT_EQ(Signed_Number("Period", 7), as_signed);
        EXPECT_EQ(Signed_Number("Period", 7, 1), as_signed);
    };
    user.Set_Number("Period", 60);
    expect(60, 60);
    EXPECT_EQ(Number("PERIOD"), 60u);
    EXPECT_EQ(services->Read_Registry_Int(Only_User, "SOFTWARE\\qel\\QELLOGON\\options", "period"), 60u);
    EXPECT_EQ(services->Read_Registry_Int(Only_User, "Software\\QEL\\NoSuchKey", "Period"), 0u);
    user.Set_Number("Period", 0x7FFFFFFF);
    expect(0x7FFFFFFF, 0x7FFFFFFF);
    user.Set_Text("Period", "60");
    expect(60, 60);
    user.Set_Text("Period", "-5");
    EXPECT_EQ(Signed_Number("Period", 7), -5);
    user.Set_Number("Period", 0xFFFFFFFF);
    EXPECT_EQ(Number("Period"), 0xFFFFFFFFu);
    for (const char* text : {"", "soon", "60abc", "abc60", "6 0", "6.5", "--6", "-", "0x", "9999999999999999999999"}) {
        user.Set_Text("Period", text);
        SCOPED_TRACE(text);
        expect(0, 7);
    }
    user.Remove("Period");
    expect(0, 7);
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

TEST_F(Configuration, TheMachineAndOtherRootsDoNotHaveTheUsersValues) {
    user.Set_Number("OnlyTheUserHasThis", 60);
    for (const int root : {1, -1, 3, 4, 1000}) {
        EXPECT_EQ(Number("OnlyTheUserHasThis", root), 0u) << root;
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

class Certificate_Errors : public Configuration {
protected:
    CertErrorHandlingMode mode = IgnoreAllErrorsMode;
    std::vector<std::string> white_list = {"left over"};

    void Read() { Read_CertErrorHandling_Parameters(mode, white_list); }
};

TEST_F(Certificate_Errors, EndTheRequestUnlessANumberIsConfigured) {
    Read();
    EXPECT_EQ(mode, Default);
    EXPECT_THAT(white_list, IsEmpty());
    for (const std::uint32_t number : {1u, 2u, 3u, 77u, 0u}) {
        user.Set_Number("CertErrorHandlingMode", number);
        Read();
        EXPECT_EQ(static_cast<std::uint32_t>(mode), number);
    }
    mode = IgnoreAllErrorsMode;
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
    user.Remove("CertErrorWhiteList");
    Read();
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

TEST_F(Trace_Directory, ComesFromTheEnvironmentFirstAndFollowsTheConfiguration) {
    EXPECT_EQ(Directory(), "none");
    EXPECT_EQ(Trace_Directory_Source(), "");
    EXPECT_THAT(buffer, testing::Each('\0'));
    user.Set_Text("TraceDirectory", "/var/trace of qel");
    EXPECT_EQ(Directory(), "/var/trace of qel");
    user.Set_Text("TraceDirectory", "/var/trac2");
    EXPECT_EQ(Directory(), "/var/trac2");
    {
        const Environment_Variable variable("QEL_TRACE_DIR", "/home/trace");
        EXPECT_EQ(Directory(), "/home/trace");
        EXPECT_EQ(Trace_Directory_Source(), "environment variable QEL_TRACE_DIR");
        const Environment_Variable empty("QEL_TRACE_DIR", "");
        EXPECT_EQ(Directory(), "/var/trac2") << "an empty variable is none";
        EXPECT_EQ(Trace_Directory_Source(), Find_Configured_Value(Options_Key, "TraceDirectory")->place);
    }
    user.Remove("TraceDirectory");
    EXPECT_EQ(Directory(), "none");
}

TEST_F(Trace_Directory, HasToFitWithItsTerminatingZeroAndForgesNoLines) {
    const std::string longest(259, 'd');
    for (const auto& [written, read] :
         {std::pair{longest, longest}, {longest + "d", "none"}, {"/var/\ntrace", "none"}, {"/var/trace\r", "none"}}) {
        const Environment_Variable variable("QEL_TRACE_DIR", written.c_str());
        EXPECT_EQ(Directory(), read);
        EXPECT_EQ(buffer.front() == '\0', read == "none");
    }
}

} // namespace

} // namespace QEL::Tests
