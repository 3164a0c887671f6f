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

namespace QEL::Tests {

namespace {

using FrontEnd::FileCache::Mock_Cache;
using testing::_;
using testing::DoAll;
using testing::Each;
using testing::NiceMock;
using testing::Return;
using testing::SetArgReferee;
using testing::Throw;

class C_Interface : public testing::Test {
protected:
    C_Interface() {
        FrontEnd::FileCache::s_make_instance = [this] { return cache; };
        EXPECT_EQ(qelfilecache_open(&handle), QELFILECACHE_OK);
        buffer.fill('#');
    }
    ~C_Interface() override {
        qelfilecache_close(handle);
        FrontEnd::FileCache::s_make_instance = nullptr;
        FrontEnd::FileCache::s_set_trace_level = nullptr;
    }

    /// A request with a buffer of the first `size` characters.
    int Get(std::size_t size) {
        return qelfilecache_get(handle, "http://server/a", 213, buffer.data(), size, &needed, &download_error,
                                &http_error, &file_share_error);
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

const std::bad_alloc No_Memory;
const std::system_error No_Lock(std::make_error_code(std::errc::resource_unavailable_try_again));
const std::runtime_error Anything_Else("else");

TEST_F(C_Interface, CopiesThePathWithItsEnd) {
    Expect_Request().WillOnce(Return("/c/a.xml"));
    EXPECT_EQ(Get(9), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "/c/a.xml");
    EXPECT_EQ(needed, 9);
    EXPECT_EQ(buffer[9], '#');
    EXPECT_EQ(download_error, 0);
    EXPECT_EQ(http_error, QELFILECACHE_NOT_ASKED);
    EXPECT_EQ(file_share_error, QELFILECACHE_NOT_ASKED);
}

TEST_F(C_Interface, CutsNoPathKeepsItForTheNextCallAndNeedsNeitherABufferNorPlacesForTheCodes) {
    Expect_Request().WillOnce(Return("/c/a.xml")).WillOnce(Return("/c/a.xml"));
    EXPECT_EQ(Get(8), QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(needed, 9);
    EXPECT_THAT(std::vector<char>(buffer.begin() + 8, buffer.end()), Each('#'));
    for (int time = 0; time < 2; ++time) { // without a second request
        EXPECT_EQ(qelfilecache_last_path(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
        EXPECT_STREQ(buffer.data(), "/c/a.xml");
    }
    needed = 0;
    EXPECT_EQ(qelfilecache_get(handle, "http://server/a", 213, nullptr, 0, &needed, nullptr, nullptr, nullptr),
              QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 9);
    EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, nullptr), QELFILECACHE_BUFFER_TOO_SMALL);
}

TEST_F(C_Interface, KeepsHowTheLastRequestAndTheLastDirectoryCameOut) {
    int status = 4711;
    int error = 4711;
    const auto last = [&] { return qelfilecache_last_request(handle, &status, &error, buffer.data(), 16, &needed); };
    EXPECT_EQ(last(), QELFILECACHE_OK);
    EXPECT_EQ(std::tuple(status, error, needed), std::tuple(0, 0, 1U));
    Get(16);
    EXPECT_EQ(last(), QELFILECACHE_OK);
    EXPECT_EQ(std::tuple(status, error, std::string(buffer.data())), std::tuple(404, 12029, "text"));
    EXPECT_EQ(qelfilecache_last_request(nullptr, &status, &error, nullptr, 0, nullptr), QELFILECACHE_BAD_ARGUMENT);
    EXPECT_EQ(status, 0);

    using FrontEnd::FileCache::Directory_Result;
    EXPECT_EQ(qelfilecache_directory_result(handle), QELFILECACHE_REFUSED);
    EXPECT_EQ(qelfilecache_directory_result(nullptr), QELFILECACHE_BAD_ARGUMENT);
    for (const auto& [result, code] : {std::pair(Directory_Result::Set, QELFILECACHE_OK),
                                       {Directory_Result::Not_Set, QELFILECACHE_REFUSED},
                                       {Directory_Result::Damaged_List, QELFILECACHE_DAMAGED_LIST}}) {
        FrontEnd::FileCache::s_directory_result = result;
        qelfilecache_set_directory(handle, "/c");
        EXPECT_EQ(qelfilecache_directory_result(handle), code);
    }
}

TEST_F(C_Interface, RemovesOneCopy) {
    for (const bool removed : {true, false}) {
        FrontEnd::FileCache::s_remove = [&](const std::string& request) { return request == "a" && removed; };
        EXPECT_EQ(qelfilecache_remove(handle, "a"), removed ? QELFILECACHE_OK : QELFILECACHE_REFUSED);
    }
    FrontEnd::FileCache::s_remove = [](const std::string&) -> bool { throw No_Lock; };
    EXPECT_EQ(qelfilecache_remove(handle, "a"), QELFILECACHE_SYSTEM_ERROR);
    EXPECT_EQ(qelfilecache_remove(nullptr, "a"), QELFILECACHE_BAD_ARGUMENT);
    EXPECT_EQ(qelfilecache_remove(handle, nullptr), QELFILECACHE_BAD_ARGUMENT);
}

TEST_F(C_Interface, SaysThatThereIsNoFile) {
    Expect_Request().WillOnce(
        DoAll(SetArgReferee<2>(true), testing::WithArg<3>([](int* error) { *error = 2; }), Return("")));
    EXPECT_EQ(Get(buffer.size()), QELFILECACHE_NO_FILE);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(needed, 1);
    EXPECT_EQ(download_error, 1);
    EXPECT_EQ(http_error, 2);
    EXPECT_EQ(file_share_error, QELFILECACHE_NOT_ASKED);
    EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, &needed), QELFILECACHE_NO_FILE);
}

TEST_F(C_Interface, TurnsExceptionsIntoCodes) {
    Expect_Request()
        .WillOnce(Return("/c/a.xml"))
        .WillOnce(Throw(No_Memory))
        .WillOnce(Throw(No_Lock))
        .WillOnce(Throw(Anything_Else));
    EXPECT_EQ(Get(buffer.size()), QELFILECACHE_OK);
    for (const int code : {QELFILECACHE_OUT_OF_MEMORY, QELFILECACHE_SYSTEM_ERROR, QELFILECACHE_UNEXPECTED_ERROR}) {
        EXPECT_EQ(Get(buffer.size()), code);
        EXPECT_STREQ(buffer.data(), "");
        EXPECT_EQ(needed, 0);
        EXPECT_EQ(qelfilecache_last_path(handle, nullptr, 0, nullptr), QELFILECACHE_NO_FILE) << "an earlier answer";
    }
}

TEST_F(C_Interface, LetsNoExceptionOfAnyOperationOut) {
    EXPECT_CALL(*cache, Set_Cache_Directory("/c")).WillOnce(Throw(No_Memory));
    EXPECT_EQ(qelfilecache_set_directory(handle, "/c"), QELFILECACHE_OUT_OF_MEMORY);
    EXPECT_CALL(*cache, Clear()).WillOnce(Throw(No_Lock));
    EXPECT_EQ(qelfilecache_clear(handle), QELFILECACHE_SYSTEM_ERROR);
    EXPECT_CALL(*cache, Purge_Cache_Folder()).WillOnce(Throw(Anything_Else));
    EXPECT_EQ(qelfilecache_purge(handle), QELFILECACHE_UNEXPECTED_ERROR);
    EXPECT_CALL(*cache, Get_Msg_Separator()).WillOnce(Throw(No_Memory));
    EXPECT_EQ(qelfilecache_message_separator(handle, buffer.data(), buffer.size(), &needed),
              QELFILECACHE_OUT_OF_MEMORY);
    FrontEnd::FileCache::s_set_trace_level = [](QELPCTRC_LEVEL) { throw No_Lock; };
    EXPECT_EQ(qelfilecache_set_trace_level(1), QELFILECACHE_SYSTEM_ERROR);
    FrontEnd::FileCache::s_make_instance = []() -> std::shared_ptr<FrontEnd::FileCache::IFileCache> {
        throw No_Memory;
    };
    qelfilecache* another = handle;
    EXPECT_EQ(qelfilecache_open(&another), QELFILECACHE_OUT_OF_MEMORY);
    EXPECT_EQ(another, nullptr);
}

TEST_F(C_Interface, HandsRefusalsOn) {
    EXPECT_CALL(*cache, Set_Cache_Directory("/c")).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_CALL(*cache, Clear()).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_CALL(*cache, Purge_Cache_Folder()).WillOnce(Return(true)).WillOnce(Return(false));
    for (const int code : {QELFILECACHE_OK, QELFILECACHE_REFUSED}) {
        EXPECT_EQ(qelfilecache_set_directory(handle, "/c"), code);
        EXPECT_EQ(qelfilecache_clear(handle), code);
        EXPECT_EQ(qelfilecache_purge(handle), code);
    }
}

TEST_F(C_Interface, KeepsTheErrorInfoOfItsRequestAndNoneWhereItCannotBeHad) {
    Expect_Request().WillRepeatedly(Return("/c/a.xml"));
    EXPECT_CALL(*cache, Get_Additional_Error_Info()).WillOnce(Return("unreachable")).WillOnce(Throw(No_Memory));
    EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "");
    Get(buffer.size());
    EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), 11, &needed), QELFILECACHE_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 12);
    EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), needed, &needed), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "unreachable");
    EXPECT_EQ(Get(buffer.size()), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "/c/a.xml");
    EXPECT_EQ(qelfilecache_error_info(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "");
}

TEST_F(C_Interface, DoesNotWaitForAnotherRequestWhenItsOwnIsAnswered) {
    Expect_Request().WillOnce(Return("/c/a.xml"));
    EXPECT_CALL(*cache, Get_Additional_Error_Info()).WillOnce(Return(""));
    std::unique_lock request_of_another_thread(FrontEnd::FileCache::s_api_mutex);
    auto answered = std::async(std::launch::async, [this] { return Get(buffer.size()); });
    EXPECT_EQ(answered.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    request_of_another_thread.unlock();
    EXPECT_EQ(answered.get(), QELFILECACHE_OK);
}

TEST_F(C_Interface, HasAVersionASeparatorAndNoPathBeforeTheFirstRequest) {
    EXPECT_EQ(qelfilecache_abi_version(), QELFILECACHE_ABI_VERSION);
    EXPECT_EQ(qelfilecache_last_path(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_NO_FILE);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_CALL(*cache, Get_Msg_Separator()).WillOnce(Return("==="));
    EXPECT_EQ(qelfilecache_message_separator(handle, buffer.data(), buffer.size(), &needed), QELFILECACHE_OK);
    EXPECT_STREQ(buffer.data(), "===");
}

TEST_F(C_Interface, SetsTheTraceLevelsThatExist) {
    std::vector<int> levels;
    FrontEnd::FileCache::s_set_trace_level = [&](QELPCTRC_LEVEL level) { levels.push_back(level); };
    EXPECT_EQ(qelfilecache_set_trace_level(-1), QELFILECACHE_BAD_ARGUMENT);
    EXPECT_EQ(qelfilecache_set_trace_level(0), QELFILECACHE_OK);
    EXPECT_EQ(qelfilecache_set_trace_level(5), QELFILECACHE_OK);
    EXPECT_EQ(qelfilecache_set_trace_level(6), QELFILECACHE_BAD_ARGUMENT);
    EXPECT_THAT(levels, testing::ElementsAre(0, 5));
}

TEST_F(C_Interface, RefusesWhatIsNotThere) {
    EXPECT_CALL(*cache, Get_Cached_File_and_Status).Times(0);
    EXPECT_EQ(qelfilecache_get(nullptr, "a", 213, buffer.data(), buffer.size(), &needed, &download_error, &http_error,
                               &file_share_error),
              QELFILECACHE_BAD_ARGUMENT);
    EXPECT_EQ(needed, 0);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(download_error, 0);
    EXPECT_EQ(http_error, QELFILECACHE_NOT_ASKED);
    EXPECT_EQ(file_share_error, QELFILECACHE_NOT_ASKED);
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
        qelfilecache_last_request(handle, nullptr, nullptr, nullptr, 1, nullptr),
        qelfilecache_message_separator(nullptr, nullptr, 0, nullptr),
        qelfilecache_message_separator(handle, nullptr, 1, nullptr),
        qelfilecache_clear(nullptr),
        qelfilecache_purge(nullptr)};
    EXPECT_THAT(codes, Each(QELFILECACHE_BAD_ARGUMENT));
    qelfilecache_close(nullptr);
}

} // namespace

} // namespace QEL::Tests
