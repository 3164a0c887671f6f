#include "mime/sniffing/sniffers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace QEL::Mime::Sniffing {
namespace {

using namespace std::string_view_literals;

struct Signature {
    std::string_view pattern;
    /// The bits of each byte that count; empty: all of them.
    std::string_view mask;
    std::string_view mime_type;
};

constexpr std::string_view Skip_4_Of_12 = "\xFF\xFF\xFF\xFF\0\0\0\0\xFF\xFF\xFF\xFF"sv;
constexpr std::string_view Skip_4_Of_14 = "\xFF\xFF\xFF\xFF\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF"sv;
constexpr std::string_view Skip_First_4_Of_12 = "\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"sv;

/// The standard's tables, row by row: 7.1 without its text rows, 6.1, 6.2 and 6.4.
constexpr auto Standard_Signatures = std::to_array<Signature>({
    {"%PDF-"sv, {}, "application/pdf"sv},
    {"%!PS-Adobe-"sv, {}, "application/postscript"sv},
    {"\0\0\1\0"sv, {}, "image/x-icon"sv}, // icon
    {"\0\0\2\0"sv, {}, "image/x-icon"sv}, // cursor
    {"BM"sv, {}, "image/bmp"sv},
    {"GIF87a"sv, {}, "image/gif"sv},
    {"GIF89a"sv, {}, "image/gif"sv},
    {"RIFF\0\0\0\0WEBPVP"sv, Skip_4_Of_14, "image/webp"sv},
    {"\x89PNG\r\n\x1A\n"sv, {}, "image/png"sv},
    {"\xFF\xD8\xFF"sv, {}, "image/jpeg"sv},
    {"FORM\0\0\0\0AIFF"sv, Skip_4_Of_12, "audio/aiff"sv},
    {"ID3"sv, {}, "audio/mpeg"sv},
    {"OggS\0"sv, {}, "application/ogg"sv},
    {"MThd\0\0\0\6"sv, {}, "audio/midi"sv},
    {"RIFF\0\0\0\0AVI "sv, Skip_4_Of_12, "video/avi"sv},
    {"RIFF\0\0\0\0WAVE"sv, Skip_4_Of_12, "audio/wave"sv},
    {"\x1F\x8B\x08"sv, {}, "application/x-gzip"sv},
    {"PK\3\4"sv, {}, "application/zip"sv},
    {"Rar!\x1A\7\0"sv, {}, "application/x-rar-compressed"sv},
});

/// What the standard leaves as binary. A row here must give no file an extension that runs it.
constexpr auto Further_Signatures = std::to_array<Signature>({
    {"MZ"sv, {}, "application/x-msdownload"sv}, // Windows and DOS executables: .exe, which the cache refuses
    {"II*\0"sv, {}, "image/tiff"sv},
    {"MM\0*"sv, {}, "image/tiff"sv},
    {"\0\0\0\0ftypavif"sv, Skip_First_4_Of_12, "image/avif"sv},
    {"\0\0\0\0ftypheic"sv, Skip_First_4_Of_12, "image/heic"sv},
    {"PK\5\6"sv, {}, "application/zip"sv}, // without entries
    {"Rar!\x1A\7\1\0"sv, {}, "application/x-rar-compressed"sv},
    {"7z\xBC\xAF\x27\x1C"sv, {}, "application/x-7z-compressed"sv},
    {"BZh"sv, {}, "application/x-bzip2"sv},
    {"\xFD"
     "7zXZ\0"sv,
     {},
     "application/x-xz"sv},
    {"MSCF\0\0\0\0"sv, {}, "application/vnd.ms-cab-compressed"sv},
});

constexpr bool Masks_Fit(std::span<const Signature> signatures) {
    return std::ranges::all_of(signatures, [](const Signature& signature) {
        return signature.mask.empty() || signature.mask.size() == signature.pattern.size();
    });
}
static_assert(Masks_Fit(Standard_Signatures) && Masks_Fit(Further_Signatures));

bool Matches(std::string_view head, const Signature& signature) {
    if (signature.mask.empty()) {
        return head.starts_with(signature.pattern);
    }
    if (head.size() < signature.pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < signature.pattern.size(); ++i) {
        if ((head[i] & signature.mask[i]) != signature.pattern[i]) {
            return false;
        }
    }
    return true;
}

std::string_view Match_Signature(std::string_view head, std::span<const Signature> signatures) {
    const auto found =
        std::ranges::find_if(signatures, [head](const Signature& signature) { return Matches(head, signature); });
    return found != signatures.end() ? found->mime_type : std::string_view();
}

std::uint8_t Byte_At(std::string_view bytes, std::size_t position) {
    return static_cast<std::uint8_t>(bytes[position]);
}

/// A file type box that names an MP4 brand.
bool Is_Mp4(std::string_view head) {
    if (head.size() < 12 || head.substr(4, 4) != "ftyp") {
        return false;
    }
    std::size_t box_size = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        box_size = box_size << 8 | Byte_At(head, i);
    }
    if (box_size > head.size() || box_size % 4 != 0) {
        return false;
    }
    constexpr std::string_view Brand = "mp4";
    if (head.substr(8).starts_with(Brand)) {
        return true;
    }
    // The version of the first brand lies between it and the others.
    for (std::size_t i = 16; i < box_size; i += 4) {
        if (head.substr(i).starts_with(Brand)) {
            return true;
        }
    }
    return false;
}

/// An EBML header whose document type is "webm".
bool Is_Webm(std::string_view head) {
    constexpr std::size_t Header_Length = 38;
    if (!head.starts_with("\x1A\x45\xDF\xA3")) {
        return false;
    }
    for (std::size_t i = 4; i + 2 < head.size() && i < Header_Length; ++i) {
        if (head.substr(i, 2) != "\x42\x82") {
            continue;
        }
        // The length of the value says in its leading zeros how many bytes it has itself; zeros may
        // fill the value up at its beginning.
        const auto size_length = static_cast<std::size_t>(std::countl_zero(Byte_At(head, i + 2))) + 1;
        const std::size_t value = head.find_first_not_of('\0', i + 2 + size_length);
        if (value != std::string_view::npos && head.substr(value).starts_with("webm")) {
            return true;
        }
    }
    return false;
}

/// The length of the MPEG audio layer III frame whose header the bytes begin with; 0 when they do not.
std::size_t Mp3_Frame_Length(std::string_view bytes) {
    if (bytes.size() < 4 || Byte_At(bytes, 0) != 0xFF || (Byte_At(bytes, 1) & 0xE0) != 0xE0) {
        return 0;
    }
    constexpr std::array<std::size_t, 16> Version_1_Rates = {0,   32,  40,  48,  56,  64,  80,  96,
                                                             112, 128, 160, 192, 224, 256, 320, 0};
    constexpr std::array<std::size_t, 16> Version_2_Rates = {0,  8,  16, 24,  32,  40,  48,  56,
                                                             64, 80, 96, 112, 128, 144, 160, 0};
    constexpr std::array<std::size_t, 4> Sample_Rates = {44100, 48000, 32000, 0};
    constexpr unsigned Layer_3 = 1;
    enum Version : unsigned { Version_2_5 = 0, Reserved = 1, Version_2 = 2, Version_1 = 3 };

    const unsigned version = Byte_At(bytes, 1) >> 3 & 3U;
    const unsigned layer = Byte_At(bytes, 1) >> 1 & 3U;
    const unsigned bit_rate = Byte_At(bytes, 2) >> 4;
    const unsigned sample_rate = Byte_At(bytes, 2) >> 2 & 3U;
    const unsigned padding = Byte_At(bytes, 2) >> 1 & 1U;
    if (version == Reserved || layer != Layer_3 || Sample_Rates[sample_rate] == 0) {
        return 0;
    }
    const bool first_version = version == Version_1;
    const std::size_t bits_per_second = 1000 * (first_version ? Version_1_Rates : Version_2_Rates)[bit_rate];
    const std::size_t samples_per_second = Sample_Rates[sample_rate] / (first_version          ? 1
                                                                        : version == Version_2 ? 2
                                                                                               : 4);
    const std::size_t length = (first_version ? 144 : 72) * bits_per_second / samples_per_second;
    return length == 0 ? 0 : length + padding;
}

/// MPEG audio layer III without a tag before it: a frame with another one right behind it.
bool Is_Mp3(std::string_view head) {
    const std::size_t length = Mp3_Frame_Length(head);
    return length != 0 && length < head.size() && Mp3_Frame_Length(head.substr(length)) != 0;
}

struct Format_Test {
    bool (*matches)(std::string_view head);
    std::string_view mime_type;
};

/// The standard's formats that take more than a pattern.
constexpr auto Format_Tests = std::to_array<Format_Test>({
    {Is_Mp4, "video/mp4"sv},
    {Is_Webm, "video/webm"sv},
    {Is_Mp3, "audio/mpeg"sv},
});

} // namespace

std::string_view Match_Standard_Signature(std::string_view head) {
    if (const auto mime_type = Match_Signature(head, Standard_Signatures); !mime_type.empty()) {
        return mime_type == Zip_Type ? Zip_Family_Type(head) : mime_type;
    }
    const auto format =
        std::ranges::find_if(Format_Tests, [head](const Format_Test& candidate) { return candidate.matches(head); });
    return format != Format_Tests.end() ? format->mime_type : std::string_view();
}

std::string_view Match_Further_Signature(std::string_view head) {
    return Match_Signature(head, Further_Signatures);
}

} // namespace QEL::Mime::Sniffing
