/* A connector for the tests: reaches into the daemon through the symbols it exports to plug-ins.
 *
 * aclrmd_init does what these variables of the environment ask for:
 *   ZV_TEST_RPC_VERBOSITY=<n>  verbosity of module ACL_RM_RPC, which no option sets
 *   ZV_TEST_DB_VERBOSITY=<n>   verbosity of module ACL_RM_DB, which no option sets
 *   ZV_TEST_SINK=<outlet>      "file", "hook" or "syslog": sends one line of each level, and one on
 *                              either side of them, through the daemon's own log sink; for "file"
 * and "hook" they arrive in the file named by ZV_TEST_SINK_FILE
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORTED __attribute__((visibility("default")))

extern uint32_t rpc_verbosity_level;
extern uint32_t acl_rm_db_verbosity_level;
extern FILE *log_file;
extern void (*log_hook)(uint32_t severity_mask, const char *module, const char *message);
void __acl_rm_log_cb(uint32_t severity_mask, const char *module, const char *message, ...);

EXPORTED void aclrmd_init(void);
EXPORTED void aclrmd_deinit(void);

static FILE *sink_file;

static void set_from(uint32_t *verbosity, const char *variable) {
    const char *value = getenv(variable);
    if (value != NULL) {
        *verbosity = (uint32_t)strtoul(value, NULL, 10);
    }
}

static void hook(uint32_t severity_mask, const char *module, const char *message) {
    fprintf(sink_file, "hook %u %s %s", severity_mask, module, message);
}

static void send_lines(void) {
    static const uint32_t masks[] = {0, 1, 3, 7, 15, 31, 63, 127, 255, 511};
    for (size_t i = 0; i < sizeof(masks) / sizeof(masks[0]); ++i) {
        /* The message is text: what looks like a conversion must arrive as it is. */
        __acl_rm_log_cb(masks[i], "MODULE", "100%s\n");
    }
}

static void exercise_sink(const char *outlet) {
    const char *path = getenv("ZV_TEST_SINK_FILE");
    sink_file = path != NULL ? fopen(path, "w") : NULL;
    if (sink_file == NULL) {
        return;
    }
    /* With both set the file comes first. */
    log_hook = strcmp(outlet, "syslog") != 0 ? hook : NULL;
    log_file = strcmp(outlet, "file") == 0 ? sink_file : NULL;
    send_lines();
    log_hook = NULL;
    log_file = NULL;
    fclose(sink_file);
}

void aclrmd_init(void) {
    set_from(&rpc_verbosity_level, "ZV_TEST_RPC_VERBOSITY");
    set_from(&acl_rm_db_verbosity_level, "ZV_TEST_DB_VERBOSITY");
    const char *outlet = getenv("ZV_TEST_SINK");
    if (outlet != NULL) {
        exercise_sink(outlet);
    }
}

void aclrmd_deinit(void) {}
