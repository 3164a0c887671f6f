#include "tests/unit/support/Scripted_OS.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

/// "?" is one character, "*" any run.
bool Matches(std::string_view name, std::string_view pattern) {
    if (pattern.empty() || name.empty()) {
        return name.empty() && pattern.find_first_not_of('*') == std::string_view::npos;
    }
    if (pattern.front() == '*') {
        return Matches(name, pattern.substr(1)) || Matches(name.substr(1), pattern);
    }
    return (pattern.front() == '?' || pattern.front() == name.front()) && Matches(name.substr(1), pattern.substr(1));
}

std::vector<std::string> Files_On_Disk(const std::string& pattern) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(fs::path(pattern).parent_path(), ignored)) {
        const std::string name = entry.path().filename().string();
        if (Matches(name, fs::path(pattern).filename().string())) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

void Scripted_OS::Note(const std::string& operation, const std::string& arguments) {
    calls.push_back(operation + "(" + arguments + ")");
}

std::size_t Scripted_OS::Calls_Of(const std::string& operation) const {
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const std::string& call) { return call.starts_with(operation + "("); }));
}

int Scripted_OS::Stat_File(const std::string& path, std::int64_t& modification_time) {
    Note("Stat_File", path + ", " + std::to_string(modification_time));
    if (on_stat_file) {
        return on_stat_file(path, modification_time);
    }
    std::error_code error;
    const auto time = fs::last_write_time(path, error);
    if (error) {
        return error.value();
    }
    modification_time = static_cast<std::int64_t>(time.time_since_epoch().count());
    return 0;
}

std::uint64_t Scripted_OS::Get_Current_Time() {
    Note("Get_Current_Time", "");
    return current_time;
}

bool Scripted_OS::File_Exists(const std::string& path) {
    Note("File_Exists", path);
    if (on_file_exists) {
        return on_file_exists(path);
    }
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

bool Scripted_OS::Delete_File(const std::string& path) {
    Note("Delete_File", path);
    if (on_delete_file) {
        return on_delete_file(path);
    }
    std::error_code ignored;
    return fs::remove(path, ignored);
}

bool Scripted_OS::Directory_Exists(const std::string& path) {
    Note("Directory_Exists", path);
    if (on_directory_exists) {
        return on_directory_exists(path);
    }
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

Scripted_OS::Find_Handle Scripted_OS::FindFirstFile(const char* pattern, Find_Data& found) {
    Note("FindFirstFile", pattern);
    m_Found = on_find ? on_find(pattern) : Files_On_Disk(pattern);
    if (m_Found.empty()) {
        return QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle;
    }
    found.file_name = m_Found.front();
    m_Next_Found = 1;
    return Search_Handle();
}

int Scripted_OS::FindNextFile(Find_Handle search, Find_Data& found) {
    Note("FindNextFile", search == Search_Handle() ? "search" : "unknown handle");
    if (m_Next_Found >= m_Found.size()) {
        return 0;
    }
    found.file_name = m_Found[m_Next_Found++];
    return 1;
}

void Scripted_OS::FindClose(Find_Handle search) {
    Note("FindClose", search == Search_Handle() ? "search" : "unknown handle");
}

int Scripted_OS::Get_Drive_Number(const char* path) {
    Note("Get_Drive_Number", path);
    if (on_get_drive_number) {
        return on_get_drive_number(path);
    }
    const std::string text = path;
    if (text.size() < 2 || text[1] != ':' || std::isalpha(static_cast<unsigned char>(text[0])) == 0) {
        return -1;
    }
    return std::toupper(static_cast<unsigned char>(text[0])) - 'A';
}

unsigned int Scripted_OS::Get_Drive_Type(const char* root) {
    Note("Get_Drive_Type", root);
    return on_get_drive_type ? on_get_drive_type(root) : static_cast<unsigned int>(fixed_disk_type);
}

int Scripted_OS::Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) {
    Note("Copy_File", std::string(existing_path) + ", " + new_path + ", " + std::to_string(fail_if_exists));
    if (on_copy_file) {
        return on_copy_file(existing_path, new_path, fail_if_exists);
    }
    std::error_code error;
    const auto mode = fail_if_exists != 0 ? fs::copy_options::none : fs::copy_options::overwrite_existing;
    return fs::copy_file(existing_path, new_path, mode, error) ? 1 : 0;
}

std::uint32_t Scripted_OS::Read_Registry_Int(int root, const std::string& key, const std::string& value) {
    Note("Read_Registry_Int", std::to_string(root) + ", " + key + ", " + value);
    return on_read_registry_int ? on_read_registry_int() : expiry_minutes;
}
