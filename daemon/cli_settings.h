// The command line: options into one process-wide record, plug-ins loaded on the way.
//
// Options take effect in their order, so a plug-in is loaded while parsing goes on. Main thread, at
// start-up only; afterwards the record is read by start-up and tear-down.
#pragma once

#include <stdint.h>

#include "zv_log.h"

constexpr char ACL_RM_VERSION[] = "4.4.1908";

struct cli_settings_t {
    uint32_t verbosity_level;    // 0 to 5, or whatever number was given; 3 by default
    void *logger_lib_handle;     // null: none
    zv_log_cb_t log_cb;          // the logger's sink, given to the log, RPC and network libraries
    void *connector_lib_handle;  // null: none
    void (*aclrmd_init)();       // the connector's start hook
    void (*aclrmd_deinit)();     // and its stop hook
};
extern cli_settings_t cli_settings;

// Fills the settings. Ends the process itself: 0 after --help and --version, 1 after anything
// wrong.
void parse_command_line(int argc, char *const argv[], cli_settings_t *settings);

// Load a plug-in and look its symbols up. 0, or 1 with the loader's message on standard error; a
// library without its symbols is closed again, its handle stays stored.
int load_logger_library(cli_settings_t *settings, const char *path);
int load_connector_library(cli_settings_t *settings, const char *path);
