#pragma once

#include <string_view>

/// The parts of Sniff_Mime_Type, each in a file of its name.
namespace QEL::Mime::Sniffing {

/// The type of a format with a signature of its own, by the standard's patterns for documents,
/// images, audio, video and archives; empty when none matches.
std::string_view Match_Standard_Signature(std::string_view head);

/// The type of a binary format that the standard does not know; empty when none matches. Only for
/// heads that are not text: some of these signatures are two letters.
std::string_view Match_Further_Signature(std::string_view head);

/// "text/html", "text/xml" or "image/svg+xml" when the text is one, else empty.
///
/// The standard knows HTML by its first tag, a document type or a comment, and XML by its
/// declaration. XML without declaration is known here by being well-formed as far as it can be
/// seen: its root's start tag, and, where the text is complete, the end tag as its last thing.
/// What the standard calls HTML stays so; just a comment at the beginning can belong to both, and
/// then what follows it decides.
/// @param complete the text does not go on behind what is passed.
std::string_view Sniff_Markup(std::string_view text, bool complete);

/// "application/json", "text/x-ini" or "application/rtf" when the text is one, else empty.
/// @param complete the text does not go on behind what is passed.
std::string_view Sniff_Structured_Text(std::string_view text, bool complete);

inline constexpr std::string_view Zip_Type = "application/zip";

/// The type of a ZIP archive by its first entries: the office family that it belongs to, or Zip_Type.
/// Office families put what distinguishes them first, but a head can end before it.
std::string_view Zip_Family_Type(std::string_view head);

} // namespace QEL::Mime::Sniffing
