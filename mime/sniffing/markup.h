#pragma once

#include <string_view>

namespace QEL::Mime::Sniffing {

/// "text/html", "text/xml" or "image/svg+xml" when the text is one, else empty.
///
/// The standard knows HTML by its first tag, a document type or a comment, and XML by its
/// declaration. XML without declaration is known here by being well-formed as far as it can be
/// seen: its root's start tag, and, where the text is complete, the end tag as its last thing.
/// What the standard calls HTML stays so; just a comment at the beginning can belong to both, and
/// then what follows it decides.
/// @param complete the text does not go on behind what is passed.
std::string_view Sniff_Markup(std::string_view text, bool complete);

} // namespace QEL::Mime::Sniffing
