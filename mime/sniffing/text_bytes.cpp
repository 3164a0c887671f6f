#include "mime/sniffing/text_bytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

/// What is no text, by byte value.
constexpr auto Is_Binary_Byte = [] {
    std::array<bool, 256> is_binary = {};
    std::fill_n(is_binary.begin(), 0x20, true);
    for (const char text_control : {'\t', '\n', '\f', '\r', '\x1B'}) {
        is_binary[static_cast<unsigned char>(text_control)] = false;
    }
    return is_binary;
}();

/// True when one of the eight bytes is below 0x20: subtracting that borrows from the top bit, which
/// then is set though the byte had it clear. Most sniffing time goes into reading text to its end,
/// and text has such bytes only at the ends of its lines.
constexpr bool Has_Control_Byte(std::uint64_t word) {
    constexpr std::uint64_t Each_Byte = 0x0101010101010101;
    return ((word - 0x20 * Each_Byte) & ~word & 0x80 * Each_Byte) != 0;
}

template <std::size_t High_Byte>
std::string_view Read_Utf16(std::string_view bytes, Utf16_Buffer& buffer) {
    const std::size_t length = bytes.size() / 2;
    for (std::size_t i = 0; i < length; ++i) {
        const char high = bytes[2 * i + High_Byte];
        const char low = bytes[2 * i + 1 - High_Byte];
        buffer[i] = high == 0 ? low : '\x80';
    }
    return {buffer.data(), length};
}

} // namespace

bool Has_Binary_Byte(std::string_view bytes) {
    const auto is_binary = [](char byte) { return Is_Binary_Byte[static_cast<unsigned char>(byte)]; };
    std::uint64_t word = 0;
    for (; bytes.size() >= sizeof(word); bytes.remove_prefix(sizeof(word))) {
        std::memcpy(&word, bytes.data(), sizeof(word));
        if (Has_Control_Byte(word) && std::ranges::any_of(bytes.substr(0, sizeof(word)), is_binary)) {
            return true;
        }
    }
    return std::ranges::any_of(bytes, is_binary);
}

Head_Text Read_As_Text(std::string_view head, Utf16_Buffer& buffer) {
    const auto beginning = std::ranges::find_if(
        Text_Beginnings, [head](const Text_Beginning& candidate) { return head.starts_with(candidate.bytes); });
    if (beginning == Text_Beginnings.end() || head.size() < Least_Marked_Length) {
        return {head, false};
    }
    const std::string_view bytes = head.substr(beginning->mark_length);
    const bool has_byte_order_mark = beginning->mark_length > 0;
    switch (beginning->encoding) { // GCOVR_EXCL_BR_LINE: each value has its case
    case Encoding::Utf16_Big_Endian:
        return {Read_Utf16<0>(bytes, buffer), has_byte_order_mark};
    case Encoding::Utf16_Little_Endian:
        return {Read_Utf16<1>(bytes, buffer), has_byte_order_mark};
    case Encoding::One_Byte_Or_Utf8:
        break;
    }
    return {bytes, has_byte_order_mark};
}

} // namespace QEL::Mime::Sniffing
