// A process that uses the cache is killed at a random moment, again and again in the same directory.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Cache_Home.h"

#ifndef _WIN32
#include "tests/support/Tls_Sites.h"
#endif

using namespace QEL::Tests;

namespace {

using Clock = std::chrono::steady_clock;

#ifdef _WIN32
constexpr int Usual_Rounds = 12; // processes start slowly under Wine
#else
constexpr int Usual_Rounds = 25;
#endif

class Killed : public Cache_Home {
protected:
    Killed() {
        Offer({"a.xml", "ab.xml", "b.txt", "c.html", "d.xml", "e.xml", "f.bin"}, {"g.xml", "h.txt"});
        std::cout << "QEL_KILL_SEED=" << seed << '\n';
    }

    std::size_t Random(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); }

    /// Whether there is another round. A few rounds may happen to hurt nothing; then there are more.
    static bool Is_To_Go_On(int rounds_done, int hurt) {
        const int asked_rounds = Amount("QEL_KILL_ROUNDS", Usual_Rounds, 2);
        return !HasFailure() && (rounds_done < asked_rounds || (hurt == 0 && rounds_done < 10 * asked_rounds));
    }

    /// Lets a process use the cache while documents change, and kills it.
    void Run_And_Kill() {
        std::filesystem::remove(Ready_File());
        Child_Process worker = Worker(0);
        // Mostly while it works, sometimes while it begins to.
        if (Random(5) > 0) {
            ASSERT_TRUE(Wait_Until([this] { return std::filesystem::exists(Ready_File()); }));
        }
        const auto end = Clock::now() + std::chrono::microseconds(Random(120000));
        while (Clock::now() < end) {
            Publish(requests[Random(requests.size())]);
            std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
        }
        if (Random(2) == 0) {
            Wait_For_Another_Copy();
        }
        EXPECT_EQ(worker.Kill(), Child_Process::Killed) << "it ended by itself";
    }

    /// Returns while a process replaces a copy. Where processes mostly wait for servers, hardly any random
    /// moment is such a one.
    void Wait_For_Another_Copy() {
        Publish_All();
        const auto before = Copies();
        const auto limit = Clock::now() + std::chrono::seconds(5);
        while (Copies() == before && Clock::now() < limit) {
        }
    }

    const unsigned seed =
        static_cast<unsigned>(Amount("QEL_KILL_SEED", static_cast<int>(std::random_device()() >> 1), 0));
    std::mt19937 random{seed}; // NOLINT(cert-msc32-c,cert-msc51-cpp): the seed is printed
};

TEST_F(Killed, AtAnyMomentAProcessLeavesADirectoryThatServesWholeDocuments) {
    const Files surroundings_before = Surroundings();
    int damaged_files = 0;
    int lost_entries = 0;
    int orphans = 0;
    int rounds = 0;
    for (; Is_To_Go_On(rounds, lost_entries + orphans); ++rounds) {
        SCOPED_TRACE("round " + std::to_string(rounds));
        Run_And_Kill();
        const auto found = Copies();
        CFileCache next(Services());
        // False for a metadata file that the process was writing when it died.
        damaged_files += next.Set_Cache_Directory(Cache_Directory()) ? 0 : 1;
        lost_entries += static_cast<int>(requests.size() - next.m_Cache_Entries.size());
        orphans += static_cast<int>(found.size());
        for (const auto& [request, entry] : next.m_Cache_Entries) {
            ASSERT_TRUE(Is_Known(request)) << request;
            Expect_Nothing_Or_A_Document(entry.cached_file, request);
            orphans -= std::filesystem::exists(entry.cached_file) ? 1 : 0;
        }
        Expect_Current_Documents_Alone(next);
        if (rounds == 0) { // it found nothing, and so left less than everything wherever it died
            damaged_files = lost_entries = orphans = 0;
        }
    }
    for (const auto& [file, content] : surroundings_before) {
        EXPECT_TRUE(std::filesystem::exists(file)) << file;
    }
    std::cout << rounds << " processes killed; " << damaged_files << " metadata files cut, " << lost_entries
              << " entries lost, " << orphans << " orphans swept\n";
    RecordProperty("rounds", rounds);
    RecordProperty("damaged_files", damaged_files);
    RecordProperty("orphans", orphans);
    EXPECT_GT(lost_entries + orphans, 0) << "no process was killed in the middle of anything";
}

TEST_F(Killed, ThreadsThatRequestWhileMainReturnsEndWithTheProcess) {
#ifdef _WIN32
    const std::string tls_url = std::getenv("QEL_TEST_HTTPS_TRUSTED") + std::string("/a.xml");
#else
    const Tls_Sites tls_sites;
    const std::string tls_url = std::regex_replace(tls_sites.Url("Good"), std::regex("good.test"), "127.0.0.1");
#endif
    for (int round = 0; round < Usual_Rounds; ++round) {
        Child_Process worker(Beside_The_Tests("cache_worker", {Cache_Directory(), "-", "-", "-1", "0", Web_Url("a.xml"),
                                                               tls_url, "\\\\127.0.0.1\\none\\a"}));
        ASSERT_EQ(worker.Wait(), 0) << "round " << round;
    }
}

} // namespace
