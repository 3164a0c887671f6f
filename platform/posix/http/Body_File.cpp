#include "platform/posix/http/Body_File.h"

#include <cerrno>

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/statvfs.h>

#include "platform/common/WinInet_Error.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_All.h"
#include "platform/posix/system/Write_Signal_Guard.h"

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::uint64_t Largest_In_Memory = 0x7FFFFFFF;
constexpr std::size_t Block_Size = 256U << 10;
constexpr std::uint64_t Reserved_At_A_Time = 64U << 20;
constexpr mode_t Rights = 0666; // less the umask, as those of every new file

std::string In_Megabytes(std::uint64_t bytes) {
    return bytes >> 20 == 0 ? "less than 1 MB" : std::to_string(bytes >> 20) + " MB";
}

} // namespace

Body_File::~Body_File() {
    if (m_Bytes != Nothing) {
        ::munmap(const_cast<char*>(m_Bytes), m_Size); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
}

Body_File::Fault Body_File::Fault_Of_System() const {
    const auto error = Win32_Error_From_Errno(errno);
    return error == Error_Disk_Full ? Disk_Full() : Fault{error, ", in " + m_Directory};
}

Body_File::Fault Body_File::Disk_Full() const {
    struct statvfs system {};
    const bool has_no_file = ::fstatvfs(m_Place.Get(), &system) == 0 && system.f_files > 0 && system.f_favail == 0;
    return {Error_Disk_Full, ": the file system of " + m_Directory + " has room for " +
                                 (has_no_file ? "no more files"
                                              : In_Megabytes(Room_For(m_Place.Get())) +
                                                    " more, as its last 5 % (1 GB at most) stay free")};
}

bool Body_File::Open() {
    m_Largest = Largest_Copy();
    m_Place = File_Descriptor(::open(m_Directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    m_File = File_Descriptor(::open(m_Directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, Rights));
    m_Is_In_Memory = !m_File && errno != ENOSPC && errno != EDQUOT && errno != EIO;
    if (m_Is_In_Memory) {
        m_File = File_Descriptor(::memfd_create("response body", MFD_CLOEXEC));
    }
    m_Block.reserve(Block_Size + CURL_MAX_WRITE_SIZE);
    return static_cast<bool>(m_File);
}

std::optional<Body_File::Fault> Body_File::Append(std::string_view bytes, std::uint64_t content_length) {
    if (!m_File && !Open()) {
        return Fault_Of_System();
    }
    const auto size = m_Size + bytes.size();
    const auto expected = std::max(content_length, size);
    if (expected > m_Largest) {
        return Fault{Error_File_Too_Large, ": LandscapeLargestFile allows " + In_Megabytes(m_Largest)};
    }
    if (m_Is_In_Memory && expected > Largest_In_Memory) {
        return Fault{Error_Http_Invalid_Server_Response, ": it has a body of more than 2 GB"};
    }
    // A body in memory takes its room when it is published.
    const bool is_asked = m_Is_In_Memory || m_Size == 0;
    if ((is_asked && expected > Room_For(m_Place.Get())) || !m_Room.Take(m_Place.Get(), bytes.size())) {
        return Disk_Full();
    }
    m_Block += bytes;
    m_Size = size;
    if (m_Block.size() < Block_Size) {
        return std::nullopt;
    }
    if (!m_Is_In_Memory && m_Reserved < m_Size && m_Size < content_length) {
        const auto more = std::min(content_length - m_Reserved, Reserved_At_A_Time);
        ::fallocate(m_File.Get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(m_Reserved), static_cast<off_t>(more));
        m_Reserved += more;
    }
    return Write_Block();
}

std::optional<Body_File::Fault> Body_File::Write_Block() {
    if (!Write_All(m_File.Get(), m_Block.data(), m_Block.size())) {
        return Fault_Of_System();
    }
    m_Block.clear();
    return std::nullopt;
}

std::optional<Body_File::Fault> Body_File::Finish() {
    if (m_Size == 0) {
        return std::nullopt;
    }
    if (auto fault = Write_Block()) {
        return fault;
    }
    const auto* const mapping = ::mmap(nullptr, m_Size, PROT_READ, MAP_SHARED, m_File.Get(), 0);
    if (mapping == MAP_FAILED) {
        return Fault{Error_Out_Of_Memory, {}};
    }
    m_Bytes = static_cast<const char*>(mapping);
    return std::nullopt;
}

void Body_File::Publish(const std::string& path) const {
    const std::string unnamed = "/proc/self/fd/" + std::to_string(m_File.Get());
    // The second way is for a system without /proc; older ones allow it to root alone.
    if (m_File && !m_Is_In_Memory &&
        (::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ||
         ::linkat(m_File.Get(), "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0)) {
        return;
    }
    const File_Descriptor copy(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, Rights));
    const Write_Signal_Guard guard;
    if (copy && !Write_All(copy.Get(), m_Bytes, m_Size)) {
        ::unlink(path.c_str());
    }
}

} // namespace QEL::FrontEnd::Platform
