// life.h - how the daemon begins and ends when platform calls fail on the way.
//
// The requests in between are the model's business; the calls before the first and after the last
// request are few and always the same, so they are a table.
#ifndef ZV_TESTS_FIRE_STORY_LIFE_H
#define ZV_TESTS_FIRE_STORY_LIFE_H

#include <string>
#include <vector>

#include "tests/fire/story/fault_count.h"

namespace zv_fire {

// What the daemon does from its start to its loop, or to its end.
struct Beginning {
    bool serves = true;
    bool stops_on_signal = true;     // false: nobody waits for the signal
    int exit_code = 0;               // where it does not serve
    std::vector<std::string> calls;  // as the trace has them, up to the loop or to the end
};
// Counts the calls of the start in `faults`.
Beginning expected_beginning(FaultCount &faults);

// What it does after a stop signal.
struct Ending {
    int exit_code = 0;
    std::vector<std::string> calls;
};
Ending expected_ending(FaultCount &faults, bool switch_is_open);

}  // namespace zv_fire

#endif
