#include "tests/daemon/child.h"

#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temp_dir.h"

namespace zv_unit {

ChildResult run_in_child(const std::function<void()> &work) {
    const zv_test::TempDir dir;
    const std::string out = dir.file("out");
    const std::string err = dir.file("err");
    const pid_t child = fork();
    if (child == 0) {
        const bool redirected = freopen(out.c_str(), "w", stdout) != nullptr &&
                                freopen(err.c_str(), "w", stderr) != nullptr;
        if (redirected)
            work();
        fflush(stdout);
        _exit(CHILD_RETURNED);
    }
    int status = 0;
    const bool ended = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
    return {ended ? WEXITSTATUS(status) : -1, zv_test::read_file(out), zv_test::read_file(err)};
}

}  // namespace zv_unit
