#pragma once

#include "platform/posix/share/agent/Agent_Protocol.h"

#include <libsmbclient.h>

#include <functional>

namespace QEL::FrontEnd::Platform {

/// The connections to file servers, made on demand and kept, and the logon to them.
///
/// With a user in the settings it logs on as that user and as nobody else: the library does not say when a
/// server has turned the user into a guest, but guests cannot sign, so signing is required. Without one it uses the
/// Kerberos ticket of the user at the desk where there is one, else it comes as a guest: no name with
/// an empty password ever reaches a server, which would count as a failed logon of that name.
/// A process has one session.
class Smb_Session {
public:
    /// @param settings outlives the session.
    explicit Smb_Session(const Agent_Protocol::Settings& settings);

    /// False when the SMB client library could not set itself up.
    bool Is_Ready() const { return m_Context != nullptr; }

    /// Time limit for single exchanges with a server. It bounds most of what can hang, not all:
    /// name resolution, connecting and closing follow rules of their own.
    void Set_Timeout(std::uint32_t milliseconds);

    void Stat(const char* url, Agent_Protocol::Response& response);

    /// Writes a file to `target`, as far as the request wants it.
    /// @param on_progress called whenever data has arrived and was written.
    void Read(const Agent_Protocol::Request& request, int target, const std::function<void()>& on_progress,
              Agent_Protocol::Response& response);

private:
    void Begin_Operation();
    void Copy_Content(const Agent_Protocol::Request& request, SMBCFILE* file, int target,
                      const std::function<void()>& on_progress, Agent_Protocol::Response& response);
    void Describe_Failure(const char* url, int error, Agent_Protocol::Response& response);
    std::uint32_t Connection_Error(int error) const;
    std::uint32_t File_Error(const char* url, int error);
    bool Parent_Exists(const char* url);

    static void Give_Credentials(SMBCCTX* context, const char* server, const char* share, char* workgroup,
                                 int workgroup_size, char* user, int user_size, char* password, int password_size);
    static SMBCSRV* Find_Connection(SMBCCTX* context, const char* server, const char* share, const char* workgroup,
                                    const char* user);
    static int Keep_Connection(SMBCCTX* context, SMBCSRV* connection, const char* server, const char* share,
                               const char* workgroup, const char* user);
    static void Watch_Logon(void* session, int level, const char* message);

    static Smb_Session* s_session; ///< the one session, for the functions that the library calls

    const Agent_Protocol::Settings& m_Settings;
    SMBCCTX* m_Context = nullptr; ///< lives as long as the process: its end closes the connections at once
    smbc_get_cached_srv_fn m_Find_Connection = nullptr;
    smbc_add_cached_srv_fn m_Keep_Connection = nullptr;
    bool m_Connected = false;     ///< the running operation has reached the share
    bool m_Logon_Refused = false; ///< the running operation was refused at the logon
};

} // namespace QEL::FrontEnd::Platform
