// What a dead server costs the whole cache: look-ups of its name are counted, of which every attempt makes one.

#include "platform/common/Dead_Servers.h"
#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/support/Local_Names.h"
#include "tests/support/Socket.h"

namespace QEL::Tests {

namespace {

using namespace testing;

TEST_F(Web_Cache_Fixture, PaysOneTimeOutOfADeadServerForFiveThreadsAndFilesWithCopies) {
    FrontEnd::Platform::Dead_Servers::Instance().m_Servers.clear();
    configuration.Set_Number("LandscapeServerFileConnectTimeout", 1);
    const Full_Port port;
    std::vector<std::pair<std::string, std::string>> copies;
    for (const std::string number : {"1", "2", "3", "4", "5"}) {
        copies.emplace_back(port.Url("http") + number + ".xml",
                            In_Cache("12345678-1234-1234-1234-12345678901" + number + ".xml"));
        std::ofstream(copies.back().second) << "<a/>";
    }
    std::ofstream(Metadata_Path()) << List_Of(copies);
    Restart_Host();
    const int before = Local_Names::look_ups;
    In_Threads(5, [&](int number) {
        const auto& [url, copy] = copies[static_cast<std::size_t>(number)];
        const auto served = Get(url);
        EXPECT_EQ(served.path, copy);
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    });
    EXPECT_EQ(Local_Names::look_ups, before + 1);
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                AllOf(HasSubstr("did not respond in time: it did not accept a connection"),
                      HasSubstr("The server was last tried at "), HasSubstr("LandscapeServerRetryAfter")));
}

} // namespace

} // namespace QEL::Tests
