#include "fuzz/support/Scratch.h"

#include "fuzz/Require.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace QEL::Fuzz {

const std::filesystem::path& Scratch_Directory() {
    static const std::filesystem::path directory = [] {
        auto path = (std::filesystem::temp_directory_path() / "qel_fuzz_XXXXXX").string();
        REQUIRE(::mkdtemp(path.data()) != nullptr);
        return std::filesystem::path(path);
    }();
    return directory;
}

void Write_File(const std::filesystem::path& path, std::string_view content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    REQUIRE(file);
}

void Empty(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path());
    }
    for (const auto& name : names) {
        std::filesystem::remove_all(name);
    }
}

} // namespace QEL::Fuzz
