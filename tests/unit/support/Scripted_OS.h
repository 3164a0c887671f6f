#pragma once

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Standard_Library.h"

/// Operating-system services that behave as a test says. Without a script an operation works on the real disk (files,
/// directories, copies), finds nothing, or answers with the fixed value of its member. Every call is noted with its
/// arguments, in order.
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
    unsigned int fixed_disk_type = 3;
    std::vector<std::string> calls;

    /// How often an operation was called, whatever its arguments.
    std::size_t Calls_Of(const std::string& operation) const {
        return static_cast<std::size_t>(std::count_if(
            calls.begin(), calls.end(), [&](const std::string& call) { return call.starts_with(operation + "("); }));
    }

    int Stat_File(const std::string& path, std::int64_t& modification_time) override {
        Note("Stat_File", path + ", " + std::to_string(modification_time));
        if (on_stat_file) {
            return on_stat_file(path, modification_time);
        }
        std::error_code error;
        const auto time = std::filesystem::last_write_time(path, error);
        modification_time = error ? modification_time : static_cast<std::int64_t>(time.time_since_epoch().count());
        return error.value();
    }
    std::uint64_t Get_Current_Time() override { return Note("Get_Current_Time", ""), current_time; }
    bool File_Exists(const std::string& path) override {
        Note("File_Exists", path);
        return on_file_exists ? on_file_exists(path) : std::filesystem::is_regular_file(path, m_Ignored);
    }
    bool Delete_File(const std::string& path) override {
        Note("Delete_File", path);
        return on_delete_file ? on_delete_file(path) : std::filesystem::remove(path, m_Ignored);
    }
    bool Directory_Exists(const std::string& path) override {
        Note("Directory_Exists", path);
        return on_directory_exists ? on_directory_exists(path) : std::filesystem::is_directory(path, m_Ignored);
    }
    Find_Handle FindFirstFile(const char* pattern, Find_Data& found) override {
        Note("FindFirstFile", pattern);
        m_Found = on_find ? on_find(pattern) : std::vector<std::string>();
        m_Next_Found = 0;
        return Next(found) ? Search_Handle() : QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle;
    }
    int FindNextFile(Find_Handle search, Find_Data& found) override {
        Note("FindNextFile", search == Search_Handle() ? "search" : "unknown handle");
        return Next(found) ? 1 : 0;
    }
    void FindClose(Find_Handle search) override {
        Note("FindClose", search == Search_Handle() ? "search" : "unknown handle");
    }
    int Get_Drive_Number(const char* path) override {
        Note("Get_Drive_Number", path);
        if (on_get_drive_number) {
            return on_get_drive_number(path);
        }
        const int letter = std::toupper(static_cast<unsigned char>(path[0]));
        return letter >= 'A' && letter <= 'Z' && path[1] == ':' ? letter - 'A' : -1;
    }
    unsigned int Get_Drive_Type(const char* root) override {
        Note("Get_Drive_Type", root);
        return on_get_drive_type ? on_get_drive_type(root) : fixed_disk_type;
    }
    int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) override {
        Note("Copy_File", std::string(existing_path) + ", " + new_path + ", " + std::to_string(fail_if_exists));
        if (on_copy_file) {
            return on_copy_file(existing_path, new_path, fail_if_exists);
        }
        using std::filesystem::copy_options;
        const auto mode = fail_if_exists != 0 ? copy_options::none : copy_options::overwrite_existing;
        return std::filesystem::copy_file(existing_path, new_path, mode, m_Ignored) ? 1 : 0;
    }
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override {
        Note("Read_Registry_Int", std::to_string(root) + ", " + key + ", " + value);
        return on_read_registry_int ? on_read_registry_int() : expiry_minutes;
    }

    /// The handle that searches of this object bear.
    Find_Handle Search_Handle() { return &m_Found; }

private:
    void Note(const std::string& operation, const std::string& arguments) {
        calls.push_back(operation + "(" + arguments + ")");
    }
    bool Next(Find_Data& found) {
        const bool is_found = m_Next_Found < m_Found.size();
        found.file_name = is_found ? m_Found[m_Next_Found++] : found.file_name;
        return is_found;
    }
    std::error_code m_Ignored;
    std::vector<std::string> m_Found;
    std::size_t m_Next_Found = 0;
};
