/* A small host of QEL File Cache in C: it asks for files, opens what it gets, and says what happened.
 *
 *   example_host_c CACHE_DIRECTORY REQUEST...
 *
 * Exit status: 0 when there is a file for each request, 1 when one has none, 2 when the host is used wrongly.
 */

#ifndef _WIN32
#define _XOPEN_SOURCE 700 /* for realpath */
#endif

#include <filecache/c/qelfilecache_c.h>

#include <stdio.h>
#include <stdlib.h>

#ifdef _WIN32
#include <objbase.h>
#endif

/* The path that the last request returned, in memory of its own; NULL when memory is exhausted. */
static char* Last_Path(const qelfilecache* cache, size_t size) {
    char* path = (char*)malloc(size);
    if (path != NULL && qelfilecache_last_path(cache, path, size, NULL) != QELFILECACHE_OK) {
        free(path);
        path = NULL;
    }
    return path;
}

/* Shows cause and remedy of the handle's last request. */
static void Show_Cause(const qelfilecache* cache) {
    char text[1024];
    if (qelfilecache_last_request(cache, NULL, NULL, text, sizeof text, NULL) == QELFILECACHE_OK && *text != '\0') {
        puts(text);
    }
}

/* The cache takes its directory letter by letter: always the same absolute path, in memory of its own. NULL when there
 * is none. */
static char* One_Spelling(const char* directory) {
#ifdef _WIN32
    return _fullpath(NULL, directory, 0);
#else
    return realpath(directory, NULL);
#endif
}

/* Opens the file as a host does that wants its content. False when it cannot be read. */
static int Read_File(const char* path) {
    unsigned long size = 0;
    FILE* file = fopen(path, "rb");
    if (file == NULL) {
        return 0;
    }
    while (getc(file) != EOF) {
        ++size;
    }
    fclose(file);
    printf("Copy: %s\nSize: %lu bytes\n", path, size);
    return 1;
}

/* True when there is a file. */
static int Serve(qelfilecache* cache, const char* request) {
    size_t needed = 0;
    int download_error = 0;
    int http_error = QELFILECACHE_NOT_ASKED;
    int file_share_error = QELFILECACHE_NOT_ASKED;
    int is_open = 0;
    char* path = NULL;

    /* Twice when the copy cannot be opened: another thread's request may have replaced it. Its successor has another
     * name. */
    for (int attempt = 0; attempt < 2 && !is_open; ++attempt) {
        /* Without a buffer: the path stays with the handle until its size is known. */
        const int code = qelfilecache_get(cache, request, QELFILECACHE_ORDINARY_REQUEST, NULL, 0, &needed,
                                          &download_error, &http_error, &file_share_error);
        free(path);
        path = NULL;
        if (code < 0) {
            fprintf(stderr, "The request could not be made: code %d\n", code);
            return 0;
        }
        if (code == QELFILECACHE_NO_FILE) {
            break;
        }
        path = Last_Path(cache, needed);
        if (path == NULL) {
            fputs("Memory is exhausted.\n", stderr);
            return 0;
        }
        is_open = Read_File(path);
    }
    if (path == NULL) {
        puts(download_error ? "The file could not be fetched, and no earlier copy of it is left."
                            : "There is no such file.");
    } else if (!is_open) {
        /* The cache does not notice when its directory cannot be written. */
        printf("The copy cannot be opened: %s. The cache directory is gone or cannot be written.\n", path);
    } else {
        puts(download_error ? "The file could not be fetched. This is the last copy; it may be out of date."
                            : "The file is up to date.");
    }
    free(path);
    /* Without an error the codes may be those of an earlier request. */
    if (download_error) {
        printf("Codes for the support: HTTP %d, file share %d\n", http_error, file_share_error);
        Show_Cause(cache);
    }
    return is_open;
}

int main(int argument_count, char** arguments) {
    qelfilecache* cache = NULL;
    char* directory = NULL;
    int status = 1;

    if (argument_count < 3) {
        fputs("usage: example_host_c CACHE_DIRECTORY REQUEST...\n", stderr);
        return 2;
    }
#ifdef _WIN32
    /* A thread that requests web addresses needs COM. */
    if (FAILED(CoInitializeEx(NULL, COINIT_APARTMENTTHREADED))) {
        fputs("COM is not available.\n", stderr);
        return 1;
    }
#endif
    if (qelfilecache_open(&cache) == QELFILECACHE_OK) {
        directory = One_Spelling(arguments[1]);
        if (directory == NULL || (qelfilecache_set_directory(cache, directory) != QELFILECACHE_OK &&
                                  qelfilecache_directory_result(cache) != QELFILECACHE_DAMAGED_LIST)) {
            fprintf(stderr, "There is no cache directory %s. Create it.\n", arguments[1]);
            status = 2;
        } else {
            if (qelfilecache_directory_result(cache) == QELFILECACHE_DAMAGED_LIST) {
                fprintf(stderr, "The list of copies in %s is damaged. The files that it has lost are fetched again.\n",
                        arguments[1]);
            }
            status = 0;
            for (int next = 2; next < argument_count; ++next) {
                status = Serve(cache, arguments[next]) ? status : 1;
            }
        }
        free(directory);
        qelfilecache_close(cache);
    }
#ifdef _WIN32
    CoUninitialize();
#endif
    return status;
}
