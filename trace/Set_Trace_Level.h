#pragma once

#include "util/Export.h"

/// What the trace file receives.
enum QELPCTRC_LEVEL : int {
    QELPCTRC_OFF = 0,             ///< nothing; no file is created
    QELPCTRC_ERROR = 1,           ///< errors
    QELPCTRC_WARNING = 2,         ///< errors and warnings
    QELPCTRC_DEVELOPER_NOTE = 3,  ///< errors, warnings and developer notes
    QELPCTRC_ADDITIONAL_DATA = 4, ///< everything
    QELPCTRC_TIME_STAMPED = 5     ///< everything, each record behind a time stamp
};

namespace QEL::FrontEnd::FileCache {

using ::QELPCTRC_LEVEL;

/// Replaces the process-wide trace writer by one of the given level.
///
/// The trace file "qelfilecache_<process id>.trc" lies in the configured trace directory, or in the
/// current directory when none is configured. It is opened with the first record that the level
/// lets through and starts afresh each time the level is set. It is for the user alone, and only a plain
/// file: no link is followed and no pipe waited for. When it cannot be opened, the records go to the
/// standard error stream.
///
/// Call it while no other thread uses the cache: a record under way may still use the old writer.
/// @throws std::system_error when the guard of the writer cannot be locked.
QEL_FILECACHE_API void Set_Trace_Level(QELPCTRC_LEVEL level);

} // namespace QEL::FrontEnd::FileCache
