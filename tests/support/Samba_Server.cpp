#include "tests/support/Samba_Server.h"

#include "tests/support/Socket.h"

#include <pwd.h>

namespace QEL::Tests {

namespace fs = std::filesystem;

Samba_Server::Samba_Server() : m_Port(Free_Port()) {
    const passwd* const user = ::getpwuid(::geteuid());
    m_User = user != nullptr ? user->pw_name : std::to_string(::geteuid());
    fs::create_directory(Files());
    // As root, guests come as "nobody" and have to get through to the shared files.
    fs::permissions(m_Directory.Path(), fs::perms(0755));
    fs::permissions(Files(), fs::perms(0755));
    Write_Configuration();
    const std::string password = std::string(Password) + "\n";
    m_Directory.Write("passwords", password + password);
    Child_Process add_user(Shell("pdbedit -t -a -u '" + m_User + "' < passwords"));
    if (add_user.Wait() != 0) {
        throw std::runtime_error("pdbedit: " + Content_Of(m_Directory / "output"));
    }
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

void Samba_Server::Write_Configuration() const {
    std::string text = R"([global]
server role = standalone server
interfaces = 127.0.0.1/8
bind interfaces only = yes
disable netbios = yes
disable spoolss = yes
load printers = no
printcap name = /dev/null
rpc start on demand helpers = no
map to guest = Bad User
store dos attributes = no
map archive = no
map readonly = yes
)";
    text += std::string("guest account = ") + (::geteuid() == 0 ? "nobody" : m_User) +
            "\nsmb ports = " + std::to_string(m_Port) + "\nlog file = " + m_Directory / "log.smbd" + "\n";
    for (const std::string setting :
         {"private dir", "lock directory", "state directory", "cache directory", "pid directory", "ncalrpc dir"}) {
        text += setting + " = " + m_Directory.Make_Directory(setting.substr(0, setting.find(' '))) + "\n";
    }
    for (const auto& [share, access] : {std::pair<std::string, std::string>{"share", "guest ok = yes"},
                                        {"staff", "valid users = " + m_User},
                                        {"closed", "valid users = nobody_at_all"}}) {
        text += "[" + share + "]\n" + access + "\npath = " + Files().string() + "\n";
    }
    m_Directory.Write("smb.conf", text);
}

std::vector<std::string> Samba_Server::Shell(const std::string& command) const {
    // Debian keeps smbd off a plain user's path.
    return {"setsid", "sh", "-c",
            "cd " + m_Directory.Path().string() + " && PATH=$PATH:/usr/sbin && exec " + command +
                " -s \"$PWD/smb.conf\" > output 2>&1"};
}

void Samba_Server::Start() {
    // When smbd ends it signals its whole process group: in a session of its own that is nobody else's.
    // It also ends when a pipe on its standard input does.
    m_Leader = std::make_unique<Child_Process>(Shell("smbd --foreground --no-process-group -l \"$PWD\" < /dev/null"));
    if (!Wait_For_Listener(m_Port, [this] { return m_Leader->Has_Ended(); })) {
        const std::string log = Content_Of(m_Directory / "output") + Content_Of(m_Directory / "log.smbd");
        Kill();
        throw std::runtime_error("smbd does not run: " + log);
    }
}

void Samba_Server::Signal_All(int signal_number) const {
    if (m_Leader) {
        ::kill(-m_Leader->Id(), signal_number);
    }
}

} // namespace QEL::Tests
