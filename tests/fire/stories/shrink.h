// shrink.h - the smallest story found that still fails.
#ifndef ZV_TESTS_FIRE_STORIES_SHRINK_H
#define ZV_TESTS_FIRE_STORIES_SHRINK_H

#include <functional>

#include "tests/fire/story/step.h"

namespace zv_fire {

// Drops requests while `fails` stays true, in ever smaller pieces, then simplifies what is left:
// faults, lists, numbers. Ends after `seconds` at the latest. `story` must fail.
Story shrink(Story story, const std::function<bool(const Story &)> &fails, double seconds);

}  // namespace zv_fire

#endif
