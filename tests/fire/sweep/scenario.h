// scenario.h - the situations in which every platform call is failed, one after the other.
#ifndef ZV_TESTS_FIRE_SWEEP_SCENARIO_H
#define ZV_TESTS_FIRE_SWEEP_SCENARIO_H

#include <functional>
#include <string>
#include <vector>

#include "tests/fire/story/script.h"
#include "tests/support/cache_check.h"

namespace zv_fire {

struct Scenario {
    std::string name;
    std::function<void(Script &script)> write;
    // Of CacheSkip: what the story puts out of step on purpose, faults or not.
    unsigned skip = zv_test::kSkipNothing;
};

// Four ACLs, one of each owner, in the order of the owners' numbers.
inline Script &four_acls(Script &script, uint32_t size = 2) {
    script.clients();
    for (const Owner owner : {kOpenFlow, kTarnOs, kPra, kOf13}) {
        script.create(owner, size);
    }
    return script;
}

// One list a topic.
std::vector<Scenario> session_scenarios();
std::vector<Scenario> acl_scenarios();
std::vector<Scenario> rule_scenarios();
std::vector<Scenario> binding_scenarios();
std::vector<Scenario> forwarding_scenarios();
std::vector<Scenario> long_scenarios();
std::vector<Scenario> matrix_scenarios();

}  // namespace zv_fire

#endif
