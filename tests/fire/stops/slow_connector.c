/* A connector that takes its time: it makes the moments of loading, starting and stopping plug-ins
 * long enough to be hit.
 *
 * Each moment is recorded in the file ZV_FIRE_CONNECTOR_FILE, a line each, and then lasts
 * ZV_FIRE_CONNECTOR_US microseconds: "loaded", "aclrmd_init", "aclrmd_deinit".
 */
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#define EXPORTED __attribute__((visibility("default")))

EXPORTED void aclrmd_init(void);
EXPORTED void aclrmd_deinit(void);

static void record(const char *line) {
    const char *path = getenv("ZV_FIRE_CONNECTOR_FILE");
    const int fd = path == NULL ? -1 : open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    if (fd < 0) {
        return;
    }
    ssize_t ignored = write(fd, line, strlen(line));
    (void)ignored;
    close(fd);
}

/* A signal's handler may interrupt it; the rest of the time is slept all the same. */
static void linger(void) {
    const char *us = getenv("ZV_FIRE_CONNECTOR_US");
    struct timespec rest = {0, us == NULL ? 0 : atol(us) * 1000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

__attribute__((constructor)) static void loaded(void) {
    record("loaded\n");
    linger();
}

void aclrmd_init(void) {
    record("aclrmd_init\n");
    linger();
}

void aclrmd_deinit(void) {
    record("aclrmd_deinit\n");
    linger();
}
