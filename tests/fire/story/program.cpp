#include "tests/fire/story/program.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

namespace zv_fire {

Progress::Progress(std::string unit, size_t total)
    : unit_(std::move(unit)),
      total_(total),
      terminal_(isatty(STDERR_FILENO) == 1),
      begun_(Clock::now()),
      told_(begun_) {}

Progress::~Progress() {
    if (terminal_) {
        fputc('\n', stderr);
    }
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - begun_).count();
}

void Progress::add(size_t num) {
    const size_t done = done_ += num;
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    const auto pause = terminal_ ? std::chrono::milliseconds(200) : std::chrono::seconds(10);
    if (now - told_ < pause) {
        return;
    }
    told_ = now;
    fprintf(stderr, "%s%zu of %zu %s, %.0f s%s", terminal_ ? "\r" : "", done, total_, unit_.c_str(),
            seconds(), terminal_ ? "  " : "\n");
}

void run_parallel(unsigned jobs, size_t num, const std::function<Work()> &make_work) {
    std::atomic<size_t> next{0};
    std::atomic<bool> stop{false};
    const auto loop = [&] {
        const Work work = make_work();
        for (size_t index = next++; index < num && !stop; index = next++) {
            if (!work(index)) {
                stop = true;
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < jobs; ++i) {
        threads.emplace_back(loop);
    }
    loop();
    for (std::thread &thread : threads) {
        thread.join();
    }
}

void write_result(const std::string &path, const std::string &program, double seconds,
                  size_t failures, const nlohmann::json &figures) {
    if (path.empty()) {
        return;
    }
    std::ofstream(path) << nlohmann::json{{"program", program},
                                          {"seconds", seconds},
                                          {"failures", failures},
                                          {"figures", figures}}
                               .dump(1)
                        << '\n';
}

}  // namespace zv_fire
