// libmagic's opinion on the sample files. It reads more of a file and tells kinds apart that make no
// difference to the cache, so the two need not agree; but where they do not, this file says why.

#include "mime/sniffing/sniff.h"
#include "tests/unit/mime/support/Sample_Files.h"

#include <gtest/gtest.h>
#include <magic.h>

namespace {

using QEL::Mime::Sniffing::Sniff_Mime_Type;

/// One type by the name that the standard uses and by libmagic's.
struct Two_Names {
    std::string_view ours;
    std::string_view theirs;
};

constexpr auto Same_Types = std::to_array<Two_Names>({
    {"", "application/octet-stream"},
    {"application/ogg", "audio/ogg"}, // the container by its contents
    {"application/rtf", "text/rtf"},
    {"application/x-gzip", "application/gzip"},
    {"application/x-msdownload", "application/vnd.microsoft.portable-executable"},
    {"application/x-msdownload", "application/x-dosexec"},
    {"application/x-rar-compressed", "application/x-rar"},
    {"audio/aiff", "audio/x-aiff"},
    {"audio/wave", "audio/x-wav"},
    {"image/x-icon", "image/vnd.microsoft.icon"},
    {"text/x-ini", "application/x-wine-extension-ini"},
    {"video/avi", "video/x-msvideo"},
});

struct Explanation {
    std::string_view file;
    std::string_view reason;
};

constexpr std::string_view Xml_By_Declaration = "libmagic knows XML by a declaration that comes first";
constexpr std::string_view Ini_By_Known_Section = "libmagic knows INI by the names of some sections, in ASCII";
constexpr std::string_view Json_In_Ascii = "libmagic does not skip the mark";
constexpr std::string_view Runs_When_Opened = "not typed, so that the cached copy cannot be run by opening it";
constexpr std::string_view Text_That_Stays_Text = "a text to look at: the cached copy must not run when it is opened";

constexpr auto Explanations = std::to_array<Explanation>({
    {"xml after blanks", "the standard skips blanks before the declaration"},
    {"xml in UTF-16LE without mark", "libmagic knows UTF-16 by its mark"},
    {"xml in UTF-16BE without mark", "libmagic knows UTF-16 by its mark"},
    {"xml without declaration", Xml_By_Declaration},
    {"xml without declaration with UTF-8 mark", Xml_By_Declaration},
    {"xml without declaration in UTF-16LE", Xml_By_Declaration},
    {"xml without declaration in UTF-16BE", Xml_By_Declaration},
    {"xml that begins with a comment", Xml_By_Declaration},
    {"xml with a document type", Xml_By_Declaration},
    {"xml with name spaces", Xml_By_Declaration},
    {"long xml without declaration", Xml_By_Declaration},
    {"ini with UTF-8 mark", Ini_By_Known_Section},
    {"ini in UTF-16LE", Ini_By_Known_Section},
    {"ini in UTF-16BE", Ini_By_Known_Section},
    {"ini in Windows-1252", Ini_By_Known_Section},
    {"long ini", Ini_By_Known_Section},
    {"json with UTF-8 mark", Json_In_Ascii},
    {"json in UTF-16LE", Json_In_Ascii},
    {"json in UTF-16BE", Json_In_Ascii},
    {"batch file", Text_That_Stays_Text},
    {"registry file", Text_That_Stays_Text},
    {"shell script", Text_That_Stays_Text},
    {"docx with padding", "what tells the family lies behind the first 1445 bytes"},
    {"zip of a folder that is named word", "libmagic takes every archive that begins with word/ for a document"},
    {"cabinet", "libmagic knows the format and has no MIME type for it"},
    {"elf program", "no program for Windows; unknown data serves as well"},
    {"shortcut", Runs_When_Opened},
    {"compiled help", Runs_When_Opened},
    {"compound file", "installer packages look the same, and they run when they are opened"},
    {"cursor", "the standard has one type for icons and cursors"},
    {"matroska", "the standard knows WebM only"},
});

class Magic_Cookie {
public:
    Magic_Cookie() : m_Cookie(magic_open(MAGIC_MIME_TYPE)) {
        if (!m_Cookie || magic_load(m_Cookie.get(), nullptr) != 0) {
            throw std::runtime_error("libmagic has no database");
        }
    }

    std::string Type_Of(const std::string& contents) const {
        const char* const mime_type = magic_buffer(m_Cookie.get(), contents.data(), contents.size());
        return mime_type != nullptr ? mime_type : magic_error(m_Cookie.get());
    }

private:
    struct Close {
        void operator()(magic_t cookie) const { magic_close(cookie); }
    };
    std::unique_ptr<std::remove_pointer_t<magic_t>, Close> m_Cookie;
};

bool Agree(std::string_view ours, std::string_view theirs) {
    return ours == theirs || std::ranges::any_of(Same_Types, [=](const Two_Names& names) {
               return names.ours == ours && names.theirs == theirs;
           });
}

TEST(Second_Opinion, AgreesOrIsExplained) {
    const Magic_Cookie libmagic;
    std::size_t agreed = 0;
    for (const Sample_File& file : Sample_Files()) {
        const std::string ours(Sniff_Mime_Type(file.contents));
        const std::string theirs = libmagic.Type_Of(file.contents);
        const bool agree = Agree(ours, theirs);
        agreed += agree ? 1 : 0;
        EXPECT_TRUE(agree || std::ranges::find(Explanations, file.name, &Explanation::file) != Explanations.end())
            << file.name << ": \"" << ours << "\" here, \"" << theirs << "\" by libmagic";
    }
    EXPECT_GT(agreed, Sample_Files().size() / 2);
}

TEST(Second_Opinion, ExplainsFilesThatExist) {
    for (const Explanation& explanation : Explanations) {
        EXPECT_TRUE(std::ranges::any_of(Sample_Files(), [&](const Sample_File& file) {
            return file.name == explanation.file;
        })) << explanation.file;
    }
}

} // namespace
