#include "mime/extension_table.h"

#include "util/Ascii.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace QEL::Mime {

namespace {

using namespace FrontEnd::Util;

constexpr auto Rows = std::to_array<Extension_Row>({
#include "mime/extension_table.inc"
});

static_assert(std::ranges::adjacent_find(Rows, std::ranges::greater_equal{}, &Extension_Row::mime_type) == Rows.end(),
              "the look-up needs the rows sorted, each type once");

constexpr std::size_t Longest_Type =
    std::ranges::max(Rows, {}, [](const Extension_Row& row) { return row.mime_type.size(); }).mime_type.size();

/// The structured syntax suffixes whose format stands for a type that has no row.
constexpr auto Suffix_Rows = std::to_array<Extension_Row>({
    {"+json", ".json"},
    {"+xml", ".xml"},
    {"+zip", ".zip"},
});

std::string_view Find_Row(const Mime_Type& mime_type) {
    const std::size_t length = mime_type.type.size() + 1 + mime_type.subtype.size();
    if (length > Longest_Type) {
        return {};
    }
    std::array<char, Longest_Type> lower_case;
    auto end = std::ranges::transform(mime_type.type, lower_case.begin(), To_Ascii_Lower).out;
    *end++ = '/';
    std::ranges::transform(mime_type.subtype, end, To_Ascii_Lower);

    const std::string_view key(lower_case.data(), length);
    const auto row = std::ranges::lower_bound(Rows, key, {}, &Extension_Row::mime_type);
    return row != Rows.end() && row->mime_type == key ? row->extension : std::string_view();
}

std::string_view Find_Suffix_Row(std::string_view subtype) {
    const std::size_t plus = subtype.rfind('+');
    if (plus == std::string_view::npos) {
        return {};
    }
    const auto row = std::ranges::find_if(Suffix_Rows, [suffix = subtype.substr(plus)](const Extension_Row& candidate) {
        return Equals_Ignoring_Case(candidate.mime_type, suffix);
    });
    return row != Suffix_Rows.end() ? row->extension : std::string_view();
}

} // namespace

std::span<const Extension_Row> Extension_Rows() {
    return Rows;
}

std::string_view Find_Extension(const Mime_Type& mime_type) {
    const std::string_view extension = Find_Row(mime_type);
    return extension.empty() ? Find_Suffix_Row(mime_type.subtype) : extension;
}

} // namespace QEL::Mime
