#include "mime/sniffing/sniffers.h"

#include "util/Ascii.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace QEL::Mime::Sniffing {

namespace {

using namespace FrontEnd::Util;

/// Reads the tokens of a JSON text as long as they obey the grammar.
class Json_Reader {
public:
    explicit Json_Reader(std::string_view text) : m_Rest(text) {}

    /// True when the text is an object or an array and its first tokens obey the grammar. A single
    /// string, number or literal is JSON too, but a text like that says more as plain text.
    bool Reads_As_Json(bool complete) {
        Skip_Blanks();
        if (!m_Rest.starts_with('{') && !m_Rest.starts_with('[')) {
            return false;
        }
        for (std::size_t tokens = 0; tokens < Enough_Tokens; ++tokens) {
            if (m_Expected == Expected::End) {
                return m_Rest.empty();
            }
            if (m_Rest.empty()) {
                return !complete;
            }
            const bool at_odds = !Read_Token();
            if (at_odds) {
                // A string that the end of the head cuts is no contradiction.
                return !complete && m_Rest.empty();
            }
            Skip_Blanks();
        }
        return true;
    }

private:
    /// So many tokens that no INI section, footnote or template reads like them by chance.
    static constexpr std::size_t Enough_Tokens = 16;

    enum class Expected { Value, Value_Or_Close, Name, Name_Or_Close, Colon, Comma_Or_Close, End };

    void Skip_Blanks() { m_Rest = Trim_Beginning(m_Rest, " \t\r\n"); }

    bool Read_Token() {
        const char first = m_Rest.front();
        switch (m_Expected) { // GCOVR_EXCL_BR_LINE: each value has its case
        case Expected::Value_Or_Close:
            return first == ']' ? Close() : Read_Value();
        case Expected::Value:
            return Read_Value();
        case Expected::Name_Or_Close:
            return first == '}' ? Close() : Read_String(Expected::Colon);
        case Expected::Name:
            return Read_String(Expected::Colon);
        case Expected::Colon:
            return Read_Character(':', Expected::Value);
        case Expected::Comma_Or_Close:
            if (first == (In_Object() ? '}' : ']')) {
                return Close();
            }
            return Read_Character(',', In_Object() ? Expected::Name : Expected::Value);
        // GCOVR_EXCL_START: nothing is read behind the end
        case Expected::End:
            break;
        }
        return false;
        // GCOVR_EXCL_STOP
    }

    bool Read_Value() {
        switch (m_Rest.front()) {
        case '{':
            return Open(true, Expected::Name_Or_Close);
        case '[':
            return Open(false, Expected::Value_Or_Close);
        case '"':
            return Read_String(After_Value());
        default:
            return Read_Scalar();
        }
    }

    bool Open(bool object, Expected next) {
        m_Is_Object[m_Depth++] = object;
        return Read_Character(m_Rest.front(), next);
    }

    bool Close() {
        --m_Depth;
        return Read_Character(m_Rest.front(), After_Value());
    }

    bool Read_Character(char expected, Expected next) {
        if (m_Rest.front() != expected) {
            return false;
        }
        m_Rest.remove_prefix(1);
        m_Expected = next;
        return true;
    }

    bool Read_String(Expected next) {
        if (m_Rest.front() != '"') {
            return false;
        }
        std::size_t end = 0;
        std::size_t backslashes = 0;
        do {
            end = m_Rest.find('"', end + 1);
            if (end == std::string_view::npos) {
                m_Rest = {};
                return false;
            }
            backslashes = end - 1 - m_Rest.find_last_not_of('\\', end - 1);
        } while (backslashes % 2 != 0);
        m_Rest.remove_prefix(end + 1);
        m_Expected = next;
        return true;
    }

    bool Read_Scalar() {
        const auto end = std::ranges::find_if_not(
            m_Rest, [](char c) { return Is_Ascii_Letter(c) || Is_Ascii_Digit(c) || c == '+' || c == '-' || c == '.'; });
        const std::string_view scalar = m_Rest.substr(0, static_cast<std::size_t>(end - m_Rest.begin()));
        m_Rest.remove_prefix(scalar.size());
        m_Expected = After_Value();
        const std::string_view digits = scalar.substr(scalar.starts_with('-') ? 1 : 0);
        return scalar == "true" || scalar == "false" || scalar == "null" ||
               (!digits.empty() && Is_Ascii_Digit(digits.front()) &&
                digits.find_first_not_of("0123456789+-.eE") == std::string_view::npos);
    }

    bool In_Object() const { return m_Is_Object[m_Depth - 1]; }
    Expected After_Value() const { return m_Depth == 0 ? Expected::End : Expected::Comma_Or_Close; }

    std::string_view m_Rest;
    Expected m_Expected = Expected::Value;
    std::array<bool, Enough_Tokens> m_Is_Object = {};
    std::size_t m_Depth = 0;
};

bool Reads_As_Json(std::string_view text, bool complete) {
    return Json_Reader(text).Reads_As_Json(complete);
}

bool Is_Ini_Comment(std::string_view line) {
    return line.starts_with(';') || line.starts_with('#');
}

/// "[name]", with nothing but a comment behind it.
bool Is_Ini_Section(std::string_view line) {
    const std::size_t end = line.find(']');
    if (!line.starts_with('[') || end == std::string_view::npos ||
        Trim_Beginning(line.substr(1, end - 1), Ascii_Blanks).empty()) {
        return false;
    }
    const std::string_view behind = Trim_Beginning(line.substr(end + 1), Ascii_Blanks);
    return behind.empty() || Is_Ini_Comment(behind);
}

/// "key=value", also without a value.
bool Is_Ini_Entry(std::string_view line) {
    const std::size_t equals_sign = line.find('=');
    return equals_sign != std::string_view::npos && equals_sign > 0;
}

/// A section comes first, but for comments, and an entry or another section next. Lines of entries
/// without any section are plain text: what they mean only their reader knows.
bool Reads_As_Ini(std::string_view text, bool) {
    if (text.find('[') == std::string_view::npos) {
        return false; // spares the walk through a text that is all comments
    }
    std::size_t sections = 0;
    while (!(text = Trim_Beginning(text, Ascii_Blanks)).empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size());
        if (Is_Ini_Comment(line)) {
            continue;
        }
        if (!Is_Ini_Section(line)) {
            return sections > 0 && Is_Ini_Entry(line);
        }
        if (++sections == 2) {
            return true;
        }
    }
    return false;
}

bool Reads_As_Rtf(std::string_view text, bool) {
    return text.starts_with("{\\rtf");
}

struct Text_Format {
    bool (*reads)(std::string_view text, bool complete);
    std::string_view mime_type;
};

constexpr auto Text_Formats = std::to_array<Text_Format>({
    {Reads_As_Rtf, "application/rtf"},
    {Reads_As_Json, "application/json"},
    {Reads_As_Ini, "text/x-ini"},
});

} // namespace

std::string_view Sniff_Structured_Text(std::string_view text, bool complete) {
    const auto format = std::ranges::find_if(
        Text_Formats, [=](const Text_Format& candidate) { return candidate.reads(text, complete); });
    return format != Text_Formats.end() ? format->mime_type : std::string_view();
}

} // namespace QEL::Mime::Sniffing
