#pragma once

#include "platform/windows/Windows_Headers.h"
#include "util/Non_Copyable.h"

#include <oleauto.h>

namespace QEL::FrontEnd::Platform {

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
