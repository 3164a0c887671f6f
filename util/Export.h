#pragma once

/// QEL_FILECACHE_API marks exports of the library. Everything else is hidden.
/// QEL_FILECACHE_BUILDING is defined while the library itself is compiled,
/// QEL_FILECACHE_STATIC where its objects are linked into a program directly.
#if defined(QEL_FILECACHE_STATIC)
#define QEL_FILECACHE_API
#elif defined(_WIN32)
#if defined(QEL_FILECACHE_BUILDING)
#define QEL_FILECACHE_API __declspec(dllexport)
#else
#define QEL_FILECACHE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define QEL_FILECACHE_API __attribute__((visibility("default")))
#else
#define QEL_FILECACHE_API
#endif
