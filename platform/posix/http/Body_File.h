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

    /// Makes what has been received readable. Nothing on success.
    std::optional<Fault> Finish();

    /// The bytes, after Finish(). Their address is never null.
    std::string_view Bytes() const { return {m_Bytes, m_Size}; }

    /// Gives the body a name that nothing bears yet. After a failure, which is not reported, nothing bears it either.
    void Publish(const std::string& path) const;

private:
    static constexpr const char* Nothing = "";

    bool Open();
    std::optional<Fault> Write_Block();
    Fault Fault_Of_System() const;
    Fault Disk_Full() const;

    const std::string m_Directory;
    File_Descriptor m_Place; ///< the directory; it and the file are not open before the first byte
    File_Descriptor m_File;
    std::uint64_t m_Largest = 0;
    bool m_Is_In_Memory = false;
    Granted_Room m_Room;
    std::string m_Block;          ///< the last bytes: few long writes take half the time of many short ones
    std::uint64_t m_Size = 0;     ///< with the block
    std::uint64_t m_Reserved = 0; ///< that the file system keeps for the file, where it can
    const char* m_Bytes = Nothing;
};

} // namespace QEL::FrontEnd::Platform
