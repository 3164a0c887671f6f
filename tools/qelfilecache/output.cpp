#include "tools/qelfilecache/output.h"

#include "tools/qelfilecache/host.h"
#include "util/Visible_Text.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace QEL::FrontEnd::Tool {

void Write_Result(const std::string& line) {
    const std::string text = line + '\n';
    errno = 0;
    if (!Host::Write(stdout, text) || std::fflush(stdout) != 0) {
        if (errno == EPIPE) {
            throw Reader_Gone("nobody reads the results");
        }
        throw Output_Error("cannot write the results: " + std::generic_category().message(errno));
    }
}

void Write_Message(const std::string& message) {
    static_cast<void>(Host::Write(stderr, "qelfilecache: " + message + '\n'));
    static_cast<void>(std::fflush(stderr)); // not every system does so at the end of a line
}

std::string Quoted(const std::string& text) {
    return "'" + Util::Printable(text) + "'";
}

std::string Indented_Lines(const std::vector<std::string>& texts) {
    constexpr std::size_t most = 20;
    // "1 more" would take the place of the one that it leaves out.
    const std::size_t shown = texts.size() > most + 1 ? most : texts.size();
    std::string lines;
    for (std::size_t place = 0; place < shown; ++place) {
        lines += "\n  " + Util::Printable(texts[place]);
    }
    return shown == texts.size() ? lines : lines + "\n  and " + std::to_string(texts.size() - shown) + " more";
}

std::optional<std::size_t> Terminal::Width() {
    if (const char* const columns = std::getenv("COLUMNS")) {
        const std::string_view text = columns;
        std::size_t width = 0;
        if (std::from_chars(text.data(), text.data() + text.size(), width).ec == std::errc() && width > 0) {
            return width;
        }
    }
    return Host::Terminal_Width(stdout);
}

bool Terminal::Colours(std::FILE* stream) {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    if ((refused != nullptr && *refused != '\0') || (terminal != nullptr && std::string_view(terminal) == "dumb")) {
        return false;
    }
    return Host::Prepare_Colours(stream);
}

} // namespace QEL::FrontEnd::Tool
