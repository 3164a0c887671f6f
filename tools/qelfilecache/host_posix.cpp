#include "tools/qelfilecache/host.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <idn2.h>
#include <poll.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::Tool::Host {

namespace {

constexpr int wait_milliseconds = 250;
volatile std::sig_atomic_t s_has_waited_enough = 0;

/// XDG variables count only when they hold an absolute path.
std::filesystem::path Directory_From_Environment(const char* name) {
    const char* value = ::secure_getenv(name);
    std::filesystem::path directory = value ? value : "";
    return directory.is_absolute() ? directory : std::filesystem::path();
}

std::string Name_Of_User(uid_t number) {
    const passwd* const user = ::getpwuid(number);
    return user != nullptr ? user->pw_name : std::to_string(number);
}

} // namespace

void Prepare_Standard_Streams() {
    // Standard input and output become streams that refuse what is asked of them; a message that
    // nobody can read may just as well vanish.
    const struct {
        int descriptor;
        int mode;
    } streams[] = {{STDIN_FILENO, O_WRONLY}, {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_WRONLY}};
    for (const auto& stream : streams) {
        if (::fcntl(stream.descriptor, F_GETFD) == -1) {
            // The lowest free descriptor is this one: those below are in use by now.
            static_cast<void>(::open("/dev/null", stream.mode));
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::setlocale(LC_CTYPE, ""); // as a desktop program: the HTTP client reads servers' names beyond ASCII by it
}

std::shared_ptr<void> Prepare_Request_Thread() {
    return nullptr; // any thread will do
}

std::filesystem::path Default_Cache_Directory() {
    if (const auto caches = Directory_From_Environment("XDG_CACHE_HOME"); !caches.empty()) {
        return caches / "qel" / "landscape";
    }
    if (const auto home = Directory_From_Environment("HOME"); !home.empty()) {
        return home / ".cache" / "qel" / "landscape";
    }
    return {};
}

const char* No_Default_Cache_Directory() {
    return "neither XDG_CACHE_HOME nor HOME holds an absolute path; set one or give --cache-dir";
}

std::string User_Name() {
    return Name_Of_User(::geteuid());
}

void Create_Private_Directory(const std::filesystem::path& directory) {
    const mode_t previous = ::umask(S_IRWXG | S_IRWXO);
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    ::umask(previous);
    if (error) {
        throw std::filesystem::filesystem_error("cannot create", directory, error);
    }
}

bool Is_Writable_Directory(const std::filesystem::path& directory) {
    return ::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool Is_Link(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

bool Belongs_To_Another_User(const std::filesystem::path& path) {
    constexpr uid_t root = 0;
    struct stat about {};
    return ::lstat(path.c_str(), &about) == 0 && about.st_uid != root && about.st_uid != ::geteuid();
}

std::string Owner_Of(const std::filesystem::path& path) {
    struct stat about {};
    return ::lstat(path.c_str(), &about) == 0 ? Name_Of_User(about.st_uid) : std::string();
}

std::filesystem::path Resolved(const std::filesystem::path& path) {
    std::error_code missing;
    return std::filesystem::canonical(path, missing);
}

bool Write(std::FILE* stream, const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
}

std::FILE* Open_Shared(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "rbe");
}

bool Is_Still_At(std::FILE* file, const std::filesystem::path& path) {
    struct stat open {};
    struct stat there {};
    return ::fstat(::fileno(file), &open) == 0 && ::stat(path.c_str(), &there) == 0 && open.st_dev == there.st_dev &&
           open.st_ino == there.st_ino;
}

void Catch_End_Of_Waiting() {
    for (const int signal : {SIGINT, SIGTERM}) {
        std::signal(signal, [](int) { s_has_waited_enough = 1; });
    }
}

bool Wait_A_Moment() {
    // Reports only that the other end is closed.
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, wait_milliseconds) == 0 && s_has_waited_enough == 0;
}

std::optional<std::size_t> Terminal_Width(std::FILE* stream) {
    winsize size{};
    if (::ioctl(::fileno(stream), TIOCGWINSZ, &size) != 0) {
        return std::nullopt;
    }
    constexpr std::size_t usual_width = 80;
    return size.ws_col == 0 ? usual_width : size.ws_col; // 0: the terminal does not know it
}

bool Prepare_Colours(std::FILE* stream) {
    return ::isatty(::fileno(stream)) == 1;
}

void Set_Environment_Variable(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
}

std::filesystem::path To_Path(const std::string& text) {
    return text;
}

std::string To_Text(const std::filesystem::path& path) {
    return path.string();
}

std::string To_Utf8(const std::string& text) {
    return text;
}

std::string Ascii_Name(const std::string& name) {
    char* ascii = nullptr;
    const bool is_ascii = std::ranges::all_of(name, [](unsigned char letter) { return letter < 0x80; });
    if (is_ascii || ::idn2_to_ascii_8z(name.c_str(), &ascii, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK) {
        return {};
    }
    std::string copy = ascii;
    ::idn2_free(ascii);
    return copy;
}

std::string Lines_To_Utf8(const std::string& lines) {
    return lines;
}

} // namespace QEL::FrontEnd::Tool::Host
