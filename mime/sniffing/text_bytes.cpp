#include "mime/sniffing/text_bytes.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace QEL::Mime::Sniffing {
namespace {

using namespace std::string_view_literals;

/// The standard accepts a byte order mark only with this much data.
constexpr std::size_t Least_Marked_Length = 4;

enum class Encoding { One_Byte_Or_Utf8, Utf16_Big_Endian, Utf16_Little_Endian };

struct Text_Beginning {
    std::string_view bytes;
    /// How many of the bytes are the mark, no part of the text.
    std::size_t mark_length;
    Encoding encoding;
};

constexpr auto Text_Beginnings = std::to_array<Text_Beginning>({
    {"\xEF\xBB\xBF"sv, 3, Encoding::One_Byte_Or_Utf8},
    {"\xFE\xFF"sv, 2, Encoding::Utf16_Big_Endian},
    {"\xFF\xFE"sv, 2, Encoding::Utf16_Little_Endian},
    {"\0<\0?\0x\0m\0l"sv, 0, Encoding::Utf16_Big_Endian},
    {"<\0?\0x\0m\0l\0"sv, 0, Encoding::Utf16_Little_Endian},
});

/// Bitwise operators throughout, so that the compiler tests many bytes at once.
constexpr bool Is_Binary_Byte(unsigned char byte) {
    return static_cast<bool>(static_cast<int>(byte < 0x09) | static_cast<int>(byte == 0x0B) |
                             (static_cast<int>(byte > 0x0D) & static_cast<int>(byte < 0x1B)) |
                             (static_cast<int>(byte > 0x1B) & static_cast<int>(byte < 0x20)));
}

std::string_view Read_Utf16(std::string_view bytes, Encoding encoding, Utf16_Buffer& buffer) {
    const std::size_t high_byte = encoding == Encoding::Utf16_Big_Endian ? 0 : 1;
    const std::size_t length = bytes.size() / 2;
    for (std::size_t i = 0; i < length; ++i) {
        const char high = bytes[2 * i + high_byte];
        const char low = bytes[2 * i + 1 - high_byte];
        const bool ascii = high == 0 && static_cast<unsigned char>(low) < 0x80;
        buffer[i] = ascii ? low : '\x80';
    }
    return {buffer.data(), length};
}

} // namespace

bool Has_Binary_Byte(std::string_view bytes) {
    constexpr std::size_t Block_Length = 64;
    for (; bytes.size() >= Block_Length; bytes.remove_prefix(Block_Length)) {
        const std::span<const char, Block_Length> block(bytes.data(), Block_Length);
        bool found = false;
        for (const char byte : block) {
            found |= Is_Binary_Byte(static_cast<unsigned char>(byte));
        }
        if (found) {
            return true;
        }
    }
    return std::ranges::any_of(bytes, [](char byte) { return Is_Binary_Byte(static_cast<unsigned char>(byte)); });
}

Head_Text Read_As_Text(std::string_view head, Utf16_Buffer& buffer) {
    const auto beginning = std::ranges::find_if(
        Text_Beginnings, [head](const Text_Beginning& candidate) { return head.starts_with(candidate.bytes); });
    if (beginning == Text_Beginnings.end() || head.size() < Least_Marked_Length) {
        return {head, false};
    }
    const std::string_view bytes = head.substr(beginning->mark_length);
    const bool has_byte_order_mark = beginning->mark_length > 0;
    if (beginning->encoding == Encoding::One_Byte_Or_Utf8) {
        return {bytes, has_byte_order_mark};
    }
    return {Read_Utf16(bytes, beginning->encoding, buffer), has_byte_order_mark};
}

} // namespace QEL::Mime::Sniffing
