// fire_report.h - what a long-running program found: failures in full, figures, how far it is.
//
//   Report report("fire_soak", json_path);
//   report.expect(reply->status == 0, "request 17 of lane 3 (seed 5): status 4");
//   report.figure("requests", 1000000);
//   return report.finish();                  // exit status 0 only when nothing failed
//
// failure(), expect() and progress() may be called from any thread, the rest from one.
#ifndef ZV_TESTS_FIRE_SUPPORT_FIRE_REPORT_H
#define ZV_TESTS_FIRE_SUPPORT_FIRE_REPORT_H

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zv_fire {

using Clock = std::chrono::steady_clock;

class Report {
  public:
    // An empty path writes no file.
    Report(std::string program, std::string json_path);

    // Told on standard error at once and whole, up to a hundred of them; the rest is counted.
    void failure(const std::string &text);
    bool expect(bool is_true, const std::string &text);
    uint64_t failures() const;

    void figure(const std::string &name, nlohmann::json value);
    // Takes the place of the line before it on a terminal; elsewhere one line in ten seconds.
    void progress(const std::string &text);

    double seconds() const;
    // Prints the figures on standard output and writes the file. Failures of GoogleTest's
    // expectations, which the harness makes by itself, count as well.
    int finish();

  private:
    mutable std::mutex mutex_;
    std::string program_;
    std::string json_path_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point told_ = start_;
    bool on_terminal_ = isatty(STDERR_FILENO) == 1;
    uint64_t failures_ = 0;
    nlohmann::ordered_json figures_ = nlohmann::ordered_json::object();
};

// Times of many operations, for a percentile.
class Times {
  public:
    void add(Clock::duration time) { us_.push_back(to_us(time)); }
    void add(const Times &other) { us_.insert(us_.end(), other.us_.begin(), other.us_.end()); }
    size_t num() const { return us_.size(); }
    // The time that `percent` of the operations did not exceed, in microseconds; 0 for none.
    double percentile_us(double percent);
    double max_us() { return percentile_us(100); }

    static double to_us(Clock::duration time) {
        return std::chrono::duration<double, std::micro>(time).count();
    }

  private:
    std::vector<double> us_;
};

}  // namespace zv_fire

#endif
