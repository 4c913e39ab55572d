#include "platform/sim/report.h"

#include <unistd.h>

namespace zv_sim {

void report(const std::string &text) {
    const std::string line = "zv_sim: " + text + "\n";
    // Nobody to tell when standard error is gone.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace zv_sim
