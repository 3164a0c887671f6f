#include "tools/qelfilecache/requests/Progress_Bar.h"

#include "tools/qelfilecache/host.h"
#include "util/Visible_Text.h"

#include <cstdio>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr std::size_t bar_width = 24;

void Write(const std::string& text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
    static_cast<void>(std::fflush(stderr));
}

} // namespace

Progress_Bar::Progress_Bar(std::size_t total) : m_Total(total), m_Columns(Host::Terminal_Width(stderr).value_or(0)) {}

Progress_Bar::~Progress_Bar() {
    if (m_Columns > 0) {
        Write("\r" + std::string(m_Columns - 1, ' ') + "\r");
    }
}

void Progress_Bar::Show(std::size_t done, const std::string& current) {
    if (m_Columns == 0) {
        return;
    }
    const std::size_t filled = m_Total == 0 ? bar_width : done * bar_width / m_Total;
    const std::string line = "[" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "] " +
                             std::to_string(done) + "/" + std::to_string(m_Total) + " ";
    // The last column stays free: some terminals go on to the next line behind it.
    const std::size_t usable = m_Columns - 1;
    const std::size_t rest = usable > line.size() ? usable - line.size() : 0;
    Write("\r" + Util::Fit(line + Util::Shorten(Util::Printable(current), rest), usable));
}

} // namespace QEL::FrontEnd::Tool
