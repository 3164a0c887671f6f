#include "filecache/Directory_Use.h"

#include "util/Directory_Mark.h"

#include <map>
#include <memory>
#include <mutex>

namespace QEL::FrontEnd::FileCache::Directory_Use {

namespace {

struct Use {
    std::shared_ptr<const Util::FileSystem::Directory_Mark> mark; ///< one for an object and its copies
    bool is_list_unread = false;
};

struct Table {
    std::mutex guard;
    std::map<const CFileCache*, Use> uses;
};

Table& s_table = *new Table;

} // namespace

void Begin(const CFileCache& cache, const std::string& directory) {
    auto mark = std::make_shared<const Util::FileSystem::Directory_Mark>(directory);
    const std::lock_guard guard(s_table.guard);
    s_table.uses[&cache].mark.swap(mark);
}

void Copy(const CFileCache& from, const CFileCache& to) {
    const std::lock_guard guard(s_table.guard);
    if (const auto found = s_table.uses.find(&from); found != s_table.uses.end()) {
        s_table.uses[&to] = Use(found->second);
    } else {
        s_table.uses.erase(&to);
    }
}

void End(const CFileCache& cache) {
    const std::lock_guard guard(s_table.guard);
    s_table.uses.erase(&cache);
}

void Set_List_Unread(const CFileCache& cache, bool is_unread) {
    const std::lock_guard guard(s_table.guard);
    s_table.uses[&cache].is_list_unread = is_unread;
}

bool Is_List_Unread(const CFileCache& cache) {
    const std::lock_guard guard(s_table.guard);
    const auto found = s_table.uses.find(&cache);
    return found != s_table.uses.end() && found->second.is_list_unread;
}

} // namespace QEL::FrontEnd::FileCache::Directory_Use
