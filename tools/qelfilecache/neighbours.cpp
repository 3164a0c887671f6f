#include "tools/qelfilecache/neighbours.h"

#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

namespace fs = std::filesystem;
using Util::FileSystem::Directory_Mark;
using Util::FileSystem::Marking_Process;
using Util::FileSystem::Other_Processes_On;

constexpr std::chrono::seconds longest_wait{10};

/// What makes a directory another user's: it, or a link on the way, whose owner decides where it leads tomorrow. Empty
/// when nothing does.
fs::path What_Belongs_To_Another_User(const fs::path& directory) {
    fs::path way;
    for (const fs::path& name : directory) {
        way /= name;
        if (Host::Is_Link(way) && Host::Belongs_To_Another_User(way)) {
            return way;
        }
    }
    const fs::path resolved = Host::Resolved(directory);
    return Host::Belongs_To_Another_User(resolved) ? resolved : fs::path();
}

/// Another run of the tool, or a process that has ended since it was found, so that its name is unknown.
bool Ends_By_Itself(const Marking_Process& process) {
    return process.program.empty() || fs::path(process.program).stem() == "qelfilecache";
}

std::string Names_Of(const std::vector<Marking_Process>& processes) {
    std::string names;
    for (const Marking_Process& process : processes) {
        names += (names.empty() ? "process " : ", process ") + std::to_string(process.id) +
                 (process.program.empty() ? "" : " (" + Util::Printable(process.program) + ")");
    }
    return names;
}

/// Two that wait for each other do not look again at the same time.
void Wait_A_Moment() {
    static std::random_device random;
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 100));
}

} // namespace

std::string Named_Owner_Of(const fs::path& path) {
    const std::string owner = Host::Owner_Of(path);
    return owner.empty() ? "another user" : "user " + Quoted(owner);
}

void Require_Own_List(const fs::path& list) {
    const bool is_link = Host::Is_Link(list);
    if (is_link || Host::Belongs_To_Another_User(list)) {
        throw Usage_Error("the cache's metadata file " + Quoted(Host::To_Text(list)) +
                          (is_link ? " is a link" : " belongs to " + Named_Owner_Of(list)) +
                          ", so the files that it names may be somebody else's\n  Next: move it away; only that makes "
                          "this directory usable.");
    }
}

std::unique_ptr<Directory_Mark> Take_Directory(const fs::path& directory, const std::string& subject, bool force) {
    if (const fs::path others = What_Belongs_To_Another_User(directory); !force && !others.empty()) {
        throw Usage_Error(subject + " belongs to " + Named_Owner_Of(others) +
                          "\n  Next: name a directory of your own, or repeat with --force.");
    }
    const std::string text = Host::To_Text(directory);
    const auto begin = std::chrono::steady_clock::now();
    bool is_said = !Host::Terminal_Width(stderr);
    for (;;) {
        // Marked first, looked at then: of two at the same time, at least one sees the other and steps back.
        auto mark = std::make_unique<Directory_Mark>(text);
        const auto others = Other_Processes_On(text);
        if (force || others.empty()) {
            return mark;
        }
        if (!std::all_of(others.begin(), others.end(), Ends_By_Itself) ||
            std::chrono::steady_clock::now() >= begin + longest_wait) {
            throw Usage_Error(subject + " is in use by " + Names_Of(others) +
                              "\n  Next: end that program, name another directory, or repeat with --force.");
        }
        mark.reset();
        if (!is_said && std::chrono::steady_clock::now() >= begin + std::chrono::seconds(1)) {
            Write_Message("waiting for " + Names_Of(others) + ", which uses the directory ...");
            is_said = true;
        }
        Wait_A_Moment();
    }
}

std::string Other_Users_Of(const fs::path& directory) {
    return Names_Of(Other_Processes_On(Host::To_Text(directory)));
}

bool Lies_In(const fs::path& file, const fs::path& directory) {
    std::error_code error;
    // The file itself may be a link: to delete it deletes the link.
    fs::path folder = Host::Resolved(fs::absolute(file, error).parent_path());
    const fs::path wanted = Host::Resolved(directory);
    while (folder != wanted && !fs::equivalent(folder, wanted, error)) {
        if (!folder.has_relative_path()) {
            return false;
        }
        folder = folder.parent_path();
    }
    return true;
}

} // namespace QEL::FrontEnd::Tool
