#pragma once

#include "platform/windows/Windows_Headers.h"

#include <oleauto.h>
#if __has_include(<msxml6.h>)
#include <msxml6.h>
#else
#include <msxml2.h>
#endif

namespace QEL::FrontEnd::Platform {

// No library of the compiler defines these two.
inline constexpr IID Xml_Http_Request_Id = {
    0xED8C108D, 0x4349, 0x11D2, {0x91, 0xA4, 0x00, 0xC0, 0x4F, 0x79, 0x69, 0xE8}};
inline constexpr IID Server_Xml_Http_Request_Id = {
    0x2E9196BF, 0x13BA, 0x4DD4, {0x91, 0xCA, 0x6C, 0x57, 0x1F, 0x28, 0x14, 0x95}};

} // namespace QEL::FrontEnd::Platform
