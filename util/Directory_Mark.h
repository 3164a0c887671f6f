#pragma once

#include "util/Non_Copyable.h"

#include <memory>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Util::FileSystem {

/// Shows other processes that this one uses a directory, as long as the object lives. The system
/// removes the mark when the process ends, however it ends. No file is written.
///
/// When the system cannot mark a directory, the object does nothing. A forked child
/// does not keep the marks of its parent. Several threads may make and destroy objects at once.
class Directory_Mark : private Util::Non_Copyable {
public:
    explicit Directory_Mark(const std::string& directory);
    ~Directory_Mark();

private:
    class Mark;
    std::unique_ptr<Mark> m_Mark;
};

/// A process that has marked a directory.
struct Marking_Process {
    int id = 0;
    std::string program; ///< its name; empty when the system does not say
};

/// The other processes that have marked a directory. Empty when the system cannot say. On Windows,
/// processes of other sessions and users are not visible.
std::vector<Marking_Process> Other_Processes_On(const std::string& directory);

} // namespace QEL::FrontEnd::Util::FileSystem
