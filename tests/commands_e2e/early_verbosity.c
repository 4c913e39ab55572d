/* A connector that raises the verbosities of all log modules as soon as it is loaded, so that the
 * lines of start-up can be read too. No option does that for two of the three modules. */
#include <stdint.h>

#define EXPORTED __attribute__((visibility("default")))

extern uint32_t rpc_verbosity_level;
extern uint32_t acl_rm_db_verbosity_level;

EXPORTED void aclrmd_init(void);
EXPORTED void aclrmd_deinit(void);

__attribute__((constructor)) static void raise_verbosities(void) {
    rpc_verbosity_level = 5;
    acl_rm_db_verbosity_level = 5;
}

void aclrmd_init(void) {}
void aclrmd_deinit(void) {}
