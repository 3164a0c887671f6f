// What the system's calls answer only now and then: files that a scanner holds, links, names that do not fit, code
// pages of two bytes. The calls below are the test's own; without a script they are the system's. Files as only Windows
// has them: in use, on a share under a UNC path, with 8.3 names; and drives.

#include "filecache/oswrap/IOSWrapper.h"
#include "platform/common/Share_Access.h"
#include "tests/support/Overridden_Root.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"
#include "tests/windows/Scripted_Call.h"
#include "tools/qelfilecache/host.h"
#include "util/Directory_Mark.h"
#include "util/File_Extension.h"
#include "util/Last_Error.h"
#include "util/List_File.h"
#include "util/Non_Copyable.h"
#include "util/Path_Queries.h"
#include "util/System_Mutex.h"
#include "util/Trace_Directory.h"

#include <gmock/gmock.h>

SCRIPTED(CreateFileA)
SCRIPTED(CreateMutexA)
SCRIPTED(CreateMutexExA)
SCRIPTED(DeleteFileA)
SCRIPTED(ExpandEnvironmentStringsA)
SCRIPTED(FindFirstFileW)
SCRIPTED(FindNextFileA)
SCRIPTED(FlushFileBuffers)
SCRIPTED(GetConsoleMode)
SCRIPTED(GetCurrentProcessId)
SCRIPTED(GetFileAttributesA)
SCRIPTED(GetFileAttributesExA)
SCRIPTED(GetTickCount64)
SCRIPTED(IsDBCSLeadByte)
SCRIPTED(MoveFileExA)
SCRIPTED(MultiByteToWideChar)
SCRIPTED(QueryFullProcessImageNameW)
SCRIPTED(Sleep)
SCRIPTED(WideCharToMultiByte)
SCRIPTED(WriteConsoleW)

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::OSWRAPI;
using namespace QEL::FrontEnd::Util::FileSystem;
using QEL::FrontEnd::Util::Get_Last_Error;
using namespace testing;

class System_Calls : public testing::Test {
protected:
    System_Calls() {
        // A minute later than in the test before.
        s_now += 60'000;
        s_GetTickCount64.script = [] { return s_now; };
        s_Sleep.script = [this](DWORD milliseconds) {
            s_now += milliseconds;
            waited += milliseconds;
        };
    }
    ~System_Calls() override { End_Scripts(); }

    /// Opening, deleting and renaming fail so often.
    void Hold(int times, DWORD error) {
        const auto is_held = [left = std::make_shared<int>(times), error] {
            SetLastError(error);
            return (*left)-- > 0;
        };
        s_CreateFileA.script = [is_held](const char* path, auto... rest) {
            return is_held() ? INVALID_HANDLE_VALUE : s_CreateFileA.Real(path, rest...);
        };
        s_DeleteFileA.script = [is_held](const char* path) { return is_held() ? FALSE : s_DeleteFileA.Real(path); };
        s_MoveFileExA.script = [is_held](const char* from, const char* to, DWORD flags) {
            return is_held() ? FALSE : s_MoveFileExA.Real(from, to, flags);
        };
    }

    static inline ULONGLONG s_now = 0;
    DWORD waited = 0;
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();
};

TEST_F(System_Calls, TellLinksFromOtherReparsePoints) {
    const std::string file = scratch.Write("file");
    constexpr DWORD tag_of_a_file_in_a_cloud = 0x9000001A;
    const std::tuple<DWORD, DWORD, bool> cases[] = {
        {FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_SYMLINK, true},
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_MOUNT_POINT, true},
        {FILE_ATTRIBUTE_REPARSE_POINT, tag_of_a_file_in_a_cloud, false},
        {FILE_ATTRIBUTE_ARCHIVE, IO_REPARSE_TAG_SYMLINK, false},
    };
    for (const auto& [attributes, tag, is_link] : cases) {
        s_FindFirstFileW.script = [attributes = attributes, tag = tag](const wchar_t* path, WIN32_FIND_DATAW* found) {
            const HANDLE search = s_FindFirstFileW.Real(path, found);
            found->dwFileAttributes = attributes;
            found->dwReserved0 = tag;
            return search;
        };
        EXPECT_EQ(QEL::FrontEnd::Tool::Host::Is_Link(file), is_link) << attributes << " " << tag;
    }
    s_FindFirstFileW.script = nullptr;
    EXPECT_FALSE(QEL::FrontEnd::Tool::Host::Is_Link(scratch / "missing"));
}

TEST_F(System_Calls, OnAFileThatAScannerHoldsAreRepeated) {
    const std::string file = scratch.Write("file", "content");
    const std::string target = scratch.Write("target", "old");
    for (const DWORD error : {ERROR_SHARING_VIOLATION, ERROR_ACCESS_DENIED}) {
        Hold(3, error);
        EXPECT_NE(services->Copy_File(file.c_str(), target.c_str(), 0), 0) << error;
        EXPECT_EQ(Content_Of(target), "content");
        Hold(3, error);
        EXPECT_NE(services->Copy_File(file.c_str(), (scratch / "new").c_str(), 1), 0) << error;
        Hold(3, error);
        EXPECT_TRUE(services->Delete_File(scratch / "new")) << error;
        for (const auto mode : {std::ios::in, std::ios::out}) {
            Hold(3, error);
            EXPECT_TRUE(Outlast_Exclusive_Use(file, mode));
        }
    }
    EXPECT_EQ(waited, 2 * 5 * 3 * 20U);
}

TEST_F(System_Calls, AreRepeatedForASecondAndForTwoInAMinute) {
    Hold(1000, ERROR_SHARING_VIOLATION);
    const std::string file = scratch.Write("file");
    for (const DWORD in_all : {1000U, 2000U, 2000U}) {
        EXPECT_FALSE(services->Delete_File(file));
        EXPECT_EQ(Get_Last_Error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(waited, in_all);
    }
    s_now += 60'000;
    EXPECT_FALSE(services->Delete_File(file));
    EXPECT_EQ(waited, 3000U);
}

TEST_F(System_Calls, ThatFailForGoodAreNotRepeated) {
    const std::string file = scratch.Write("file");
    Hold(1000, ERROR_DISK_FULL);
    EXPECT_FALSE(services->Delete_File(file));
    Hold(1000, ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(Outlast_Exclusive_Use(file, std::ios::in));
    Hold(1000, ERROR_ACCESS_DENIED);
    const std::string read_only = scratch.Write("read-only");
    Make_Read_Only(read_only);
    for (const auto& [source, target] :
         {std::pair{read_only, scratch / "new"}, {file, read_only}, {file, scratch.Path().string()}}) {
        EXPECT_EQ(services->Copy_File(source.c_str(), target.c_str(), 0), 0) << target;
        EXPECT_EQ(Get_Last_Error(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    }
    EXPECT_EQ(waited, 0U);
}

TEST_F(System_Calls, PutACopyOnTheDiskBeforeItHasItsName) {
    const std::string file = scratch.Write("file", "content");
    Make_Read_Only(file);
    const std::string target = scratch / "target";
    bool can_flush = false;
    s_FlushFileBuffers.script = [&](HANDLE copy) {
        EXPECT_FALSE(std::filesystem::exists(target));
        SetLastError(ERROR_IO_DEVICE);
        return can_flush ? s_FlushFileBuffers.Real(copy) : FALSE;
    };
    EXPECT_EQ(services->Copy_File(file.c_str(), target.c_str(), 1), 0);
    EXPECT_EQ(Get_Last_Error(), static_cast<DWORD>(ERROR_IO_DEVICE));
    EXPECT_THAT(scratch.Names(), ElementsAre("file"));
    can_flush = true;
    EXPECT_NE(services->Copy_File(file.c_str(), target.c_str(), 1), 0);
    EXPECT_NE(Get_File_Attributes(target) & FILE_ATTRIBUTE_READONLY, 0U);
    EXPECT_EQ(Content_Of(target), "content");
}

TEST_F(System_Calls, ThatRefuseToLookAtAFileDoNotSayThatItIsMissing) {
    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_FILE_NOT_FOUND}) {
        s_GetFileAttributesA.script = [error](const char*) {
            SetLastError(error);
            return INVALID_FILE_ATTRIBUTES;
        };
        EXPECT_EQ(Occupant_Of("file") == Occupant::Nothing, error == ERROR_FILE_NOT_FOUND) << error;
    }
}

TEST_F(System_Calls, ALinkHasTimeAndAttributesOfItsTarget) {
    const std::string file = scratch.Write("file");
    std::int64_t time_of_target = 0;
    ASSERT_EQ(services->Stat_File(file, time_of_target), 0);
    Make_Read_Only(file);
    s_GetFileAttributesExA.script = [](const char* path, GET_FILEEX_INFO_LEVELS level, void* data) {
        const BOOL found = s_GetFileAttributesExA.Real(path, level, data);
        auto& of_link = *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data);
        of_link.dwFileAttributes = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_ARCHIVE;
        of_link.ftLastWriteTime = {};
        return found;
    };
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(file, time), 0);
    EXPECT_EQ(time, time_of_target);
    EXPECT_NE(Get_File_Attributes(file) & FILE_ATTRIBUTE_READONLY, 0U);
    s_GetFileAttributesExA.script = [](const char*, GET_FILEEX_INFO_LEVELS, void* data) {
        *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data) = {};
        static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->dwFileAttributes = FILE_ATTRIBUTE_REPARSE_POINT;
        return TRUE;
    };
    EXPECT_EQ(services->Stat_File(scratch / "missing", time), ERROR_FILE_NOT_FOUND) << "a link that leads nowhere";
}

TEST_F(System_Calls, ASearchGoesOnBehindANameThatDoesNotFit) {
    scratch.Write("a.xml");
    scratch.Write("b.xml");
    s_FindNextFileA.script = [](HANDLE, WIN32_FIND_DATAA*) {
        SetLastError(ERROR_MORE_DATA);
        return FALSE;
    };
    Find_Data found;
    std::vector<std::string> names;
    const auto search = services->FindFirstFile((scratch / "*.xml").c_str(), found);
    for (int more = search == Invalid_Find_Handle ? 0 : 1; more != 0; more = services->FindNextFile(search, found)) {
        names.push_back(found.file_name);
    }
    services->FindClose(search);
    EXPECT_THAT(names, UnorderedElementsAre("a.xml", "b.xml"));
}

TEST_F(System_Calls, TheSecondByteOfALetterIsNoSeparator) {
    // U+8868 is the bytes 95 5C in the Japanese code page: the second one looks like a backslash.
    constexpr UINT japanese = 932;
    const std::string letter = "\x95\x5C";
    ASSERT_NE(CreateDirectoryW((scratch.Path().wstring() + L"\\\x8868").c_str(), nullptr), 0);
    const std::wstring file = scratch.Path().wstring() + L"\\\x8868\\\x8868.xml";
    const HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    CloseHandle(handle);
    s_MultiByteToWideChar.script = [](UINT, DWORD flags, const char* text, int size, wchar_t* wide, int room) {
        return s_MultiByteToWideChar.Real(japanese, flags, text, size, wide, room);
    };
    s_WideCharToMultiByte.script = [](UINT, DWORD flags, const wchar_t* wide, int size, char* text, int room,
                                      const char* fallback, BOOL* used) {
        return s_WideCharToMultiByte.Real(japanese, flags, wide, size, text, room, fallback, used);
    };
    s_IsDBCSLeadByte.script = [](BYTE byte) { return IsDBCSLeadByteEx(japanese, byte); };
    Find_Data found;
    const auto search =
        services->FindFirstFile((scratch.Path().string() + "\\" + letter + "\\" + letter + ".*").c_str(), found);
    EXPECT_NE(search, Invalid_Find_Handle);
    EXPECT_EQ(found.file_name, letter + ".xml");
    services->FindClose(search);

    EXPECT_EQ(File_Extension("file." + letter + "x"), letter + "x");
    EXPECT_EQ(QEL::FrontEnd::Platform::Share_Server("\\\\" + letter + "x\\share"), letter + "x");
    const Directory_Mark mark(scratch.Path().string());
    s_GetCurrentProcessId.script = [] { return DWORD{1}; }; // so that this process is another one
    s_QueryFullProcessImageNameW.script = [](HANDLE, DWORD, wchar_t* path, DWORD* length) {
        *length = static_cast<DWORD>(std::wstring_view(L"C:\\\x8868.exe").copy(path, *length));
        return TRUE;
    };
    const auto others = Other_Processes_On(scratch.Path().string());
    ASSERT_EQ(others.size(), 1U);
    EXPECT_EQ(others.front().program, letter + ".exe");
}

TEST_F(System_Calls, ThatRefuseAllAccessToTheTraceLockLeaveWaitingForIt) {
    using QEL::FrontEnd::Util::Tracing::System_Mutex;
    s_CreateMutexA.script = [](SECURITY_ATTRIBUTES*, BOOL, const char*) {
        SetLastError(ERROR_ACCESS_DENIED);
        return HANDLE{};
    };
    s_CreateMutexExA.script = [](SECURITY_ATTRIBUTES* security, const char* name, DWORD flags, DWORD access) {
        EXPECT_EQ(access, static_cast<DWORD>(SYNCHRONIZE));
        return s_CreateMutexExA.Real(security, name, flags, access);
    };
    const auto lock = System_Mutex::Open_Trace_Lock();
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(lock->Wait(60'000), System_Mutex::Wait_Result::Acquired);
    EXPECT_TRUE(lock->Release());
}

TEST_F(System_Calls, GiveAConsoleTheLettersOfBothEncodingsAndNoMoreThanItTakes) {
    s_MultiByteToWideChar.script = [](UINT page, DWORD flags, const char* text, int size, wchar_t* wide, int room) {
        constexpr UINT western = 1252;
        return s_MultiByteToWideChar.Real(page == CP_ACP ? western : page, flags, text, size, wide, room);
    };
    s_GetConsoleMode.script = [](HANDLE, DWORD*) { return TRUE; };
    std::wstring shown;
    bool is_there = true;
    s_WriteConsoleW.script = [&](HANDLE, const void* text, DWORD size, DWORD* written, void*) {
        *written = std::min<DWORD>(size, 10'000);
        shown.append(static_cast<const wchar_t*>(text), *written);
        return is_there && size < 32'000 ? TRUE : FALSE;
    };
    EXPECT_TRUE(QEL::FrontEnd::Tool::Host::Write(stdout, "M\xFCller\nM\xC3\xBCller\n" + std::string(100'000, 'x')));
    EXPECT_EQ(shown, L"M\xFCller\nM\xFCller\n" + std::wstring(100'000, L'x'));
    is_there = false;
    EXPECT_FALSE(QEL::FrontEnd::Tool::Host::Write(stdout, "x"));
    EXPECT_EQ(errno, EIO);
}

TEST_F(System_Calls, TheSizeOfAnExpandedTextIsNotTrusted) {
    const Environment_Variable no_variable("QEL_TRACE_DIR", nullptr);
    const Environment_Variable place("QEL_TEST_PLACE", "D:\\place");
    Overridden_Root user(HKEY_CURRENT_USER, "User");
    user.Write_Text("TraceDirectory", "%QEL_TEST_PLACE%\\traces", REG_EXPAND_SZ);
    s_ExpandEnvironmentStringsA.script = [](const char* text, char* expanded, DWORD size) {
        return 2 * s_ExpandEnvironmentStringsA.Real(text, expanded, size);
    };
    QEL::FrontEnd::Util::Tracing::Directory_Buffer buffer{};
    EXPECT_NE(QEL::FrontEnd::Util::Tracing::InitTraceDir(buffer), 0);
    EXPECT_STREQ(buffer.data(), "D:\\place\\traces");
}

/// A file that another program keeps open, and may share.
class Opened_File : private QEL::FrontEnd::Util::Non_Copyable {
public:
    Opened_File(const std::string& path, DWORD access, DWORD sharing)
        : m_File(CreateFileA(path.c_str(), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr)) {}
    ~Opened_File() { CloseHandle(m_File); }

    HANDLE Get() const { return m_File; }

private:
    const HANDLE m_File;
};

class Windows_Files : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();
};

TEST_F(Windows_Files, AFileInUseIsNotDeletedAndStaysReadOnly) {
    const std::string path = scratch.Write("copy.xml");
    Make_Read_Only(path);
    {
        const Opened_File in_use(path, GENERIC_READ, FILE_SHARE_READ);
        EXPECT_FALSE(services->Delete_File(path));
        EXPECT_EQ(Get_Last_Error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    }
    EXPECT_NE(Get_File_Attributes(path) & FILE_ATTRIBUTE_READONLY, 0U);
    EXPECT_TRUE(services->Delete_File(path));
}

TEST_F(Windows_Files, ASourceThatIsNotSharedIsNotCopied) {
    const std::string source = scratch.Write("source");
    const Opened_File in_use(source, GENERIC_READ | GENERIC_WRITE, 0);
    EXPECT_EQ(services->Copy_File(source.c_str(), (scratch / "target").c_str(), 1), 0);
    EXPECT_EQ(Get_Last_Error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Windows_Files, ATargetInUseIsNotReplacedAndNoPartStays) {
    const std::string source = scratch.Write("source", "new");
    Make_Read_Only(source);
    const std::string target = scratch.Write("target", "old");
    {
        const Opened_File in_use(target, GENERIC_READ, FILE_SHARE_READ);
        EXPECT_EQ(services->Copy_File(source.c_str(), target.c_str(), 0), 0);
        EXPECT_NE(Get_Last_Error(), 0U);
    }
    EXPECT_EQ(Content_Of(target), "old");
    EXPECT_THAT(scratch.Names(), ElementsAre("source", "target"));
}

TEST_F(Windows_Files, ADeviceIsNotAFileInWhateverDirectory) {
    for (const std::string& path :
         {std::string("NUL"), std::string("CON"), std::string("C:NUL"), std::string("\\\\.\\NUL"), scratch / "NUL"}) {
        EXPECT_FALSE(services->File_Exists(path)) << path;
        EXPECT_EQ(Occupant_Of(path), Occupant::Other) << path;
    }
    const std::string file = scratch.Write("null.xml");
    EXPECT_EQ(Occupant_Of(scratch.Path().string()), Occupant::Other);
    for (const std::string& path : {file, scratch / "missing", std::string(300, 'x')}) {
        EXPECT_NE(Occupant_Of(path), Occupant::Other) << path;
    }
    EXPECT_TRUE(services->File_Exists(file));
}

TEST_F(Windows_Files, TheTimeIsKeptToTheLastHundredNanoseconds) {
    const std::string path = scratch.Write("file");
    constexpr std::int64_t written = 132539328001234567;
    {
        const Opened_File file(path, GENERIC_WRITE, 0);
        const FILETIME time = {static_cast<DWORD>(written & 0xFFFFFFFF), static_cast<DWORD>(written >> 32)};
        ASSERT_TRUE(SetFileTime(file.Get(), nullptr, nullptr, &time));
    }
    std::int64_t time = 0;
    EXPECT_EQ(services->Stat_File(path, time), 0);
    EXPECT_EQ(time, written);
}

TEST_F(Windows_Files, ShortNamesAndLetterCaseDoNotWidenASearch) {
    scratch.Write("0123456789.json");
    Find_Data found;
    EXPECT_EQ(services->FindFirstFile((scratch / "*.jso").c_str(), found), Invalid_Find_Handle);
    EXPECT_EQ(services->FindFirstFile((scratch / "??????~?.*").c_str(), found), Invalid_Find_Handle);
    const auto search = services->FindFirstFile((scratch / "*.JSON").c_str(), found);
    ASSERT_NE(search, Invalid_Find_Handle);
    EXPECT_EQ(found.file_name, "0123456789.json");
    services->FindClose(search);
}

TEST(Windows_Drives, HaveATypeByTheirRoot) {
    const auto services = IOSWrapper::Create();
    EXPECT_EQ(services->Get_Drive_Type("C:"), static_cast<unsigned>(DRIVE_FIXED));
    EXPECT_EQ(services->Get_Drive_Type("c:\\"), static_cast<unsigned>(DRIVE_FIXED));
    EXPECT_EQ(services->Get_Drive_Type("N:"), static_cast<unsigned>(DRIVE_REMOTE)); // of the share \\server\share
    EXPECT_EQ(services->Get_Drive_Type("Q:"), static_cast<unsigned>(DRIVE_NO_ROOT_DIR));
}

} // namespace
