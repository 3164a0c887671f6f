#pragma once

#include "util/Non_Copyable.h"

#include <memory>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Util::FileSystem {

/// Shows other processes that this one works on a directory, for as long as the object lives. The system
/// takes the mark back when the process ends, however it ends. No file is written.
///
/// Where the system cannot mark a directory, nothing is marked, and nothing else changes. A forked child
/// does not keep the marks of its parent. May be made and destroyed by several threads at once.
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

/// The other processes that have marked a directory. Empty where the system cannot say: on Windows,
/// processes of another session or user are not seen.
std::vector<Marking_Process> Other_Processes_On(const std::string& directory);

} // namespace QEL::FrontEnd::Util::FileSystem
