// Copy_File between local files, and the last error that it leaves.

#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Last_Error.h"
#include "util/Path_Queries.h"
#include "util/Path_Separator.h"

#include <gmock/gmock.h>

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::OSWRAPI::IOSWrapper;
using QEL::FrontEnd::Util::Get_Last_Error;
using namespace QEL::FrontEnd::Util::FileSystem;
using namespace testing;

class Copy : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::shared_ptr<IOSWrapper> services = IOSWrapper::Create();

    bool Copies(const std::string& source, const std::string& target, int fail_if_exists = 1) const {
        return services->Copy_File(source.c_str(), target.c_str(), fail_if_exists) != 0;
    }
};

TEST_F(Copy, TheTargetHoldsTheSameBytes) {
    for (const std::string& content : {Rubbish(3000001), std::string()}) {
        const std::string source = scratch.Write("source.bin", content);
        for (const int flag : {1, 0}) {
            EXPECT_TRUE(Copies(source, scratch / "target.bin", flag));
            EXPECT_EQ(Content_Of(scratch / "target.bin"), content);
            EXPECT_EQ(Content_Of(source), content);
            EXPECT_THAT(scratch.Names(), ElementsAre("source.bin", "target.bin"));
            std::filesystem::remove(scratch / "target.bin");
        }
    }
}

TEST_F(Copy, AnExistingTargetIsLeftUntouchedByAnyFlagButZero) {
    const std::string source = scratch.Write("source", "new");
    const std::string target = scratch.Write("target", "old, and longer than the new one");
    for (const int flag : {1, -1, 2}) {
        EXPECT_FALSE(Copies(source, target, flag));
        EXPECT_EQ(Get_Last_Error(), 80u);
        EXPECT_EQ(Content_Of(target), "old, and longer than the new one");
    }
    EXPECT_TRUE(Copies(source, target, 0));
    EXPECT_EQ(Content_Of(target), "new");
    EXPECT_THAT(scratch.Names(), ElementsAre("source", "target"));
}

TEST_F(Copy, AMissingSourceOrDirectoryFails) {
    const std::string source = scratch.Write("source");
    const std::string in_missing_directory = Join_Path(scratch / "missing", "file");
    for (const auto& [from, to, error] : {std::tuple{scratch / "missing", scratch / "target", 2u},
                                          {in_missing_directory, scratch / "target", 3u},
                                          {source, in_missing_directory, 3u}}) {
        EXPECT_FALSE(Copies(from, to));
        EXPECT_EQ(Get_Last_Error(), error) << from << ", " << to;
    }
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy, ADirectoryIsNeitherSourceNorTarget) {
    const std::string file = scratch.Write("file");
    const std::string directory = scratch.Make_Directory("directory");
    EXPECT_FALSE(Copies(directory, scratch / "target"));
    EXPECT_EQ(Get_Last_Error(), 5u);
    EXPECT_FALSE(Copies(file, directory));
    EXPECT_FALSE(Copies(file, directory, 0));
    EXPECT_THAT(scratch.Names(), ElementsAre("directory", "file"));
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(Copy, AFileCopiedOntoItselfKeepsItsContent) {
    const std::string source = scratch.Write("source", "content");
    EXPECT_FALSE(Copies(source, source));
    Copies(source, source, 0);
    EXPECT_EQ(Content_Of(source), "content");
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy, NamesThatForgeLinesAndEmptyOnesAreRefused) {
    const std::string source = scratch.Write("source");
    for (const char* name : {"a\nb", "a\rb", "a\n"}) {
        EXPECT_FALSE(Copies(source, scratch / name));
        EXPECT_EQ(Get_Last_Error(), 123u);
        EXPECT_FALSE(Copies(scratch / name, scratch / "target"));
        EXPECT_EQ(Get_Last_Error(), 123u);
    }
    EXPECT_FALSE(Copies("", scratch / "target"));
    EXPECT_FALSE(Copies(source, ""));
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy, TheReadOnlyAttributeIsCarriedOverAndDoesNotKeepTheCopyFromDeletion) {
    const std::string source = scratch.Write("source", "content");
    for (const std::uint32_t attribute : {0u, Attribute_Read_Only}) {
        EXPECT_TRUE(Copies(source, scratch / "target"));
        EXPECT_EQ(Get_File_Attributes(scratch / "target") & Attribute_Read_Only, attribute);
        EXPECT_EQ(Content_Of(scratch / "target"), "content");
        EXPECT_TRUE(services->Delete_File(scratch / "target"));
        Make_Read_Only(source);
    }
    EXPECT_THAT(scratch.Names(), ElementsAre("source"));
}

TEST_F(Copy, OneOfManyCopiesToOneTargetWins) {
    constexpr int threads = 8;
    for (int round = 0; round < 20; ++round) {
        const std::string target = scratch / ("target" + std::to_string(round));
        std::atomic<int> successes = 0;
        std::atomic<int> winner = -1;
        In_Threads(threads, [&](int number) {
            const std::string content(100000, static_cast<char>('a' + number));
            if (Copies(scratch.Write("source" + std::to_string(number), content), target)) {
                ++successes;
                winner = number;
            } else {
                EXPECT_EQ(Get_Last_Error(), 80u);
            }
        });
        ASSERT_EQ(successes, 1);
        EXPECT_EQ(Content_Of(target), std::string(100000, static_cast<char>('a' + winner)));
    }
    EXPECT_EQ(scratch.Names().size(), 20u + threads);
}

TEST_F(Copy, TheLastErrorBelongsToItsThread) {
    const std::string source = scratch.Write("source");
    const auto mixed_up = [this](const std::string& from, const std::string& to, std::uint32_t expected) {
        int count = 0;
        for (int attempt = 0; attempt < 2000; ++attempt) {
            count += Copies(from, to) || Get_Last_Error() != expected ? 1 : 0;
        }
        return count;
    };
    int mixed_up_in_thread = -1;
    std::thread other([&] { mixed_up_in_thread = mixed_up(source, Join_Path(scratch / "missing", "target"), 3); });
    EXPECT_EQ(mixed_up(scratch / "missing.xml", scratch / "target", 2), 0);
    other.join();
    EXPECT_EQ(mixed_up_in_thread, 0);
}

} // namespace
