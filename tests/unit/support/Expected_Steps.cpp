#include "tests/unit/support/Expected_Steps.h"

#include <array>
#include <cstdio>

namespace Recorded_Trace {

namespace {

Records Recorded(const std::string& metadata_path, const std::string& url, const std::string& entry_text,
                 const Records& removal) {
    return Call("Persist_Downloaded_File_Metadata", "url='" + url + "', cache_entry=" + entry_text) + removal +
           Metadata_Written(metadata_path, url, entry_text);
}

} // namespace

std::string Address_Text(const void* address) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%p", address);
    return text.data();
}

std::string Entry_Text(const std::string& cached_file, const std::string& last_modified) {
    return "<CacheEntry cached_file=\"" + cached_file + "\" last_modified=\"" + last_modified + "\"/>";
}

Records Status_Test(long status, bool ok) {
    return Call("HTTP_Status_OK", "http_status=" + std::to_string(status) + "\n") +
           Return("HTTP_Status_OK", ok ? "true" : "false");
}

Records Named_From_Contents(const std::string& mime_type, const char* contents, std::size_t size,
                            const std::string& cache_directory_and_uuid, const std::string& extension) {
    const std::string path = cache_directory_and_uuid + extension;
    return Call("Generate_Cached_File_Name_from_Contents", "mime_type='" + mime_type +
                                                               "', file_contents=" + Address_Text(contents) +
                                                               ", byte_size=" + std::to_string(size)) +
           Data("Generate_Cached_File_Name_from_Contents", "mime_type2 = '" + mime_type + "'\n") +
           Call("Generate_Cached_File_Name_from_Mime_Type", "mime_type='" + mime_type + "'") +
           Data("Generate_Cached_File_Name_from_Mime_Type", "buf = '" + cache_directory_and_uuid + "'\n") +
           Call("Filter_Dangerous_Extensions", "extension='" + extension + "'") +
           Return("Filter_Dangerous_Extensions", extension) + Return("Generate_Cached_File_Name_from_Mime_Type", path) +
           Return("Generate_Cached_File_Name_from_Contents", path);
}

Records Metadata_Written(const std::string& metadata_path, const std::string& url, const std::string& entry_text) {
    return Call("Serialize") + Return("Get_Cache_Metadata", "'" + metadata_path + "'") +
           Data("Serialize", "Cache metadata stored in '" + metadata_path + "'\n") +
           Data("Serialize", "Serializing metadata for URL '" + url + "':\n" + entry_text + "\n\n") +
           Return("Serialize", "true");
}

Records First_Copy_Recorded(const std::string& metadata_path, const std::string& url, const std::string& entry_text) {
    return Recorded(
        metadata_path, url, entry_text,
        Call("Remove_From_Cache", "url='" + url + "'") +
            Data("Remove_From_Cache", "Cache entry for URL '" + url + "' not found. Removal is not needed.\n") +
            Return("Remove_From_Cache", "true"));
}

Records Copy_Replaced(const std::string& metadata_path, const std::string& url, const std::string& entry_text,
                      const std::string& old_cached_file, const std::string& old_last_modified) {
    return Recorded(metadata_path, url, entry_text,
                    Call("Remove_From_Cache", "url='" + url + "'") +
                        Data("Remove_From_Cache", "Cache entry for URL '" + url +
                                                      "': " + Entry_Text(old_cached_file, old_last_modified) + "\n") +
                        Is_Local_Path(old_cached_file) + Return("Remove_From_Cache", "true"));
}

} // namespace Recorded_Trace
