#include "tools/qelfilecache/output.h"

#include "util/Visible_Text.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace QEL::FrontEnd::Tool {

void Write_Result(const std::string& line) {
    const std::string text = line + '\n';
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        if (errno == EPIPE) {
            throw Reader_Gone("nobody reads the results");
        }
        throw Output_Error("cannot write the results: " + std::generic_category().message(errno));
    }
}

void Write_Message(const std::string& message) {
    const std::string text = "qelfilecache: " + message + '\n';
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
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

} // namespace QEL::FrontEnd::Tool
