#pragma once

// <windows.h> without the macros that rename operations of the interfaces.
#include <windows.h>

#undef FindFirstFile
#undef FindNextFile
