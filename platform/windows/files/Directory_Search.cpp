#include "platform/common/Directory_Search.h"

#include "platform/common/Wildcard.h"
#include "platform/windows/handles/Unique_Handle.h"
#include "platform/windows/system/Wide_Text.h"
#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

namespace {

bool Same_Letter(wchar_t left, wchar_t right) {
    return left == right || CompareStringOrdinal(&left, 1, &right, 1, TRUE) == CSTR_EQUAL;
}

class Windows_Search : public Directory_Search {
public:
    explicit Windows_Search(const std::string& pattern) {
        const auto name_start = pattern.find_last_of("\\/:") + 1;
        m_Name_Pattern = To_Wide(pattern.substr(name_start));

        // All names are asked for. The system's own matching is looser: there `.*` also matches a name
        // without a dot, `?` also nothing before a dot, and a file's short name counts as well.
        const std::string all_names = pattern.substr(0, name_start) + "*";
        m_Search = Search_Handle(FindFirstFileA(all_names.c_str(), &m_Candidate));
        m_Has_Candidate = m_Search.Is_Open();
    }

    bool Next(std::string& file_name) override {
        bool found = false;
        while (m_Has_Candidate && !found) {
            found = Candidate_Matches();
            if (found) {
                file_name = m_Candidate.cFileName;
            }
            m_Has_Candidate = FindNextFileA(m_Search.Get(), &m_Candidate) != 0;
        }
        return found;
    }

private:
    bool Candidate_Matches() const {
        // A character of the code page may take two bytes; as wide text each is one.
        return (m_Candidate.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
               Matches_Wildcard(To_Wide(m_Candidate.cFileName), m_Name_Pattern, Same_Letter);
    }

    std::wstring m_Name_Pattern;
    Search_Handle m_Search;
    WIN32_FIND_DATAA m_Candidate{};
    bool m_Has_Candidate = false;
};

} // namespace

std::unique_ptr<Directory_Search> Directory_Search::Begin(const std::string& pattern) {
    if (Util::Holds_Line_Break_Or_Nul(pattern)) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    return std::make_unique<Windows_Search>(pattern);
}

} // namespace QEL::FrontEnd::Platform
