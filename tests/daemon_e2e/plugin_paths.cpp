#include "tests/daemon_e2e/plugin_paths.h"

namespace zv_test {

// Leaked on purpose: nothing of a test runs after main.
#define ZV_PATH_FUNCTION(name, path)                      \
    const std::string &name() {                           \
        static const auto &text = *new std::string(path); \
        return text;                                      \
    }
ZV_PATH_FUNCTION(file_logger_path, ZV_TEST_FILE_LOGGER)
ZV_PATH_FUNCTION(connector_path, ZV_TEST_CONNECTOR)
ZV_PATH_FUNCTION(half_connector_path, ZV_TEST_HALF_CONNECTOR)
ZV_PATH_FUNCTION(verbosity_connector_path, ZV_TEST_VERBOSITY_CONNECTOR)
ZV_PATH_FUNCTION(interposer_path, ZV_TEST_INTERPOSER)
ZV_PATH_FUNCTION(stub_platform_dir, ZV_TEST_STUB_PLATFORM_DIR)
ZV_PATH_FUNCTION(daemon_without_signals_path, ZV_TEST_DAEMON_WITHOUT_SIGNALS)
#undef ZV_PATH_FUNCTION

bool replaces_libc_functions() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

}  // namespace zv_test
