// other_build.h - a daemon that runs long: of any build, and without a trace that would grow for
// ever.
#ifndef ZV_TESTS_FIRE_SUPPORT_OTHER_BUILD_H
#define ZV_TESTS_FIRE_SUPPORT_OTHER_BUILD_H

#include <string>

#include "tests/support/daemon_process.h"

namespace zv_fire {

// Empty for this build's own.
inline zv_test::DaemonOptions untraced_daemon(const std::string &program,
                                              const std::string &library_path) {
    zv_test::DaemonOptions options;
    options.trace = false;
    options.program = program;
    options.library_path = library_path;
    return options;
}

}  // namespace zv_fire

#endif
