#pragma once

#include <libsmbclient.h>

#include <memory>
#include <string>

namespace QEL::FrontEnd::Platform {

/// The SMB client library, loaded at run time: a machine without it runs the product all the same,
/// only without shares.
struct Smb_Library {
    /// Loads the library. It is never unloaded.
    /// @param refusal the loader's reason; set on failure only.
    /// @return null when the library or one of the functions below is missing.
    static std::unique_ptr<Smb_Library> Load(std::string& refusal);

    decltype(&::smbc_new_context) new_context = nullptr;
    decltype(&::smbc_init_context) init_context = nullptr;
    decltype(&::smbc_setDebug) set_debug = nullptr;
    decltype(&::smbc_setLogCallback) set_log_callback = nullptr;
    decltype(&::smbc_setPort) set_port = nullptr;
    decltype(&::smbc_setTimeout) set_timeout = nullptr;
    decltype(&::smbc_setOptionUseKerberos) set_use_kerberos = nullptr;
    decltype(&::smbc_setOptionFallbackAfterKerberos) set_fallback_after_kerberos = nullptr;
    decltype(&::smbc_setOptionNoAutoAnonymousLogin) set_no_anonymous_login = nullptr;
    decltype(&::smbc_setFunctionAuthDataWithContext) set_auth_data_function = nullptr;
    decltype(&::smbc_getFunctionGetCachedServer) get_get_cached_server_function = nullptr;
    decltype(&::smbc_setFunctionGetCachedServer) set_get_cached_server_function = nullptr;
    decltype(&::smbc_getFunctionAddCachedServer) get_add_cached_server_function = nullptr;
    decltype(&::smbc_setFunctionAddCachedServer) set_add_cached_server_function = nullptr;
    decltype(&::smbc_getFunctionStat) get_stat_function = nullptr;
    decltype(&::smbc_getFunctionOpen) get_open_function = nullptr;
    decltype(&::smbc_getFunctionFstat) get_fstat_function = nullptr;
    decltype(&::smbc_getFunctionRead) get_read_function = nullptr;
    decltype(&::smbc_getFunctionClose) get_close_function = nullptr;
};

} // namespace QEL::FrontEnd::Platform
