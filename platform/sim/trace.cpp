#include "platform/sim/trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/sim/json.h"
#include "platform/sim/report.h"

namespace zv_sim {
namespace {

int open_file() {
    const char *path = std::getenv("ZV_SIM_TRACE");
    if (path == nullptr || *path == '\0') {
        return -1;
    }
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (file < 0) {
        report(std::string("ZV_SIM_TRACE: ") + path + ": " + std::strerror(errno) +
               "; calls are not traced");
    }
    return file;
}

int trace_file() {
    static const int file = open_file();
    return file;
}

std::mutex g_mutex;
uint64_t g_line_num = 0;      // lines written so far; under the mutex
bool g_line_is_torn = false;  // the file ends in the middle of a line; under the mutex

// One write, so that lines of several processes do not mix. Only where the kernel takes a part (a
// full disk, a signal) does another one follow.
void write_line(const std::string &text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(trace_file(), text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;
        }
        done += static_cast<size_t>(written);
    }
    if (done > 0) {
        g_line_is_torn = text[done - 1] != '\n';
    }
}

}  // namespace

bool trace_enabled() noexcept {
    try {
        return trace_file() >= 0;
    } catch (...) {
        return false;
    }
}

void trace_append(const char *name, const OrderedJson &args, uint32_t status,
                  const OrderedJson &out) noexcept {
    try {
        OrderedJson line = object_of(
            {{"seq", 0}, {"call", name}, {"args", args}, {"status", status}, {"out", out}});
        // Number and write belong together: whoever reads the file expects ascending numbers.
        const std::lock_guard lock(g_mutex);
        line["seq"] = g_line_num + 1;
        const std::string text = (g_line_is_torn ? "\n" : "") +
                                 line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) +
                                 "\n";
        g_line_num++;
        write_line(text);
    } catch (...) {
        // Out of memory: this line is lost, the call it is about is not.
    }
}

}  // namespace zv_sim
