#pragma once

#include <cstddef>
#include <string>

namespace QEL::FrontEnd::Tool {

/// One line on standard error that shows how far a list of requests is; nothing at all when that is
/// no terminal. Gone with the object, so that messages begin on a clean line.
class Progress_Bar {
public:
    explicit Progress_Bar(std::size_t total);
    Progress_Bar(const Progress_Bar&) = delete;
    Progress_Bar& operator=(const Progress_Bar&) = delete;
    ~Progress_Bar();

    /// `done` requests are served, and `current` is under way.
    void Show(std::size_t done, const std::string& current);

private:
    const std::size_t m_Total;
    std::size_t m_Columns; ///< 0: no terminal
};

} // namespace QEL::FrontEnd::Tool
