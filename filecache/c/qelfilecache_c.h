/**
 * @file
 * The cache for hosts in C, and in every language and compiler that can call C.
 *
 * @code
 * qelfilecache *cache;
 * char path[QELFILECACHE_USUAL_PATH_SIZE];
 * size_t needed;
 *
 * if (qelfilecache_open(&cache) != QELFILECACHE_OK) return;
 * qelfilecache_set_directory(cache, "/var/cache/pad");
 * if (qelfilecache_get(cache, "http://server/landscape.xml", QELFILECACHE_ORDINARY_REQUEST,
 *                      path, sizeof path, &needed, NULL, NULL, NULL) == QELFILECACHE_OK) {
 *     use(path);
 * }
 * qelfilecache_close(cache);
 * @endcode
 *
 * Handles: all handles of a process use the one cache of the process and its directory. A handle keeps the
 * result of its last request. Several threads may use the cache at once, each with its own handle. Threads may share
 * a handle, but not use it at the same time. Requests wait for each other, downloads included.
 * On Windows a thread that requests a web address must have initialised COM.
 *
 * Texts: NUL-terminated, in the narrow encoding of the system (Windows: the process's ANSI code page, elsewhere the
 * bytes of the file system, normally UTF-8). A function that returns a text takes a buffer, its size, and a place
 * for the size that the text needs, its NUL included. A text is copied as a whole or not at all: a cut path would name
 * another file. When the buffer is too small, it receives an empty text and the result is
 * QELFILECACHE_BUFFER_TOO_SMALL. The handle keeps the text: get it with a larger buffer, a path with
 * qelfilecache_last_path(). To ask for the size, pass NULL as the buffer and 0 as its size. The place for the needed
 * size may be NULL.
 *
 * Errors: no exception leaves a function, and none ends the process. A code above 0 comes from the cache. A code
 * below 0 means that the function itself failed; texts are then empty and the needed size is 0.
 *
 * Binary interface: functions with the platform's C calling convention (on Windows __cdecl, names undecorated on
 * 64 bit). Arguments are pointers, size_t and int only, no structures. A handle is an opaque pointer.
 * Functions and codes are added, never changed, while QELFILECACHE_ABI_VERSION stays.
 */
#ifndef QELFILECACHE_C_H
#define QELFILECACHE_C_H

#include <stddef.h> /* NOLINT(modernize-deprecated-headers): this header is for C, too */

/** Marks what the library exports. */
#if defined(QEL_FILECACHE_STATIC)
#define QELFILECACHE_C_API
#elif defined(_WIN32)
#if defined(QEL_FILECACHE_BUILDING)
#define QELFILECACHE_C_API __declspec(dllexport)
#else
#define QELFILECACHE_C_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define QELFILECACHE_C_API __attribute__((visibility("default")))
#else
#define QELFILECACHE_C_API
#endif

/** The calling convention. */
#if defined(_WIN32)
#define QELFILECACHE_CALL __cdecl
#else
#define QELFILECACHE_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** The version of this interface that the header describes, see qelfilecache_abi_version(). */
#define QELFILECACHE_ABI_VERSION 1

/** A size for most paths. Any size works: the handle keeps a path that does not fit. */
#define QELFILECACHE_USUAL_PATH_SIZE 512

/** Done; a request has a file. */
#define QELFILECACHE_OK 0
/** The cache refused, see the function. */
#define QELFILECACHE_REFUSED 1
/** The request was made; there is no file to open. */
#define QELFILECACHE_NO_FILE 2
/** The buffer is too small for the text. The operation is done, and the handle keeps the text. */
#define QELFILECACHE_BUFFER_TOO_SMALL 3
/** The directory is set; its list of copies is damaged. */
#define QELFILECACHE_DAMAGED_LIST 4
/** An argument is NULL or out of its range. */
#define QELFILECACHE_BAD_ARGUMENT (-1)
/** Memory is exhausted. */
#define QELFILECACHE_OUT_OF_MEMORY (-2)
/** The system refused a resource, such as a lock. */
#define QELFILECACHE_SYSTEM_ERROR (-3)
/** Another failure of the library itself. */
#define QELFILECACHE_UNEXPECTED_ERROR (-4)

/** A remote error code that the request did not set, see qelfilecache_get(). */
#define QELFILECACHE_NOT_ASKED (-1)

/** The kind of an ordinary request. */
#define QELFILECACHE_ORDINARY_REQUEST 213
/** A kind for which the host opens a writable file on a share itself. */
#define QELFILECACHE_WRITABLE_ORIGINAL 201

/** A handle of the cache. */
typedef struct qelfilecache qelfilecache;

/** The version of the interface that the loaded library has. */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_abi_version(void);

/**
 * Opens a handle.
 * @param cache set to the handle, to NULL on failure.
 * @return QELFILECACHE_OK or a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_open(qelfilecache** cache);

/** Closes a handle, which must not be used afterwards. The cache itself lives on. NULL is ignored. */
QELFILECACHE_C_API void QELFILECACHE_CALL qelfilecache_close(qelfilecache* cache);

/**
 * Sets the directory of the copies, for the whole process.
 * @param cache the handle.
 * @param directory absolute path of an existing directory, used exactly as passed.
 * @return QELFILECACHE_OK; QELFILECACHE_REFUSED for a missing or empty directory (nothing changes) and for one whose
 *         list of copies is damaged (it is set, and requests are served); a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_set_directory(qelfilecache* cache, const char* directory);

/**
 * How the last qelfilecache_set_directory() of this handle ended. It separates the two cases of QELFILECACHE_REFUSED.
 * @return QELFILECACHE_OK; QELFILECACHE_REFUSED for a missing or empty directory, and before the first call;
 *         QELFILECACHE_DAMAGED_LIST; QELFILECACHE_BAD_ARGUMENT.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_directory_result(const qelfilecache* cache);

/**
 * Requests a file: returns the path of a local file with the content of `url_or_path`.
 *
 * @param cache the handle.
 * @param url_or_path web address, "file:" URL, path on a share or local path.
 * @param request_kind QELFILECACHE_ORDINARY_REQUEST, or QELFILECACHE_WRITABLE_ORIGINAL: then the result for a writable
 *        file on a share is QELFILECACHE_NO_FILE, and the host opens the original.
 * @param path receives the path; see "Texts" at the top.
 * @param path_size the size of `path`.
 * @param path_needed may be NULL; set to the size that the path needs.
 * @param download_error may be NULL; set to 1 when the remote file could not be fetched or checked, also when the last
 *        good copy is served, otherwise to 0.
 * @param http_error may be NULL; set to the outcome for a web address: 0 ok, 1 the check failed, 2 the download
 *        failed, 3 the copy got no name; QELFILECACHE_NOT_ASKED when no server was asked.
 * @param file_share_error may be NULL; the same for a share: 0 ok, 1 the source could not be examined, 2 the copy
 *        failed, 3 the copy got no name, 4 the copy is missing; QELFILECACHE_NOT_ASKED.
 *        Read the two codes only when download_error is 1. Otherwise they may come from an earlier request: not every
 *        success resets them.
 * @return QELFILECACHE_OK, QELFILECACHE_NO_FILE, QELFILECACHE_BUFFER_TOO_SMALL (the request was made and has a file:
 *         get its path with qelfilecache_last_path()), or a code below 0. Opening the file can fail: the cache does
 *         not notice that its directory is gone or not writable, and another thread's request
 *         may have replaced and deleted the copy.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_get(qelfilecache* cache, const char* url_or_path,
                                                          int request_kind, char* path, size_t path_size,
                                                          size_t* path_needed, int* download_error, int* http_error,
                                                          int* file_share_error);

/**
 * The path that the last request of this handle returned. Makes no request.
 * @return QELFILECACHE_OK, QELFILECACHE_NO_FILE when there was no request or it had no file,
 *         QELFILECACHE_BUFFER_TOO_SMALL, QELFILECACHE_BAD_ARGUMENT.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_last_path(const qelfilecache* cache, char* path, size_t path_size,
                                                                size_t* path_needed);

/**
 * The text for the user about the last failed connection or certificate in the process, as of the end of the last
 * request of this handle; empty when there was none. It stays after later requests that succeed or fail otherwise:
 * show it only when its line "File: " is the URL whose request has just ended with a download error.
 * @return QELFILECACHE_OK, QELFILECACHE_BUFFER_TOO_SMALL, QELFILECACHE_BAD_ARGUMENT.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_error_info(const qelfilecache* cache, char* text,
                                                                 size_t text_size, size_t* text_needed);

/**
 * How the last exchange with a server or share in the last request of this handle ended. Both numbers are 0 and the
 * text is empty when it asked no server, as for a copy that had not expired.
 * @param http_status may be NULL; set to the status of the server's response, or of a proxy's that refused the
 * connection; 0: none.
 * @param system_error may be NULL; set to why there was no response or no copy, a WinInet or Win32 error number; 0 when
 *        nothing failed.
 * @param text cause and remedy for people, at most 1023 bytes; empty when all went well.
 * @return QELFILECACHE_OK, QELFILECACHE_BUFFER_TOO_SMALL, QELFILECACHE_BAD_ARGUMENT.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_last_request(const qelfilecache* cache, int* http_status,
                                                                   int* system_error, char* text, size_t text_size,
                                                                   size_t* text_needed);

/**
 * A line of equals signs, to put between messages.
 * @return QELFILECACHE_OK, QELFILECACHE_BUFFER_TOO_SMALL or a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_message_separator(const qelfilecache* cache, char* text,
                                                                        size_t text_size, size_t* text_needed);

/**
 * Forgets every copy and deletes it.
 * @return QELFILECACHE_OK; QELFILECACHE_REFUSED when some copies could not be deleted; a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_clear(qelfilecache* cache);

/**
 * Forgets the copy of one request and deletes it.
 * @param url_or_path as for qelfilecache_get().
 * @return QELFILECACHE_OK, also when there is no copy; QELFILECACHE_REFUSED when it could not be deleted: then it is
 *         not forgotten; a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_remove(qelfilecache* cache, const char* url_or_path);

/**
 * Deletes every file in the directory that is named like a copy, even unknown ones.
 * @return QELFILECACHE_OK; QELFILECACHE_REFUSED when no directory is set; a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_purge(qelfilecache* cache);

/**
 * Sets the trace level of the whole process. Call it while no other thread uses the cache.
 * @param level 0 nothing, 1 errors, 2 warnings too, 3 notes too, 4 everything, 5 everything with time stamps.
 * @return QELFILECACHE_OK or a code below 0.
 */
QELFILECACHE_C_API int QELFILECACHE_CALL qelfilecache_set_trace_level(int level);

#ifdef __cplusplus
}
#endif

#endif
