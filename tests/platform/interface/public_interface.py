"""What the library exports: the classes and functions of its public headers, by their demangled names."""

import re

FILE_CACHE = "QEL::FrontEnd::FileCache::"

CLASSES = {
    FILE_CACHE + "Cache_Inspection",
    FILE_CACHE + "CFileCache",
    FILE_CACHE + "IFileCache",
    "QEL::FrontEnd::OSWRAPI::IOSWrapper",
}

C_FUNCTIONS = {
    "qelfilecache_abi_version",
    "qelfilecache_clear",
    "qelfilecache_close",
    "qelfilecache_error_info",
    "qelfilecache_get",
    "qelfilecache_last_path",
    "qelfilecache_message_separator",
    "qelfilecache_open",
    "qelfilecache_purge",
    "qelfilecache_set_directory",
    "qelfilecache_set_trace_level",
}

FUNCTIONS = {FILE_CACHE + "Set_Trace_Level"} | C_FUNCTIONS

# What a host calls or derives from.
NEEDED = FUNCTIONS | {
    FILE_CACHE + "IFileCache::Instance",
    FILE_CACHE + "IFileCache::IFileCache",
    FILE_CACHE + "IFileCache::~IFileCache",
    FILE_CACHE + "IFileCache::operator=",
    FILE_CACHE + "CFileCache::CFileCache",
    FILE_CACHE + "CFileCache::~CFileCache",
    FILE_CACHE + "CFileCache::operator=",
    FILE_CACHE + "CFileCache::Set_Cache_Directory",
    FILE_CACHE + "CFileCache::Get_Cached_File",
    FILE_CACHE + "CFileCache::Get_Cached_File_and_Status",
    FILE_CACHE + "CFileCache::Clear",
    FILE_CACHE + "CFileCache::Purge_Cache_Folder",
    FILE_CACHE + "CFileCache::Get_Additional_Error_Info",
    FILE_CACHE + "CFileCache::Get_Msg_Separator",
    FILE_CACHE + "Cache_Inspection::Cache_Inspection",
    FILE_CACHE + "Cache_Inspection::~Cache_Inspection",
    FILE_CACHE + "Cache_Inspection::Entries",
    FILE_CACHE + "Cache_Inspection::Explain",
    FILE_CACHE + "Cache_Inspection::Ask_Remote_Side",
    "QEL::FrontEnd::OSWRAPI::IOSWrapper::Create",
}


def plain_name(export):
    """An exported name without arguments and without what compilers add."""
    name = re.sub(r"^(vtable|VTT|typeinfo|typeinfo name|virtual thunk|non-virtual thunk) (for|to) ", "", export)
    return re.sub(r"\[abi:\w+\]", "", name).split("(")[0]


def owner(export):
    """The class, or the function outside of any, that an exported name belongs to."""
    name = plain_name(export)
    if name in CLASSES:
        return name
    scope = name.rpartition("::")[0]
    return scope if scope in CLASSES else name
