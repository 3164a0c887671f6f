#pragma once

#include "filecache/oswrap/IOSWrapper.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Operating-system services that behaves as a test says. Without a script an operation works
/// on the real disk (files, directories, searches, copies) or answers with the fixed value of its
/// member. Every call is noted with its arguments, in order.
class Scripted_OS : public QEL::FrontEnd::OSWRAPI::IOSWrapper {
public:
    using Find_Data = QEL::FrontEnd::OSWRAPI::Find_Data;
    using Find_Handle = QEL::FrontEnd::OSWRAPI::Find_Handle;

    // Scripts; empty: the behaviour without a script.
    std::function<int(const std::string&, std::int64_t&)> on_stat_file;
    std::function<bool(const std::string&)> on_file_exists;
    std::function<bool(const std::string&)> on_delete_file;
    std::function<bool(const std::string&)> on_directory_exists;
    std::function<int(const std::string&, const std::string&, int)> on_copy_file;
    std::function<int(const std::string&)> on_get_drive_number;
    std::function<unsigned int(const std::string&)> on_get_drive_type;
    std::function<std::uint32_t()> on_read_registry_int;
    /// The names a search finds, in this order; none: the search fails.
    std::function<std::vector<std::string>(const std::string&)> on_find;

    std::uint64_t current_time = 133000000000000000;
    std::uint32_t expiry_minutes = 0;
    int fixed_disk_type = 3;

    std::vector<std::string> calls;

    /// How often an operation was called, whatever its arguments.
    std::size_t Calls_Of(const std::string& operation) const;

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

    /// The handle that searches of this object bear.
    Find_Handle Search_Handle() { return &m_Found; }

private:
    void Note(const std::string& operation, const std::string& arguments);

    std::vector<std::string> m_Found;
    std::size_t m_Next_Found = 0;
};
