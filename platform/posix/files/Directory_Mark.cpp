#include "util/Directory_Mark.h"

#include "platform/posix/system/File_Descriptor.h"
#include "util/Non_Copyable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

namespace QEL::FrontEnd::Util::FileSystem {

namespace {

/// The mark: a shared lock on the directory itself. Every process may have it at the same time, and the kernel lists
/// who has it.
Platform::File_Descriptor Lock_Directory(const std::string& directory) {
    Platform::File_Descriptor locked(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (locked && ::flock(locked.Get(), LOCK_SH | LOCK_NB) != 0) {
        locked.Reset();
    }
    return locked;
}

/// One line of the kernel's list of locks, such as "3: FLOCK ADVISORY READ 4711 fe:00:1234 0 EOF".
struct Kernel_Lock {
    int process = 0;
    std::string file; ///< device and inode, as the kernel names them
};

bool Read_Shared_Lock(std::istringstream line, Kernel_Lock& lock) {
    std::string number, kind, advisory, access;
    return line >> number >> kind >> advisory >> access >> lock.process >> lock.file && kind == "FLOCK" &&
           access == "READ";
}

/// The value of a line "key: value" of a file that the kernel writes.
std::string Read_Value(const std::string& file, const std::string& key) {
    std::ifstream about(file);
    for (std::string word; about >> word;) {
        if (word == key) {
            about >> word;
            return word;
        }
    }
    return {};
}

/// The device of a mount, such as "254:0": on some file systems not the one that stat gives for their files.
std::string Device_Of_Mount(const std::string& mount) {
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::string id, parent, device;
        if (std::istringstream(line) >> id >> parent >> device && id == mount) {
            return device;
        }
    }
    return {};
}

/// How the kernel's list of locks names a directory. Empty when it cannot be found out.
std::string Name_Among_Locks(const std::string& directory) {
    const Platform::File_Descriptor opened(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string about = "/proc/self/fdinfo/" + std::to_string(opened.Get());
    const std::string inode = opened ? Read_Value(about, "ino:") : std::string();
    unsigned major = 0;
    unsigned minor = 0;
    if (inode.empty() ||
        std::sscanf(Device_Of_Mount(Read_Value(about, "mnt_id:")).c_str(), "%u:%u", &major, &minor) != 2) {
        return {};
    }
    std::array<char, 32> device{};
    std::snprintf(device.data(), device.size(), "%02x:%02x:", major, minor);
    return device.data() + inode;
}

std::string Program_Of(int process) {
    std::string name;
    std::ifstream about("/proc/" + std::to_string(process) + "/comm");
    std::getline(about, name);
    return name;
}

} // namespace

/// The open descriptor that holds the lock. A child of fork() shares it, and would keep the lock beyond the end
/// of its parent: there all are closed.
class Directory_Mark::Mark : private Util::Non_Copyable {
public:
    explicit Mark(const std::string& directory) {
        [[maybe_unused]] static const int s_forks_are_watched =
            ::pthread_atfork([] { s_guard.lock(); }, [] { s_guard.unlock(); }, Close_All);
        const std::lock_guard guard(s_guard);
        m_Directory = Lock_Directory(directory);
        s_marks.insert(this);
    }
    ~Mark() {
        const std::lock_guard guard(s_guard);
        s_marks.erase(this);
        m_Directory.Reset();
    }

private:
    static void Close_All() {
        for (Mark* const mark : s_marks) {
            mark->m_Directory.Reset();
        }
        s_guard.unlock();
    }

    // Never destroyed: threads may still run, and objects die, while the process ends.
    static std::mutex& s_guard;
    static std::set<Mark*>& s_marks;

    Platform::File_Descriptor m_Directory;
};

std::mutex& Directory_Mark::Mark::s_guard = *new std::mutex;
std::set<Directory_Mark::Mark*>& Directory_Mark::Mark::s_marks = *new std::set<Mark*>;

Directory_Mark::Directory_Mark(const std::string& directory) : m_Mark(std::make_unique<Mark>(directory)) {}
Directory_Mark::~Directory_Mark() = default;

std::vector<Marking_Process> Other_Processes_On(const std::string& directory) {
    std::vector<Marking_Process> others;
    const std::string file = Name_Among_Locks(directory);
    std::ifstream locks("/proc/locks");
    for (std::string line; !file.empty() && std::getline(locks, line);) {
        Kernel_Lock lock;
        const bool is_shared = Read_Shared_Lock(std::istringstream(line), lock);
        const bool is_known = std::any_of(others.begin(), others.end(),
                                          [&](const Marking_Process& other) { return other.id == lock.process; });
        if (is_shared && lock.file == file && lock.process > 0 && lock.process != ::getpid() && !is_known) {
            others.push_back({lock.process, Program_Of(lock.process)});
        }
    }
    return others;
}

} // namespace QEL::FrontEnd::Util::FileSystem
