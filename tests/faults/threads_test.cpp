// Many threads, one cache directory: mixed operations on one object and its copies. Meant for
// ThreadSanitizer, and sound without.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Cache_Home.h"
#include "trace/Set_Trace_Level.h"

#include <barrier>

using namespace QEL::Tests;

namespace {

/// Numbers the calls of the services, and remembers of each deleted path the number of its deletion.
///
/// Every call is made while the cache holds its lock. So the last call of a request lies in the time
/// in which the lock was held for it, and a path existed when that ended unless it was deleted before.
class Noting_OS_Wrapper : public Failing_OS_Wrapper {
public:
    using Failing_OS_Wrapper::Failing_OS_Wrapper;

    /// The number of the calling thread's last call.
    static std::uint64_t Last_Call() { return t_last_call; }

    /// The number of a path's deletion; 0 when it was never deleted.
    std::uint64_t Deletion_Of(const std::string& path) const {
        const std::lock_guard lock(m_Mutex);
        const auto found = m_Deletions.find(path);
        return found == m_Deletions.end() ? 0 : found->second;
    }

private:
    void Note(Operation operation, const std::string& path) override {
        t_last_call = ++m_Calls;
        if (operation == Operation::Delete_File) {
            const std::lock_guard lock(m_Mutex); // before the file is gone
            m_Deletions.emplace(path, t_last_call);
        }
    }

    static inline thread_local std::uint64_t t_last_call = 0;
    std::atomic<std::uint64_t> m_Calls = 0;
    mutable std::mutex m_Mutex;
    std::map<std::string, std::uint64_t> m_Deletions;
};

class Threads : public Cache_Home {
protected:
    static constexpr int Thread_Count = 32;

    Threads() {
        Offer({"a.xml", "b.xml", "c.txt", "d.html"}, {"e.xml"});
        CFileCache original(services);
        EXPECT_TRUE(original.Set_Cache_Directory(Cache_Directory()));
        caches.assign(3, original);
        caches.insert(caches.begin(), 6, original); // most threads meet on the first
    }

    /// Whether a request may return this path: it was there when the request ended.
    void Check(const std::string& path, const std::string& request) {
        const std::uint64_t end_of_request = Noting_OS_Wrapper::Last_Call();
        if (path.empty()) {
            ++empty_paths;
            return;
        }
        ++served_paths;
        if (std::ifstream file(path, std::ios::binary); file) {
            const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            EXPECT_GE(Version_Of(content, Name_In(request)), 1) << path << " is not a complete " << request;
            return;
        }
        ++gone_paths;
        EXPECT_GT(services->Deletion_Of(path), end_of_request) << path << " was not there for " << request;
    }

    void Operate(std::mt19937& random) {
        const auto dice = [&](unsigned sides) { return std::uniform_int_distribution<unsigned>(0, sides - 1)(random); };
        CFileCache& host = dice(2) == 0 ? caches.front() : caches[dice(static_cast<unsigned>(caches.size()))];
        switch (dice(20)) {
        case 0:
            host.Clear();
            break;
        case 1:
            EXPECT_TRUE(host.Purge_Cache_Folder());
            break;
        case 2:
            EXPECT_TRUE(host.Set_Cache_Directory(Cache_Directory()));
            break;
        case 3:
            EXPECT_EQ(host.Get_Cached_File(local), local);
            break;
        case 4: // refused: leaves a text for the host
            EXPECT_EQ(host.Get_Cached_File("http://127.0.0.1:1/none.xml"), "");
            break;
        case 5:
        case 6: {
            const std::string text = host.Get_Additional_Error_Info();
            EXPECT_TRUE(text.empty() || text.starts_with(host.Get_Msg_Separator())) << text;
            break;
        }
        default: {
            const std::string& request = requests[dice(static_cast<unsigned>(requests.size()))];
            bool download_error = false;
            Check(host.Get_Cached_File_and_Status(request, 213, download_error, nullptr, nullptr), request);
            EXPECT_FALSE(download_error);
        }
        }
    }

    const std::shared_ptr<Noting_OS_Wrapper> services = std::make_shared<Noting_OS_Wrapper>(share_folder);
    const std::string local = (working_folder / "12345678-1234-1234-1234-123456789012.xml").string();
    std::vector<CFileCache> caches;
    std::atomic<int> served_paths = 0;
    std::atomic<int> empty_paths = 0;
    std::atomic<int> gone_paths = 0;
};

TEST_F(Threads, GetWhatWasThereWhenTheirRequestsEnded) {
#ifdef _WIN32
    const int operations = Amount("QEL_THREAD_OPERATIONS", 3); // they take their time under Wine
#else
    const int operations = Amount("QEL_THREAD_OPERATIONS", 10);
#endif
    constexpr QELPCTRC_LEVEL levels[] = {QELPCTRC_OFF, QELPCTRC_ADDITIONAL_DATA, QELPCTRC_ERROR, QELPCTRC_TIME_STAMPED,
                                         QELPCTRC_OFF};
    constexpr int phases = 5;

    // Between two phases no thread uses the cache, so the level may be set, and documents change.
    int phase = 0;
    const auto begin_phase = [&]() noexcept {
        if (phase < phases) {
            QEL::FrontEnd::FileCache::Set_Trace_Level(levels[phase]);
            Set_Expiry_Minutes(phase % 2 == 0 ? 0 : 60);
            Publish(requests.front());
            Publish(requests.back());
        }
        ++phase;
    };
    std::barrier barrier(Thread_Count, begin_phase);

    In_Threads(Thread_Count, [&](int number) {
        [[maybe_unused]] const Host_Thread host_thread;
        // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same operations in each run
        std::mt19937 random(static_cast<unsigned>(number));
        for (int i = 0; i < phases; ++i) {
            barrier.arrive_and_wait();
            for (int operation = 0; operation < operations; ++operation) {
                Operate(random);
            }
        }
    });
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);

    RecordProperty("operations", Thread_Count * phases * operations);
    EXPECT_GT(served_paths, Thread_Count * phases * operations / 2);
    EXPECT_EQ(empty_paths, 0);
    std::cout << served_paths << " paths served, " << gone_paths
              << " of them deleted by others before they were opened\n";

    // What the last writer recorded is sound.
    for (const auto& [request, entry] : Loaded()) {
        Expect_Nothing_Or_A_Document(entry.cached_file, request);
    }
}

} // namespace
