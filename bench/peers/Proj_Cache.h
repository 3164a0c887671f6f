#pragma once

#include "util/Non_Copyable.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <proj.h>

namespace QEL::Bench {

/// The file cache of the PROJ library: files by URL in one directory, their properties in a data base.
class Proj_Cache : private FrontEnd::Util::Non_Copyable {
public:
    explicit Proj_Cache(const std::filesystem::path& directory) {
        setenv("PROJ_USER_WRITABLE_DIRECTORY", directory.c_str(), 1);
        m_Context = proj_context_create();
        proj_context_set_enable_network(m_Context, 1);
    }
    ~Proj_Cache() { proj_context_destroy(m_Context); }

    /// Sees to it that the file is in the directory: asks the server only when it has not been asked
    /// for a day.
    bool Fetch(const std::string& url) { return proj_download_file(m_Context, url.c_str(), 0, nullptr, nullptr) != 0; }

private:
    PJ_CONTEXT* m_Context;
};

} // namespace QEL::Bench
