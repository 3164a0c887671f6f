#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace QEL::FrontEnd::Tool {

/// A text file that may not be there yet, grow, be cut, and be replaced.
class Growing_File {
public:
    explicit Growing_File(std::string name);

    const std::string& Name() const { return m_Name; }

    /// What has been added to it since the last time, whole lines.
    /// @param begins_again another file has taken its place, or it was cut: the lines are its first ones.
    std::string Read(bool& begins_again);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void Open();
    std::string Read_On();

    const std::string m_Name;
    const std::filesystem::path m_Path;
    std::unique_ptr<std::FILE, Closer> m_File;
    std::uintmax_t m_Read = 0;
    std::string m_Rest; ///< of a line that is not complete yet
    std::string m_Problem;
    bool m_Is_Replaced = false;
};

} // namespace QEL::FrontEnd::Tool
