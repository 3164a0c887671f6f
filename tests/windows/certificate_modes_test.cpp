// The certificate modes with the real second client. The first one is scripted: it reports a certificate error as
// Windows does, which Wine's reports with a number of its own.

#include "tests/windows/Host_Fixture.h"
#include "tests/windows/Scripted_Com_Object.h"

using namespace QEL::Tests;

namespace {

using namespace testing;

class Certificate_Mode : public Host_Fixture {
protected:
    Certificate_Mode() {
        Publish("lines.txt", std::string("first\n\0behind a NUL\n", 20));
        ON_CALL(com, send).WillByDefault([](VARIANT) {
            Leave_Error_Text(L"The authority is not known.");
            return static_cast<HRESULT>(0x80072F0D);
        });
    }

    void Expect_Copy(const std::string& requested_url) {
        const Served served = Get(requested_url);
        EXPECT_EQ(Content_Of(served.path), std::string("first\r\n\0behind a NUL\r\n", 22)) << "text, and whole";
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.http_error, 0);
        EXPECT_EQ(cache->Get_Additional_Error_Info(), "");
    }

    Scripted_Com_Object com;
    const std::string url = Variable("QEL_TEST_HTTPS_UNKNOWN_CA") + "/lines.txt";
};

TEST_F(Certificate_Mode, DefaultTriesTheSecondClientOnceMoreAndTrustsNoFaultyCertificate) {
    Expect_Copy(Url("/lines.txt"));
    EXPECT_THAT(Requests(), ElementsAre("GET /lines.txt"));
    const Served served = Get(url);
    EXPECT_EQ(served.path, "");
    EXPECT_TRUE(served.download_error);
    EXPECT_EQ(served.http_error, 2);
    EXPECT_THAT(cache->Get_Additional_Error_Info(), HasSubstr("The authority is not known."));
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(Certificate_Mode, WhiteListTrustsTheListedUrlForDownloadAndCheck) {
    configuration.Set_Number("CertErrorHandlingMode", 1);
    configuration.Set_List("CertErrorWhiteList", {"https://other.example/", url});
    Expect_Copy(url);
    Expect_Copy(url);
    EXPECT_THAT(Requests(), ElementsAre("GET /lines.txt", "HEAD /lines.txt"));
    configuration.Set_Number("CertErrorHandlingMode", 0);
    EXPECT_TRUE(Get(url).download_error) << "read anew for every request";
}

} // namespace
