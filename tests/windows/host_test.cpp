// The DLL as a host meets it: text mode, shares, read-only files, exceptions.

#include "tests/faults/support/Failing_OS_Wrapper.h"
#include "tests/windows/Host_Fixture.h"

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::FileCache;
using namespace testing;

class Host : public Host_Fixture {};

TEST_F(Host, FindsTextWithTheLineEndsOfThePlatform) {
    Publish("lines.txt", std::string("first\n\0behind a NUL\xff\n", 21));
    EXPECT_EQ(Content_Of(Get(Url("/lines.txt")).path), std::string("first\r\n\0behind a NUL\xff\r\n", 23));
    const std::string metadata = Content_Of(Metadata_Path());
    EXPECT_THAT(metadata, StartsWith("QEL Logon Landscape Cache Metadata\r\nversion\r\n2\r\nentries\r\n1\r\n"));
    EXPECT_THAT(metadata, HasSubstr("\r\n" + Url("/lines.txt") + "\r\n"));
}

TEST_F(Host, FindsTheTraceWithTheLineEndsOfThePlatform) {
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    cache->Get_Cached_File("C:\\missing");
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    const std::string trace = Content_Of(Trace_File());
    EXPECT_THAT(trace, StartsWith(std::string(80, '*') + "\r\n****"));
    EXPECT_THAT(trace, HasSubstr(": CALL(url='C:\\missing')\r\n"));
    EXPECT_THAT(trace, testing::Not(HasSubstr("\r\r")));
}

/// A directory on the share \\server\share.
class Host_With_Share : public Host {
protected:
    Host_With_Share() : share("\\\\server\\share\\qel_host_" + std::to_string(GetCurrentProcessId())) {
        std::filesystem::create_directory(share);
    }
    ~Host_With_Share() override {
        for (const auto& entry : std::filesystem::directory_iterator(share)) {
            SetFileAttributesA(entry.path().string().c_str(), FILE_ATTRIBUTE_NORMAL);
        }
        std::filesystem::remove_all(share);
    }

    std::string Share(const std::string& name, const std::string& content) const {
        const std::string path = (share / name).string();
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    static bool Is_Read_Only(const std::string& path) {
        return (GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_READONLY) != 0;
    }

    const std::filesystem::path share;
};

TEST_F(Host_With_Share, GetsACopyOfAFileOnTheShare) {
    const std::string source = Share("landscape.xml", "line\nend");
    const Served served = Get(source);
    EXPECT_THAT(served.path, StartsWith(In_Cache("")));
    EXPECT_EQ(Content_Of(served.path), "line\nend") << "a copy of a file keeps its bytes";
    EXPECT_FALSE(served.download_error);
    EXPECT_EQ(served.file_share_error, 0);
    EXPECT_EQ(Get(source).path, served.path);

    std::string url = "file:" + source;
    std::replace(url.begin(), url.end(), '\\', '/');
    EXPECT_EQ(Get(url).path, served.path);
    const std::string on_drive = "N:\\" + share.filename().string() + "\\landscape.xml"; // N: is the share
    const std::string copy = Get(on_drive).path;
    EXPECT_THAT(copy, StartsWith(In_Cache("")));
    EXPECT_EQ(Content_Of(copy), "line\nend");
    EXPECT_EQ(Get(on_drive).path, copy);
}

TEST_F(Host_With_Share, FindsInTheTraceWhyAPathWithANulIsRefused) {
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
    EXPECT_EQ(Get(Share("landscape.xml", "x") + std::string("\0.xml", 5)).path, "");
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    EXPECT_THAT(Content_Of(Trace_File()), HasSubstr("GetLastError returned 123."));
}

TEST_F(Host_With_Share, ReplacesTheCopyOfAReadOnlyFile) {
    const std::string source = Share("landscape.xml", "old");
    SetFileAttributesA(source.c_str(), FILE_ATTRIBUTE_READONLY);
    const std::string old_path = Get(source).path;
    EXPECT_TRUE(Is_Read_Only(old_path));

    Share("landscape.xml", "new");
    std::filesystem::last_write_time(source, std::chrono::file_clock::from_sys(Second_Of_February_2020));
    const std::string path = Get(source).path;
    EXPECT_EQ(Content_Of(path), "new");
    EXPECT_NE(path, old_path);
    EXPECT_FALSE(std::filesystem::exists(old_path));
}

/// Services of a host's own, which run out of memory.
class Exhausted_Services : public Failing_OS_Wrapper {
public:
    using Failing_OS_Wrapper::Failing_OS_Wrapper;
    bool Directory_Exists(const std::string&) override { throw std::bad_alloc(); }
};

TEST(Host_Services, MayThrowThroughTheLibrary) {
    if (sizeof(void*) == 4) {
        GTEST_SKIP() << "no exception passes from one module to another";
    }
    CFileCache cache(std::make_shared<Exhausted_Services>(""));
    EXPECT_THROW(cache.Set_Cache_Directory("C:\\"), std::bad_alloc);
}

TEST(Host_Library, SaysItsVersion) {
    DWORD ignored = 0;
    std::vector<char> resource(GetFileVersionInfoSizeA("qelfilecache.dll", &ignored));
    ASSERT_FALSE(resource.empty());
    ASSERT_TRUE(GetFileVersionInfoA("qelfilecache.dll", 0, static_cast<DWORD>(resource.size()), resource.data()));
    void* version = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueA(resource.data(), "\\StringFileInfo\\040904B0\\ProductVersion", &version, &length));
    EXPECT_STREQ(static_cast<const char*>(version), QEL_VERSION);
}

TEST(Host_Instance, IsOneForTheProcess) {
    const std::shared_ptr<IFileCache> instance = IFileCache::Instance();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(IFileCache::Instance(), instance);
    EXPECT_EQ(instance->Get_Msg_Separator(), std::string(39, '='));
}

} // namespace
