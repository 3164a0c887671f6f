#include "tests/support/Samba_Server.h"

#include "tests/support/Socket.h"

#include <pwd.h>

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;

std::string User_Name() {
    const passwd* const entry = ::getpwuid(::geteuid());
    return entry ? entry->pw_name : std::to_string(::geteuid());
}

} // namespace

Samba_Server::Samba_Server() : m_User(User_Name()), m_Port(Free_Port()) {
    fs::create_directory(Files());
    // As root, guests come as "nobody" and have to get through to the shared files.
    fs::permissions(m_Directory.Path(), fs::perms(0755));
    fs::permissions(Files(), fs::perms(0755));
    Write_Configuration();
    Add_User();
    Start();
}

Samba_Server::~Samba_Server() {
    Kill();
}

std::string Samba_Server::Path(const std::string& name, const std::string& share) {
    return "\\\\127.0.0.1\\" + share + "\\" + name;
}

void Samba_Server::Kill() {
    if (m_Leader) {
        Signal_All(SIGKILL);
        m_Leader.reset();
    }
}

void Samba_Server::Restart() {
    Kill();
    Start();
}

void Samba_Server::Freeze() const {
    Signal_All(SIGSTOP);
}

void Samba_Server::Thaw() const {
    Signal_All(SIGCONT);
}

void Samba_Server::Write_Configuration() const {
    std::ostringstream text;
    text << "[global]\n"
            "server role = standalone server\n"
            "interfaces = 127.0.0.1/8\n"
            "bind interfaces only = yes\n"
            "disable netbios = yes\n"
            "disable spoolss = yes\n"
            "load printers = no\n"
            "printcap name = /dev/null\n"
            "rpc start on demand helpers = no\n"
            "map to guest = Bad User\n"
            "store dos attributes = no\n"
            "map archive = no\n"
            "map readonly = yes\n"
         << "guest account = " << (::geteuid() == 0 ? "nobody" : m_User) << "\n"
         << "smb ports = " << m_Port << "\n"
         << "log file = " << (m_Directory.Path() / "log.smbd").string() << "\n";
    for (const auto& [setting, directory] : {std::pair{"private dir", "private"},
                                             {"lock directory", "lock"},
                                             {"state directory", "state"},
                                             {"cache directory", "cache"},
                                             {"pid directory", "pid"},
                                             {"ncalrpc dir", "ncalrpc"}}) {
        fs::create_directory(m_Directory.Path() / directory);
        text << setting << " = " << (m_Directory.Path() / directory).string() << "\n";
    }
    for (const auto& [share, access] : {std::pair<std::string, std::string>{"share", "guest ok = yes"},
                                        {"staff", "valid users = " + m_User},
                                        {"closed", "valid users = nobody_at_all"}}) {
        text << "[" << share << "]\n" << access << "\npath = " << Files().string() << "\n";
    }
    m_Directory.Write("smb.conf", text.str());
}

void Samba_Server::Add_User() const {
    const std::string directory = m_Directory.Path().string();
    const std::string command =
        "pdbedit -s '" + directory + "/smb.conf' -t -a -u '" + m_User + "' > '" + directory + "/output' 2>&1";
    FILE* const program = ::popen(command.c_str(), "w");
    if (program == nullptr) {
        throw std::runtime_error("pdbedit cannot be started");
    }
    std::fprintf(program, "%s\n%s\n", Password, Password);
    if (::pclose(program) != 0) {
        throw std::runtime_error("pdbedit: " + Text_Of("output"));
    }
}

void Samba_Server::Start() {
    // When smbd ends it signals its whole process group: in a session of its own that is nobody else's.
    // It also ends when a pipe on its standard input does. Debian keeps it off a plain user's path.
    const std::string directory = m_Directory.Path().string();
    const std::string command = "PATH=$PATH:/usr/sbin; exec smbd --foreground --no-process-group -s '" + directory +
                                "/smb.conf' -l '" + directory + "' < /dev/null > '" + directory + "/output' 2>&1";
    m_Leader = std::make_unique<Child_Process>(std::vector<std::string>{"setsid", "sh", "-c", command});
    if (!Wait_For_Listener(m_Port, [this] { return m_Leader->Has_Ended(); })) {
        const std::string log = Text_Of("output") + Text_Of("log.smbd");
        Kill();
        throw std::runtime_error("smbd does not run: " + log);
    }
}

void Samba_Server::Signal_All(int signal_number) const {
    if (m_Leader) {
        ::kill(-m_Leader->Id(), signal_number);
    }
}

std::string Samba_Server::Text_Of(const std::string& file) const {
    std::ostringstream text;
    text << std::ifstream(m_Directory.Path() / file).rdbuf();
    return text.str();
}

} // namespace QEL::Tests
