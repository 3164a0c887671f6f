#pragma once

#include <string_view>

namespace QEL::Mime::Sniffing {

/// "application/json", "text/x-ini" or "application/rtf" when the text is one, else empty.
/// @param complete the text does not go on behind what is passed.
std::string_view Sniff_Structured_Text(std::string_view text, bool complete);

} // namespace QEL::Mime::Sniffing
