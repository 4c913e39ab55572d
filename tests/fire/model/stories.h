// stories.h - what fire_model_check sends: a told story, and noise.
#ifndef ZV_TESTS_FIRE_MODEL_STORIES_H
#define ZV_TESTS_FIRE_MODEL_STORIES_H

#include <cstdint>

#include "tests/fire/model/side_by_side.h"

namespace zv_model {

// Each sends its requests until one differs.
void tell_story(SideBySide &pair);
// The caches' capacities: ACLs of a chip without limits, rules, forwarding entries, counters.
void fill_tables(SideBySide &pair);
// `num` random requests over few names, now and then with a fault.
void make_noise(SideBySide &pair, uint64_t seed, uint32_t num);

}  // namespace zv_model

#endif
