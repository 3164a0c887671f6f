#pragma once

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// The platform's services, of which one call of one operation fails as it does in real life. The
/// share \\files\share is a directory of the test.
class Failing_OS_Wrapper : public FrontEnd::OSWRAPI::IOSWrapper {
public:
    using Find_Data = FrontEnd::OSWRAPI::Find_Data;
    using Find_Handle = FrontEnd::OSWRAPI::Find_Handle;

    enum class Operation {
        Stat_File,
        Get_Current_Time,
        File_Exists,
        Delete_File,
        Directory_Exists,
        FindFirstFile,
        FindNextFile,
        Get_Drive_Number,
        Get_Drive_Type,
        Copy_File,
        Read_Registry_Int,
        None, ///< the last one
    };

    static constexpr char Share[] = "\\\\files\\share\\";

    explicit Failing_OS_Wrapper(std::filesystem::path share) : m_Share(std::move(share)) {}

    /// Lets call number `call`, counted from now and from 1, of an operation fail.
    void Fail(Operation operation, std::size_t call) {
        m_Operation = operation;
        m_Calls_Left = call;
    }

    /// Whether the call took place; from now on none fails.
    bool Has_Failed() {
        m_Operation = Operation::None;
        return m_Calls_Left == 0;
    }

    int Stat_File(const std::string& path, std::int64_t& modification_time) override {
        constexpr int access_denied = 5;
        return Fails(Operation::Stat_File) ? access_denied : m_Real->Stat_File(On_Disk(path), modification_time);
    }
    std::uint64_t Get_Current_Time() override {
        return Fails(Operation::Get_Current_Time) ? 0 : m_Real->Get_Current_Time();
    }
    bool File_Exists(const std::string& path) override {
        return !Fails(Operation::File_Exists) && m_Real->File_Exists(On_Disk(path));
    }
    bool Delete_File(const std::string& path) override {
        return !Fails(Operation::Delete_File, path) && m_Real->Delete_File(path);
    }
    bool Directory_Exists(const std::string& path) override {
        return !Fails(Operation::Directory_Exists) && m_Real->Directory_Exists(path);
    }
    Find_Handle FindFirstFile(const char* pattern, Find_Data& found) override {
        return Fails(Operation::FindFirstFile) ? FrontEnd::OSWRAPI::Invalid_Find_Handle
                                               : m_Real->FindFirstFile(pattern, found);
    }
    int FindNextFile(Find_Handle search, Find_Data& found) override {
        return Fails(Operation::FindNextFile) ? 0 : m_Real->FindNextFile(search, found);
    }
    void FindClose(Find_Handle search) override { m_Real->FindClose(search); }
    int Get_Drive_Number(const char* path) override {
        return Fails(Operation::Get_Drive_Number) ? -1 : m_Real->Get_Drive_Number(path);
    }
    unsigned int Get_Drive_Type(const char* root) override {
        return Fails(Operation::Get_Drive_Type) ? 0 : m_Real->Get_Drive_Type(root);
    }
    int Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) override {
        // A source that is not there makes the platform set its last error.
        const std::string source =
            Fails(Operation::Copy_File) ? On_Disk(existing_path) + ".missing" : On_Disk(existing_path);
        return m_Real->Copy_File(source.c_str(), new_path, fail_if_exists);
    }
    std::uint32_t Read_Registry_Int(int root, const std::string& key, const std::string& value) override {
        return Fails(Operation::Read_Registry_Int) ? 0 : m_Real->Read_Registry_Int(root, key, value);
    }

protected:
    /// Learns of each call before it is made. @param path of a deletion
    virtual void Note(Operation, const std::string& /*path*/) {}

private:
    bool Fails(Operation operation, const std::string& path = {}) {
        Note(operation, path);
        return operation == m_Operation && m_Calls_Left > 0 && --m_Calls_Left == 0;
    }

    std::string On_Disk(const std::string& path) const {
        return path.starts_with(Share) ? (m_Share / path.substr(sizeof Share - 1)).string() : path;
    }

    const std::shared_ptr<IOSWrapper> m_Real = IOSWrapper::Create();
    const std::filesystem::path m_Share;
    Operation m_Operation = Operation::None;
    std::size_t m_Calls_Left = 0;
};

} // namespace QEL::Tests
