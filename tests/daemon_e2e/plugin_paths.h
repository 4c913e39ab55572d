// plugin_paths.h - the libraries that cases load into the daemon, as its options and environment
// name them. The build says where they are.
#ifndef ZV_TESTS_DAEMON_E2E_PLUGIN_PATHS_H
#define ZV_TESTS_DAEMON_E2E_PLUGIN_PATHS_H

#include <string>

namespace zv_test {

const std::string &file_logger_path();     // exports log_cb and nothing else
const std::string &connector_path();       // exports aclrmd_init and aclrmd_deinit
const std::string &half_connector_path();  // exports aclrmd_init alone
const std::string &verbosity_connector_path();
const std::string &interposer_path();  // for LD_PRELOAD
const std::string &stub_platform_dir();
// The daemon, but that arming the signals ends with status 7.
const std::string &daemon_without_signals_path();

// Whether this build's daemon carries a sanitizer that replaces C library functions itself.
bool replaces_libc_functions();

}  // namespace zv_test

#endif
