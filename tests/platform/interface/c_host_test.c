/* A host in C. Prints what does not hold; exit status 0 when everything does.
 *
 *   c_host_test EMPTY_DIRECTORY
 */

#include "filecache/c/qelfilecache_c.h"

#include <stdio.h>
#include <stdlib.h>
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

static char s_local_file[1024];
static char s_missing_file[1024];

static void Serves_A_Local_File(qelfilecache* cache) {
    char path[sizeof s_local_file];
    size_t needed = 0;
    int download_error = -2;
    int http_error = -2;
    int file_share_error = -2;

    CHECK(qelfilecache_get(cache, s_local_file, QELFILECACHE_ORDINARY_REQUEST, path, sizeof path, &needed,
                           &download_error, &http_error, &file_share_error) == QELFILECACHE_OK);
    CHECK(strcmp(path, s_local_file) == 0);
    CHECK(needed == strlen(s_local_file) + 1);
    CHECK(download_error == 0);
    CHECK(http_error == QELFILECACHE_NOT_ASKED);
    CHECK(file_share_error == QELFILECACHE_NOT_ASKED);
}

static void Keeps_A_Path_That_Does_Not_Fit(qelfilecache* cache) {
    char small[4] = {'#', '#', '#', '#'};
    char* path;
    size_t needed = 0;

    CHECK(qelfilecache_get(cache, s_local_file, QELFILECACHE_ORDINARY_REQUEST, small, 3, &needed, NULL, NULL, NULL) ==
          QELFILECACHE_BUFFER_TOO_SMALL);
    CHECK(small[0] == '\0' && small[3] == '#');
    path = (char*)malloc(needed);
    CHECK(path != NULL);
    CHECK(qelfilecache_last_path(cache, path, needed - 1, NULL) == QELFILECACHE_BUFFER_TOO_SMALL);
    CHECK(qelfilecache_last_path(cache, path, needed, NULL) == QELFILECACHE_OK);
    CHECK(strcmp(path, s_local_file) == 0);
    free(path);
}

static void Has_No_File(qelfilecache* cache) {
    char path[QELFILECACHE_USUAL_PATH_SIZE];
    size_t needed = 0;
    int download_error = -2;
    int http_error = -2;

    CHECK(qelfilecache_get(cache, s_missing_file, QELFILECACHE_ORDINARY_REQUEST, path, sizeof path, &needed, NULL, NULL,
                           NULL) == QELFILECACHE_NO_FILE);
    CHECK(path[0] == '\0' && needed == 1);

    /* Nobody listens at this port. */
    CHECK(qelfilecache_get(cache, "http://127.0.0.1:1/landscape.xml", QELFILECACHE_ORDINARY_REQUEST, path, sizeof path,
                           NULL, &download_error, &http_error, NULL) == QELFILECACHE_NO_FILE);
    CHECK(download_error == 1);
    CHECK(http_error == 2);
}

static void Hands_Out_Texts(qelfilecache* cache) {
    char text[QELFILECACHE_USUAL_PATH_SIZE];
    size_t needed = 0;

    CHECK(qelfilecache_message_separator(cache, text, sizeof text, &needed) == QELFILECACHE_OK);
    CHECK(strcmp(text, "=======================================") == 0);
    CHECK(needed == 40);
    CHECK(qelfilecache_error_info(cache, NULL, 0, &needed) == QELFILECACHE_BUFFER_TOO_SMALL);
    CHECK(needed >= 1);
}

static void Refuses(qelfilecache* cache, const char* directory) {
    CHECK(qelfilecache_purge(cache) == QELFILECACHE_REFUSED);
    CHECK(qelfilecache_set_directory(cache, s_missing_file) == QELFILECACHE_REFUSED);
    CHECK(qelfilecache_set_directory(cache, directory) == QELFILECACHE_OK);
    CHECK(qelfilecache_purge(cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_clear(cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_set_trace_level(6) == QELFILECACHE_BAD_ARGUMENT);
    CHECK(qelfilecache_set_trace_level(0) == QELFILECACHE_OK);
    CHECK(qelfilecache_get(NULL, "x", 213, NULL, 0, NULL, NULL, NULL, NULL) == QELFILECACHE_BAD_ARGUMENT);
}

int main(int argument_count, char** arguments) {
    qelfilecache* cache = NULL;
    qelfilecache* another = NULL;
    FILE* file;

    if (argument_count != 2 || strlen(arguments[1]) > 900) {
        printf("usage: c_host_test EMPTY_DIRECTORY\n");
        return 2;
    }
    sprintf(s_local_file, "%s/c_host_local_file.txt", arguments[1]);
    sprintf(s_missing_file, "%s/c_host_missing_file.txt", arguments[1]);
    file = fopen(s_local_file, "w");
    CHECK(file != NULL);
    if (file != NULL) {
        fclose(file);
    }

    CHECK(qelfilecache_abi_version() == QELFILECACHE_ABI_VERSION);
    CHECK(qelfilecache_open(&cache) == QELFILECACHE_OK);
    CHECK(qelfilecache_open(&another) == QELFILECACHE_OK);
    CHECK(cache != NULL && another != NULL && cache != another);

    Refuses(cache, arguments[1]);
    Serves_A_Local_File(cache);
    Keeps_A_Path_That_Does_Not_Fit(cache);
    /* The other handle has a result of its own: none yet. */
    CHECK(qelfilecache_last_path(another, NULL, 0, NULL) == QELFILECACHE_NO_FILE);
    Has_No_File(another);
    Hands_Out_Texts(another);

    qelfilecache_close(another);
    qelfilecache_close(cache);
    remove(s_local_file);
    printf("%d checks, %d failures\n", s_checks, s_failures);
    return s_failures == 0 ? 0 : 1;
}
