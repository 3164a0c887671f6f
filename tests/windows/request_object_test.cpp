// The calls of the system's request object, one by one on a scripted one, which returns what the system's own seldom
// does: other types, bounds and dimensions, and failures. With real servers, its hosts use it.

#include "tests/windows/Scripted_Com_Object.h"
#include "util/IRequest_Object.h"

#include <psapi.h>

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::FileCache;
using namespace testing;

constexpr HRESULT Refused = E_ACCESSDENIED;
constexpr HRESULT Absent_Header = static_cast<HRESULT>(0x80072F76);
constexpr HRESULT Connection_Ended = static_cast<HRESULT>(0x80072EFE);

class Thread_With_Com : public Test {
protected:
    Thread_With_Com() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Thread_With_Com() override { CoUninitialize(); }
};

// COM creates the object on a thread that receives its calls through a window. The tests run where
// there is no display, and at times before Wine's desktop knows such a window from one to be shown.
TEST(Windows_Without_A_Display, CanBeCreated) {
    const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE(window, nullptr);
    DestroyWindow(window);
}

TEST_F(Thread_With_Com, SendsNothingToAServerThatIsNotTrustedOrAClosedPort) {
    const auto request = Create_Request_Object().object;
    ASSERT_NE(request, nullptr);
    ASSERT_EQ(request->Set_Timeouts(60000, 5000, 30000, 30000), 0);
    for (const std::string& url :
         {std::string("http://127.0.0.1:1/"), std::getenv("QEL_TEST_HTTPS_UNKNOWN_CA") + std::string("/landscape")}) {
        ASSERT_EQ(request->Open("GET", url), 0);
        EXPECT_TRUE(Failed(request->Send())) << url;
    }
}

TEST(Com_Request_Creation, FailsOnAThreadWithoutCom) {
    const auto creation = Create_Request_Object();
    EXPECT_EQ(creation.object, nullptr);
    EXPECT_EQ(creation.result, static_cast<HResult>(CO_E_NOTINITIALIZED));
}

/// An array of `type` that begins with element `lower_bound` and holds the bytes.
SAFEARRAY* Array_Of(VARTYPE type, std::string_view bytes, LONG lower_bound = 0, UINT dimensions = 1) {
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(bytes.size()), lower_bound}, {1, 0}};
    SAFEARRAY* const array = SafeArrayCreate(type, dimensions, bounds);
    std::memcpy(array->pvData, bytes.data(), bytes.size());
    return array;
}

/// The memory that is this process's alone.
std::size_t Private_Memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)));
    return counters.PagefileUsage;
}

MATCHER(Is_Omitted, "") {
    return V_VT(&arg) == VT_ERROR && V_ERROR(&arg) == DISP_E_PARAMNOTFOUND;
}
MATCHER(Is_False, "") {
    return V_VT(&arg) == VT_BOOL && V_BOOL(&arg) == VARIANT_FALSE;
}

class Scripted_Request : public Thread_With_Com {
protected:
    static std::unique_ptr<IRequest_Object> Request() { return Create_Request_Object().object; }

    void Has_Body(SAFEARRAY* array, VARTYPE type = Byte_Array_Type) {
        ON_CALL(com, get_responseBody).WillByDefault([=](VARIANT* value) {
            V_VT(value) = type;
            V_ARRAY(value) = array;
            return S_OK;
        });
    }
    Response_Body Body_From(SAFEARRAY* array, VARTYPE type = Byte_Array_Type) {
        Has_Body(array, type);
        Response_Body body;
        EXPECT_EQ(Request()->Get_Response_Body(body), S_OK);
        return body;
    }

    /// The value of this header; every other one is empty.
    void Has_Header(const wchar_t* name, const std::wstring& value) {
        ON_CALL(com, getResponseHeader(StrEq(name), _)).WillByDefault([value](auto, BSTR* found) {
            *found = SysAllocString(value.c_str());
            return S_OK;
        });
    }
    void Lacks_Headers() {
        ON_CALL(com, getResponseHeader).WillByDefault([](auto, auto) {
            Leave_Error_Text(L"The header is absent.");
            return Absent_Header;
        });
    }

    Scripted_Com_Object com;
};

TEST_F(Scripted_Request, RunsTheObjectBeforeItAsksForItsInterface) {
    const InSequence calls;
    EXPECT_CALL(com, Run);
    EXPECT_CALL(com, Interface_Asked_For);
    const auto creation = Create_Request_Object();
    EXPECT_NE(creation.object, nullptr);
    EXPECT_EQ(creation.result, S_OK);
    EXPECT_TRUE(com.Is_In_Use());
}

TEST_F(Scripted_Request, IsNotMadeWhenAnyStepFails) {
    const auto expect_none = [this] {
        const auto creation = Create_Request_Object();
        EXPECT_EQ(creation.object, nullptr);
        EXPECT_EQ(creation.result, Refused);
        EXPECT_FALSE(com.Is_In_Use());
    };
    ON_CALL(com, Interface_Asked_For).WillByDefault(Return(Refused));
    expect_none();
    EXPECT_CALL(com, Interface_Asked_For).Times(0);
    ON_CALL(com, Run).WillByDefault(Return(Refused));
    expect_none();
    EXPECT_CALL(com, Run).Times(0);
    ON_CALL(com, CreateInstance).WillByDefault(Return(Refused));
    expect_none();
}

TEST_F(Scripted_Request, HandsTimeOutsOnInTheirOrderIsSynchronousAndLeavesUserPasswordAndBodyOut) {
    const InSequence calls;
    EXPECT_CALL(com, setTimeouts(1, 2, 3, 4));
    EXPECT_CALL(com, open(StrEq(L"HEAD"), StrEq(L"http://server/file?a=b"), Is_False(), Is_Omitted(), Is_Omitted()));
    EXPECT_CALL(com, setRequestHeader).Times(0);
    EXPECT_CALL(com, send(Is_Omitted()));
    const auto request = Request();
    EXPECT_EQ(request->Set_Timeouts(1, 2, 3, 4), S_OK);
    EXPECT_EQ(request->Open("HEAD", "http://server/file?a=b"), S_OK);
    EXPECT_EQ(request->Send(), S_OK);
}

TEST_F(Scripted_Request, UsesAConnectionOfItsOwnWhereThatIsWanted) {
    const New_Connections wanted("http://server/", "");
    EXPECT_CALL(com, setRequestHeader(StrEq(L"Connection"), StrEq(L"close")));
    EXPECT_EQ(Request()->Open("HEAD", "http://server/"), S_OK);
    EXPECT_THAT(Addresses_Of_Server("http://server/"), IsEmpty());
}

TEST_F(Scripted_Request, ReturnsTheResultOfEachCall) {
    ON_CALL(com, setTimeouts).WillByDefault(Return(Refused));
    ON_CALL(com, open).WillByDefault(Return(Refused));
    ON_CALL(com, send).WillByDefault(Return(Refused));
    ON_CALL(com, get_status).WillByDefault(Return(Refused));
    ON_CALL(com, getResponseHeader).WillByDefault(Return(Refused));
    ON_CALL(com, get_responseBody).WillByDefault(Return(Refused));
    const auto request = Request();
    EXPECT_EQ(request->Set_Timeouts(0, 0, 0, 0), Refused);
    EXPECT_EQ(request->Open("GET", "http://server/"), Refused);
    EXPECT_EQ(request->Send(), Refused);
    long status = 0;
    EXPECT_EQ(request->Get_Status(status), Refused);
    std::string value;
    EXPECT_EQ(request->Get_Response_Header("Last-Modified", value), Refused);
    Response_Body body;
    EXPECT_EQ(request->Get_Response_Body(body), Refused);
}

TEST_F(Scripted_Request, HasTheCleanHeaderOrAnEmptyTextForOneThatIsAbsentOrNull) {
    Has_Header(L"Last-Modified", L"\x01 a\x1A\x0B b\x7F");
    std::string clean;
    EXPECT_EQ(Request()->Get_Response_Header("Last-Modified", clean), S_OK);
    EXPECT_EQ(clean, "a   b");
    for (const HRESULT result : {Absent_Header, S_FALSE, S_OK}) {
        ON_CALL(com, getResponseHeader).WillByDefault(Return(result));
        std::string value = "left over";
        EXPECT_FALSE(Failed(Request()->Get_Response_Header("Last-Modified", value))) << result;
        EXPECT_EQ(value, "") << result;
    }
    EXPECT_FALSE(com.Is_In_Use()) << "released";
}

TEST_F(Scripted_Request, HasTheBytesBetweenTheBoundsAsLongAsTheBodyLives) {
    SAFEARRAY* const array = Array_Of(VT_UI1, "bytes", 3);
    const Response_Body body = Body_From(array);
    EXPECT_EQ(std::tuple(body.type, body.dimensions, body.lower_bound, body.upper_bound),
              std::tuple(Byte_Array_Type, 1U, 3, 7));
    EXPECT_EQ(std::tuple(body.lower_bound_result, body.upper_bound_result, body.access_result),
              std::tuple(S_OK, S_OK, S_OK));
    EXPECT_EQ(std::string_view(body.data, 5), "bytes");
    EXPECT_FALSE(com.Is_In_Use()) << "the body outlives the request";
    EXPECT_EQ(array->cLocks, 1U);
}

TEST_F(Scripted_Request, ReportsABodyOfAnotherTypeOrWithoutOneDimension) {
    EXPECT_EQ(Body_From(nullptr, VT_EMPTY).type, VT_EMPTY);
    EXPECT_THAT(Body_From(Array_Of(VT_UI2, "two"), VT_ARRAY | VT_UI2),
                AllOf(Field(&Response_Body::type, VT_ARRAY | VT_UI2), Field(&Response_Body::data, IsNull())));
    EXPECT_THAT(Body_From(Array_Of(VT_UI1, "bytes", 0, 2)),
                AllOf(Field(&Response_Body::dimensions, 2U), Field(&Response_Body::data, IsNull())));
    EXPECT_EQ(Body_From(nullptr).dimensions, 0U);
}

TEST_F(Scripted_Request, HasABodyOfNoBytesWhereTheObjectHasNone) {
    for (const auto& [status, length, type] : {std::tuple{200, L"0", Byte_Array_Type},
                                               {204, L"0", Byte_Array_Type},
                                               {200, L"5", VARTYPE{VT_EMPTY}},
                                               {200, L"", VARTYPE{VT_EMPTY}},
                                               {304, L"0", VARTYPE{VT_EMPTY}}}) {
        ON_CALL(com, get_status).WillByDefault(DoAll(SetArgPointee<0>(status), Return(S_OK)));
        Has_Header(L"Content-Length", length);
        const Response_Body body = Body_From(nullptr, VT_EMPTY);
        EXPECT_EQ(body.type, type) << status;
        EXPECT_EQ(body.dimensions == 1 && body.data != nullptr, type == Byte_Array_Type);
        EXPECT_EQ(body.upper_bound - body.lower_bound, -1);
    }
}

TEST_F(Scripted_Request, RefusesControlCharactersInTheUrlWithALastError) {
    using namespace std::string_literals;
    EXPECT_CALL(com, open).Times(0);
    for (const auto& path : {"a\r\nX: y"s, "a\n"s, "a\0"s, "a\tb"s}) {
        SetLastError(0);
        EXPECT_EQ(Request()->Open("GET", "http://server/" + path), static_cast<HRESULT>(0x80072EE5)) << path;
        EXPECT_EQ(GetLastError(), 12005U);
    }
}

TEST_F(Scripted_Request, ReportsABodyThatCannotBeLocked) {
    SAFEARRAY* const array = Array_Of(VT_UI1, "bytes");
    void* const bytes = array->pvData;
    constexpr USHORT all_locks = 0xFFFF;
    array->cLocks = all_locks;
    {
        const Response_Body body = Body_From(array);
        EXPECT_EQ(body.access_result, E_UNEXPECTED);
        EXPECT_EQ(body.data, nullptr);
    }
    // Locked as it was, it could not be destroyed.
    ASSERT_EQ(array->cLocks, all_locks);
    ASSERT_EQ(array->pvData, bytes);
    array->cLocks = 0;
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST_F(Scripted_Request, AsksForTheErrorsOfTheInterfaceThatFailed) {
    const InSequence calls;
    EXPECT_CALL(com, InterfaceSupportsErrorInfo(QEL::FrontEnd::Platform::Server_Xml_Http_Request_Id));
    EXPECT_CALL(com, InterfaceSupportsErrorInfo(QEL::FrontEnd::Platform::Xml_Http_Request_Id));
    for (const auto failed : {Request_Interface::ServerXMLHTTPRequest, Request_Interface::XMLHTTPRequest}) {
        Leave_Error_Text(L"The line is busy.");
        EXPECT_EQ(Request()->Error_Description(failed), "The line is busy.");
    }
}

TEST_F(Scripted_Request, ExplainsABodyCutShortByItselfNotByAnAbsentHeader) {
    Lacks_Headers();
    Has_Header(L"Content-Length", L"100");
    Has_Body(Array_Of(VT_UI1, "bytes"));
    const auto request = Request();
    request->Open("GET", "http://web.example/file");
    Response_Body body;
    EXPECT_EQ(request->Get_Response_Body(body), Connection_Ended);
    EXPECT_EQ(
        request->Error_Description(Request_Interface::XMLHTTPRequest),
        "The server web.example (port 80) ended the connection before its response was complete. Check the server "
        "and the proxies between.");
}

TEST_F(Scripted_Request, ExplainsNoFailureByAHeaderThatWasAbsentBefore) {
    Lacks_Headers();
    const auto request = Request();
    std::string value;
    EXPECT_EQ(request->Get_Response_Header("Last-Modified", value), S_OK);
    EXPECT_EQ(request->Error_Description(Request_Interface::XMLHTTPRequest), "");
}

TEST_F(Scripted_Request, ReturnsAllMemory) {
    constexpr std::size_t megabyte = 1U << 20;
    const std::string long_text(megabyte / sizeof(wchar_t), 'x');
    const std::wstring long_wide_text(long_text.begin(), long_text.end());
    HRESULT header_result = S_OK;
    ON_CALL(com, getResponseHeader).WillByDefault([&](auto, BSTR* value) {
        *value = SysAllocString(long_wide_text.c_str());
        return header_result;
    });
    const auto make_a_request = [&] {
        const auto request = Request();
        request->Open("GET", "http://server/" + long_text);
        std::string value;
        for (const HRESULT result : {S_OK, Refused}) {
            header_result = result;
            request->Get_Response_Header(long_text.c_str(), value);
        }
        const std::string bytes(megabyte, 'x');
        Body_From(Array_Of(VT_UI1, bytes));
        Body_From(Array_Of(VT_UI1, bytes, 0, 2));
        Body_From(Array_Of(VT_UI2, bytes), VT_ARRAY | VT_UI2);
        Leave_Error_Text(long_wide_text.c_str());
        request->Error_Description(Request_Interface::XMLHTTPRequest);
    };
    make_a_request(); // what is allocated once and kept
    const std::size_t before = Private_Memory();
    constexpr std::size_t requests = 20;
    for (std::size_t i = 0; i < requests; ++i) {
        make_a_request();
    }
    EXPECT_GT(before, megabyte) << "the system does not say";
    EXPECT_LT(Private_Memory(), before + requests * megabyte / 2);
}

} // namespace
