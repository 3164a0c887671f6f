#include "platform/posix/share/Agent_Program.h"

#include <charconv>
#include <cstdint>
#include <fstream>
#include <string_view>

#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

/// Full path of the library or program that holds this function; empty when it is unknown.
/// The loader would only give the name by which it was loaded, which may be relative to a directory
/// that has changed since.
std::string Path_Of_This_Module() {
    const auto own_address = reinterpret_cast<std::uintptr_t>(&Path_Of_This_Module);
    std::ifstream mappings("/proc/self/maps");
    for (std::string line; std::getline(mappings, line);) {
        const char* const end = line.data() + line.size();
        std::uintptr_t first = 0;
        std::uintptr_t last = 0;
        const auto dash = std::from_chars(line.data(), end, first, 16).ptr;
        if (dash == end || std::from_chars(dash + 1, end, last, 16).ec != std::errc()) {
            continue;
        }
        if (own_address >= first && own_address < last) {
            const auto path = line.find('/');
            return path == std::string::npos ? std::string() : line.substr(path);
        }
    }
    return {};
}

std::string Folder_Of(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

} // namespace

std::string Find_Agent_Program() {
    const std::string here = Folder_Of(Path_Of_This_Module());
    for (const std::string& folder :
         {here + "/../libexec/qel", here + "/" QEL_AGENT_FROM_LIBRARY, std::string(QEL_AGENT_FOLDER)}) {
        std::string program = folder + "/qel_share_agent";
        if (::access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    return {};
}

} // namespace QEL::FrontEnd::Platform
