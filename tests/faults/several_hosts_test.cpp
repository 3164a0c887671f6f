// Several hosts on one directory: what one of them has handed out, no other one sweeps away.

#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>

#ifdef _WIN32
#include <windows.h>
#endif

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using namespace testing;

using Words = std::vector<std::string>;

class Several_Hosts : public Test {
protected:
    Several_Hosts() {
        scratch.Make_Directory("cache");
        scratch.Make_Directory("share");
    }

    /// At once: no host sees the file half made.
    void Publish(const std::string& name) {
        scratch.Write("made", name);
        fs::rename(scratch / "made", scratch.Path() / "share" / name);
    }

    /// A host that makes these requests, once or until it is killed.
    Words Host(const Words& names, bool once) {
        ready = scratch / ("ready_" + names.front());
        Words words = {scratch / "cache", scratch / "share", ready, once ? "1" : "0", "0"};
        for (const std::string& name : names) {
            words.push_back("\\\\files\\share\\" + name);
        }
        return Beside_The_Tests("cache_worker", words);
    }

    /// Waits for the last host to have loaded the list.
    void Wait_Until_Ready() const {
        EXPECT_TRUE(Wait_Until([this] { return fs::exists(ready); }));
    }

    /// Waits until there are copies of these files, and of no others, and all of them stay. A file that is published
    /// between a host's look at its time and the copy is fetched a second time.
    void Wait_For_Copies(const Words& names) const {
        Words last;
        int unchanged = 0;
        EXPECT_TRUE(Wait_Until([&] {
            const Words now = Names_In(scratch / "cache");
            unchanged = now == last && Copies() == names ? unchanged + 1 : 0;
            last = now;
            return unchanged == 300;
        }));
    }

    /// The content of each copy, which is the file's name.
    Words Copies() const {
        Words contents;
        for (const auto& file : fs::directory_iterator(scratch / "cache")) {
            if (file.path() != fs::path(list) && file.path().extension() != ".part") { // which is not complete yet
                contents.push_back(Content_Of(file.path()));
            }
        }
        std::sort(contents.begin(), contents.end());
        return contents;
    }

    const Scratch_Directory scratch;
    std::string ready;
    const std::string list = (scratch.Path() / "cache" / "qelfilecache_Metadata.txt").string();
};

TEST_F(Several_Hosts, KeepTheCopiesOfAListThatOneOfThemCannotRead) {
    Publish("a");
    EXPECT_EQ(Child_Process(Host({"a"}, true)).Wait(), 0);
    const std::string first_list = Content_Of(list);
    Publish("b");
#ifdef _WIN32
    const HANDLE kept = CreateFileA(list.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(kept, INVALID_HANDLE_VALUE);
    Child_Process second(Host({"b"}, false));
#else
    fs::permissions(list, fs::perms::none);
    Child_Process second(With_Ordinary_Rights(Host({"b"}, false)));
#endif
    Wait_For_Copies({"a", "b"});
#ifdef _WIN32
    CloseHandle(kept);
#else
    fs::permissions(list, fs::perms::owner_read | fs::perms::owner_write);
#endif
    EXPECT_EQ(Content_Of(list), first_list);
    EXPECT_EQ(Child_Process(Host({"a"}, true)).Wait(), 0);
    EXPECT_EQ(second.Kill(), Child_Process::Killed);
    EXPECT_EQ(Copies(), Words({"a", "b"}));
}

TEST_F(Several_Hosts, KeepEachOthersCopies) {
    Child_Process first(Host({"a", "c"}, false));
    Wait_Until_Ready();
    Child_Process second(Host({"b"}, false));
    Wait_Until_Ready();
    Publish("a");
    Wait_For_Copies({"a"});
    Publish("b"); // whose list does not name the other host's copy, and the other way round
    Wait_For_Copies({"a", "b"});
    Publish("c");
    Wait_For_Copies({"a", "b", "c"});
    const Words handed_out = Names_In(scratch / "cache");
    Publish("d");
    EXPECT_EQ(Child_Process(Host({"d"}, true)).Wait(), 0);
    EXPECT_THAT(Names_In(scratch / "cache"), IsSupersetOf(handed_out)); // by name: a host fetches again what it misses
    EXPECT_EQ(Copies(), Words({"a", "b", "c", "d"}));
    EXPECT_EQ(first.Kill(), Child_Process::Killed);
    EXPECT_EQ(second.Kill(), Child_Process::Killed);
}

} // namespace
