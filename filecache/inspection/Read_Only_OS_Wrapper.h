#pragma once

#include "filecache/oswrap/IOSWrapper.h"

#include <string>
#include <vector>

namespace QEL::FrontEnd::FileCache {

/// The operating system for a cache that must not change anything: reads go through, deletions and
/// copies are refused.
class Read_Only_OS_Wrapper : public OSWRAPI::IOSWrapper {
public:
    explicit Read_Only_OS_Wrapper(std::shared_ptr<OSWRAPI::IOSWrapper> system);

    /// While set, every file is said to exist: a metadata file loads with all that it lists.
    void Say_Every_File_Exists(bool say_so) { m_Every_File_Exists = say_so; }

    /// Which files were to be deleted since the last call.
    std::vector<std::string> Take_Refused_Deletions();

    int Stat_File(const std::string& path, std::int64_t& modification_time) override;
    std::uint64_t Get_Current_Time() override;
    bool File_Exists(const std::string& path) override;
    bool Delete_File(const std::string& path) override;
    bool Directory_Exists(const std::string& path) override;
    OSWRAPI::Find_Handle FindFirstFile(const char* pattern, OSWRAPI::Find_Data& found) override;
    int FindNextFile(OSWRAPI::Find_Handle search, OSWRAPI::Find_Data& found) override;
    void FindClose(OSWRAPI::Find_Handle search) override;
    int Get_Drive_Number(const char* path) override;
    unsigned int Get_Drive_Type(const char* root) override;
    int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) override;
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override;

private:
    const std::shared_ptr<OSWRAPI::IOSWrapper> m_System;
    bool m_Every_File_Exists = false;
    std::vector<std::string> m_Refused_Deletions;
};

} // namespace QEL::FrontEnd::FileCache
