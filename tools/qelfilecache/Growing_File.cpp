#include "tools/qelfilecache/Growing_File.h"

#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

namespace QEL::FrontEnd::Tool {

Growing_File::Growing_File(std::string name) : m_Name(std::move(name)), m_Path(Host::To_Path(m_Name)) {}

std::string Growing_File::Read(bool& begins_again) {
    std::error_code missing;
    begins_again = m_File && m_Is_Replaced;
    if (begins_again) {
        m_File.reset();
    }
    if (!m_File) {
        Open();
    }
    std::string lines = Read_On();
    const auto size = std::filesystem::file_size(m_Path, missing);
    m_Is_Replaced = m_File && !missing && (size < m_Read || !Host::Is_Still_At(m_File.get(), m_Path));
    return m_Is_Replaced ? lines + Read_On() : lines; // with what was written between the two
}

void Growing_File::Open() {
    errno = 0;
    m_File.reset(Host::Open_Shared(m_Path));
    m_Read = 0;
    m_Rest.clear();
    const std::string problem = m_File ? "" : std::generic_category().message(errno);
    if (problem != std::exchange(m_Problem, problem) && !problem.empty()) {
        Write_Message("note: " + Quoted(m_Name) + " cannot be read yet: " + problem + "; waiting for it");
    }
}

std::string Growing_File::Read_On() {
    std::string text = std::exchange(m_Rest, {});
    std::array<char, 65536> buffer;
    std::size_t size = 0;
    while (m_File && (size = std::fread(buffer.data(), 1, buffer.size(), m_File.get())) > 0) {
        text.append(buffer.data(), size);
        m_Read += size;
    }
    if (m_File) {
        std::fseek(m_File.get(), 0, SEEK_CUR); // the end is forgotten
    }
    m_Rest = text.substr(text.rfind('\n') + 1);
    text.erase(text.size() - m_Rest.size());
    return text;
}

} // namespace QEL::FrontEnd::Tool
