#pragma once

#include <string_view>

namespace QEL::Mime::Sniffing {

inline constexpr std::string_view Zip_Type = "application/zip";

/// The type of a ZIP archive by its first entries: the office family that it belongs to, or Zip_Type.
/// Office families put what distinguishes them first, but a head can end before it.
std::string_view Zip_Family_Type(std::string_view head);

} // namespace QEL::Mime::Sniffing
