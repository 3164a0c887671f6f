// The disk is full: a copy is whole or is not there, and the list ends where the space does.
//
// A limit on the length of a file does the same to a process as a full disk, and needs no rights. What bodies and
// copies come to on a file system that is full is a test of each by itself.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Cache_Home.h"

using namespace QEL::Tests;

namespace {

class Disk_Full : public Cache_Home {
protected:
    Disk_Full() { Offer({"a.xml", "b.xml", "c.xml"}, {"d.xml"}); }

    /// A process makes each request once, with no file longer than the limit.
    void Run_With_Limit(std::size_t limit) const { EXPECT_EQ(Worker(1, limit).Wait(), 0); }
};

/// A refresh writes the metadata file and nothing else, so the limit cuts it at that length.
TEST_F(Disk_Full, WhileTheListIsWrittenLosesItsEndAndNoDocument) {
    Expect_Current_Documents_Alone(*Next_Host());
    const std::size_t whole_length = Content_Of(Metadata_Path()).size();

    int cut_requests = 0;
    for (std::size_t limit = 1; limit <= whole_length; limit += 11) {
        SCOPED_TRACE("a list of " + std::to_string(limit) + " bytes");
        Run_With_Limit(limit);
        ASSERT_EQ(Content_Of(Metadata_Path()).size(), limit);

        const std::string list = Content_Of(Metadata_Path());
        const auto next = Next_Host();
        for (const std::string& request : requests) { // whatever stands before the cut is kept
            EXPECT_EQ(list.find("\n" + request + "\n") != std::string::npos || list.ends_with("\n" + request),
                      next->m_Cache_Entries.contains(request))
                << request;
        }
        for (const auto& [request, entry] : next->m_Cache_Entries) {
            // The last line has no end, and is taken as it stands: the request may be one that nobody made.
            cut_requests += Is_Known(request) ? 0 : 1;
            EXPECT_TRUE(Is_Known(request) || list.ends_with("\n" + request)) << request;
            if (Is_Known(request)) {
                Expect_Nothing_Or_A_Document(entry.cached_file, request);
            }
        }
        Expect_Current_Documents_Alone(*next);
        Empty_The_Cache_Directory();
        Expect_Current_Documents_Alone(*Next_Host());
    }
    EXPECT_GT(cut_requests, 2);
}

TEST_F(Disk_Full, WhileACopyIsWrittenLeavesNoPartOfIt) {
    std::mt19937 random(4711); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same limits in each run
    int copies = 0;
    int missing = 0;
    const int rounds = Amount("QEL_DISK_FULL_ROUNDS", 20, 5);
    for (int round = 0; round < rounds; ++round) {
        const std::size_t limit = std::uniform_int_distribution<std::size_t>(1, 4000)(random);
        SCOPED_TRACE("files of " + std::to_string(limit) + " bytes");
        Run_With_Limit(limit);

        const auto next = Next_Host();
        for (const auto& [request, entry] : next->m_Cache_Entries) {
            if (!Is_Known(request)) {
                continue; // a request that was cut, see above
            }
            EXPECT_GT(Version_Of(Content_Of(entry.cached_file), Name_In(request)), 0) << request;
            ++copies;
            EXPECT_EQ(next->Get_Cached_File(request), entry.cached_file);
        }
        missing += static_cast<int>(requests.size() - next->m_Cache_Entries.size());
        Publish_All();
        Expect_Current_Documents_Alone(*next);
    }
    EXPECT_GT(copies, 0);
    EXPECT_GT(missing, 0);
}

} // namespace
