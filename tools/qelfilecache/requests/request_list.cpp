#include "tools/qelfilecache/requests/request_list.h"

#include "util/Ascii.h"

#include <istream>
#include <unordered_set>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr const char* byte_order_mark = "\xEF\xBB\xBF";

} // namespace

Request_List Read_Request_List(std::istream& list) {
    Request_List read;
    std::unordered_set<std::string> known;
    std::string line;
    for (bool is_first = true; std::getline(list, line); is_first = false) {
        if (is_first && line.starts_with(byte_order_mark)) {
            line.erase(0, 3);
        }
        std::string request(Util::Trim(line, " \t\r\v\f"));
        if (request.empty() || request.starts_with('#')) {
            continue;
        }
        if (known.insert(request).second) {
            read.requests.push_back(std::move(request));
        } else {
            ++read.repeated;
        }
    }
    return read;
}

} // namespace QEL::FrontEnd::Tool
