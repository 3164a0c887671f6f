#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// The body of a response, which grows while it arrives.
///
/// It grows in place: the C library moves the pages of a large block to a larger one instead of
/// copying their bytes, and pages not yet written to take no memory. So a body never takes more
/// memory than its size, which no standard container promises.
class Body_Buffer {
public:
    /// What a body may have at most: its length is a signed 32-bit number for the cache.
    static constexpr std::size_t Largest_Size = 0x7FFFFFFF;

    /// Prepares for a body of that size, within reason: a server may promise anything.
    void Reserve(std::size_t size);

    /// False when there is no memory; the buffer is as before then.
    [[nodiscard]] bool Append(std::string_view bytes);

    /// Never null.
    const char* Data() const { return m_Bytes != nullptr ? m_Bytes.get() : ""; }
    std::size_t Size() const { return m_Size; }

private:
    [[nodiscard]] bool Grow(std::size_t capacity);

    /// Takes the pages of a large block from the system in parts, ahead of the bytes: taking each as it
    /// is written to costs more than the bytes do.
    void Prepare_Pages(std::size_t size);

    struct Free {
        void operator()(char* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<char, Free> m_Bytes;
    std::size_t m_Size = 0;
    std::size_t m_Capacity = 0;
    std::size_t m_Prepared = 0; ///< bytes from the beginning whose pages have been taken
};

} // namespace QEL::FrontEnd::Platform
