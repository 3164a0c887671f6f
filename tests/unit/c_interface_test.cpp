// The C interface on a cache that answers and throws as the test says.

#include "filecache/c/qelfilecache_c.h"
#include "tests/support/Standard_Library.h"

#include "filecache/IFileCache.h"
#include "filecache/locks.h"
#include "trace/Set_Trace_Level.h"

#include <gmock/gmock.h>

namespace QEL::FrontEnd::FileCache {

// In the place of the cache's own: this test links the C interface alone.
std::mutex& s_api_mutex = *new std::mutex;
IFileCache::IFileCache() = default;
IFileCache::IFileCache(const IFileCache& other) = default;
IFileCache& IFileCache::operator=(const IFileCache& other) = default;
IFileCache::~IFileCache() = default;

namespace {

struct Mock_Cache : IFileCache {
    MOCK_METHOD(bool, Set_Cache_Directory, (const std::string&), (override));
    MOCK_METHOD(std::string, Get_Cached_File, (const std::string&), (override));
    MOCK_METHOD(std::string, Get_Cached_File_and_Status, (const std::string&, int, bool&, int*, int*), (override));
    MOCK_METHOD(bool, Clear, (), (override));
    MOCK_METHOD(bool, Purge_Cache_Folder, (), (override));
    MOCK_METHOD(std::string, Get_Additional_Error_Info, (), (const, override));
    MOCK_METHOD(std::string, Get_Msg_Separator, (), (const, override));
};

std::function<std::shared_ptr<IFileCache>()> s_make_instance;
std::function<void(QELPCTRC_LEVEL)> s_set_trace_level;
std::function<bool(const std::string&)> s_remove;
Directory_Result s_directory_result = Directory_Result::Set;

} // namespace

std::shared_ptr<IFileCache> IFileCache::Instance() {
    return s_make_instance();
}

Last_Request_Info Get_Last_Request_Info() {
    return {404, 12029, "text"};
}

Directory_Result Get_Last_Directory_Result() {
    return s_directory_result;
}

bool Remove_From_Cache(IFileCache&, const std::string& url_or_path) {
    return s_remove(url_or_path);
}

void Set_Trace_Level(QELPCTRC_LEVEL level) {
    s_set_trace_level(level);
}

} // namespace QEL::FrontEnd::FileCache

namespace {

using namespace QEL::FrontEnd::FileCache;
using namespace testing;

class C_Interface : public testing::Test {
protected:
    C_Interface() {
        s_make_instance = [this] { return cache; };
        EXPECT_EQ(qelfilecache_open(&handle), QELFILECACHE_OK);
        buffer.fill('#');
    }
    ~C_Interface() override {
        qelfilecache_close(handle);
        s_make_instance = nullptr;
        s_set_trace_level = nullptr;
        s_remove = nullptr;
    }

    /// A request with a buffer of the first `size` characters.
    int Get(std::size_t size = 16) {
        return qelfilecache_get(handle, "http://server/a", 213, buffer.data(), size, &needed, &download_error,
                                &http_error, &file_share_error);
    }
    /// What a request has left in its caller's variables.
    void Expect_Left(const std::string& path, std::size_t path_needs, int failed, int http = QELFILECACHE_NOT_ASKED) {
        EXPECT_EQ(buffer.data(), path);
        EXPECT_EQ(needed, path_needs);
        EXPECT_EQ(download_error, failed);
        EXPECT_EQ(http_error, http);
        EXPECT_EQ(file_share_error, QELFILECACHE_NOT_ASKED);
    }

    auto& Expect_Request() { return EXPECT_CALL(*cache, Get_Cached_File_and_Status("http://server/a", 213, _, _, _)); }

    const std::shared_ptr<NiceMock<Mock_Cache>> cache = std::make_shared<NiceMock<Mock_Cache>>();
    qelfilecache* handle = nullptr;
    std::array<char, 16> buffer{};
    std::size_t needed = 4711;
    int download_error = 4711;
    int http_error = 4711;
    int file_share_error = 4711;
};

TEST_F(C_Interface, CopiesThePathWithItsEnd) {
    Expect_Request().WillOnce(Return("/c/a.xml"));
    EXPECT_EQ(Get(9), QELFILECACHE_OK);
    Expect_Left("/c/a.xml", 9, 0);
    EXPECT_EQ(buffer[9], '#');
}

TEST_F(C_Interface, CutsNoPathKeepsItForTheNextCallAndNeedsNeitherABufferNorPlacesForTheCodes) {
    Expect_Request().WillOnce(Return("/c/a.xml")).WillOnce(Return("/c/a.xml"));
    EXPECT_EQ(Get(8), QELFILECACHE_BUFFER_TOO_SMALL);
    Expect_Left("", 9, 0);
    EXPECT_THAT(std::vector<char>(buffer.begin() + 8, buffer.end()), Each('#'));
    for (int time = 0; time < 2; ++time) { // without a second request
        EXPECT_EQ(qelfilecache_last_path(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
        EXPECT_STREQ(buffer.data(), "/c/a.xml");
    }
    needed = 0;
    EXPECT_EQ(qelfilecache_get(handle, "http://server/a", 213, nullptr, 0, &needed, nullptr, nullptr, nullptr),
              QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 9);
    buffer[0] = '#';
    EXPECT_EQ(qelfilecache_last_path(handle, buffer.data(), 0, nullptr), QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, nullptr), QELFILECACHE_BUFFER_TOO_SMALL);
}

TEST_F(C_Interface, KeepsHowTheLastRequestAndTheLastDirectoryCameOut) {
    int status = 4711;
    int error = 4711;
    const auto last = [&] {
        EXPECT_EQ(qelfilecache_last_request(handle, &status, &error, buffer.data(), 16, &needed), QELFILECACHE_OK);
        return std::tuple(status, error, std::string(buffer.data()), needed);
    };
    EXPECT_EQ(last(), std::tuple(0, 0, "", 1U));
    Get();
    EXPECT_EQ(last(), std::tuple(404, 12029, "text", 5U));
    Expect_Request().WillOnce(Throw(std::bad_alloc()));
    Get();
    EXPECT_EQ(last(), std::tuple(0, 0, "", 1U));

    EXPECT_EQ(qelfilecache_directory_result(handle), QELFILECACHE_REFUSED);
    for (const auto& [result, code] : {std::pair(Directory_Result::Set, QELFILECACHE_OK),
                                       {Directory_Result::Not_Set, QELFILECACHE_REFUSED},
                                       {Directory_Result::Damaged_List, QELFILECACHE_DAMAGED_LIST}}) {
        s_directory_result = result;
        qelfilecache_set_directory(handle, "/c");
        EXPECT_EQ(qelfilecache_directory_result(handle), code);
    }
}

TEST_F(C_Interface, SaysThatThereIsNoFile) {
    Expect_Request().WillOnce(DoAll(SetArgReferee<2>(true), SetArgPointee<3>(2), Return("")));
    EXPECT_EQ(Get(), QELFILECACHE_NO_FILE);
    Expect_Left("", 1, 1, 2);
    EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, &needed), QELFILECACHE_NO_FILE);
}

TEST_F(C_Interface, HandsResultsOnAndLetsNoExceptionOut) {
    const std::system_error no_lock(std::make_error_code(std::errc::resource_unavailable_try_again));
    const std::pair<std::function<bool()>, int> outcomes[] = {
        {[] { return true; }, QELFILECACHE_OK},
        {[] { return false; }, QELFILECACHE_REFUSED},
        {[]() -> bool { throw std::bad_alloc(); }, QELFILECACHE_OUT_OF_MEMORY},
        {[&]() -> bool { throw no_lock; }, QELFILECACHE_SYSTEM_ERROR},
        {[]() -> bool { throw std::runtime_error("else"); }, QELFILECACHE_UNEXPECTED_ERROR}};
    for (const auto& [outcome, code] : outcomes) {
        SCOPED_TRACE(code);
        EXPECT_CALL(*cache, Set_Cache_Directory("/c")).WillOnce(InvokeWithoutArgs(outcome));
        EXPECT_EQ(qelfilecache_set_directory(handle, "/c"), code);
        EXPECT_CALL(*cache, Clear()).WillOnce(outcome);
        EXPECT_EQ(qelfilecache_clear(handle), code);
        EXPECT_CALL(*cache, Purge_Cache_Folder()).WillOnce(outcome);
        EXPECT_EQ(qelfilecache_purge(handle), code);
        s_remove = [&, call = outcome](const std::string& request) { return call() && request == "a"; };
        EXPECT_EQ(qelfilecache_remove(handle, "a"), code);

        const int code_without_result = code == QELFILECACHE_REFUSED ? QELFILECACHE_OK : code;
        const bool is_ok = code_without_result == QELFILECACHE_OK;
        const auto text = [call = outcome] { return call() ? "text" : "text"; };
        Expect_Request().WillOnce(InvokeWithoutArgs(text));
        EXPECT_EQ(Get(), code_without_result);
        EXPECT_STREQ(buffer.data(), is_ok ? "text" : "");
        EXPECT_EQ(needed, is_ok ? 5 : 0);
        EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, nullptr),
                  is_ok ? QELFILECACHE_BUFFER_TOO_SMALL : QELFILECACHE_NO_FILE)
            << "an earlier answer";
        EXPECT_CALL(*cache, Get_Msg_Separator()).WillOnce(text);
        EXPECT_EQ(qelfilecache_message_separator(handle, buffer.data(), 16, &needed), code_without_result);
        EXPECT_STREQ(buffer.data(), is_ok ? "text" : "");
        s_set_trace_level = [call = outcome](QELPCTRC_LEVEL) { call(); };
        EXPECT_EQ(qelfilecache_set_trace_level(1), code_without_result);
        s_make_instance = [this, call = outcome] { return call() ? cache : cache; };
        qelfilecache* another = handle;
        EXPECT_EQ(qelfilecache_open(&another), code_without_result);
        EXPECT_EQ(another != nullptr, is_ok);
        qelfilecache_close(another);
    }
}

TEST_F(C_Interface, KeepsTheErrorInfoOfItsRequestAndNoneWhereItCannotBeHad) {
    const auto expect_info = [this](const char* info) {
        EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
        EXPECT_STREQ(buffer.data(), info);
    };
    Expect_Request().WillRepeatedly(Return("/c/a.xml"));
    EXPECT_CALL(*cache, Get_Additional_Error_Info()).WillOnce(Return("unreachable")).WillOnce(Throw(std::bad_alloc()));
    expect_info("");
    Get();
    EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), 11, &needed), QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 12);
    expect_info("unreachable");
    EXPECT_EQ(Get(), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "/c/a.xml");
    expect_info("");
}

TEST_F(C_Interface, DoesNotWaitForAnotherRequestWhenItsOwnIsAnswered) {
    Expect_Request().WillOnce(Return("/c/a.xml"));
    EXPECT_CALL(*cache, Get_Additional_Error_Info()).WillOnce(Return(""));
    std::unique_lock request_of_another_thread(s_api_mutex);
    auto answered = std::async(std::launch::async, [this] { return Get(); });
    EXPECT_EQ(answered.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    request_of_another_thread.unlock();
    EXPECT_EQ(answered.get(), QELFILECACHE_OK);
}

TEST_F(C_Interface, SetsTheTraceLevelsThatExist) {
    std::vector<int> levels;
    s_set_trace_level = [&](QELPCTRC_LEVEL level) { levels.push_back(level); };
    for (int level = -1; level <= 6; ++level) {
        EXPECT_EQ(qelfilecache_set_trace_level(level),
                  level < 0 || level > 5 ? QELFILECACHE_BAD_ARGUMENT : QELFILECACHE_OK);
    }
    EXPECT_THAT(levels, ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(C_Interface, RefusesWhatIsNotThere) {
    EXPECT_CALL(*cache, Get_Cached_File_and_Status).Times(0);
    EXPECT_EQ(qelfilecache_get(nullptr, "a", 213, buffer.data(), buffer.size(), &needed, &download_error, &http_error,
                               &file_share_error),
              QELFILECACHE_BAD_ARGUMENT);
    Expect_Left("", 0, 0);
    int status = 4711;
    const int codes[] = {
        qelfilecache_open(nullptr),
        qelfilecache_set_directory(nullptr, "/c"),
        qelfilecache_set_directory(handle, nullptr),
        qelfilecache_get(handle, nullptr, 213, buffer.data(), buffer.size(), nullptr, nullptr, nullptr, nullptr),
        qelfilecache_get(handle, "a", 213, nullptr, 1, nullptr, nullptr, nullptr, nullptr),
        qelfilecache_last_path(nullptr, nullptr, 0, nullptr),
        qelfilecache_last_path(handle, nullptr, 1, nullptr),
        qelfilecache_error_info(nullptr, nullptr, 0, nullptr),
        qelfilecache_error_info(handle, nullptr, 1, nullptr),
        qelfilecache_last_request(nullptr, &status, nullptr, nullptr, 0, nullptr),
        qelfilecache_last_request(handle, nullptr, nullptr, nullptr, 1, nullptr),
        qelfilecache_message_separator(nullptr, nullptr, 0, nullptr),
        qelfilecache_message_separator(handle, nullptr, 1, nullptr),
        qelfilecache_directory_result(nullptr),
        qelfilecache_clear(nullptr),
        qelfilecache_remove(nullptr, "a"),
        qelfilecache_remove(handle, nullptr),
        qelfilecache_purge(nullptr)};
    EXPECT_THAT(codes, Each(QELFILECACHE_BAD_ARGUMENT));
    EXPECT_EQ(status, 0);
    qelfilecache_close(nullptr);
    EXPECT_EQ(qelfilecache_abi_version(), QELFILECACHE_ABI_VERSION) << "which needs no cache";
}

} // namespace
