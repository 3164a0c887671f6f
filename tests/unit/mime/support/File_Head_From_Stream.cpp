#include "tests/support/Standard_Library.h"
#include "util/File_Head.h"

namespace QEL::FrontEnd::Util::FileSystem {

std::string Read_File_Head(const std::string& path, std::size_t count) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(path + ": " + std::generic_category().message(errno));
    }
    std::string head(count, '\0');
    file.read(head.data(), static_cast<std::streamsize>(count));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

} // namespace QEL::FrontEnd::Util::FileSystem
