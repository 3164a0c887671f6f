// Sniffing of any data: it stays within the data, looks at its head only, and results in types
// that the cache can make a harmless name of.

#include "fuzz/Require.h"
#include "mime/Magic.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

constexpr std::size_t Sniffed_Length = 1445;

const QEL::Mime::Magic& Loaded_Magic() {
    static const QEL::Mime::Magic magic = [] {
        QEL::Mime::Magic loaded;
        loaded.Read_From_Builtin_Resource();
        return loaded;
    }();
    return magic;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const char* const data = reinterpret_cast<const char*>(bytes);
    const std::string mime_type = Loaded_Magic().Get_Mime_Type_For_Data(data, size);
    REQUIRE(size > 0 || mime_type.empty());

    // What lies behind the head makes no difference.
    const std::string head(data, std::min(size, Sniffed_Length));
    REQUIRE(Loaded_Magic().Get_Mime_Type_For_Data(head.data(), head.size()) == mime_type);
    if (head.size() == Sniffed_Length) {
        const std::string longer = head + "x>\"]}";
        REQUIRE(Loaded_Magic().Get_Mime_Type_For_Data(longer.data(), longer.size()) == mime_type);
    }

    // Every type has an extension but that of cabinets, from which Windows installs. The only dangerous one is that of
    // programs.
    std::string extension;
    const bool has_extension = !mime_type.empty() && mime_type != "application/vnd.ms-cab-compressed";
    REQUIRE(Loaded_Magic().Get_Extension_From_Mime_Type(mime_type, extension) == has_extension);
    for (const char* const dangerous : {".com", ".bat", ".cmd", ".vbs", ".vbe", ".js", ".jse", ".wsf", ".wsh", ".msc",
                                        ".msi", ".scr", ".lnk", ".jar", ".cab"}) {
        REQUIRE(extension != dangerous);
    }
    REQUIRE(extension != ".exe" || head.starts_with("MZ"));
    return 0;
}
