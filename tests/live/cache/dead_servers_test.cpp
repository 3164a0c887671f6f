// What a dead server costs the whole cache: look-ups of its name are counted, of which every attempt makes one.

#include "platform/common/Dead_Servers.h"
#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/support/Local_Names.h"
#include "tests/support/Socket.h"

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Dead_Servers;
using namespace testing;

class Dead_Server_Of_The_Cache : public Web_Cache_Fixture {
protected:
    static constexpr int Files = 5;

    Dead_Server_Of_The_Cache() {
        Dead_Servers::Instance().m_Servers.clear();
        configuration.Set_Number("LandscapeServerFileConnectTimeout", 1);
        std::vector<std::pair<std::string, std::string>> copies;
        for (int number = 0; number < Files; ++number) {
            std::ofstream(Copy(number)) << "<a/>";
            copies.emplace_back(Url_Of(number), Copy(number));
        }
        std::ofstream(Metadata_Path()) << List_Of(copies);
        Restart_Host();
    }

    std::string Url_Of(int number) const { return m_Port.Url("http") + std::to_string(number) + ".xml"; }
    std::string Copy(int number) const {
        return In_Cache("12345678-1234-1234-1234-12345678901" + std::to_string(number) + ".xml");
    }

    void Expect_Copy(int number) {
        const auto served = Get(Url_Of(number));
        EXPECT_EQ(served.path, Copy(number));
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
    }

    const Full_Port m_Port;
};

TEST_F(Dead_Server_Of_The_Cache, CostsOneTimeOutForFiveThreadsAndFilesWithCopies) {
    const int before = Local_Names::look_ups;
    In_Threads(Files, [this](int number) { Expect_Copy(number); });
    EXPECT_EQ(Local_Names::look_ups, before + 1);
    EXPECT_THAT(cache->Get_Additional_Error_Info(),
                AllOf(HasSubstr("did not respond in time: it did not accept a connection"),
                      HasSubstr("The server was last tried at "), HasSubstr("LandscapeServerRetryAfter")));
}

} // namespace

} // namespace QEL::Tests
