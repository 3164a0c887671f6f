#pragma once

#include "mime/content_type.h"

#include <span>
#include <string_view>

namespace QEL::Mime {

struct Extension_Row {
    /// Type, slash and subtype in lower case.
    std::string_view mime_type;
    /// With its leading dot.
    std::string_view extension;
};

/// All rows, sorted by type.
std::span<const Extension_Row> Extension_Rows();

/// The extension of a MIME type in any letter case, with its leading dot; empty when none is known.
/// A type without a row of its own has the extension of the format that its suffix names:
/// "application/vnd.example+xml" is XML.
std::string_view Find_Extension(const Mime_Type& mime_type);

} // namespace QEL::Mime
