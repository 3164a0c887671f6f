#include "platform/common/Atomic_Copy.h"

#include "platform/posix/share/Share_Files.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_All.h"
#include "platform/posix/system/Write_Signal_Guard.h"
#include "util/Control_Characters.h"
#include "util/Non_Copyable.h"
#include "util/Path_Queries.h"

#include <cerrno>
#include <limits>
#include <memory>

#include <fcntl.h>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr mode_t Rights_Carried_Over = 0666;
constexpr mode_t Any_Write_Right = 0222;

/// The unfinished copy beside its target.
class Partial_File : private Util::Non_Copyable {
public:
    explicit Partial_File(const std::string& target) : m_Target(target) {}
    ~Partial_File() {
        if (!m_Path.empty()) {
            ::unlink(m_Path.c_str());
        }
    }

    int Descriptor() const { return m_File.Get(); }

    std::uint32_t Create(mode_t rights) {
        for (int attempt = 0; attempt < Partial_Name_Attempts; ++attempt) {
            std::string path = Next_Partial_Name(m_Target);
            m_File = File_Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights));
            if (m_File) {
                m_Path = std::move(path);
                return Error_Success;
            }
            if (errno != EEXIST) {
                // The file is to be created, so what is missing is its directory.
                return errno == ENOENT ? Error_Path_Not_Found : Win32_Error_From_Errno(errno);
            }
        }
        return Error_File_Exists;
    }

    std::uint32_t Make_Read_Only() {
        struct stat status {};
        if (::fstat(m_File.Get(), &status) != 0 ||
            ::fchmod(m_File.Get(), status.st_mode & Rights_Carried_Over & ~Any_Write_Right) != 0) {
            return Win32_Error_From_Errno(errno);
        }
        return Error_Success;
    }

    /// Gives the complete file the target's name.
    std::uint32_t Publish(bool fail_if_exists) {
        if (::fsync(m_File.Get()) != 0 || ::close(m_File.Release()) != 0 ||
            !(fail_if_exists ? Rename_To_New_Name() : Replace_Target())) {
            return Win32_Error_From_Errno(errno);
        }
        return Error_Success;
    }

private:
    bool Replace_Target() {
        if (::rename(m_Path.c_str(), m_Target.c_str()) != 0) {
            return false;
        }
        m_Path.clear();
        return true;
    }

    bool Rename_To_New_Name() {
        if (::renameat2(AT_FDCWD, m_Path.c_str(), AT_FDCWD, m_Target.c_str(), RENAME_NOREPLACE) == 0) {
            m_Path.clear();
            return true;
        }
        // Some file systems, NFS among them, cannot rename without replacing; a second name does the
        // same, and the destructor removes the first.
        return (errno == EINVAL || errno == ENOSYS) && ::link(m_Path.c_str(), m_Target.c_str()) == 0;
    }

    const std::string m_Target;
    std::string m_Path;
    File_Descriptor m_File;
};

std::uint32_t Copy_Content(int source, int target) {
    // The kernel copies what it can by itself. Where it stops, at the end of the file or because the
    // file systems do not suit it, both positions are right for the loop below to go on.
    const Write_Signal_Guard guard;
    constexpr std::size_t all_the_rest = std::numeric_limits<ssize_t>::max() & ~std::size_t{0xFFFF};
    while (::copy_file_range(source, nullptr, target, nullptr, all_the_rest, 0) > 0) {
    }

    constexpr std::size_t block_size = std::size_t{1} << 18;
    const auto block = std::make_unique_for_overwrite<char[]>(block_size);
    for (;;) {
        const ssize_t length = TEMP_FAILURE_RETRY(::read(source, block.get(), block_size));
        if (length == 0) {
            return Error_Success;
        }
        if (length < 0 || !Write_All(target, block.get(), static_cast<std::size_t>(length))) {
            return Win32_Error_From_Errno(errno);
        }
    }
}

bool Same_File(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

std::uint32_t Fill_From_Local_File(Partial_File& copy, const std::string& source, const std::string& target) {
    File_Descriptor file;
    struct stat source_status {};
    if (const auto error = Open_For_Reading(source, file, source_status); error != Error_Success) {
        return error;
    }
    struct stat target_status {};
    if (::stat(target.c_str(), &target_status) == 0 && Same_File(source_status, target_status)) {
        return Error_Sharing_Violation;
    }
    // The copy belongs to the caller, who has to be able to read it whatever the rights of the
    // source's owner were.
    if (const auto error = copy.Create((source_status.st_mode & Rights_Carried_Over) | S_IRUSR);
        error != Error_Success) {
        return error;
    }
    return Copy_Content(file.Get(), copy.Descriptor());
}

std::uint32_t Fill_From_Share(Partial_File& copy, const std::string& source) {
    if (const auto error = copy.Create(S_IRUSR | S_IWUSR); error != Error_Success) {
        return error;
    }
    Share_File_Info info;
    if (const auto error = Copy_Share_File(source, copy.Descriptor(), info); error != Error_Success) {
        return error;
    }
    const bool read_only = (info.attributes & FrontEnd::Util::FileSystem::Attribute_Read_Only) != 0;
    return read_only ? copy.Make_Read_Only() : std::uint32_t{Error_Success};
}

std::uint32_t Copy_To_Target(const std::string& source, const std::string& target, bool fail_if_exists) {
    if (Util::Holds_Line_Break_Or_Nul(source)) {
        return Error_Invalid_Name;
    }
    if (const auto refusal = Refusal_As_Local(target); refusal != Error_Success) {
        return refusal;
    }
    // Found out early, before anything large is copied in vain; what decides is the publication.
    struct stat target_status {};
    if (fail_if_exists && ::lstat(target.c_str(), &target_status) == 0) {
        return Error_File_Exists;
    }

    Partial_File copy(target);
    const auto error =
        Is_Share_Path(source) ? Fill_From_Share(copy, source) : Fill_From_Local_File(copy, source, target);
    return error == Error_Success ? copy.Publish(fail_if_exists) : error;
}

} // namespace

bool Copy_File_Atomically(const std::string& source, const std::string& target, bool fail_if_exists) {
    return Note_Error(Copy_To_Target(source, target, fail_if_exists)) == Error_Success;
}

} // namespace QEL::FrontEnd::Platform
