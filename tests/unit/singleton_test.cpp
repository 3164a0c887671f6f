#include "tests/unit/support/Api_Lock.h"
#include "tests/unit/support/Cache_Fixture.h"

#include <chrono>
#include <future>
#include <regex>
#include <thread>

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::IFileCache;
using testing::IsEmpty;

namespace {

/// The first call of Instance() in this process, as it went.
struct First_Call {
    std::shared_ptr<IFileCache> instance;
    Records records;
    std::vector<std::string> raw_texts;
    int os_created = 0;
    int magic_loaded = 0;
    bool locked_throughout = true;
};

const First_Call& The_First_Call() {
    static const First_Call first_call = [] {
        First_Call call;
        Forget();
        const int os_created = g_services.os_created;
        const int magic_loaded = g_services.magic_loaded;
        const During_Each check([&] { call.locked_throughout = call.locked_throughout && Api_Lock_Is_Held(); });
        call.instance = IFileCache::Instance();
        call.records = All();
        call.raw_texts = Raw_Texts();
        call.os_created = g_services.os_created - os_created;
        call.magic_loaded = g_services.magic_loaded - magic_loaded;
        return call;
    }();
    return first_call;
}

class Singleton : public Cache_Fixture {
protected:
    Singleton() {
        values["instance"] = Address_Text(The_First_Call().instance.get());
        Forget();
    }
};

TEST_F(Singleton, TheFirstCallCreatesTheCacheOnNewServices) {
    const First_Call& call = The_First_Call();
    ASSERT_NE(call.instance, nullptr);
    EXPECT_EQ(call.os_created, 1);
    EXPECT_EQ(call.magic_loaded, 1);
    auto* const object = dynamic_cast<CFileCache*>(call.instance.get());
    ASSERT_NE(object, nullptr);
    EXPECT_NE(object->m_OS_Wrapper, nullptr);
    EXPECT_EQ(object->m_OS_Wrapper.use_count(), 1);
}

TEST_F(Singleton, TheFirstCallTracesTheCreation) {
    Expect_Records(R"(
        D (no object) Instance: CALL
        D (no object) Instance: Creating s_instance...
        D CFileCache: CALL
        D Initialize_Mime: CALL
        D Initialize_Mime: MIME magic is not initialized.
        D (no object) Instance: Creation complete, s_instance = {instance}
        D Instance: return value:(s_instance = {instance}))",
                   The_First_Call().records);
}

TEST_F(Singleton, TheFirstCallNamesTheInterfaceWithoutAnObject) {
    const std::string method = "TID: 17, QEL::FrontEnd::FileCache::IFileCache::Instance/[0-9]+: ";
    if (Is_Off()) {
        return;
    }
    const std::string call = The_First_Call().raw_texts.front();
    EXPECT_TRUE(std::regex_match(call, std::regex(method + "CALL\n"))) << call;
    const std::string exit = The_First_Call().raw_texts.end()[-4];
    EXPECT_TRUE(std::regex_match(exit, std::regex(method + "return value:"))) << exit;
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
    bool locked_throughout = true;
    const During_Each check([&] { locked_throughout = locked_throughout && Api_Lock_Is_Held(); });
    IFileCache::Instance();
    EXPECT_TRUE(locked_throughout);
    EXPECT_FALSE(Api_Lock_Is_Held());
}

TEST_F(Singleton, ACallWaitsForTheLock) {
    std::unique_lock held(QEL::FrontEnd::FileCache::s_api_mutex);
    auto instance = std::async(std::launch::async, [] { return IFileCache::Instance(); });
    EXPECT_EQ(instance.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_THAT(All(), IsEmpty());
    held.unlock();
    EXPECT_EQ(instance.get(), The_First_Call().instance);
}

TEST_F(Singleton, ManyThreadsGetTheSameObject) {
    std::vector<std::future<std::shared_ptr<IFileCache>>> instances;
    for (int thread = 0; thread < 16; ++thread) {
        instances.push_back(std::async(std::launch::async, [] { return IFileCache::Instance(); }));
    }
    for (auto& instance : instances) {
        EXPECT_EQ(instance.get(), The_First_Call().instance);
    }
}

} // namespace
