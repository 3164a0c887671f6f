// Extensions of any Content-Type value: plain extensions only, whatever the letter case and whatever
// that says nothing stands around the type.

#include "fuzz/Require.h"
#include "mime/Magic.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

std::string Extension_For(const std::string& content_type) {
    static const QEL::Mime::Magic magic = [] {
        QEL::Mime::Magic loaded;
        loaded.Read_From_Builtin_Resource();
        return loaded;
    }();
    std::string extension = "left over";
    REQUIRE(magic.Get_Extension_From_Mime_Type(content_type, extension) == !extension.empty());
    return extension;
}

bool Is_Extension_Character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

char Upper_Case(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string content_type(reinterpret_cast<const char*>(bytes), size);
    const std::string extension = Extension_For(content_type);
    if (!extension.empty()) {
        REQUIRE(extension.size() > 1 && extension.front() == '.');
        REQUIRE(std::all_of(extension.begin() + 1, extension.end(), Is_Extension_Character));
    }

    std::string upper_case = content_type;
    std::transform(upper_case.begin(), upper_case.end(), upper_case.begin(), Upper_Case);
    REQUIRE(Extension_For(upper_case) == extension);

    REQUIRE(Extension_For(" \t" + content_type) == extension);
    REQUIRE(Extension_For(content_type + " \r\n") == extension);
    REQUIRE(Extension_For(content_type + "; charset=utf-8") == extension);
    REQUIRE(Extension_For(", " + content_type) == extension);
    REQUIRE(Extension_For(content_type + ", */*") == extension);
    REQUIRE(Extension_For(content_type + ", no type") == extension);
    return 0;
}
