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
    "qelfilecache_directory_result",
    "qelfilecache_error_info",
    "qelfilecache_get",
    "qelfilecache_last_path",
    "qelfilecache_last_request",
    "qelfilecache_message_separator",
    "qelfilecache_open",
    "qelfilecache_purge",
    "qelfilecache_remove",
    "qelfilecache_set_directory",
    "qelfilecache_set_trace_level",
}

FUNCTIONS = {FILE_CACHE + name for name in ("Get_Last_Directory_Result", "Get_Last_Request_Info", "Remove_From_Cache",
                                            "Set_Trace_Level")} | C_FUNCTIONS


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
