#pragma once

#include <cstddef>
#include <string_view>

namespace QEL::Mime::Sniffing {

/// How much of a file is looked at, from its beginning. The WHATWG MIME Sniffing standard calls
/// these bytes the resource header.
inline constexpr std::size_t Sniffed_Length = 1445;

/// The MIME type of a file that begins with these bytes; empty when it is not known. More than
/// Sniffed_Length bytes may be passed, only that many count.
///
/// The result is that of the standard's "rules for identifying an unknown MIME type", except that
/// - text is distinguished further: XML without declaration, JSON, INI and RTF, also in UTF-16;
/// - ZIP archives of the office families have the type of their family;
/// - data that the standard knows only as binary is compared with further signatures;
/// - what is left, and data of no length, has no type.
///
/// A type whose files do something when they are opened is returned only where the cache turns its
/// extension away. So Windows executables are recognised, and shortcuts, installer packages,
/// compiled help or Java archives are not: their type would give them the extension that runs them.
std::string_view Sniff_Mime_Type(std::string_view data);

} // namespace QEL::Mime::Sniffing
