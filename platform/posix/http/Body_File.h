#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/system/Copy_Limits.h"
#include "platform/posix/system/File_Descriptor.h"
#include "util/Non_Copyable.h"

namespace QEL::FrontEnd::Platform {

/// The body of a response. It is received into an unnamed file of the cache directory: it takes no memory, nobody
/// else can reach it, and a killed process leaves nothing of it behind. Where there can be no such file, because of
/// the directory or of its file system, it lies in memory.
class Body_File : private Util::Non_Copyable {
public:
    /// Why the body cannot be received.
    struct Fault {
        std::uint32_t error = 0; ///< Win32 or WinInet number
        std::string detail;      ///< follows the meaning of the number
    };

    /// @param directory of the copy.
    explicit Body_File(const std::string& directory) : m_Directory(directory) {}
    ~Body_File();

    /// Adds bytes. Nothing on success. The exchange holds the signals of failed writes.
    /// @param content_length of the whole body; 0 when unknown.
    std::optional<Fault> Append(std::string_view bytes, std::uint64_t content_length);

    std::uint64_t Size() const { return m_Size; }

    /// Makes what has been received readable; false when that is not possible.
    bool Map();

    /// The bytes, after Map(). Their address is never null.
    std::string_view Bytes() const { return {m_Bytes, m_Size}; }

    /// Gives the body a name that nothing bears yet. After a failure, which is not reported, nothing bears it either.
    void Publish(const std::string& path) const;

private:
    bool Open();

    const std::string m_Directory;
    File_Descriptor m_File; ///< none before the first byte
    std::uint64_t m_Largest = 0;
    bool m_Is_In_Memory = false;
    Granted_Room m_Room;
    std::uint64_t m_Size = 0;
    const char* m_Bytes = "";
};

} // namespace QEL::FrontEnd::Platform
