#include "platform/posix/http/Body_Buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::size_t Smallest_Capacity = 16 * 1024;
constexpr std::size_t Largest_Reservation = 256 * 1024 * 1024;

} // namespace

void Body_Buffer::Reserve(std::size_t size) {
    if (size > m_Capacity) {
        // Without memory for the whole the body may still be shorter than promised.
        static_cast<void>(Grow(std::min(size, Largest_Reservation)));
    }
}

bool Body_Buffer::Append(std::string_view bytes) {
    if (bytes.size() > Largest_Size - m_Size) {
        return false;
    }
    const auto needed = m_Size + bytes.size();
    if (needed > m_Capacity && !Grow(std::max({needed, Smallest_Capacity, m_Capacity * 2}))) {
        return false;
    }
    if (!bytes.empty()) {
        Prepare_Pages(needed);
        std::memcpy(m_Bytes.get() + m_Size, bytes.data(), bytes.size());
        m_Size = needed;
    }
    return true;
}

void Body_Buffer::Prepare_Pages(std::size_t size) {
    // Small enough that the emptied pages are still in the processor's cache when their bytes come.
    constexpr std::size_t part = 512 * 1024;
    if (size <= m_Prepared || m_Capacity < 2 * part) {
        return;
    }
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto bytes = reinterpret_cast<std::uintptr_t>(m_Bytes.get());
    const auto begin = (bytes + m_Prepared) / page * page + page; // behind the page with the block's beginning
    const auto end = (bytes + std::min(m_Capacity, size + part)) / page * page;
    if (begin < end) {
        // A system that does not know of it hands the pages out one by one.
        static_cast<void>(::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE));
    }
    m_Prepared = std::min(m_Capacity, size + part);
}

bool Body_Buffer::Grow(std::size_t capacity) {
    auto* const bytes = static_cast<char*>(std::realloc(m_Bytes.get(), capacity));
    if (bytes == nullptr) {
        return false;
    }
    static_cast<void>(m_Bytes.release()); // realloc has freed or extended it
    m_Bytes.reset(bytes);
    m_Capacity = capacity;
    return true;
}

} // namespace QEL::FrontEnd::Platform
