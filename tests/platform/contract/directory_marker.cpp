// Marks a directory, says so by making a file, and ends once another file is there.
//
//   directory_marker DIRECTORY READY_FILE END_FILE release|die

#include "tests/support/Standard_Library.h"
#include "util/Directory_Mark.h"

int main(int argc, char** argv) {
    if (argc != 5) {
        return 2;
    }
    const QEL::FrontEnd::Util::FileSystem::Directory_Mark mark(argv[1]);
    std::ofstream(argv[2]) << "marked";
    while (!std::filesystem::exists(argv[3])) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (std::string(argv[4]) == "die") {
        std::_Exit(0);
    }
    return 0;
}
