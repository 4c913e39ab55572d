#include "rule_progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace aclrmctl {

namespace {

constexpr size_t kWidestBar = 50;
constexpr size_t kNarrowestBar = 5;

size_t terminal_columns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/* Takes its line off the terminal when the load ends, however it ends. */
class Bar {
  public:
    Bar() = default;
    ~Bar() {
        if (!shown_.empty()) {
            std::fputs("\r\033[K", stderr);
        }
    }
    Bar(const Bar &) = delete;
    Bar &operator=(const Bar &) = delete;

    void show(uint32_t done, uint32_t total) {
        /* One column is left free: some terminals break the line when the last one is written. */
        const std::string line = progress_line(done, total, terminal_columns() - 1);
        if (line != shown_) {
            std::fputs(("\r" + line + "\033[K").c_str(), stderr);
            shown_ = line;
        }
        if (done == total) {
            std::fputs("\r\033[K", stderr);
            shown_.clear();
        }
    }

  private:
    std::string shown_;
};

}  // namespace

std::string progress_line(uint32_t done, uint32_t total, size_t columns) {
    const uint64_t percent = total == 0 ? 100 : uint64_t{100} * done / total;
    std::string line = std::to_string(done) + " of " + std::to_string(total) + " rules";
    const std::string tail = "  " + std::to_string(percent) + "%";
    if (line.size() + tail.size() <= columns) {
        line += tail;
    }
    if (line.size() + 3 + kNarrowestBar <= columns) {
        const size_t width = std::min(kWidestBar, columns - line.size() - 3);
        const size_t filled = total == 0 ? width : width * done / total;
        line += " [" + std::string(filled, '#') + std::string(width - filled, ' ') + "]";
    }
    return line.substr(0, columns);
}

Progress terminal_progress(const Settings &settings) {
    if (settings.json || isatty(STDERR_FILENO) == 0) {
        return [](uint32_t, uint32_t) {};
    }
    const auto bar = std::make_shared<Bar>();
    return [bar](uint32_t done, uint32_t total) { bar->show(done, total); };
}

}  // namespace aclrmctl
