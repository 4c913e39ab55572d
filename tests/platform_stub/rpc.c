/* RPC library of the stub platform: no socket, no client. The loop says on standard error that it
 * was entered, by which a test sees that start-up is over, and stays there. */
#include "zv_rpc.h"

#include <unistd.h>

void zv_rpc_register_log_function(zv_log_cb_t sink) {
    (void)sink;
}

uint32_t zv_rpc_core_td_init(const char *socket_path, uint32_t max_message) {
    (void)socket_path;
    (void)max_message;
    return 0;
}

uint32_t zv_rpc_api_rpc_command_db_init(const zv_rpc_command_t *table, uint32_t count) {
    (void)table;
    (void)count;
    return 0;
}

uint32_t zv_rpc_api_rpc_command_db_deinit(void) {
    return 0;
}

uint32_t zv_rpc_core_td_start_loop(void) {
    static const char entered[] = "stub platform: serving\n";
    ssize_t ignored = write(STDERR_FILENO, entered, sizeof(entered) - 1);
    (void)ignored;
    for (;;) {
        pause(); /* returns after every signal; only the process's end ends this */
    }
}

void zv_rpc_change_main_exit_signal_state(uint32_t state) {
    (void)state;
}
