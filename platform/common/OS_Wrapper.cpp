#include "platform/common/OS_Wrapper.h"

#include "platform/common/Atomic_Copy.h"
#include "platform/common/Configuration.h"
#include "platform/common/Directory_Search.h"
#include "util/Ascii.h"

#include <iterator>
#include <string_view>

namespace QEL::FrontEnd::OSWRAPI {

using Platform::Configuration_Scope;
using Platform::Directory_Search;

std::shared_ptr<IOSWrapper> IOSWrapper::Create() {
    return std::make_shared<OS_Wrapper>();
}

Find_Handle OS_Wrapper::FindFirstFile(const char* pattern, Find_Data& found) {
    // A name joined to no directory: the root of the drive is not a cache.
    if (std::string_view(pattern).find_last_of("\\/") == 0) {
        return Invalid_Find_Handle;
    }
    auto search = Directory_Search::Begin(pattern);
    return search != nullptr && search->Next(found.file_name) ? search.release() : Invalid_Find_Handle;
}

int OS_Wrapper::FindNextFile(Find_Handle search, Find_Data& found) {
    return search != Invalid_Find_Handle && static_cast<Directory_Search*>(search)->Next(found.file_name) ? 1 : 0;
}

void OS_Wrapper::FindClose(Find_Handle search) {
    if (search != Invalid_Find_Handle) {
        const std::unique_ptr<Directory_Search> ended(static_cast<Directory_Search*>(search));
    }
}

int OS_Wrapper::Get_Drive_Number(const char* path) {
    return Util::Is_Ascii_Letter(path[0]) && path[1] == ':' ? Util::To_Ascii_Lower(path[0]) - 'a' : -1;
}

int OS_Wrapper::Copy_File(const char* existing_path, const char* new_path, int fail_if_exists) {
    return Platform::Copy_File_Atomically(existing_path, new_path, fail_if_exists != 0) ? 1 : 0;
}

std::uint32_t OS_Wrapper::Read_Registry_Int(int root, const std::string& key, const std::string& value) {
    constexpr Configuration_Scope scopes[] = {Configuration_Scope::User, Configuration_Scope::Machine,
                                              Configuration_Scope::User_Then_Machine};
    if (root < 0 || root >= static_cast<int>(std::size(scopes))) {
        return 0;
    }
    return Platform::Configuration::System().Read_Integer(scopes[root], key.c_str(), value.c_str()).value_or(0);
}

} // namespace QEL::FrontEnd::OSWRAPI
