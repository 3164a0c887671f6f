#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// What the tool needs of the system it runs on. host_posix.cpp and host_windows.cpp implement it.
namespace QEL::FrontEnd::Tool::Host {

/// Makes sure that all three standard streams exist, so that no file the cache opens can take the
/// place of one, and that a reader who went away shows as a failed write. Call it first.
void Prepare_Standard_Streams();

/// Prepares the calling thread for requests. Keep the result for as long as it makes them.
[[nodiscard]] std::shared_ptr<void> Prepare_Request_Thread();

/// Where the cache lies when the caller names no directory; empty when the system does not say.
std::filesystem::path Default_Cache_Directory();

/// Why there is no default directory, and what the caller can do.
const char* No_Default_Cache_Directory();

/// The name of the user that this process runs as; empty when the system does not say.
std::string User_Name();

/// Creates a directory and its missing parents, accessible to the user alone.
/// @throws std::filesystem::filesystem_error
void Create_Private_Directory(const std::filesystem::path& directory);

/// True when this process may create files in the directory.
bool Is_Writable_Directory(const std::filesystem::path& directory);

/// True when a link stands there that leads to another path.
bool Is_Link(const std::filesystem::path& path);

/// True when what stands there, a link itself and not its target, belongs to a user other than this one and those who
/// run the machine. False where the system does not say.
bool Belongs_To_Another_User(const std::filesystem::path& path);

/// The name of the user whom what stands there belongs to, a link itself and not its target. Empty where the system
/// does not say, and on Windows for what belongs to those who run the machine.
std::string Owner_Of(const std::filesystem::path& path);

/// The path of an existing file or directory without links and other spellings; empty when there is none.
std::filesystem::path Resolved(const std::filesystem::path& path);

/// Writes a text in the narrow encoding of the system, or in UTF-8, to a standard stream. A console of Windows shows it
/// whatever its code page.
/// @return false with errno when not all of it is written.
bool Write(std::FILE* stream, const std::string& text);

/// Opens a file for reading, so that others may write, rename and delete it meanwhile; none with errno when it cannot.
std::FILE* Open_Shared(const std::filesystem::path& path);

/// True when the open file is the one that stands at the path.
bool Is_Still_At(std::FILE* file, const std::filesystem::path& path);

/// From now on, Ctrl-C and SIGTERM no longer end the process.
void Catch_End_Of_Waiting();

/// Waits a quarter of a second. @return false when the user wants the end, or where the system says that nobody reads
/// standard output any more.
bool Wait_A_Moment();

/// Columns of the terminal that the stream goes to; none when it goes elsewhere.
std::optional<std::size_t> Terminal_Width(std::FILE* stream);

/// True when the stream goes to a terminal that understands colour sequences; makes it so where it
/// has to be asked.
bool Prepare_Colours(std::FILE* stream);

void Set_Environment_Variable(const char* name, const std::string& value);

/// Paths from the narrow text of the system, as the command line and the cache use it, and back.
std::filesystem::path To_Path(const std::string& text);
std::string To_Text(const std::filesystem::path& path);

/// The narrow text of the system in UTF-8.
std::string To_Utf8(const std::string& text);

/// The "xn--" form of a server's name with letters beyond ASCII. Empty for any other name, and where the system's HTTP
/// client takes such names.
std::string Ascii_Name(const std::string& name);

/// The same of a text whose lines may be UTF-8 already.
std::string Lines_To_Utf8(const std::string& lines);

} // namespace QEL::FrontEnd::Tool::Host
