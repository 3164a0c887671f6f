#include "platform/windows/files/Directory_Search.h"

#include "platform/windows/files/Wildcard.h"

namespace QEL::FrontEnd::Platform {

Directory_Search::Directory_Search(const std::string& pattern) {
    const auto separator = pattern.find_last_of("\\/:");
    const std::size_t name_start = separator == std::string::npos ? 0 : separator + 1;
    m_Name_Pattern = pattern.substr(name_start);

    // All names are asked for: the system's own matching is not the one that is wanted.
    const std::string all_names = pattern.substr(0, name_start) + "*";
    m_Search = Unique_Handle<Search_Kind>(FindFirstFileA(all_names.c_str(), &m_Candidate));
    m_Has_Candidate = m_Search.Is_Open();
}

std::optional<std::string> Directory_Search::Next() {
    std::optional<std::string> found;
    while (m_Has_Candidate && !found) {
        if (Candidate_Matches()) {
            found = m_Candidate.cFileName;
        }
        m_Has_Candidate = FindNextFileA(m_Search.Get(), &m_Candidate) != 0;
    }
    return found;
}

bool Directory_Search::Candidate_Matches() const {
    return (m_Candidate.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           Matches_Wildcard(m_Candidate.cFileName, m_Name_Pattern);
}

} // namespace QEL::FrontEnd::Platform
