#include "filecache/CFileCache.h"

#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "util/File_Extension.h"
#include "util/Generate_Uuid.h"
#include "util/Path_Separator.h"

namespace QEL::FrontEnd::FileCache {

std::string CFileCache::Generate_Cached_File_Name_from_Mime_Type(const std::string& mime_type) {
    TRACE_CALL("mime_type='%s'", mime_type.c_str());
    std::string name = Util::FileSystem::Join_Path(m_Cache_Directory, Util::Generate_Uuid());
    TRACE_DATA("buf = '%s'\n", name.c_str());

    std::string extension;
    if (!m_Magic.Is_Initialized()) {
        TRACE_BUG();
        TRACE_ERROR("MIME Magic is not initialized. Unexpected internal state.\n");
        name += Default_Extension;
    } else if (m_Magic.Get_Extension_From_Mime_Type(mime_type, extension) && !extension.empty()) {
        name += Filter_Dangerous_Extensions(extension);
    } else {
        TRACE_DATA("Could not get an extension for MIME type '%s'. Defaulting to '%s'\n", mime_type.c_str(),
                   Default_Extension);
        name += Default_Extension;
    }
    return TRACED(std::move(name));
}

std::string CFileCache::Generate_Cached_File_Name_from_Contents(const std::string& mime_type, const char* file_contents,
                                                                std::size_t byte_size) {
    TRACE_CALL("mime_type='%s', file_contents=%p, byte_size=%d", mime_type.c_str(),
               static_cast<const void*>(file_contents), static_cast<int>(byte_size));
    std::string mime_type2 = mime_type;
    if (!m_Magic.Is_Initialized()) {
        TRACE_BUG();
        TRACE_ERROR("MIME Magic is not initialized. Unexpected internal state.\n");
    } else {
        if (mime_type2.empty()) { // what the server declares decides; only then the contents
            mime_type2 = m_Magic.Get_Mime_Type_For_Data(file_contents, byte_size);
        }
        TRACE_DATA("mime_type2 = '%s'\n", mime_type2.c_str());
    }
    std::string name = Generate_Cached_File_Name_from_Mime_Type(mime_type2);
    return TRACED(std::move(name));
}

std::string CFileCache::Generate_Cached_File_Name_from_File_Share(const std::string& absolute_path) {
    TRACE_CALL("absolute_path='%s'", absolute_path.c_str());
    const std::string ext = Util::FileSystem::File_Extension(absolute_path);
    TRACE_DATA("File's extension is '%s'\n", ext.c_str());

    std::string name;
    if (!ext.empty()) {
        if (ext.front() == '.') { // the message says the opposite of what it reports; it is known so
            TRACE_BUG();
            TRACE_ERROR("Unexpected file extension string. '.' not found in '%s'.\n", ext.c_str());
        }
        name = Util::FileSystem::Join_Path(m_Cache_Directory, Util::Generate_Uuid());
        name += Filter_Dangerous_Extensions("." + ext);
    } else if (!m_Magic.Is_Initialized()) {
        TRACE_BUG();
        TRACE_ERROR("MIME Magic is not initialized. Unexpected internal state.\n");
        name = Generate_Cached_File_Name_from_Mime_Type({});
    } else {
        std::string mime_type;
        try {
            mime_type = m_Magic.Get_Mime_Type_For_File(absolute_path);
        } catch (...) { // whatever the reason, the file can still be copied
            TRACE_ERROR("Failed to open file '%s'.\n", absolute_path.c_str());
        }
        name = Generate_Cached_File_Name_from_Mime_Type(mime_type);
    }
    return TRACED(std::move(name));
}

} // namespace QEL::FrontEnd::FileCache
