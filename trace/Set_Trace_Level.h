#pragma once

#include "util/Export.h"

/// The content of the trace file.
enum QELPCTRC_LEVEL : int {
    QELPCTRC_OFF = 0,             ///< nothing; no file is created
    QELPCTRC_ERROR = 1,           ///< errors
    QELPCTRC_WARNING = 2,         ///< errors and warnings
    QELPCTRC_DEVELOPER_NOTE = 3,  ///< errors, warnings and developer notes
    QELPCTRC_ADDITIONAL_DATA = 4, ///< everything
    QELPCTRC_TIME_STAMPED = 5     ///< everything, each record after a time stamp
};

namespace QEL::FrontEnd::FileCache {

using ::QELPCTRC_LEVEL;

/// Replaces the process-wide trace writer by one of the given level.
///
/// The trace file "qelfilecache_<process id>.trc" lies in the configured trace directory, or in the
/// current directory when none is configured. After each call, the first record that
/// the level includes creates the file or empties it. Only the user can read it. It must be a plain file:
/// links are not followed, pipes not waited for. When it cannot be opened, the records go to the
/// standard error stream.
///
/// Call it while no other thread uses the cache: a record under way may still use the old writer.
/// @throws std::system_error when the lock of the writer cannot be taken.
QEL_FILECACHE_API void Set_Trace_Level(QELPCTRC_LEVEL level);

} // namespace QEL::FrontEnd::FileCache
