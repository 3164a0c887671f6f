#pragma once

#include "platform/windows/http/Xml_Http_Interfaces.h"
#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

#include <objbase.h>

#include <gmock/gmock.h>

namespace QEL::Tests {

/// What a failed call leaves for its caller.
inline void Leave_Error_Text(const wchar_t* text) {
    ICreateErrorInfo* creation = nullptr;
    CreateErrorInfo(&creation);
    std::wstring description = text;
    creation->SetDescription(description.data());
    IErrorInfo* error_info = nullptr;
    creation->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&error_info));
    SetErrorInfo(0, error_info);
    error_info->Release();
    creation->Release();
}

/// While it lives, COM hands it out where the request object is asked for on this thread: it is the object and its
/// class. Every call succeeds unless a test says otherwise; the status is 200.
class Com_Object : public IClassFactory,
                   public IServerXMLHTTPRequest,
                   public IRunnableObject,
                   public ISupportErrorInfo,
                   private FrontEnd::Util::Non_Copyable {
public:
    Com_Object() {
        CLSID class_id{};
        EXPECT_EQ(CLSIDFromProgID(L"Msxml2.ServerXMLHTTP.6.0", &class_id), S_OK);
        EXPECT_EQ(CoRegisterClassObject(class_id, static_cast<IClassFactory*>(this), CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &m_Registration),
                  S_OK);
        ON_CALL(*this, CreateInstance).WillByDefault([this](auto*, REFIID id, void** object) {
            return QueryInterface(id, object);
        });
        ON_CALL(*this, get_status).WillByDefault([](LONG* status) {
            *status = 200;
            return S_OK;
        });
        m_Own_References = m_References;
    }
    virtual ~Com_Object() { CoRevokeClassObject(m_Registration); }

    bool Is_In_Use() const { return m_References != m_Own_References; }

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (IsEqualIID(id, FrontEnd::Platform::Server_Xml_Http_Request_Id)) {
            if (const HRESULT result = Interface_Asked_For(); FAILED(result)) {
                return result;
            }
            *object = static_cast<IServerXMLHTTPRequest*>(this);
        } else if (IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory)) {
            *object = static_cast<IClassFactory*>(this);
        } else if (IsEqualIID(id, IID_IRunnableObject)) {
            *object = static_cast<IRunnableObject*>(this);
        } else if (IsEqualIID(id, IID_ISupportErrorInfo)) {
            *object = static_cast<ISupportErrorInfo*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return ++m_References; }
    ULONG WINAPI Release() override { return --m_References; }

    MOCK_METHOD(HRESULT, Interface_Asked_For, ());
#define COM_METHOD(name, arguments) MOCK_METHOD(HRESULT, name, arguments, (override, Calltype(STDMETHODCALLTYPE)))
    COM_METHOD(CreateInstance, (IUnknown*, REFIID, void**));
    COM_METHOD(LockServer, (BOOL));
    COM_METHOD(Run, (LPBINDCTX));
    COM_METHOD(GetRunningClass, (LPCLSID));
    COM_METHOD(LockRunning, (BOOL, BOOL));
    COM_METHOD(SetContainedObject, (BOOL));
    COM_METHOD(InterfaceSupportsErrorInfo, (REFIID));
    COM_METHOD(GetTypeInfoCount, (UINT*));
    COM_METHOD(GetTypeInfo, (UINT, LCID, ITypeInfo**));
    COM_METHOD(GetIDsOfNames, (REFIID, LPOLESTR*, UINT, LCID, DISPID*));
    COM_METHOD(Invoke, (DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*));
    COM_METHOD(open, (BSTR, BSTR, VARIANT, VARIANT, VARIANT));
    COM_METHOD(setRequestHeader, (BSTR, BSTR));
    COM_METHOD(getResponseHeader, (BSTR, BSTR*));
    COM_METHOD(getAllResponseHeaders, (BSTR*));
    COM_METHOD(send, (VARIANT));
    COM_METHOD(abort, ());
    COM_METHOD(get_status, (LONG*));
    COM_METHOD(get_statusText, (BSTR*));
    COM_METHOD(get_responseXML, (IDispatch**));
    COM_METHOD(get_responseText, (BSTR*));
    COM_METHOD(get_responseBody, (VARIANT*));
    COM_METHOD(get_responseStream, (VARIANT*));
    COM_METHOD(get_readyState, (LONG*));
    COM_METHOD(put_onreadystatechange, (IDispatch*));
    COM_METHOD(setTimeouts, (LONG, LONG, LONG, LONG));
    COM_METHOD(waitForResponse, (VARIANT, VARIANT_BOOL*));
    COM_METHOD(getOption, (SERVERXMLHTTP_OPTION, VARIANT*));
    COM_METHOD(setOption, (SERVERXMLHTTP_OPTION, VARIANT));
#undef COM_METHOD
    BOOL WINAPI IsRunning() override {
        return FALSE;
    }

private:
    ULONG m_References = 1;
    ULONG m_Own_References = 0; ///< its own and its registration's
    DWORD m_Registration = 0;
};

using Scripted_Com_Object = testing::NiceMock<Com_Object>;

} // namespace QEL::Tests
