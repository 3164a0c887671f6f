#include "platform/windows/files/Scanner_Wait.h"

#include "platform/windows/handles/Last_Error_Keeper.h"

#include <deque>
#include <mutex>
#include <numeric>
#include <utility>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr DWORD Pause_Length = 20; // milliseconds, as all below
constexpr std::uint64_t Longest_Wait = 1000;
constexpr std::uint64_t Minute = 60'000;
constexpr std::uint64_t Longest_In_A_Minute = 2000;

bool May_Be_In_Use(const std::string& path, DWORD error) {
    if (error != ERROR_ACCESS_DENIED) {
        return error == ERROR_SHARING_VIOLATION;
    }
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY)) == 0;
}

/// The pauses of the last minute: when each ended, and how long it was.
std::mutex s_guard;
std::deque<std::pair<std::uint64_t, std::uint64_t>> s_pauses;

bool Is_Time_Left() {
    const std::lock_guard guard(s_guard);
    while (!s_pauses.empty() && GetTickCount64() - s_pauses.front().first >= Minute) {
        s_pauses.pop_front();
    }
    const auto add = [](std::uint64_t sum, const auto& pause) { return sum + pause.second; };
    return std::accumulate(s_pauses.begin(), s_pauses.end(), std::uint64_t{0}, add) < Longest_In_A_Minute;
}

} // namespace

bool Scanner_Wait::Pause() {
    const Last_Error_Keeper reason_of_failure;
    if (!May_Be_In_Use(m_Path, GetLastError()) || m_Waited >= Longest_Wait || !Is_Time_Left()) {
        return false;
    }
    const std::uint64_t began = GetTickCount64();
    Sleep(Pause_Length);
    const std::uint64_t ended = GetTickCount64();
    m_Waited += ended - began;
    const std::lock_guard guard(s_guard);
    s_pauses.emplace_back(ended, ended - began);
    return true;
}

} // namespace QEL::FrontEnd::Platform
