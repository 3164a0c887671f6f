#pragma once

#include "util/Non_Copyable.h"

#include <cstdarg>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

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

inline void PrintTo(const Record& record, std::ostream* out) {
    *out << record.level << ' ' << record.text << (record.text.ends_with('\n') ? "" : "\n");
}

using Records = std::vector<Record>;

Records operator+(Records left, const Records& right);

/// Every record since the last Forget().
Records All();
/// The records of these methods alone, each with its pieces and the markers behind it.
Records Of(std::initializer_list<std::string> methods);
/// The records of level 1 to 3 alone: errors, warnings and notes.
Records Above_Additional_Data();
/// The texts as they were written, prefix included.
std::vector<std::string> Raw_Texts();
void Forget();

/// The end of a sequence.
Records Last(const Records& records, std::size_t count);

/// Runs an action with each record that is written during the life of the object.
class During_Each : private QEL::FrontEnd::Util::Non_Copyable {
public:
    explicit During_Each(std::function<void()> action);
    ~During_Each();
};

/// For the recording writer.
void Add(int level, const char* format, std::va_list arguments);

// Expected records.
Records Call(const std::string& method);                               ///< entry without arguments
Records Call(const std::string& method, const std::string& arguments); ///< entry of four pieces
Records Return(const std::string& method, const std::string& value);   ///< exit of four pieces
Records Data(const std::string& method, const std::string& text);      ///< level 4
Records Note(const std::string& method, const std::string& text);      ///< level 3
Records Warning(const std::string& method, const std::string& text);   ///< level 2
Records Error(const std::string& method, const std::string& text);     ///< level 1
Records Bug();                                                         ///< the marker before an error
/// Entry and exit of one of the tests of a URL's kind.
Records Kind_Test(const std::string& method, const std::string& url, bool result);

} // namespace Recorded_Trace
