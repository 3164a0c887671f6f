#pragma once

// <windows.h>, kept small, and without the macros that rename operations of the interfaces.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#undef FindFirstFile
#undef FindNextFile
