/* acl_rm_connector.so: a connector plug-in that records when it is started and stopped.
 *
 *   ZV_ACL_RM_CONNECTOR_FILE=/run/acl_rm.connector zv_acl_rm
 * --connector=/usr/lib/acl_rm_connector.so
 *
 * For whoever writes a connector of their own. A connector is a shared library that lives inside
 * the daemon and ties it to something else on the host. It exports two functions without arguments,
 * whose results are ignored; the daemon refuses a library that lacks either.
 *   - aclrmd_init is called once on the main thread, when the cache is built and clients can
 *     connect, but before the first request is served: threads started here find a daemon that
 *     answers. It must return.
 *   - aclrmd_deinit is called once on the thread that tears the daemon down, after everything else
 *     is gone, the log included. It must end the connector's own threads: the library is unloaded
 *     as soon as it returns. A daemon that fails to start up may call it without aclrmd_init.
 * The daemon's verbosities (acl_rm_verbosity_level, rpc_verbosity_level, acl_rm_db_verbosity_level:
 * uint32_t) and the outlets of its own log sink are exported to plug-ins and may be set here.
 *
 * This one appends the name of the function called, a line each, to the file named by
 * ZV_ACL_RM_CONNECTOR_FILE, or to standard error: the daemon's log has no room for the second.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* The daemon looks both functions up by name, so they have to be visible and keep their C names. */
#define EXPORTED __attribute__((visibility("default")))

EXPORTED void aclrmd_init(void);
EXPORTED void aclrmd_deinit(void);

/* The file ends in the middle of a record, so that the next one has to begin a line of its own. No
 * two calls overlap: one thread starts the connector, one stops it when the first is through. */
static bool record_is_torn = false;

/* A record that cannot be written is lost: a connector must not stop the daemon. One that was only
 * interrupted, or taken in part, is not. */
static int opened_file(const char *path) {
    int fd;
    do {
        fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

/* Returns how much of it was taken. */
static size_t write_text(int fd, const char *text, size_t length) {
    size_t done = 0;
    while (done < length) {
        const ssize_t written = write(fd, text + done, length - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;
        }
        done += (size_t)written;
    }
    return done;
}

static void record(const char *line) {
    const char *path = getenv("ZV_ACL_RM_CONNECTOR_FILE");
    const int fd = path == NULL ? STDERR_FILENO : opened_file(path);
    if (fd < 0) {
        return;
    }
    if (record_is_torn && write_text(fd, "\n", 1) == 1) {
        record_is_torn = false;
    }
    if (!record_is_torn) {
        const size_t length = strlen(line);
        const size_t done = write_text(fd, line, length);
        record_is_torn = done > 0 && done < length;
    }
    if (path != NULL) {
        close(fd);
    }
}

void aclrmd_init(void) {
    record("aclrmd_init\n");
}

void aclrmd_deinit(void) {
    record("aclrmd_deinit\n");
}
