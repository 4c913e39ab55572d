/* A connector that lacks aclrmd_deinit: the daemon must refuse it. */
__attribute__((visibility("default"))) void aclrmd_init(void);

void aclrmd_init(void) {}
