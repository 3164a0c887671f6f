#pragma once

#include "tests/unit/support/Recorded_Trace.h"

#include <cstddef>
#include <string>

/// What the steps that several operations share write to the trace.
namespace Recorded_Trace {

/// An address as the platform's "%p" shows it.
std::string Address_Text(const void* address);

/// An entry as the trace shows it.
std::string Entry_Text(const std::string& cached_file, const std::string& last_modified);

/// The test of an HTTP status.
Records Status_Test(long status, bool ok);

/// Naming a copy after the MIME type of its contents, whose extension is known.
Records Named_From_Contents(const std::string& mime_type, const char* contents, std::size_t size,
                            const std::string& cache_directory_and_uuid, const std::string& extension);

/// Writing the metadata file with one entry.
Records Metadata_Written(const std::string& metadata_path, const std::string& url, const std::string& entry_text);

/// Recording the first copy of a URL, with no other entry in the map.
Records First_Copy_Recorded(const std::string& metadata_path, const std::string& url, const std::string& entry_text);

/// Recording a copy that takes the place of an older one on a local disk, with no other entry in
/// the map.
Records Copy_Replaced(const std::string& metadata_path, const std::string& url, const std::string& entry_text,
                      const std::string& old_cached_file, const std::string& old_last_modified);

} // namespace Recorded_Trace
