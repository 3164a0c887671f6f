#include "filecache/download/Com_Error.h"
#include "tests/unit/support/Http_Fixture.h"

using QEL::FrontEnd::FileCache::Com_Error;
using namespace testing;

namespace {

class Http_Helpers : public Cache_Fixture {};

// HTTP_Status_OK

TEST_F(Http_Helpers, StatusesFrom200To299AreOkAndAllAreTraced) {
    for (long status = 200; status <= 299; ++status) {
        EXPECT_TRUE(cache.HTTP_Status_OK(status)) << status;
    }
    for (const long status : {-200L, -1L, 0L, 1L, 100L, 199L, 300L, 304L, 404L, 500L, 599L, 2000L, 12029L,
                              std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        EXPECT_FALSE(cache.HTTP_Status_OK(status)) << status;
    }
    Forget();
    cache.HTTP_Status_OK(204);
    cache.HTTP_Status_OK(-1);
    Expect_Records("= http_status status=204 ok=true\n= http_status status=-1 ok=false");
}

// win32_from_hresult

TEST_F(Http_Helpers, AnHresultOfTheSystemsFacilityCarriesTheErrorInItsLowHalf) {
    for (const auto& [bits, error] : {std::pair{0U, 0U},
                                      {0x80070000, 0},
                                      {0x80070005, 5},
                                      {0x80072EE7, 12007},
                                      {0x80072EFD, 12029},
                                      {0x8007FFFF, 65535}}) {
        EXPECT_EQ(cache.win32_from_hresult(Result_Of(bits)), error) << std::hex << bits;
    }
    for (const std::uint32_t bits : {0x00000001U, 0x00000005U, 0x00072EFDU, 0x80062EFDU, 0x80082EFDU, 0x800C0008U,
                                     0x80004005U, 0x80010105U, 0xC0072EFDU, 0xA0072EFDU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(cache.win32_from_hresult(Result_Of(bits)), 1003U) << "an unknown error " << std::hex << bits;
    }
}

// com_error_to_string

TEST_F(Http_Helpers, AComErrorIsReportedInThreeLines) {
    EXPECT_EQ(cache.com_error_to_string(Com_Error(Certificate_Error, "The certificate is not valid."),
                                        "https://server/file.xml"),
              "=======================================\n"
              "File: https://server/file.xml\n"
              "Description: The certificate is not valid.\n");
    EXPECT_EQ(cache.com_error_to_string(Com_Error(Unspecified, "One.\r\nTwo.\r\n"), ""),
              std::string(39, '=') + "\nFile: \nDescription: One.\r\nTwo.\r\n\n");
}

// Connect time-out

TEST_F(Http_Helpers, TheConnectTimeoutIsReadOnceInSecondsAndKeptInMilliseconds) {
    constexpr auto greatest = std::numeric_limits<std::int32_t>::max();
    using Seconds = std::optional<std::int32_t>;
    for (const auto& [seconds, milliseconds] : {std::pair{Seconds(1), 1000},
                                                {5, 5000},
                                                {2147483, 2147483000},
                                                {2147484, 2147483000},
                                                {greatest, 2147483000},
                                                {0, 60000},
                                                {-5, 60000},
                                                {std::nullopt, 60000}}) {
        cache.m_Connect_Timeout = 0;
        g_services.connect_timeout_seconds = seconds;
        cache.Read_Connect_Timeout();
        EXPECT_EQ(cache.m_Connect_Timeout, milliseconds) << seconds.value_or(-1);
        EXPECT_THAT(g_services.registry_calls,
                    ElementsAre("Software\\QEL\\QELLogon\\Options, LandscapeServerFileConnectTimeout, 1"));
        Forget();
        g_services.connect_timeout_seconds = 9;
        cache.Read_Connect_Timeout();
        EXPECT_EQ(cache.m_Connect_Timeout, milliseconds) << "once in the life of the object";
        EXPECT_THAT(g_services.registry_calls, IsEmpty());
    }
}

} // namespace
