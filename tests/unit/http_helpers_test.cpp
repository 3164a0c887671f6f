#include "filecache/download/Com_Error.h"
#include "tests/unit/support/Expected_Records.h"
#include "tests/unit/support/Http_Fixture.h"

#include <cstdint>
#include <limits>
#include <string>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::Com_Error;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Http_Helpers : public Cache_Fixture {
protected:
    void Fill_Timeout(std::int32_t seconds) {
        cache.m_Connect_Timeout = 0;
        g_services.connect_timeout_seconds = seconds;
        cache.Read_Connect_Timeout();
    }
};

// HTTP_Status_OK

TEST_F(Http_Helpers, StatusesFrom200To299AreOk) {
    for (long status = 200; status <= 299; ++status) {
        EXPECT_TRUE(cache.HTTP_Status_OK(status)) << status;
    }
}

TEST_F(Http_Helpers, OtherStatusesAreNotOk) {
    for (const long status : {-200L, -1L, 0L, 1L, 100L, 199L, 300L, 304L, 404L, 500L, 599L, 2000L, 12029L,
                              std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        EXPECT_FALSE(cache.HTTP_Status_OK(status)) << status;
    }
}

TEST_F(Http_Helpers, TheStatusTestTracesStatusAndResult) {
    cache.HTTP_Status_OK(204);
    cache.HTTP_Status_OK(-1);
    Expect_Lines(Expected("http_status", {{"status", "204"}, {"ok", "true"}}) +
                     Expected("http_status", {{"status", "-1"}, {"ok", "false"}}),
                 All());
}

// win32_from_hresult

TEST_F(Http_Helpers, AnHresultOfTheSystemsFacilityCarriesTheErrorInItsLowHalf) {
    EXPECT_EQ(cache.win32_from_hresult(Result_Of(0x80070000)), 0U);
    EXPECT_EQ(cache.win32_from_hresult(Result_Of(0x80070005)), 5U);
    EXPECT_EQ(cache.win32_from_hresult(Result_Of(0x80072EE7)), 12007U);
    EXPECT_EQ(cache.win32_from_hresult(Result_Of(0x80072EFD)), 12029U);
    EXPECT_EQ(cache.win32_from_hresult(Result_Of(0x8007FFFF)), 65535U);
}

TEST_F(Http_Helpers, SuccessIsNotAnError) {
    EXPECT_EQ(cache.win32_from_hresult(0), 0U);
}

TEST_F(Http_Helpers, EveryOtherHresultIsAnUnknownError) {
    for (const std::uint32_t bits : {0x00000001U, 0x00000005U, 0x00072EFDU, 0x80062EFDU, 0x80082EFDU, 0x800C0008U,
                                     0x80004005U, 0x80010105U, 0xC0072EFDU, 0xA0072EFDU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(cache.win32_from_hresult(Result_Of(bits)), 1003U) << std::hex << bits;
    }
}

// com_error_to_string

TEST_F(Http_Helpers, AComErrorIsReportedInThreeLines) {
    EXPECT_EQ(cache.com_error_to_string(Com_Error(Certificate_Error, "The certificate is not valid."),
                                        "https://server/file.xml"),
              "=======================================\n"
              "File: https://server/file.xml\n"
              "Description: The certificate is not valid.\n");
}

TEST_F(Http_Helpers, AComErrorKeepsTheLineEndsOfItsDescription) {
    EXPECT_EQ(cache.com_error_to_string(Com_Error(Unspecified, "One.\r\nTwo.\r\n"), ""),
              std::string(39, '=') + "\nFile: \nDescription: One.\r\nTwo.\r\n\n");
}

TEST_F(Http_Helpers, AComErrorWithoutDescriptionStillNamesTheFile) {
    EXPECT_EQ(cache.com_error_to_string(Com_Error(Unspecified, ""), "f"),
              std::string(39, '=') + "\nFile: f\nDescription: \n");
}

// Connect time-out

TEST_F(Http_Helpers, TheConnectTimeoutIsReadInSecondsAndKeptInMilliseconds) {
    Fill_Timeout(1);
    EXPECT_EQ(cache.m_Connect_Timeout, 1000);
    Fill_Timeout(5);
    EXPECT_EQ(cache.m_Connect_Timeout, 5000);
    Fill_Timeout(2147483);
    EXPECT_EQ(cache.m_Connect_Timeout, 2147483000);
}

TEST_F(Http_Helpers, AConnectTimeoutTooLongToCountIsTheLongest) {
    Fill_Timeout(2147484);
    EXPECT_EQ(cache.m_Connect_Timeout, 2147483000);
    Fill_Timeout(std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(cache.m_Connect_Timeout, 2147483000);
}

TEST_F(Http_Helpers, TheConnectTimeoutIsAMinuteWithoutAPositiveValue) {
    Fill_Timeout(0);
    EXPECT_EQ(cache.m_Connect_Timeout, 60000);
    Fill_Timeout(-5);
    EXPECT_EQ(cache.m_Connect_Timeout, 60000);
    cache.m_Connect_Timeout = 0;
    g_services.connect_timeout_seconds.reset();
    cache.Read_Connect_Timeout();
    EXPECT_EQ(cache.m_Connect_Timeout, 60000);
}

TEST_F(Http_Helpers, TheConnectTimeoutIsReadOnceInTheLifeOfTheObject) {
    Fill_Timeout(5);
    EXPECT_THAT(g_services.registry_calls,
                ElementsAre("Software\\QEL\\QELLogon\\Options, LandscapeServerFileConnectTimeout, 1"));
    Forget();
    g_services.connect_timeout_seconds = 9;
    cache.Read_Connect_Timeout();
    EXPECT_EQ(cache.m_Connect_Timeout, 5000);
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
}

} // namespace
