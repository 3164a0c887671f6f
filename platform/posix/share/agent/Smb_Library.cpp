#include "platform/posix/share/agent/Smb_Library.h"

#include <dlfcn.h>

namespace QEL::FrontEnd::Platform {

namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

} // namespace

std::unique_ptr<Smb_Library> Smb_Library::Load(std::string& refusal) {
    void* const library = dlopen("libsmbclient.so.0", RTLD_NOW | RTLD_LOCAL);
    auto functions = std::make_unique<Smb_Library>();
    const bool complete =
        library != nullptr && Find(library, "smbc_new_context", functions->new_context) &&
        Find(library, "smbc_init_context", functions->init_context) &&
        Find(library, "smbc_setDebug", functions->set_debug) &&
        Find(library, "smbc_setLogCallback", functions->set_log_callback) &&
        Find(library, "smbc_setPort", functions->set_port) &&
        Find(library, "smbc_setTimeout", functions->set_timeout) &&
        Find(library, "smbc_setOptionUseKerberos", functions->set_use_kerberos) &&
        Find(library, "smbc_setOptionFallbackAfterKerberos", functions->set_fallback_after_kerberos) &&
        Find(library, "smbc_setOptionNoAutoAnonymousLogin", functions->set_no_anonymous_login) &&
        Find(library, "smbc_setFunctionAuthDataWithContext", functions->set_auth_data_function) &&
        Find(library, "smbc_getFunctionGetCachedServer", functions->get_get_cached_server_function) &&
        Find(library, "smbc_setFunctionGetCachedServer", functions->set_get_cached_server_function) &&
        Find(library, "smbc_getFunctionAddCachedServer", functions->get_add_cached_server_function) &&
        Find(library, "smbc_setFunctionAddCachedServer", functions->set_add_cached_server_function) &&
        Find(library, "smbc_getFunctionStat", functions->get_stat_function) &&
        Find(library, "smbc_getFunctionOpen", functions->get_open_function) &&
        Find(library, "smbc_getFunctionFstat", functions->get_fstat_function) &&
        Find(library, "smbc_getFunctionRead", functions->get_read_function) &&
        Find(library, "smbc_getFunctionClose", functions->get_close_function);
    if (complete) {
        return functions;
    }

    const char* const reason = dlerror();
    refusal = reason ? reason : "libsmbclient.so.0 cannot be loaded";
    return nullptr;
}

} // namespace QEL::FrontEnd::Platform
