#pragma once

#include "filecache/oswrap/IOSWrapper.h"

#include <string>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::FileCache {

/// The operating system for a cache that must not change anything: reads go through, deletions and
/// copies are refused.
class Read_Only_OS_Wrapper : public OSWRAPI::IOSWrapper {
public:
    explicit Read_Only_OS_Wrapper(std::shared_ptr<OSWRAPI::IOSWrapper> system) : m_System(std::move(system)) {}

    /// While set, every file is said to exist: a metadata file loads with all that it lists.
    void Say_Every_File_Exists(bool say_so) { m_Every_File_Exists = say_so; }

    /// Which files were to be deleted since the last call.
    std::vector<std::string> Take_Refused_Deletions() { return std::exchange(m_Refused_Deletions, {}); }

    int Stat_File(const std::string& path, std::int64_t& time) override { return m_System->Stat_File(path, time); }
    std::uint64_t Get_Current_Time() override { return m_System->Get_Current_Time(); }
    bool File_Exists(const std::string& path) override { return m_Every_File_Exists || m_System->File_Exists(path); }
    bool Delete_File(const std::string& path) override {
        m_Refused_Deletions.push_back(path);
        return false;
    }
    bool Directory_Exists(const std::string& path) override { return m_System->Directory_Exists(path); }
    OSWRAPI::Find_Handle FindFirstFile(const char* pattern, OSWRAPI::Find_Data& found) override {
        return m_System->FindFirstFile(pattern, found);
    }
    int FindNextFile(OSWRAPI::Find_Handle search, OSWRAPI::Find_Data& found) override {
        return m_System->FindNextFile(search, found);
    }
    void FindClose(OSWRAPI::Find_Handle search) override { m_System->FindClose(search); }
    int Get_Drive_Number(const char* path) override { return m_System->Get_Drive_Number(path); }
    unsigned int Get_Drive_Type(const char* root) override { return m_System->Get_Drive_Type(root); }
    int Copy_File(const char*, const char*, int) override { return 0; }
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override {
        return m_System->Read_Registry_Int(root, key, value);
    }

private:
    const std::shared_ptr<OSWRAPI::IOSWrapper> m_System;
    bool m_Every_File_Exists = false;
    std::vector<std::string> m_Refused_Deletions;
};

} // namespace QEL::FrontEnd::FileCache
