#pragma once

#include "filecache/CFileCache.h"
#include "filecache/inspection/Cache_Inspection.h"
#include "filecache/inspection/Read_Only_OS_Wrapper.h"

#include <memory>

namespace QEL::FrontEnd::FileCache {

struct Cache_Inspection::State {
    std::shared_ptr<Read_Only_OS_Wrapper> services;
    std::shared_ptr<CFileCache> cache;  ///< as a process that starts now would have it
    std::shared_ptr<CFileCache> listed; ///< with the entries whose copy is gone, which the other has forgotten
    bool metadata_is_sound = true;
    Response_Details details; ///< of the last response; guarded by s_api_mutex
};

} // namespace QEL::FrontEnd::FileCache
