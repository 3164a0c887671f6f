#pragma once

#include "platform/windows/http/Xml_Http_Interfaces.h"
#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

#include <objbase.h>

namespace QEL::Tests {

/// What a scripted COM object does, and what was asked of it.
struct Com_Script {
    HRESULT created = S_OK;
    HRESULT run = S_OK;
    HRESULT has_request_interface = S_OK;
    HRESULT timeouts_set = S_OK;
    HRESULT opened = S_OK;
    HRESULT sent = S_OK;
    std::function<void()> sending = [] {};
    std::wstring reached_url; // where redirects have led
    HRESULT status_known = S_OK;
    long status = 200;
    std::function<HRESULT(const std::wstring& name, BSTR* value)> header = [](const std::wstring&, BSTR*) {
        return S_FALSE;
    };
    std::function<HRESULT(VARIANT* body)> body = [](VARIANT*) { return S_OK; };

    std::vector<std::string> calls;
    int living_objects = 0;
};

inline std::string Narrow(BSTR text) {
    return {text, text + SysStringLen(text)};
}

/// An argument as the records show it.
inline std::string Shown(const VARIANT& value) {
    if (V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND) {
        return "omitted";
    }
    if (V_VT(&value) == VT_BOOL) {
        return V_BOOL(&value) == VARIANT_FALSE ? "false" : "true";
    }
    return "type " + std::to_string(V_VT(&value));
}

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

/// The request object as COM knows it, following a script that outlives it.
class Scripted_Com_Object final : public IServerXMLHTTPRequest,
                                  public IRunnableObject,
                                  public ISupportErrorInfo,
                                  private FrontEnd::Util::Non_Copyable {
public:
    explicit Scripted_Com_Object(Com_Script& script) : m_Script(script) { ++m_Script.living_objects; }

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (IsEqualIID(id, FrontEnd::Platform::Server_Xml_Http_Request_Id)) {
            m_Script.calls.push_back("QueryInterface");
            if (FAILED(m_Script.has_request_interface)) {
                return m_Script.has_request_interface;
            }
            *object = static_cast<IServerXMLHTTPRequest*>(this);
        } else if (IsEqualIID(id, IID_IUnknown)) {
            *object = static_cast<IUnknown*>(static_cast<IServerXMLHTTPRequest*>(this));
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
    ULONG WINAPI Release() override {
        const ULONG left = --m_References;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT WINAPI Run(LPBINDCTX) override { return Record("Run", m_Script.run); }
    HRESULT WINAPI setTimeouts(LONG resolve, LONG connect, LONG send, LONG receive) override {
        return Record("setTimeouts " + std::to_string(resolve) + " " + std::to_string(connect) + " " +
                          std::to_string(send) + " " + std::to_string(receive),
                      m_Script.timeouts_set);
    }
    HRESULT WINAPI open(BSTR method, BSTR url, VARIANT asynchronous, VARIANT user, VARIANT password) override {
        return Record("open " + Narrow(method) + " " + Narrow(url) + " " + Shown(asynchronous) + " " + Shown(user) +
                          " " + Shown(password),
                      m_Script.opened);
    }
    HRESULT WINAPI setRequestHeader(BSTR name, BSTR value) override {
        return Record(Narrow(name) + ": " + Narrow(value), S_OK);
    }
    HRESULT WINAPI send(VARIANT body) override {
        m_Script.sending();
        return Record("send " + Shown(body), m_Script.sent);
    }
    HRESULT WINAPI get_status(LONG* status) override {
        *status = m_Script.status;
        SetErrorInfo(0, nullptr);
        return m_Script.status_known;
    }
    HRESULT WINAPI getResponseHeader(BSTR name, BSTR* value) override {
        *value = nullptr;
        return m_Script.header(std::wstring(name, SysStringLen(name)), value);
    }
    HRESULT WINAPI get_responseBody(VARIANT* body) override { return m_Script.body(body); }
    HRESULT WINAPI InterfaceSupportsErrorInfo(REFIID id) override {
        const bool is_server = IsEqualIID(id, FrontEnd::Platform::Server_Xml_Http_Request_Id);
        const bool is_plain = IsEqualIID(id, FrontEnd::Platform::Xml_Http_Request_Id);
        return Record("errors of " + std::string(is_server  ? "IServerXMLHTTPRequest"
                                                 : is_plain ? "IXMLHTTPRequest"
                                                            : "?"),
                      S_OK);
    }

    // What nobody is to call.
    HRESULT WINAPI GetTypeInfoCount(UINT*) override { return Unexpected(); }
    HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) override { return Unexpected(); }
    HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return Unexpected(); }
    HRESULT WINAPI Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return Unexpected();
    }
    HRESULT WINAPI getAllResponseHeaders(BSTR*) override { return Unexpected(); }
    HRESULT WINAPI abort() override { return Unexpected(); }
    HRESULT WINAPI get_statusText(BSTR*) override { return Unexpected(); }
    HRESULT WINAPI get_responseXML(IDispatch**) override { return Unexpected(); }
    HRESULT WINAPI get_responseText(BSTR*) override { return Unexpected(); }
    HRESULT WINAPI get_responseStream(VARIANT*) override { return Unexpected(); }
    HRESULT WINAPI get_readyState(LONG*) override { return Unexpected(); }
    HRESULT WINAPI put_onreadystatechange(IDispatch*) override { return Unexpected(); }
    HRESULT WINAPI waitForResponse(VARIANT, VARIANT_BOOL*) override { return Unexpected(); }
    HRESULT WINAPI getOption(SERVERXMLHTTP_OPTION option, VARIANT* value) override {
        if (option != SXH_OPTION_URL) {
            return Unexpected();
        }
        V_VT(value) = VT_BSTR;
        V_BSTR(value) = SysAllocString(m_Script.reached_url.c_str());
        return S_OK;
    }
    HRESULT WINAPI setOption(SERVERXMLHTTP_OPTION, VARIANT) override { return Unexpected(); }
    HRESULT WINAPI GetRunningClass(LPCLSID) override { return Unexpected(); }
    BOOL WINAPI IsRunning() override { return FALSE; }
    HRESULT WINAPI LockRunning(BOOL, BOOL) override { return Unexpected(); }
    HRESULT WINAPI SetContainedObject(BOOL) override { return Unexpected(); }

private:
    ~Scripted_Com_Object() { --m_Script.living_objects; }

    HRESULT Record(std::string call, HRESULT result) {
        m_Script.calls.push_back(std::move(call));
        return result;
    }
    HRESULT Unexpected() { return Record("unexpected", E_NOTIMPL); }

    Com_Script& m_Script;
    ULONG m_References = 1;
};

/// While it lives, COM makes scripted objects where the request object is asked for on this thread.
class Scripted_Class final : public IClassFactory, private FrontEnd::Util::Non_Copyable {
public:
    explicit Scripted_Class(Com_Script& script) : m_Script(script) {
        CLSID class_id{};
        if (FAILED(CLSIDFromProgID(L"Msxml2.ServerXMLHTTP.6.0", &class_id)) ||
            FAILED(CoRegisterClassObject(class_id, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_Registration))) {
            m_Registration = 0;
        }
    }
    ~Scripted_Class() { CoRevokeClassObject(m_Registration); }

    bool Is_Registered() const { return m_Registration != 0; }

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
        const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG WINAPI AddRef() override { return 2; } // lives as long as its scope
    ULONG WINAPI Release() override { return 1; }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** object) override {
        *object = nullptr;
        if (FAILED(m_Script.created)) {
            return m_Script.created;
        }
        auto* const created = new Scripted_Com_Object(m_Script);
        const HRESULT result = created->QueryInterface(id, object);
        created->Release();
        return result;
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

private:
    Com_Script& m_Script;
    DWORD m_Registration = 0;
};

} // namespace QEL::Tests
