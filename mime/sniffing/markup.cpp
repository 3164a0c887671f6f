#include "mime/sniffing/sniffers.h"

#include "util/Ascii.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace QEL::Mime::Sniffing {

namespace {

using namespace FrontEnd::Util;

constexpr std::string_view Html_Type = "text/html";
constexpr std::string_view Xml_Type = "text/xml";
constexpr std::string_view Svg_Type = "image/svg+xml";

constexpr std::string_view Xml_Declaration = "<?xml";
constexpr std::string_view Comment_Start = "<!--";
constexpr std::string_view Document_Type_Start = "<!DOCTYPE";

/// The standard's patterns for HTML, in any letter case. A blank or ">" follows each.
constexpr auto Html_Beginnings = std::to_array<std::string_view>({
    "<!DOCTYPE HTML",
    "<HTML",
    "<HEAD",
    "<SCRIPT",
    "<IFRAME",
    "<H1",
    "<DIV",
    "<FONT",
    "<TABLE",
    "<A",
    "<STYLE",
    "<TITLE",
    "<B",
    "<BODY",
    "<BR",
    "<P",
    Comment_Start,
});

bool Begins_As_Html(std::string_view text) {
    return std::ranges::any_of(Html_Beginnings, [text](std::string_view beginning) {
        return text.size() > beginning.size() && (text[beginning.size()] == ' ' || text[beginning.size()] == '>') &&
               Starts_With_Ignoring_Case(text, beginning);
    });
}

/// The names of the elements among the HTML beginnings, which no XML root has.
bool Is_Html_Element(std::string_view name) {
    return std::ranges::any_of(Html_Beginnings, [name](std::string_view beginning) {
        return Equals_Ignoring_Case(beginning.substr(1), name);
    });
}

constexpr bool Is_Name_Start(char c) {
    return Is_Ascii_Letter(c) || c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80;
}

constexpr bool Is_Name_Character(char c) {
    return Is_Name_Start(c) || Is_Ascii_Digit(c) || c == '-' || c == '.';
}

/// A cursor over markup; each operation steps over what it names and returns whether it was there.
class Markup_Reader {
public:
    explicit Markup_Reader(std::string_view text) : m_Rest(text) {}

    std::string_view Rest() const { return m_Rest; }

    bool Skip_Blanks() {
        const std::size_t length = m_Rest.size();
        m_Rest = Trim_Beginning(m_Rest, Ascii_Blanks);
        return m_Rest.size() < length;
    }

    bool Skip(std::string_view expected) {
        const bool found = m_Rest.starts_with(expected);
        m_Rest.remove_prefix(found ? expected.size() : 0);
        return found;
    }

    /// Steps over a piece with a beginning and an end of its own, such as a comment. One that has not
    /// ended by the end of the text is not stepped over.
    bool Skip_Enclosed(std::string_view start, std::string_view end) {
        if (!m_Rest.starts_with(start)) {
            return false;
        }
        const std::size_t position = m_Rest.find(end, start.size());
        if (position == std::string_view::npos) {
            return false;
        }
        m_Rest.remove_prefix(position + end.size());
        return true;
    }

    /// Reads a name; empty when there is none.
    std::string_view Read_Name() {
        if (m_Rest.empty() || !Is_Name_Start(m_Rest.front())) {
            return {};
        }
        const auto end = std::ranges::find_if_not(m_Rest, Is_Name_Character);
        const std::string_view name = m_Rest.substr(0, static_cast<std::size_t>(end - m_Rest.begin()));
        m_Rest.remove_prefix(name.size());
        return name;
    }

    bool Skip_Quoted() { return Skip_Enclosed("\"", "\"") || Skip_Enclosed("'", "'"); }

private:
    std::string_view m_Rest;
};

/// The text behind the XML declaration, processing instructions and comments.
std::string_view Skip_Prolog(std::string_view text) {
    Markup_Reader reader(text);
    do {
        reader.Skip_Blanks();
    } while (reader.Skip_Enclosed("<?", "?>") || reader.Skip_Enclosed(Comment_Start, "-->"));
    return reader.Rest();
}

bool Ends_With_End_Tag(std::string_view text, std::string_view name) {
    text = Trim_End(text, Ascii_Blanks);
    if (!text.ends_with('>')) {
        return false;
    }
    text = Trim_End(text.substr(0, text.size() - 1), Ascii_Blanks);
    return text.ends_with(name) && text.substr(0, text.size() - name.size()).ends_with("</");
}

struct Attributes {
    std::size_t count = 0;
    /// All of them; false also where the text ends within one.
    bool well_formed = true;
};

Attributes Skip_Attributes(Markup_Reader& reader) {
    Attributes attributes;
    while (attributes.well_formed && reader.Skip_Blanks() && !reader.Read_Name().empty()) {
        reader.Skip_Blanks();
        attributes.well_formed = reader.Skip("=");
        reader.Skip_Blanks();
        attributes.well_formed = attributes.well_formed && reader.Skip_Quoted();
        attributes.count += attributes.well_formed ? 1 : 0;
    }
    return attributes;
}

/// The name of the root element, by its start tag or by the document type; empty when the text, as
/// far as it goes, is not the body of a well-formed document.
std::string_view Xml_Root_Name(std::string_view text, bool complete) {
    Markup_Reader reader(text);
    if (reader.Skip(Document_Type_Start)) {
        const std::string_view name = reader.Skip_Blanks() ? reader.Read_Name() : std::string_view();
        const std::string_view behind = reader.Rest();
        return reader.Skip_Blanks() || behind.starts_with('>') || behind.starts_with('[') ? name : std::string_view();
    }
    const std::string_view name = reader.Skip("<") ? reader.Read_Name() : std::string_view();
    if (name.empty()) {
        return {};
    }

    const Attributes attributes = Skip_Attributes(reader);
    bool well_formed = false;
    if (attributes.well_formed && reader.Skip("/>")) {
        well_formed = Trim_Beginning(reader.Rest(), Ascii_Blanks).empty();
    } else if (attributes.well_formed && reader.Skip(">")) {
        well_formed = !complete || Ends_With_End_Tag(reader.Rest(), name);
    } else {
        // A start tag longer than the head, such as one that declares many name spaces.
        well_formed = !complete && attributes.count > 0 && reader.Rest().find('>') == std::string_view::npos;
    }
    return well_formed ? name : std::string_view();
}

bool Is_Svg_Root(std::string_view name) {
    return name == "svg" || name.ends_with(":svg");
}

} // namespace

std::string_view Sniff_Markup(std::string_view text, bool complete) {
    text = Trim_Beginning(text, Ascii_Blanks);
    if (!text.starts_with('<')) {
        return {};
    }
    const bool begins_as_html = Begins_As_Html(text);
    if (begins_as_html && !text.starts_with(Comment_Start)) {
        return Html_Type;
    }
    const std::string_view root_name = Xml_Root_Name(Skip_Prolog(text), complete);
    if (Is_Svg_Root(root_name)) {
        return Svg_Type;
    }
    if (text.starts_with(Xml_Declaration) || (!root_name.empty() && !Is_Html_Element(root_name))) {
        return Xml_Type;
    }
    return begins_as_html ? Html_Type : std::string_view();
}

} // namespace QEL::Mime::Sniffing
