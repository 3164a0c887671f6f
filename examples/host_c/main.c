/* A small host of QEL File Cache in C: it asks for one file, opens what it gets, and tells its user what happened.
 *
 *   example_host_c CACHE_DIRECTORY REQUEST
 *
 * The directory is an absolute path: the cache takes it letter by letter.
 *
 * Exit status: 0 when there is a file, 1 when there is none, 2 when the host is used wrongly.
 */

#include <filecache/c/qelfilecache_c.h>

#include <stdio.h>
#include <stdlib.h>

#ifdef _WIN32
#include <objbase.h>
#endif

/* The path that the last request answered with, in memory of its own; NULL when memory is exhausted. */
static char* Last_Path(const qelfilecache* cache, size_t size) {
    char* path = (char*)malloc(size);
    if (path != NULL && qelfilecache_last_path(cache, path, size, NULL) != QELFILECACHE_OK) {
        free(path);
        path = NULL;
    }
    return path;
}

static void Show_Error_Info(const qelfilecache* cache) {
    char text[2048];
    if (qelfilecache_error_info(cache, text, sizeof text, NULL) == QELFILECACHE_OK && text[0] != '\0') {
        puts(text);
    }
}

/* True when the copy could be read. */
static int Read_Copy(const char* path) {
    unsigned long size = 0;
    FILE* copy = fopen(path, "rb");
    if (copy == NULL) {
        fprintf(stderr, "The copy cannot be opened: %s\n", path);
        return 0;
    }
    while (getc(copy) != EOF) {
        ++size;
    }
    fclose(copy);
    printf("Copy: %s\nSize: %lu bytes\n", path, size);
    return 1;
}

/* True when there is a file. */
static int Serve(qelfilecache* cache, const char* request) {
    size_t needed = 0;
    int download_error = 0;
    int http_error = 0;
    int file_share_error = 0;
    int have_file = 0;

    /* Without a buffer: the answer stays with the handle until its size is known. */
    const int code = qelfilecache_get(cache, request, QELFILECACHE_ORDINARY_REQUEST, NULL, 0, &needed, &download_error,
                                      &http_error, &file_share_error);
    if (code < 0) {
        fprintf(stderr, "The request could not be made: code %d\n", code);
        return 0;
    }
    if (code == QELFILECACHE_NO_FILE) {
        puts(download_error ? "The file could not be fetched, and no earlier copy of it is left."
                            : "There is no such file.");
    } else {
        char* path = Last_Path(cache, needed);
        puts(download_error ? "The file could not be fetched. This is the last copy; it may be out of date."
                            : "The file is up to date.");
        have_file = path != NULL && Read_Copy(path);
        free(path);
    }
    if (download_error) {
        printf("Codes for the support: HTTP %d, file share %d\n", http_error, file_share_error);
        Show_Error_Info(cache);
    }
    return have_file;
}

int main(int argument_count, char** arguments) {
    qelfilecache* cache = NULL;
    int have_file = 0;

    if (argument_count != 3) {
        fputs("usage: example_host_c CACHE_DIRECTORY REQUEST\n", stderr);
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
        if (qelfilecache_set_directory(cache, arguments[1]) != QELFILECACHE_OK) {
            fprintf(stderr, "The cache directory is missing, or its list of copies is damaged: %s\n", arguments[1]);
        }
        have_file = Serve(cache, arguments[2]);
        qelfilecache_close(cache);
    }
#ifdef _WIN32
    CoUninitialize();
#endif
    return have_file ? 0 : 1;
}
