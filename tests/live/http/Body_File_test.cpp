#include <gmock/gmock.h>

#include <sys/mman.h>
#include <sys/resource.h>

#include "platform/common/WinInet_Error.h"
#include "platform/posix/http/Body_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_Signal_Guard.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Small_Disk.h"
#include "tests/support/User_Configuration.h"
#include "tests/support/Web_Server.h"
#include "util/HttpClient.h"
#include "util/IRequest_Object.h"

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::Platform::Body_File;
using namespace QEL::FrontEnd::Platform;
using namespace testing;

constexpr std::size_t Mb = 1U << 20;

class Body_File_Test : public Test {
protected:
    /// The error that ends the body; 0 without one.
    std::uint32_t Append(Body_File& body, std::string_view bytes, std::uint64_t content_length = 0) {
        const auto fault = body.Append(bytes, content_length);
        m_Detail = fault ? fault->detail : "";
        return fault ? fault->error : 0;
    }

    /// Adds MB after MB; how many there are when an error ends that.
    std::size_t Fill(Body_File& body, std::uint32_t& error, std::size_t most = 100) {
        const std::string bytes = Rubbish(Mb);
        std::size_t count = 0;
        while ((error = Append(body, bytes)) == 0 && count < most) {
            ++count;
        }
        return count;
    }

    /// Runs the last steps of a test with a file system of that size on the directory of the copies.
    void On_Disk_Of(const std::string& size, const std::function<void()>& steps) {
        if (!With_Small_Disk(m_Directory.Path(), size, steps)) {
            GTEST_SKIP() << "this user may not mount a file system";
        }
    }

    /// Runs a step while no file of the process may become longer.
    static void With_File_Limit(rlim_t bytes, const std::function<void()>& step) {
        rlimit old{};
        ::getrlimit(RLIMIT_FSIZE, &old);
        const rlimit small{bytes, old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
        step();
        ::setrlimit(RLIMIT_FSIZE, &old);
    }

    Scratch_Directory m_Directory;
    const std::string m_Copy = m_Directory / "copy.xml";
    std::string m_Detail;
    User_Configuration m_Configuration;
};

TEST_F(Body_File_Test, KeepsEveryByteInItsUnnamedFileAndInMemory) {
    const std::string here = m_Directory.Path().string();
    const std::string missing = m_Directory / "missing";
    constexpr std::size_t much = 100 * Mb; // more than arrives, of which a part is reserved
    for (const auto& [directory, content_length] : std::initializer_list<std::pair<std::string, std::size_t>>{
             {here, 10}, {here, much}, {missing, 10}, {missing, much}}) {
        SCOPED_TRACE(directory + " " + std::to_string(content_length));
        std::string expected;
        {
            Body_File body(directory);
            for (std::size_t piece = 0; piece < 1000; ++piece) {
                const std::string bytes(piece, static_cast<char>(piece));
                ASSERT_EQ(Append(body, bytes, content_length), 0U);
                expected += bytes;
            }
            EXPECT_EQ(body.m_Is_In_Memory, directory == missing);
            EXPECT_EQ(body.m_Reserved > 0, directory == here && content_length == much);
            EXPECT_THAT(m_Directory.Names(), IsEmpty());
            ASSERT_FALSE(body.Finish());
            EXPECT_TRUE(body.Bytes() == expected);
            body.Publish(m_Copy);
        }
        EXPECT_TRUE(Content_Of(m_Copy) == expected);
        std::filesystem::remove(m_Copy);
    }
}

TEST_F(Body_File_Test, IsGoneWhenItIsNotPublishedAndWithoutBytesAnEmptyCopy) {
    EXPECT_EQ(Append(*std::make_unique<Body_File>(m_Directory.Path()), "abc"), 0U);
    EXPECT_THAT(m_Directory.Names(), IsEmpty());
    Body_File body(m_Directory.Path());
    ASSERT_FALSE(body.Finish());
    EXPECT_NE(body.Bytes().data(), nullptr);
    body.Publish(m_Copy);
    EXPECT_TRUE(std::filesystem::is_empty(m_Copy));
}

TEST_F(Body_File_Test, IsPublishedWithTheRightsOfAPlainFile) {
    const mode_t mask = ::umask(027);
    for (const auto& directory : {m_Directory.Path().string(), m_Directory / "missing"}) {
        Body_File body(directory);
        ASSERT_EQ(Append(body, "abc"), 0U);
        ASSERT_FALSE(body.Finish());
        body.Publish(m_Copy);
        EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(m_Copy).permissions()), 0640U);
        std::filesystem::remove(m_Copy);
    }
    ::umask(mask);
}

TEST_F(Body_File_Test, NeverTakesTheNameOfAnotherFile) {
    m_Directory.Write("copy.xml", "another");
    Body_File body(m_Directory.Path());
    ASSERT_EQ(Append(body, "abc"), 0U);
    ASSERT_FALSE(body.Finish());
    body.Publish(m_Copy);

    EXPECT_EQ(Content_Of(m_Copy), "another");
}

TEST_F(Body_File_Test, LeavesTheLastTwentiethOfTheDiskFreeWhereverItLies) {
    const auto directory = m_Directory.Path().string();
    On_Disk_Of("40m", [&] {
        std::uint32_t error = 0;
        for (const bool in_memory : {true, false}) {
            Body_File body(directory);
            ASSERT_TRUE(!in_memory || body.Open());
            if (in_memory) { // as where the file system has no unnamed files
                body.m_Is_In_Memory = true;
                body.m_File = File_Descriptor(::memfd_create("body", MFD_CLOEXEC));
            }
            EXPECT_EQ(Fill(body, error), 38U);
            EXPECT_EQ(error, Error_Disk_Full);
        }
        EXPECT_EQ(m_Detail, ": the file system of " + directory +
                                " has room for less than 1 MB more, as its last 5 % (1 GB at most) stay free");
        Body_File announced(directory);
        EXPECT_EQ(Append(announced, "abc", 40 * Mb), Error_Disk_Full);
    });
}

TEST_F(Body_File_Test, LeavesOneGigabyteOfALargeDiskFree) {
    const auto directory = m_Directory.Path().string();
    On_Disk_Of("100g", [&] { // of which nothing is taken
        constexpr std::uint64_t room = 99ULL * 1024 * Mb;
        EXPECT_EQ(Append(*std::make_unique<Body_File>(directory), "abc", room), 0U);
        EXPECT_EQ(Append(*std::make_unique<Body_File>(directory), "abc", room + 1), Error_Disk_Full);
    });
}

TEST_F(Body_File_Test, ThatHasNoRoomFailsBothClientsWithTheNumberOfTheDisk) {
    Web_Server server("HTTP/1.1 200 OK\r\nContent-Length: 2000000\r\n\r\nabc", "good.test");
    const auto directory = m_Directory.Path().string();
    On_Disk_Of("1m", [&] {
        const auto object = QEL::FrontEnd::FileCache::Create_Request_Object(directory).object;
        EXPECT_EQ(object->Open("GET", server.Url()), 0);
        EXPECT_EQ(object->Send(), HResult_From_Win32(Error_Disk_Full));
        EXPECT_THAT(object->Error_Description({}), StartsWith("The disk is full: the file system of " + directory));

        QEL::FrontEnd::Util::HttpWinInet::HttpClient client;
        client.SetCopyDirectory(directory);
        EXPECT_EQ(client.SendWinInetRequest(1, server.Url().c_str(), nullptr, 0), Error_Disk_Full);
        EXPECT_EQ(client.GetError(), Error_Disk_Full);
        EXPECT_EQ(client.GetErrorDescription(), object->Error_Description({}));
    });
}

/// Nobody reads them, so they need no room.
TEST_F(Body_File_Test, TakesNoBodyOfAnErrorOrARedirect) {
    m_Configuration.Set_Number("LandscapeLargestFile", 1);
    const std::string large = "\r\nContent-Length: 3000000\r\n\r\n" + std::string(3000000, 'x');
    QEL::FrontEnd::Util::HttpWinInet::HttpClient client;
    client.SetCopyDirectory(m_Directory.Path());
    const Web_Server with_error("HTTP/1.1 404 Not Found" + large);
    EXPECT_EQ(client.SendWinInetRequest(1, with_error.Url().c_str(), nullptr, 0), 404U);
    EXPECT_EQ(client.GetResponseBody(), "");

    const Web_Server target("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    const Web_Server redirecting("HTTP/1.1 302 Found\r\nLocation: " + target.Url() + large);
    EXPECT_EQ(client.SendWinInetRequest(1, redirecting.Url().c_str(), nullptr, 0), 200U);
    EXPECT_EQ(client.GetResponseBody(), "abc");
}

TEST_F(Body_File_Test, TooLargeForTheConfigurationIsNoStatusOfTheSecondClient) {
    m_Configuration.Set_Number("LandscapeLargestFile", 1);
    Web_Server server("HTTP/1.1 200 OK\r\nContent-Length: 2000000\r\n\r\nabc", "good.test");
    QEL::FrontEnd::Util::HttpWinInet::HttpClient client;
    client.SetCopyDirectory(m_Directory.Path());
    EXPECT_EQ(client.SendWinInetRequest(1, server.Url().c_str(), nullptr, 0), Error_Internet_Internal_Error);
    EXPECT_EQ(client.GetError(), Error_File_Too_Large);
    EXPECT_THAT(client.GetErrorDescription(), StartsWith("The file is too large: LandscapeLargestFile allows 1 MB."));
}

TEST_F(Body_File_Test, DoesNotFallBackToMemoryOnAFullDisk) {
    const auto directory = m_Directory.Path().string();
    On_Disk_Of("1m,nr_inodes=2", [&] {
        m_Directory.Write("filler");
        Body_File body(directory);
        EXPECT_EQ(Append(body, "abc"), Error_Disk_Full);
        EXPECT_EQ(m_Detail, ": the file system of " + directory + " has room for no more files");
    });
}

TEST_F(Body_File_Test, EndsAtTheLimitOfTheProcess) {
    const Write_Signal_Guard guard; // as an exchange does
    for (const auto& directory : {m_Directory.Path().string(), m_Directory / "missing"}) {
        Body_File body(directory);
        std::uint32_t error = 0;
        std::size_t count = 0;
        With_File_Limit(3 * Mb, [&] { count = Fill(body, error); });
        EXPECT_EQ(count, 3U);
        EXPECT_EQ(error, Error_File_Too_Large);
    }
}

TEST_F(Body_File_Test, PublishesNoCutCopyFromMemory) {
    Body_File body(m_Directory / "missing");
    ASSERT_EQ(Append(body, Rubbish(Mb)), 0U);
    ASSERT_FALSE(body.Finish());
    With_File_Limit(Mb / 2, [&] { body.Publish(m_Copy); });
    EXPECT_THAT(m_Directory.Names(), IsEmpty());
}

TEST_F(Body_File_Test, EndsAtTheConfiguredSize) {
    m_Configuration.Set_Number("LandscapeLargestFile", 2);
    Body_File arriving(m_Directory.Path());
    std::uint32_t error = 0;
    EXPECT_EQ(Fill(arriving, error), 2U);
    EXPECT_EQ(error, Error_File_Too_Large);
    EXPECT_EQ(m_Detail, ": LandscapeLargestFile allows 2 MB");

    Body_File announced(m_Directory.Path());
    EXPECT_EQ(Append(announced, "abc", 2 * Mb + 1), Error_File_Too_Large);
    EXPECT_EQ(Append(announced, "abc", 2 * Mb), 0U);

    m_Configuration.Set_Number("LandscapeLargestFile", 0);
    Body_File unlimited(m_Directory.Path());
    EXPECT_EQ(Fill(unlimited, error, 4), 4U);
}

TEST_F(Body_File_Test, InMemoryEndsBeforeTwoGigabytes) {
    Body_File body(m_Directory / "missing");
    EXPECT_EQ(Append(body, "abc", 0x80000000U), Error_Http_Invalid_Server_Response);
    EXPECT_EQ(Append(body, "abc", 0x7FFFFFFFU), 0U);

    Body_File in_file(m_Directory.Path());
    EXPECT_EQ(Append(in_file, "abc", 0x80000000U), 0U);
}

} // namespace
