#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

/// The trace as a test sees it: each record with its level and its text.
///
/// The prefix is folded: "TID: 7, QEL::FrontEnd::FileCache::CFileCache::Clear[0x5581]/42: CALL\n"
/// reads "Clear[this]: CALL\n", and "TID: 7, ...::Clear/42: return value:" reads
/// "Clear: return value:". A prefix that is not exactly of these forms is left as it is, so that
/// the comparison with an expected record fails.
namespace Recorded_Trace {

struct Record {
    int level;
    std::string text;
    bool operator==(const Record&) const = default;
};

using Records = std::vector<Record>;

/// Every record since the last Forget().
Records All();
/// The records of these methods alone, each with its pieces and the markers behind it.
Records Of(std::initializer_list<std::string> methods);
/// The records of level 1 to 3 alone: errors, warnings and notes.
Records Above_Additional_Data();
/// The texts as they were written, prefix included.
std::vector<std::string> Raw_Texts();
void Forget();

/// Runs an action with each record that is written during the life of the object.
class During_Each : private QEL::FrontEnd::Util::Non_Copyable {
public:
    explicit During_Each(std::function<void()> action);
    ~During_Each();
};

/// For the recording writer.
void Add(int level, const char* format, std::va_list arguments);

} // namespace Recorded_Trace
