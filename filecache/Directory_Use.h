#pragma once

#include <string>

namespace QEL::FrontEnd::FileCache {

class CFileCache;

/// What each object knows of its directory besides its members, which are part of the binary interface: the mark
/// that other processes see, and whether the list of entries is there but could not be read.
///
/// The table of all objects. It is never destroyed: a host's threads may still run while the process ends.
namespace Directory_Use {

/// The object works on this directory from now on, and on no other.
void Begin(const CFileCache& cache, const std::string& directory);

/// The object works on the directory of another one, too.
void Copy(const CFileCache& from, const CFileCache& to);

void End(const CFileCache& cache);

void Set_List_Unread(const CFileCache& cache, bool is_unread);

/// True while the list may hold entries that the object does not know: it must not be overwritten, and copies that
/// no entry of the object names may well be named there.
bool Is_List_Unread(const CFileCache& cache);

} // namespace Directory_Use

} // namespace QEL::FrontEnd::FileCache
