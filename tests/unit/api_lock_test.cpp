#include "filecache/locks.h"
#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::IFileCache;
using testing::IsEmpty;

namespace {

/// True when some thread holds the process-wide lock of the public operations. One thread looks for all calls: to
/// start one for each record takes long under Wine.
bool Api_Lock_Is_Held() {
    struct Watcher {
        bool asked = false;
        bool ended = false;
        bool held = false;
        std::mutex guard;
        std::condition_variable changed;
        std::thread thread{[this] {
            std::unique_lock lock(guard);
            while (changed.wait(lock, [this] { return asked || ended; }), !ended) {
                held = !std::unique_lock(QEL::FrontEnd::FileCache::s_api_mutex, std::try_to_lock).owns_lock();
                asked = false;
                changed.notify_all();
            }
        }};

        bool Look() {
            std::unique_lock lock(guard);
            asked = true;
            changed.notify_all();
            changed.wait(lock, [this] { return !asked; });
            return held;
        }
        ~Watcher() {
            std::unique_lock lock(guard);
            ended = true;
            changed.notify_all();
            lock.unlock();
            thread.join();
        }
    };
    static Watcher watcher;
    return watcher.Look();
}

/// The public operations exclude each other, from their first record to their last.
class Api_Lock : public Cache_Fixture {
protected:
    /// Expects each record and each directory question of `operation` under the lock, and the lock
    /// free afterwards.
    void Expect_Locked_Throughout(const std::function<void()>& operation) {
        Forget();
        std::size_t records = 0;
        std::size_t records_under_lock = 0;
        const During_Each check([&] {
            ++records;
            records_under_lock += Api_Lock_Is_Held() ? 1 : 0;
        });
        operation();
        EXPECT_NE(records > 0, Is_Off());
        EXPECT_EQ(records_under_lock, records);
        EXPECT_FALSE(Api_Lock_Is_Held());
    }

    std::string Get(const std::string& url, int request_kind = 213) {
        bool download_error = false;
        return cache.Get_Cached_File_and_Status(url, request_kind, download_error, nullptr, nullptr);
    }
};

TEST_F(Api_Lock, IsHeldForTheWholeOfEachOperation) {
    const auto purge = [&] { cache.Purge_Cache_Folder(); };
    Expect_Locked_Throughout(purge);
    for (const std::string& path : {std::string(), In_Cache("missing"), cache_directory, cache_directory}) {
        Expect_Locked_Throughout([&] { cache.Set_Cache_Directory(path); });
    }
    Cache_Copy("http://server/a", "a.txt", "", 0);
    Expect_Locked_Throughout([&] { cache.Clear(); });
    Expect_Locked_Throughout([&] { cache.Clear(); });
    os->on_find = [](const std::string&) { return std::vector<std::string>{"found"}; };
    Expect_Locked_Throughout(purge);
    os->on_directory_exists = [](const std::string&) { return false; };
    Expect_Locked_Throughout(purge);
}

TEST_F(Api_Lock, IsHeldForTheWholeOfALookup) {
    os->expiry_minutes = 60;
    Expect_Locked_Throughout([&] { Get("http://server/too-early.xml"); });
    Use_Cache_Directory();
    bool held = false;
    g_services.requests[0].during_send = [&] { held = Api_Lock_Is_Held(); };
    for (const std::string& request : {std::string("http://server/file.xml"), std::string("http://server/file.xml"),
                                       In_Cache("missing.xml"), Write_File(In_Cache("local.xml"), ""),
                                       std::string("file:unsupported"), std::string("\\\\server\\share\\file.xml")}) {
        Expect_Locked_Throughout([&] { Get(request); });
    }
    EXPECT_TRUE(held) << "while a request is sent";
    Expect_Locked_Throughout([&] { cache.Get_Cached_File("http://server/other.xml"); });

    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    Expect_Locked_Throughout([&] { Get("\\\\server\\share\\file.xml", 201); });
}

TEST_F(Api_Lock, IsFreeAfterAnExceptionOfTheHostsServices) {
    Use_Cache_Directory();
    os->on_directory_exists = [](const std::string&) -> bool { throw std::runtime_error("the host's"); };
    EXPECT_THROW(cache.Purge_Cache_Folder(), std::runtime_error);
    EXPECT_THROW(Get("\\\\server\\share\\file.xml"), std::runtime_error);
    EXPECT_FALSE(Api_Lock_Is_Held());
}

/// The first call of Instance() in this process, as it went.
struct First_Call {
    std::shared_ptr<IFileCache> instance;
    Records records;
    std::vector<std::string> raw_texts;
    int os_created = -g_services.os_created;
    int magic_loaded = -g_services.magic_loaded;
    bool locked_throughout = true;
};

const First_Call& The_First_Call() {
    static const First_Call first_call = [] {
        First_Call call;
        Forget();
        const During_Each check([&] { call.locked_throughout = call.locked_throughout && Api_Lock_Is_Held(); });
        call.instance = IFileCache::Instance();
        call.records = All();
        call.raw_texts = Raw_Texts();
        call.os_created += g_services.os_created;
        call.magic_loaded += g_services.magic_loaded;
        return call;
    }();
    return first_call;
}

class Singleton : public Api_Lock {
protected:
    Singleton() {
        values["instance"] = Address_Text(The_First_Call().instance.get());
        Forget();
    }
};

TEST_F(Singleton, TheFirstCallCreatesTheCacheOnNewServices) {
    const First_Call& call = The_First_Call();
    EXPECT_EQ(call.os_created, 1);
    EXPECT_EQ(call.magic_loaded, 1);
    auto* const object = dynamic_cast<CFileCache*>(call.instance.get());
    ASSERT_NE(object, nullptr);
    EXPECT_NE(object->m_OS_Wrapper, nullptr);
    EXPECT_EQ(object->m_OS_Wrapper.use_count(), 1);
}

TEST_F(Singleton, TheFirstCallTracesTheCreationByTheInterfaceWithoutAnObject) {
    Expect_Records(R"(
        D (no object) Instance: CALL
        D (no object) Instance: Creating s_instance...
        D CFileCache: CALL
        D Initialize_Mime: CALL
        D Initialize_Mime: MIME magic is not initialized.
        D (no object) Instance: Creation complete, s_instance = {instance}
        D Instance: return value:(s_instance = {instance}))",
                   The_First_Call().records);
    const std::regex call_or_exit("TID: 17, QEL::FrontEnd::FileCache::IFileCache::Instance/[0-9]+: "
                                  "(CALL\n|return value:)");
    const auto& texts = The_First_Call().raw_texts;
    EXPECT_TRUE(Is_Off() || std::regex_match(texts.front(), call_or_exit));
    EXPECT_TRUE(Is_Off() || std::regex_match(texts.end()[-4], call_or_exit));
}

TEST_F(Singleton, EveryFurtherCallReturnsTheSameObject) {
    EXPECT_EQ(IFileCache::Instance(), The_First_Call().instance);
    Expect_Records("D (no object) Instance: CALL\nD Instance: return value:(s_instance = {instance})");
    EXPECT_EQ(g_services.os_created, 0);
    EXPECT_EQ(g_services.magic_loaded, 1) << "only the fixture's own object was created meanwhile";
    EXPECT_EQ(The_First_Call().instance.use_count(), 2) << "the library and the first caller";
}

TEST_F(Singleton, CallsAreMadeUnderTheLock) {
    EXPECT_TRUE(The_First_Call().locked_throughout);
    Expect_Locked_Throughout([] { EXPECT_EQ(IFileCache::Instance(), The_First_Call().instance); });
}

} // namespace
