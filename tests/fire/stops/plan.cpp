#include "tests/fire/stops/plan.h"

#include <signal.h>

#include <iterator>
#include <random>

namespace zv_fire {

using std::chrono::microseconds;

namespace {

constexpr int kStopSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGABRT};
constexpr const char *kNames[] = {"start",     "idle",         "command",       "dump",
                                  "flood",     "plug-in load", "plug-in start", "rival",
                                  "successor", "usurper"};
static_assert(std::size(kNames) == static_cast<size_t>(Moment::kNum));

// The longest delay of each moment but the start's: what the daemon takes for what happens then.
constexpr uint32_t kLongestUs[] = {0, 1000, 300, 1500, 3000, 3000, 3000, 0, 2000, 1000};
static_assert(std::size(kLongestUs) == static_cast<size_t>(Moment::kNum));

}  // namespace

const char *name_of(Moment moment) {
    return kNames[static_cast<size_t>(moment)];
}

Plan plan_of(uint64_t seed, microseconds time_to_serve) {
    std::mt19937_64 random(seed);
    const auto below = [&random](uint64_t limit) { return limit == 0 ? 0 : random() % limit; };
    Plan plan;
    plan.seed = seed;
    plan.moment = static_cast<Moment>(below(static_cast<uint64_t>(Moment::kNum)));
    plan.signals.push_back(kStopSignals[below(std::size(kStopSignals))]);
    if (below(2) == 0) {
        plan.signals.push_back(kStopSignals[below(std::size(kStopSignals))]);
        plan.gap = microseconds(below(below(2) == 0 ? 50 : 5000));
    }
    uint64_t longest = kLongestUs[static_cast<size_t>(plan.moment)];
    if (longest == 0) {
        longest = static_cast<uint64_t>(time_to_serve.count()) * 5 / 4;
    }
    plan.delay = microseconds(below(longest));
    plan.with_plugins =
        plan.moment == Moment::kPluginLoad || plan.moment == Moment::kPluginStart || below(2) == 0;
    plan.opened = below(4) != 0;
    plan.variant = static_cast<uint32_t>(below(1000));
    plan.connections = 1 + static_cast<uint32_t>(below(12));
    return plan;
}

std::string Plan::describe() const {
    std::string text = std::string(name_of(moment)) + ", signals";
    for (const int number : signals) {
        text += " " + std::to_string(number);
    }
    text += " after " + std::to_string(delay.count()) + " us";
    if (signals.size() > 1) {
        text += " and " + std::to_string(gap.count()) + " us";
    }
    text += with_plugins ? ", with plug-ins" : "";
    text += opened ? ", switch open" : "";
    return text + ", variant " + std::to_string(variant);
}

}  // namespace zv_fire
