#include "tools/qelfilecache/terminal.h"

#include "tools/qelfilecache/host.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace QEL::FrontEnd::Tool::Terminal {

std::optional<std::size_t> Width() {
    if (const char* const columns = std::getenv("COLUMNS")) {
        const std::string_view text = columns;
        std::size_t width = 0;
        if (std::from_chars(text.data(), text.data() + text.size(), width).ec == std::errc() && width > 0) {
            return width;
        }
    }
    return Host::Terminal_Width(stdout);
}

bool Colours(std::FILE* stream) {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    if ((refused != nullptr && *refused != '\0') || (terminal != nullptr && std::string_view(terminal) == "dumb")) {
        return false;
    }
    return Host::Prepare_Colours(stream);
}

} // namespace QEL::FrontEnd::Tool::Terminal
