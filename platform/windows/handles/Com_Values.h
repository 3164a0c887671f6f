#pragma once

#include "platform/windows/Windows_Headers.h"
#include "util/Non_Copyable.h"

#include <new>
#include <oleauto.h>
#include <string_view>
#include <utility>

namespace QEL::FrontEnd::Platform {

/// Owns one reference to a COM object.
template <typename Interface>
class Com_Pointer {
public:
    Com_Pointer() = default;
    Com_Pointer(Com_Pointer&& other) noexcept : m_Object(std::exchange(other.m_Object, nullptr)) {}
    Com_Pointer& operator=(Com_Pointer&& other) noexcept {
        std::swap(m_Object, other.m_Object);
        return *this;
    }
    ~Com_Pointer() {
        if (m_Object != nullptr) {
            m_Object->Release();
        }
    }

    explicit operator bool() const { return m_Object != nullptr; }
    Interface* operator->() const { return m_Object; }
    Interface* Get() const { return m_Object; }

    /// Where a call puts the reference that this object shall own. Only while this object is empty.
    Interface** Receive() { return &m_Object; }
    void** Receive_Untyped() { return reinterpret_cast<void**>(&m_Object); }

private:
    Interface* m_Object = nullptr;
};

/// Owns a BSTR.
class Bstr : private Util::Non_Copyable {
public:
    Bstr() = default;
    explicit Bstr(std::wstring_view text) : m_Text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
        if (m_Text == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Bstr() { SysFreeString(m_Text); }

    BSTR Get() const { return m_Text; }

    /// Where a call puts the text that this object shall own. Only while this object is empty.
    BSTR* Receive() { return &m_Text; }

    /// The characters; none when there is no text.
    std::wstring_view View() const { return {m_Text == nullptr ? L"" : m_Text, SysStringLen(m_Text)}; }

private:
    BSTR m_Text = nullptr;
};

/// Owns a VARIANT and what it holds.
class Variant : private Util::Non_Copyable {
public:
    Variant() { VariantInit(&m_Value); }
    ~Variant() { VariantClear(&m_Value); }

    const VARIANT& Get() const { return m_Value; }

    /// Where a call puts the value that this object shall own. Only while this object is empty.
    VARIANT* Receive() { return &m_Value; }

private:
    VARIANT m_Value;
};

/// The value that stands for an argument left out. Holds nothing that needs releasing.
inline VARIANT Omitted_Argument() {
    VARIANT omitted;
    VariantInit(&omitted);
    V_VT(&omitted) = VT_ERROR;
    V_ERROR(&omitted) = DISP_E_PARAMNOTFOUND;
    return omitted;
}

/// A truth value as an argument. Holds nothing that needs releasing.
inline VARIANT Boolean_Argument(bool value) {
    VARIANT boolean;
    VariantInit(&boolean);
    V_VT(&boolean) = VT_BOOL;
    V_BOOL(&boolean) = value ? VARIANT_TRUE : VARIANT_FALSE;
    return boolean;
}

} // namespace QEL::FrontEnd::Platform
