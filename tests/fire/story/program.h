// program.h - what the long-running programs have in common: workers, progress, the result file.
#ifndef ZV_TESTS_FIRE_STORY_PROGRAM_H
#define ZV_TESTS_FIRE_STORY_PROGRAM_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

namespace zv_fire {

// Tells on standard error how far a program is: often on a terminal, every ten seconds otherwise.
class Progress {
  public:
    Progress(std::string unit, size_t total);
    ~Progress();
    void add(size_t num);
    double seconds() const;

  private:
    using Clock = std::chrono::steady_clock;
    std::string unit_;
    size_t total_;
    bool terminal_;
    std::atomic<size_t> done_{0};
    std::mutex mutex_;
    Clock::time_point begun_, told_;
};

// Runs work(index) for 0 .. num - 1 on `jobs` threads; each makes its own `work`, so that it can
// own a place. Stops early when work returns false.
using Work = std::function<bool(size_t index)>;
void run_parallel(unsigned jobs, size_t num, const std::function<Work()> &make_work);

// {"program":...,"seconds":...,"failures":...,"figures":{...}}; nothing for an empty path.
void write_result(const std::string &path, const std::string &program, double seconds,
                  size_t failures, const nlohmann::json &figures);

}  // namespace zv_fire

#endif
