#pragma once

#include "platform/windows/Windows_Headers.h"
#include "util/Non_Copyable.h"

#include <oleauto.h>

#include <new>
#include <string_view>

namespace QEL::FrontEnd::Platform {

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

} // namespace QEL::FrontEnd::Platform
