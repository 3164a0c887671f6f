#include "filecache/last_results.h"

#include "util/Error_Meaning.h"
#include "util/Http_Status.h"

#include <algorithm>

namespace QEL::FrontEnd::FileCache {

namespace {

/// Without destructor: a library that is unloaded before its threads end would miss it.
struct Last_Results {
    int status;
    std::uint32_t error;
    std::size_t length;
    char text[1023];
    Directory_Result directory;
};
thread_local Last_Results t_last{0, 0, 0, {}, Directory_Result::Not_Set};

} // namespace

void Forget_Last_Request() {
    t_last.status = 0;
    t_last.error = 0;
    t_last.length = 0;
}

void Note_Status(long status, std::string_view text) {
    Forget_Last_Request();
    t_last.status = static_cast<int>(status);
    t_last.length = std::min(text.size(), sizeof t_last.text);
    std::copy_n(text.data(), t_last.length, t_last.text);
}

void Note_Error(std::uint32_t error, std::string_view text, long proxy_status) {
    if (t_last.error == error && (text.empty() || text == std::string_view(t_last.text, t_last.length))) {
        return;
    }
    Note_Status(proxy_status, text);
    t_last.error = error;
}

bool Note_Directory(Directory_Result result) {
    t_last.directory = result;
    return result == Directory_Result::Set;
}

Last_Request_Info Get_Last_Request_Info() {
    std::string text(t_last.text, t_last.length);
    if (text.empty() && t_last.error != 0) {
        text = Util::Sentences_On_Error(t_last.error, "server", {});
    } else if (text.empty() && t_last.status != 0 && t_last.status / 100 != 2) {
        text = Util::Sentences_On_Status(t_last.status, "server");
    }
    return {t_last.status, t_last.error, std::move(text)};
}

Directory_Result Get_Last_Directory_Result() {
    return t_last.directory;
}

} // namespace QEL::FrontEnd::FileCache
