#pragma once

#include <optional>
#include <string_view>

namespace QEL::Mime {

/// The two halves of a MIME type, in the letter case of the text that they are a part of.
struct Mime_Type {
    std::string_view type;
    std::string_view subtype;
};

/// The MIME type that a Content-Type value names, if it names one. Nothing is copied.
///
/// A value is read as browsers do (WHATWG MIME Sniffing, "parse a MIME type", and Fetch, "extract a
/// MIME type"):
/// - parameters are dropped, be they complete or not, as are blanks around the type;
/// - type and subtype consist of HTTP token characters, so a quoted type is none;
/// - of several values, joined by commas outside quotes, the last good one other than "*/*" counts:
///   a front-end server appends its own to what the application said.
/// Blanks around the slash do not count either; there browsers are stricter.
std::optional<Mime_Type> Find_Mime_Type(std::string_view content_type);

} // namespace QEL::Mime
