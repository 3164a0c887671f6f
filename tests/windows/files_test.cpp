// Files as only Windows has them: in use, on a share under a UNC path, with 8.3 names; and drives.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Last_Error.h"
#include "util/Non_Copyable.h"
#include "util/Path_Queries.h"

#include <gmock/gmock.h>

#include <windows.h>

#undef FindFirstFile
#undef FindNextFile

namespace QEL::Tests {

namespace {

using namespace FrontEnd::OSWRAPI;
using FrontEnd::Util::Get_Last_Error;
using namespace FrontEnd::Util::FileSystem;
using namespace testing;

/// A file that another program keeps open, and may share.
class Opened_File : private FrontEnd::Util::Non_Copyable {
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

} // namespace QEL::Tests
