#include "tools/qelfilecache/inspecting/open_inspection.h"

#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

namespace QEL::FrontEnd::Tool {

Open_Inspection Inspect_Cache(const Settings& settings) {
    Open_Inspection opened;
    opened.directory = Directory_To_Inspect(settings);
    opened.cache = std::make_unique<FileCache::Cache_Inspection>(Host::To_Text(opened.directory));
    if (!opened.cache->Metadata_Is_Sound()) {
        Write_Message("warning: the metadata file " + Quoted(Host::To_Text(Metadata_File(opened.directory))) +
                      " is damaged: only the entries before the damage are known.\n"
                      "  Next: the next 'qelfilecache get' saves it and all copies to a folder of their own, and "
                      "starts afresh.");
    }
    if (const std::string problem = opened.cache->Configuration_Problem(); !problem.empty()) {
        Write_Message("warning: a part of the configuration cannot be used and does not count: " +
                      Util::Printable(problem) + "\n  Next: correct that file or its permissions.");
    }
    return opened;
}

std::optional<std::uintmax_t> Size_Of_Copy(const std::string& copy) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(Host::To_Path(copy), error);
    return error ? std::nullopt : std::optional(size);
}

} // namespace QEL::FrontEnd::Tool
