// requests.h - the commands whose allocations fail: how each is prepared, and how it may be
// refused.
#ifndef ZV_TESTS_FIRE_EXHAUSTION_REQUESTS_H
#define ZV_TESTS_FIRE_EXHAUSTION_REQUESTS_H

#include <vector>

#include "tests/fire/exhaustion/cases.h"
#include "tests/support/cache_check.h"

namespace zv_fire {

// A daemon with two clients, and what a request's preparation made.
struct Stage {
    Stage(Faults &faults, bool opened);

    Faults &faults;
    zv_test::DaemonProcess daemon;
    zv_test::TestClient one;
    zv_test::TestClient other;
    acl_rm_acl acl = {};
    acl_rm_acl second = {};
    uint32_t counter_id = 0;
    uint32_t mc_group_id = 0;
    std::vector<acl_rm_rule> rules;
};

struct Request {
    const char *name;
    void (*prepare)(Stage &stage);
    zv_acl_rm_status_t (*act)(Stage &stage);
    // What a client may be told where memory is missing; nothing where the command takes none.
    std::vector<zv_acl_rm_status_t> refusals;
    unsigned skip = zv_test::kSkipNothing;   // of the cache's invariants after a refusal
    bool opened = true;                      // both clients have OPENed and INITed
    unsigned drift = zv_test::kSkipNothing;  // what a success leaves out of step already
};

const std::vector<Request> &requests();

}  // namespace zv_fire

#endif
