#include "tests/fire/support/fire_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>

namespace zv_fire {

namespace {

constexpr uint64_t kShownFailures = 100;
constexpr auto kOnTerminal = std::chrono::milliseconds(200);
constexpr auto kElsewhere = std::chrono::seconds(10);

}  // namespace

Report::Report(std::string program, std::string json_path)
    : program_(std::move(program)), json_path_(std::move(json_path)) {}

void Report::failure(const std::string &text) {
    const std::lock_guard lock(mutex_);
    if (++failures_ <= kShownFailures) {
        std::cerr << (on_terminal_ ? "\r\033[K" : "") << program_ << ": FAILURE " << failures_
                  << ": " << text << std::endl;
    }
}

bool Report::expect(bool is_true, const std::string &text) {
    if (!is_true) {
        failure(text);
    }
    return is_true;
}

uint64_t Report::failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
}

void Report::figure(const std::string &name, nlohmann::json value) {
    figures_[name] = std::move(value);
}

void Report::progress(const std::string &text) {
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    if (now - told_ < (on_terminal_ ? Clock::duration(kOnTerminal) : Clock::duration(kElsewhere))) {
        return;
    }
    told_ = now;
    if (on_terminal_) {
        std::cerr << "\r\033[K" << program_ << ": " << text << std::flush;
    } else {
        std::cerr << program_ << ": " << text << std::endl;
    }
}

double Report::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

int Report::finish() {
    if (testing::UnitTest::GetInstance()->Failed()) {
        failure("an expectation of the harness, told above");
    }
    const nlohmann::ordered_json whole = {{"program", program_},
                                          {"seconds", std::round(seconds() * 10) / 10},
                                          {"failures", failures_},
                                          {"figures", figures_}};
    std::cerr << (on_terminal_ ? "\r\033[K" : "");
    std::cout << whole.dump(2) << std::endl;
    if (!json_path_.empty()) {
        std::ofstream file(json_path_);
        file << whole.dump(2) << '\n';
        if (!file.flush()) {
            std::cerr << program_ << ": cannot write " << json_path_ << '\n';
            return 1;
        }
    }
    return failures_ == 0 ? 0 : 1;
}

double Times::percentile_us(double percent) {
    if (us_.empty()) {
        return 0;
    }
    const auto index =
        static_cast<size_t>(static_cast<double>(us_.size() - 1) * percent / 100.0 + 0.5);
    const auto place = us_.begin() + static_cast<std::ptrdiff_t>(index);
    std::nth_element(us_.begin(), place, us_.end());
    return *place;
}

}  // namespace zv_fire
