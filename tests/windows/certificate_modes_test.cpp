// The certificate modes with the real second client. The first one is scripted: it reports a
// certificate error as Windows does, which Wine's reports with a number of its own.

#include "tests/windows/Host_Fixture.h"
#include "util/IRequest_Object.h"

namespace QEL::FrontEnd::FileCache {

namespace {

/// A request object that does not trust the server.
class Distrustful_Request : public IRequest_Object {
    HResult Set_Timeouts(int, int, int, int) override { return 0; }
    HResult Open(const char*, const std::string&) override { return 0; }
    HResult Send() override { return static_cast<HResult>(0x80072F0D); }
    HResult Get_Status(long&) override { return -1; }
    HResult Get_Response_Header(const char*, std::string&) override { return -1; }
    HResult Get_Response_Body(Response_Body&) override { return -1; }
    std::string Error_Description(Request_Interface) override { return "The authority is not known."; }
};

} // namespace

Request_Object_Creation Create_Request_Object() {
    return {std::make_unique<Distrustful_Request>(), 0, 0};
}

} // namespace QEL::FrontEnd::FileCache

namespace QEL::Tests {

namespace {

using namespace testing;

class Certificate_Mode : public Host_Fixture {
protected:
    Certificate_Mode() { Publish("landscape.xml", "<landscape/>"); }

    void Set_Mode(std::uint32_t mode) { configuration.Set_Number("CertErrorHandlingMode", mode); }

    void Expect_Copy(const std::string& requested_url) {
        const Served served = Get(requested_url);
        EXPECT_EQ(Content_Of(served.path), "<landscape/>");
        EXPECT_FALSE(served.download_error);
        EXPECT_EQ(served.http_error, 0);
        EXPECT_THAT(Requests(), ElementsAre("GET /landscape.xml"));
    }

    void Expect_No_Copy(const std::string& requested_url) {
        const Served served = Get(requested_url);
        EXPECT_EQ(served.path, "");
        EXPECT_TRUE(served.download_error);
        EXPECT_EQ(served.http_error, 2);
        EXPECT_THAT(cache->Get_Additional_Error_Info(), HasSubstr("The authority is not known."));
        EXPECT_THAT(Requests(), IsEmpty());
    }

    const std::string url = Variable("QEL_TEST_HTTPS_UNKNOWN_CA") + "/landscape.xml";
    const std::string other_url = Variable("QEL_TEST_HTTPS_EXPIRED") + "/landscape.xml";
};

TEST_F(Certificate_Mode, DefaultTrustsNoFaultyCertificate) {
    Expect_No_Copy(url);
}

TEST_F(Certificate_Mode, DefaultTriesTheSecondClientOnceMore) {
    Expect_Copy(Url("/landscape.xml"));
    EXPECT_EQ(cache->Get_Additional_Error_Info(), "");
}

TEST_F(Certificate_Mode, WhiteListTrustsTheListedUrl) {
    Set_Mode(1);
    configuration.Set_List("CertErrorWhiteList", {"https://other.example/", url});
    Expect_Copy(url);
    EXPECT_EQ(cache->Get_Additional_Error_Info(), "");
}

TEST_F(Certificate_Mode, WhiteListTrustsNoOtherUrl) {
    Set_Mode(1);
    configuration.Set_List("CertErrorWhiteList", {url, other_url + "/"});
    Expect_No_Copy(other_url);
}

TEST_F(Certificate_Mode, IgnoreAllErrorsTrustsEveryServer) {
    Set_Mode(2);
    Expect_Copy(url);
    Expect_Copy(other_url);
}

TEST_F(Certificate_Mode, HoldsForTheFreshnessCheckToo) {
    Set_Mode(2);
    const std::string path = Get(url).path;
    const Served served = Get(url);
    EXPECT_EQ(served.path, path);
    EXPECT_FALSE(served.download_error);
    EXPECT_EQ(served.http_error, 0);
    EXPECT_THAT(Requests(), ElementsAre("GET /landscape.xml", "HEAD /landscape.xml"));
}

TEST_F(Certificate_Mode, LeavesTheBodyWhole) {
    using namespace std::string_literals;
    Set_Mode(2);
    Publish("lines.txt", "first\n\0behind a NUL\n"s);
    const std::string path = Get(Variable("QEL_TEST_HTTPS_UNKNOWN_CA") + "/lines.txt").path;
    EXPECT_EQ(Content_Of(path), "first\r\n\0behind a NUL\r\n"s);
}

TEST_F(Certificate_Mode, IsReadAfreshForEveryRequest) {
    Set_Mode(2);
    const std::string path = Get(url).path;
    Set_Mode(0);
    Requests();
    const Served served = Get(url);
    EXPECT_EQ(served.path, path) << "the last copy stays in use";
    EXPECT_TRUE(served.download_error);
    Set_Mode(2);
    EXPECT_FALSE(Get(url).download_error);
}

} // namespace

} // namespace QEL::Tests
