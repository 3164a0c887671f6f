#pragma once

#include <string_view>

namespace QEL::Mime::Sniffing {

/// The type of a format with a signature of its own, by the standard's patterns for documents,
/// images, audio, video and archives; empty when none matches.
std::string_view Match_Standard_Signature(std::string_view head);

/// The type of a binary format that the standard does not know; empty when none matches. Only for
/// heads that are not text: some of these signatures are two letters.
std::string_view Match_Further_Signature(std::string_view head);

} // namespace QEL::Mime::Sniffing
