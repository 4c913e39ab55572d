// exhaustion.h - the cases of fire_exhaustion, by what is going on while memory runs out.
#ifndef ZV_TESTS_FIRE_EXHAUSTION_EXHAUSTION_H
#define ZV_TESTS_FIRE_EXHAUSTION_EXHAUSTION_H

#include <atomic>
#include <vector>

#include "tests/fire/exhaustion/cases.h"

namespace zv_fire {

struct Tally {
    std::atomic<uint64_t> runs{0};         // daemons whose nth allocation failed, or were let be
    std::atomic<uint64_t> failed{0};       // allocations that failed
    std::atomic<uint64_t> refused{0};      // start-ups and requests that were refused
    std::atomic<uint64_t> carried_out{0};  // those that did without the memory
    std::atomic<uint64_t> unstoppable{0};  // daemons without their terminator thread
    std::atomic<uint64_t> drifts{0};       // requests that left an object in the switch alone
};
extern Tally tally;

// One failure at the nth allocation, or all from the nth on.
struct Mode {
    const char *name;
    uint64_t times;
};
constexpr Mode kModes[] = {{"once", 1}, {"from then on", kFromThenOn}};

std::vector<Case> start_cases();
std::vector<Case> request_cases();
std::vector<Case> control_cases();

}  // namespace zv_fire

#endif
