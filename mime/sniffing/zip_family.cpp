#include "mime/sniffing/sniffers.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace QEL::Mime::Sniffing {
namespace {

using namespace std::string_view_literals;

/// The fields used here of the header before each entry.
constexpr std::string_view Entry_Signature = "PK\3\4"sv;
constexpr std::size_t Method_Offset = 8;
constexpr std::size_t Size_Offset = 22;
constexpr std::size_t Name_Length_Offset = 26;
constexpr std::size_t Extra_Length_Offset = 28;
constexpr std::size_t Name_Offset = 30;

constexpr std::string_view Method_Stored = "\0\0"sv;

/// A little-endian number of two bytes. ZIP's sizes have four; those of interest fit in two, and a
/// larger one just leads to a comparison that fails.
std::size_t Number_At(std::string_view bytes, std::size_t position) {
    return static_cast<unsigned char>(bytes[position]) |
           static_cast<std::size_t>(static_cast<unsigned char>(bytes[position + 1])) << 8;
}

/// The families whose first entry, stored as it is, holds the type.
constexpr std::string_view Type_Entry_Name = "mimetype";
constexpr auto Types_In_Type_Entry = std::to_array<std::string_view>({
    "application/vnd.oasis.opendocument.text",
    "application/vnd.oasis.opendocument.spreadsheet",
    "application/vnd.oasis.opendocument.presentation",
    "application/vnd.oasis.opendocument.graphics",
    "application/epub+zip",
});

/// Office Open XML: every package has one of these entries ...
constexpr auto Package_Entry_Names = std::to_array<std::string_view>({"[Content_Types].xml", "_rels/.rels"});

/// ... and its folder shows the kind.
struct Package_Folder {
    std::string_view name;
    std::string_view mime_type;
};
constexpr auto Package_Folders = std::to_array<Package_Folder>({
    {"word/", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"xl/", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"ppt/", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
});

/// The name of the entry whose header the bytes begin with; empty when they end before the name does.
std::string_view Entry_Name(std::string_view entry) {
    if (entry.size() < Name_Offset) {
        return {};
    }
    const std::size_t length = Number_At(entry, Name_Length_Offset);
    return entry.size() < Name_Offset + length ? std::string_view() : entry.substr(Name_Offset, length);
}

std::string_view Type_In_Type_Entry(std::string_view head) {
    if (Entry_Name(head) != Type_Entry_Name || head.substr(Method_Offset, Method_Stored.size()) != Method_Stored) {
        return {};
    }
    const std::size_t contents = Name_Offset + Type_Entry_Name.size() + Number_At(head, Extra_Length_Offset);
    if (contents > head.size()) {
        return {};
    }
    const auto found = std::ranges::find(Types_In_Type_Entry, head.substr(contents, Number_At(head, Size_Offset)));
    return found != Types_In_Type_Entry.end() ? *found : std::string_view();
}

std::string_view Office_Open_Xml_Type(std::string_view head) {
    bool is_package = false;
    std::string_view mime_type;
    for (std::size_t position = 0; position != std::string_view::npos;
         position = head.find(Entry_Signature, position + Name_Offset)) {
        const std::string_view name = Entry_Name(head.substr(position));
        is_package = is_package || std::ranges::find(Package_Entry_Names, name) != Package_Entry_Names.end();
        const auto folder = std::ranges::find_if(
            Package_Folders, [name](const Package_Folder& candidate) { return name.starts_with(candidate.name); });
        if (folder != Package_Folders.end()) {
            mime_type = folder->mime_type;
        }
    }
    return is_package ? mime_type : std::string_view();
}

} // namespace

std::string_view Zip_Family_Type(std::string_view head) {
    if (const auto mime_type = Type_In_Type_Entry(head); !mime_type.empty()) {
        return mime_type;
    }
    const auto mime_type = Office_Open_Xml_Type(head);
    return mime_type.empty() ? Zip_Type : mime_type;
}

} // namespace QEL::Mime::Sniffing
