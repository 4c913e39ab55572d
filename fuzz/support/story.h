// story.h - bytes decoded into a story of near-valid commands of four owners in a small world.
//
// Ids 0 to 8, offsets 0 to 40, eight ports, four router interfaces: small enough that commands meet
// what earlier ones made, and each value is sometimes one that cannot be.
#ifndef ZV_FUZZ_SUPPORT_STORY_H
#define ZV_FUZZ_SUPPORT_STORY_H

#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/support/fuzz.h"
#include "platform/sim/faults.h"

namespace zv_fuzz {

struct Step {
    uint32_t command = 0;  // 0: only the fault is ordered
    std::vector<uint8_t> record;
    bool has_path = false;
    std::optional<zv_sim::Fault> fault;  // ordered before the command
};

// The four OPENs and the INIT that most stories begin with.
std::vector<Step> first_steps();

Step next_step(Input &input);

}  // namespace zv_fuzz

#endif
