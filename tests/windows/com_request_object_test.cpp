#include "util/IRequest_Object.h"

#include <windows.h>

#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::FileCache;

/// The system's request object on a thread that has COM, against a real server.
class Com_Request : public testing::Test {
protected:
    Com_Request() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Com_Request() override {
        request.reset();
        CoUninitialize();
    }

    void SetUp() override {
        request = Create_Request_Object().object;
        ASSERT_NE(request, nullptr);
        ASSERT_EQ(request->Set_Timeouts(60000, 5000, 30000, 30000), 0);
    }

    static std::string Url(const std::string& path) { return std::getenv("QEL_TEST_HTTP") + path; }

    void Get(const std::string& path, const char* method = "GET") {
        ASSERT_EQ(request->Open(method, Url(path)), 0);
        ASSERT_EQ(request->Send(), 0);
    }

    long Status() {
        long status = 0;
        EXPECT_EQ(request->Get_Status(status), 0);
        return status;
    }

    std::string Header(const char* name) {
        std::string value = "left over";
        EXPECT_FALSE(Failed(request->Get_Response_Header(name, value)));
        return value;
    }

    std::string Body() {
        Response_Body body;
        EXPECT_EQ(request->Get_Response_Body(body), 0);
        EXPECT_EQ(body.type, Byte_Array_Type);
        EXPECT_EQ(body.dimensions, 1U);
        EXPECT_EQ(body.lower_bound_result, 0);
        EXPECT_EQ(body.upper_bound_result, 0);
        EXPECT_EQ(body.access_result, 0);
        EXPECT_EQ(body.lower_bound, 0);
        return std::string(body.data, static_cast<std::size_t>(body.upper_bound - body.lower_bound + 1));
    }

    std::unique_ptr<IRequest_Object> request;
};

// COM creates the object on a thread that receives its calls through a window. The tests run where
// there is no display, and at times before Wine's desktop knows such a window from one to be shown.
TEST(Windows_Without_A_Display, CanBeCreated) {
    const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE(window, nullptr);
    DestroyWindow(window);
}

TEST_F(Com_Request, HasStatusHeadersAndBytes) {
    using namespace std::string_view_literals;
    struct Row {
        const char* path;
        long status;
        std::string_view last_modified;
        std::string_view body;
        const char* method = "GET";
    };
    constexpr auto changed = "Wed, 21 Oct 2015 07:28:00 GMT";
    for (const Row& row : {Row{"/landscape", 200, changed, "first line\nsecond line\n\0behind a NUL\xff\xfe"sv},
                           {"/landscape", 200, changed, "", "HEAD"},
                           {"/empty", 200, "", ""},
                           {"/control-characters", 200, "a  b", "<file/>"},
                           {"/status/404", 404, "", "no such thing"},
                           {"/chunked", 200, "", "hello world"},
                           {"/redirects/3", 200, "", "arrived"}}) {
        SCOPED_TRACE(row.path);
        SetUp();
        Get(row.path, row.method);
        EXPECT_EQ(Status(), row.status);
        EXPECT_EQ(Header("Last-Modified"), row.last_modified);
        if (row.method == "GET"sv) {
            EXPECT_EQ(Body(), row.body);
        }
    }
    Get("/landscape");
    EXPECT_EQ(Header("content-type"), "text/xml; charset=utf-8");
}

TEST_F(Com_Request, FailsOnABodyThatEndsEarly) {
    Get("/short");
    EXPECT_EQ(Status(), 200);
    Response_Body body;
    EXPECT_EQ(static_cast<std::uint32_t>(request->Get_Response_Body(body)), 0x80072EFEU);
}

TEST_F(Com_Request, FailsToSendToAServerThatIsNotTrustedAndToAClosedPort) {
    ASSERT_EQ(request->Open("GET", "http://127.0.0.1:1/"), 0);
    EXPECT_TRUE(Failed(request->Send()));
    ASSERT_EQ(request->Open("GET", std::getenv("QEL_TEST_HTTPS_UNKNOWN_CA") + std::string("/landscape")), 0);
    EXPECT_TRUE(Failed(request->Send()));
}

TEST_F(Com_Request, RefusesControlCharactersInTheUrl) {
    EXPECT_TRUE(Failed(request->Open("GET", Url("/landscape\r\nX: y"))));
    EXPECT_TRUE(Failed(request->Open("GET", Url("/landscape\n"))));
    EXPECT_TRUE(Failed(request->Open("GET", Url("/landscape") + '\0')));
    EXPECT_TRUE(Failed(request->Open("GET", Url("/land\tscape"))));
}

TEST(Com_Request_Creation, FailsOnAThreadWithoutCom) {
    const auto creation = Create_Request_Object();
    EXPECT_EQ(creation.object, nullptr);
    EXPECT_EQ(creation.result, static_cast<HResult>(CO_E_NOTINITIALIZED));
}

} // namespace

} // namespace QEL::Tests
