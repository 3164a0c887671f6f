#include "filecache/inspection/Read_Only_OS_Wrapper.h"

#include <utility>

namespace QEL::FrontEnd::FileCache {

Read_Only_OS_Wrapper::Read_Only_OS_Wrapper(std::shared_ptr<OSWRAPI::IOSWrapper> system) : m_System(std::move(system)) {}

std::vector<std::string> Read_Only_OS_Wrapper::Take_Refused_Deletions() {
    return std::exchange(m_Refused_Deletions, {});
}

int Read_Only_OS_Wrapper::Stat_File(const std::string& path, std::int64_t& modification_time) {
    return m_System->Stat_File(path, modification_time);
}

std::uint64_t Read_Only_OS_Wrapper::Get_Current_Time() {
    return m_System->Get_Current_Time();
}

bool Read_Only_OS_Wrapper::File_Exists(const std::string& path) {
    return m_Every_File_Exists || m_System->File_Exists(path);
}

bool Read_Only_OS_Wrapper::Delete_File(const std::string& path) {
    m_Refused_Deletions.push_back(path);
    return false;
}

bool Read_Only_OS_Wrapper::Directory_Exists(const std::string& path) {
    return m_System->Directory_Exists(path);
}

OSWRAPI::Find_Handle Read_Only_OS_Wrapper::FindFirstFile(const char* pattern, OSWRAPI::Find_Data& found) {
    return m_System->FindFirstFile(pattern, found);
}

int Read_Only_OS_Wrapper::FindNextFile(OSWRAPI::Find_Handle search, OSWRAPI::Find_Data& found) {
    return m_System->FindNextFile(search, found);
}

void Read_Only_OS_Wrapper::FindClose(OSWRAPI::Find_Handle search) {
    m_System->FindClose(search);
}

int Read_Only_OS_Wrapper::Get_Drive_Number(const char* path) {
    return m_System->Get_Drive_Number(path);
}

unsigned int Read_Only_OS_Wrapper::Get_Drive_Type(const char* root) {
    return m_System->Get_Drive_Type(root);
}

int Read_Only_OS_Wrapper::Copy_File(const char*, const char*, int) {
    return 0;
}

std::uint32_t Read_Only_OS_Wrapper::Read_Registry_Int(int root, const std::string& key, const std::string& value) {
    return m_System->Read_Registry_Int(root, key, value);
}

} // namespace QEL::FrontEnd::FileCache
