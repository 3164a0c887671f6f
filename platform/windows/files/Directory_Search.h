#pragma once

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/handles/Unique_Handle.h"

#include <optional>
#include <string>

namespace QEL::FrontEnd::Platform {

/// A search for the files of one directory whose names match a pattern exactly.
class Directory_Search {
public:
    /// @param pattern a directory without wildcards, a separator, and a name with wildcards. A
    ///        directory that cannot be read holds no match.
    explicit Directory_Search(const std::string& pattern);

    /// The next match; empty when there are no more.
    std::optional<std::string> Next();

private:
    struct Search_Kind {
        using Value = HANDLE;
        static Value Nothing() { return INVALID_HANDLE_VALUE; }
        static void Close(Value search) { ::FindClose(search); }
    };

    bool Candidate_Matches() const;

    std::string m_Name_Pattern;
    Unique_Handle<Search_Kind> m_Search;
    WIN32_FIND_DATAA m_Candidate{};
    bool m_Has_Candidate = false;
};

} // namespace QEL::FrontEnd::Platform
