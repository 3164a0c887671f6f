/* A host in C. Prints what does not hold; exit status 0 when everything does.
 *
 *   c_host_test EMPTY_DIRECTORY
 */

#include "filecache/c/qelfilecache_c.h"

#include <stdio.h>
#include <string.h>

static int s_failures = 0;
static int s_checks = 0;

static void Check(int is_true, const char* what, int line) {
    ++s_checks;
    if (!is_true) {
        ++s_failures;
        printf("c_host_test.c:%d: does not hold: %s\n", line, what);
    }
}

#define CHECK(condition) Check((condition) ? 1 : 0, #condition, __LINE__)

int main(int argument_count, char** arguments) {
    char local_file[1024];
    char missing_file[1024];
    char path[QELFILECACHE_USUAL_PATH_SIZE];
    size_t needed = 0;
    int download_error = -2;
    int http_error = -2;
    int file_share_error = -2;
    qelfilecache* cache = NULL;
    qelfilecache* another = NULL;
    FILE* file;

    if (argument_count != 2 || strlen(arguments[1]) > 900) {
        printf("usage: c_host_test EMPTY_DIRECTORY\n");
        return 2;
    }
    sprintf(local_file, "%s/c_host_local_file.txt", arguments[1]);
    sprintf(missing_file, "%s/c_host_missing_file.txt", arguments[1]);
    file = fopen(local_file, "w");
    CHECK(file != NULL && fclose(file) == 0);

    CHECK(qelfilecache_abi_version() == QELFILECACHE_ABI_VERSION);
    CHECK(qelfilecache_open(&cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_open(&another) == QELFILECACHE_OK);
    CHECK(cache != NULL && another != NULL && cache != another);
    CHECK(qelfilecache_purge(cache) == QELFILECACHE_REFUSED);
    CHECK(qelfilecache_set_directory(cache, missing_file) == QELFILECACHE_REFUSED);
    CHECK(qelfilecache_set_directory(cache, arguments[1]) == QELFILECACHE_OK);
    CHECK(qelfilecache_purge(cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_clear(cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_set_trace_level(6) == QELFILECACHE_BAD_ARGUMENT);
    CHECK(qelfilecache_set_trace_level(0) == QELFILECACHE_OK);

    CHECK(qelfilecache_get(cache, local_file, QELFILECACHE_ORDINARY_REQUEST, path, sizeof path, &needed,
                           &download_error, &http_error, &file_share_error) == QELFILECACHE_OK);
    CHECK(strcmp(path, local_file) == 0 && needed == strlen(local_file) + 1);
    CHECK(download_error == 0);
    CHECK(http_error == QELFILECACHE_NOT_ASKED && file_share_error == QELFILECACHE_NOT_ASKED);
    CHECK(qelfilecache_last_path(cache, path, sizeof path, NULL) == QELFILECACHE_OK);
    CHECK(strcmp(path, local_file) == 0);

    /* The other handle has a result of its own: none yet. Nobody listens at port 1. */
    CHECK(qelfilecache_last_path(another, NULL, 0, NULL) == QELFILECACHE_NO_FILE);
    CHECK(qelfilecache_get(another, missing_file, QELFILECACHE_ORDINARY_REQUEST, path, sizeof path, &needed, NULL, NULL,
                           NULL) == QELFILECACHE_NO_FILE);
    CHECK(path[0] == '\0' && needed == 1);
    CHECK(qelfilecache_get(another, "http://127.0.0.1:1/landscape.xml", QELFILECACHE_ORDINARY_REQUEST, path,
                           sizeof path, NULL, &download_error, &http_error, NULL) == QELFILECACHE_NO_FILE);
    CHECK(download_error == 1 && http_error == 2);
    CHECK(qelfilecache_error_info(cache, NULL, 0, &needed) == QELFILECACHE_BUFFER_TOO_SMALL && needed >= 1);
    CHECK(qelfilecache_message_separator(cache, path, sizeof path, &needed) == QELFILECACHE_OK);
    CHECK(strcmp(path, "=======================================") == 0 && needed == 40);

    qelfilecache_close(another);
    qelfilecache_close(cache);
    remove(local_file);
    printf("%d checks, %d failures\n", s_checks, s_failures);
    return s_failures == 0 ? 0 : 1;
}
