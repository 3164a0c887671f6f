#pragma once

#include "filecache/oswrap/IOSWrapper.h"

namespace QEL::FrontEnd::OSWRAPI {

/// The services of the system that the library runs on; on Linux shares as well. Has no state: threads may share it,
/// apart from one search handle. What both platforms do alike stands beside this header, the rest in each one's
/// files/OS_Wrapper.cpp.
class OS_Wrapper : public IOSWrapper {
public:
    int Stat_File(const std::string& path, std::int64_t& modification_time) override;
    std::uint64_t Get_Current_Time() override;
    bool File_Exists(const std::string& path) override;
    bool Delete_File(const std::string& path) override;
    bool Directory_Exists(const std::string& path) override;
    Find_Handle FindFirstFile(const char* pattern, Find_Data& found) override;
    int FindNextFile(Find_Handle search, Find_Data& found) override;
    void FindClose(Find_Handle search) override;
    int Get_Drive_Number(const char* path) override;
    unsigned int Get_Drive_Type(const char* root) override;
    int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) override;
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override;
};

} // namespace QEL::FrontEnd::OSWRAPI
