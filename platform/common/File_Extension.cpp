#include "util/File_Extension.h"

#include "platform/common/Separators.h"

namespace QEL::FrontEnd::Util::FileSystem {

std::string File_Extension(const std::string& path) {
    // A drive such as "C:" is no part of the name, and its colon starts no stream name.
    const std::size_t drive_length = path.size() >= 2 && path[1] == ':' ? 2 : 0;
    const auto last_separator = Platform::With_Separators_Alone(path).find_last_of("\\/");
    std::string name = path.substr(last_separator == std::string::npos ? drive_length : last_separator + 1);

    // "setup.exe:stream" and "setup.exe. " both open setup.exe.
    if (const auto stream = name.find(':'); stream != std::string::npos) {
        name.erase(stream);
    }
    const auto last_significant = name.find_last_not_of(" .");
    name.erase(last_significant == std::string::npos ? 0 : last_significant + 1);

    const auto dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

} // namespace QEL::FrontEnd::Util::FileSystem
