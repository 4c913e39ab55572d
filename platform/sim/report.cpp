#include "platform/sim/report.h"

#include <sys/uio.h>
#include <unistd.h>

namespace zv_sim {

void report(std::string_view text) noexcept {
    const auto part = [](std::string_view bytes) {
        return iovec{const_cast<char *>(bytes.data()), bytes.size()};
    };
    const iovec parts[] = {part("zv_sim: "), part(text), part("\n")};
    // Nobody to tell when standard error is gone.
    [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts, 3);
}

}  // namespace zv_sim
