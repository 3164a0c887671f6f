#include "mime/sniffing/sniff.h"

#include "mime/sniffing/sniffers.h"
#include "mime/sniffing/text_bytes.h"

namespace QEL::Mime::Sniffing {

std::string_view Sniff_Mime_Type(std::string_view data) {
    const std::string_view head = data.substr(0, Sniffed_Length);
    if (head.empty()) {
        return {};
    }
    if (const auto binary_format = Match_Standard_Signature(head); !binary_format.empty()) {
        return binary_format;
    }

    // A head of full length may have been cut anywhere, whatever follows it.
    Utf16_Buffer utf16_buffer;
    const Head_Text text = Read_As_Text(head, utf16_buffer);
    const bool complete = head.size() < Sniffed_Length;
    if (const auto markup = Sniff_Markup(text.characters, complete); !markup.empty()) {
        return markup;
    }
    if (!text.has_byte_order_mark && Has_Binary_Byte(head)) {
        return Match_Further_Signature(head);
    }
    const auto structured_text = Sniff_Structured_Text(text.characters, complete);
    return structured_text.empty() ? "text/plain" : structured_text;
}

} // namespace QEL::Mime::Sniffing
