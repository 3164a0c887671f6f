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
        // As wide text: a byte of a double-byte character may look like a separator.
        const std::wstring wide = To_Wide(pattern);
        const auto name_start = wide.find_last_of(L"\\/:") + 1;
        m_Name_Pattern = wide.substr(name_start);

        // All names are asked for. The system's own matching is looser: there `.*` also matches a name
        // without a dot, `?` also nothing before a dot, and a file's short name counts as well.
        // The narrow functions end a search at a name that is too long for them.
        const std::wstring all_names = wide.substr(0, name_start) + L"*";
        m_Search = Search_Handle(FindFirstFileW(all_names.c_str(), &m_Candidate));
        m_Has_Candidate = m_Search.Is_Open();
    }

    bool Next(std::string& file_name) override {
        bool found = false;
        while (m_Has_Candidate && !found) {
            found = Candidate_Matches();
            if (found) {
                file_name = To_Narrow(m_Candidate.cFileName);
            }
            m_Has_Candidate = FindNextFileW(m_Search.Get(), &m_Candidate) != 0;
        }
        return found;
    }

private:
    bool Candidate_Matches() const {
        return (m_Candidate.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
               Matches_Wildcard(std::wstring_view(m_Candidate.cFileName), std::wstring_view(m_Name_Pattern),
                                Same_Letter);
    }

    std::wstring m_Name_Pattern;
    Search_Handle m_Search;
    WIN32_FIND_DATAW m_Candidate{};
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
