#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

using zv_test::kSkipCounts;
using zv_test::kSkipForwarding;
using zv_test::kSkipLeftOvers;
using zv_test::kSkipRules;

Script &one_acl(Script &script, uint32_t size = 16) {
    return script.client(kPra).create(kPra, size);
}

void fill_counters(Script &script) {
    script.client(kPra).create(kPra, 4).quietly();
    script.repeat(254, [](Script &s, uint32_t) { s.counter(kPra, kCreate, 0); });
    script.quietly(false);
}

// The forwarding table's hundred ports, but one.
void fill_forwarding(Script &script) {
    script.client(kPra).create(kPra, 200).quietly();
    for (uint32_t i = 0; i < 99; ++i) {
        script.write(kPra, 1, {to_port(at(i), 1000 + i)});
    }
    script.quietly(false);
}

}  // namespace

std::vector<Scenario> forwarding_scenarios() {
    return {
        {"forward", [](Script &s) { one_acl(s).write(kPra, 1, {to_port(at(0), 1)}); }},
        {"forward-shared-by-batches",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {to_port(at(0), 1)}).write(kPra, 1, {to_port(at(1), 1)});
             s.write(kPra, 1, {to_port(at(2), 1), to_port(at(3), 2)}).erase(kPra, 1, {0, 3});
             s.erase(kPra, 1, {1, 2});
         }},
        {"forward-twice-in-a-batch",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {to_port(at(0), 1), to_port(at(1), 1)});
             s.erase(kPra, 1, {0}).erase(kPra, 1, {1});
         },
         kSkipForwarding | kSkipLeftOvers},
        {"forward-of-two-owners",
         [](Script &s) {
             s.clients().create(kPra, 4).create(kOf13, 4).write(kPra, 1, {to_port(at(0), 3)});
             s.write(kOf13, 2, {to_port(at(0), 3)}).destroy(kPra, 1).destroy(kOf13, 2);
         }},
        {"forward-pbs-full",
         [](Script &s) {
             s.capacity("pbs_entries", 1);
             one_acl(s).write(kPra, 1, {to_port(at(0), 1)}).write(kPra, 1, {to_port(at(1), 2)});
             s.mc(kPra, kAdd, 0, {1}).erase(kPra, 1, {0}).mc(kPra, kAdd, 0, {1});
         }},
        {"forward-table-full",
         [](Script &s) {
             fill_forwarding(s);
             s.write(kPra, 1, {to_port(at(120), 1)}).write(kPra, 1, {to_port(at(121), 2)});
             s.erase(kPra, 1, {0}).write(kPra, 1, {to_port(at(122), 2)});
         },
         kSkipForwarding | kSkipLeftOvers | kSkipRules | kSkipCounts},
        {"forward-to-port-zero",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {to_port(at(0), 0)}).read(kPra, 1, {0}).erase(kPra, 1, {0});
         },
         kSkipForwarding | kSkipLeftOvers | kSkipCounts | kSkipRules},
        {"forward-to-unknown-group",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {to_group(at(0), 1)}).write(kPra, 1, {to_port(at(0), 1)});
             s.write(kPra, 1, {to_group(at(1), 1)});
         }},
        {"forward-to-a-group",
         [](Script &s) {
             one_acl(s).mc(kPra, kAdd, 0, {1, 2}).write(kPra, 1, {to_group(at(0), 1)});
             s.mc(kPra, kDelete, 1, {}).read(kPra, 1, {0}).erase(kPra, 1, {0});
         }},
        {"counter",
         [](Script &s) {
             s.client(kPra).counter(kPra, kCreate, 0).counter_get(kPra, kRead, 1);
             s.counter_get(kPra, kClear, 1).counter(kPra, kDestroy, 1).counter(kPra, kDestroy, 1);
         }},
        {"counter-second-type",
         [](Script &s) {
             s.client(kPra).counter(kPra, kCreate, 0, 0, 1).counter_get(kPra, kRead, 1);
             s.counter(kPra, kDestroy, 1);
         }},
        {"counter-refused",
         [](Script &s) {
             s.client(kPra).counter(kPra, kCreate, 0, 1, 1).counter(kPra, kCreate, 0, 0, 0);
             s.counter(kPra, kCreate, 0, 2, 0).counter(kPra, kDestroy, 1);
             s.counter_get(kPra, kRead, 1).counter(kPra, kCreate, 0);
             s.counter_get(kPra, kReadClear, 1).counter_get(kPra, kAdd, 1);
         }},
        {"counter-of-a-stranger",
         [](Script &s) {
             s.client(kPra).counter(kStranger, kCreate, 0).counter_get(kOf13, kRead, 1);
             s.counter(kOpenFlow, kDestroy, 1);
         }},
        {"counters-full",
         [](Script &s) {
             fill_counters(s);
             s.counter(kPra, kCreate, 0).counter(kPra, kCreate, 0).counter(kPra, kDestroy, 7);
             s.counter(kPra, kCreate, 0).counter_get(kPra, kRead, 257);
         }},
        {"counters-of-the-switch-full",
         [](Script &s) {
             s.capacity("counters", 2).client(kPra);
             s.repeat(3, [](Script &t, uint32_t) { t.counter(kPra, kCreate, 0); });
             s.counter(kPra, kDestroy, 1).counter(kPra, kCreate, 0);
         }},
        {"counter-of-a-rule",
         [](Script &s) {
             one_acl(s).counter(kPra, kCreate, 0).write(kPra, 1, {counted(at(0), 1)});
             s.counter(kPra, kDestroy, 1).counter_get(kPra, kRead, 1).erase(kPra, 1, {0});
             s.counter_get(kPra, kRead, 1);
         }},
        {"counter-of-many-rules",
         [](Script &s) {
             one_acl(s).counter(kPra, kCreate, 0).counter(kPra, kCreate, 0, 0, 1);
             s.write(kPra, 1, {counted(at(0), 1), counted(at(1), 2), counted(at(2), 1)});
             s.erase(kPra, 1, {2}).erase(kPra, 1, {1, 0}).counter(kPra, kDestroy, 1);
         }},
        {"counter-unknown-to-a-rule",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {counted(at(0), 9)}).write(kPra, 1, {at(0)});
             s.counter(kPra, kCreate, 0).write(kPra, 1, {counted(at(1), 1), counted(at(2), 9)});
         },
         kSkipRules | kSkipCounts | kSkipForwarding},
        {"group",
         [](Script &s) {
             s.client(kPra)
                 .mc(kPra, kAdd, 0, {2, 1})
                 .mc_get(kPra, 1, 10)
                 .mc(kPra, kAddPorts, 1, {3});
             s.mc_get(kPra, 1, 2).mc(kPra, kDeletePorts, 1, {1, 9}).mc_get(kPra, 1, 0);
             s.mc(kPra, kDelete, 1, {}).mc_get(kPra, 1, 1);
         }},
        {"group-of-each-owner",
         [](Script &s) {
             s.clients();
             for (const Owner owner : {kOpenFlow, kTarnOs, kPra, kOf13}) {
                 s.mc(owner, kAdd, 0, {1, owner + 1});
             }
             s.mc(kPra, kDelete, 3, {}).mc(kOf13, kDelete, 4, {}).mc_get(kOf13, 4, 4);
             s.mc(kOpenFlow, kAddPorts, 2, {5}).mc_get(kTarnOs, 2, 4);
         }},
        {"group-refused",
         [](Script &s) {
             s.client(kPra).mc(kStranger, kAdd, 0, {1}).mc(kPra, kAddPorts, 1, {1});
             s.mc(kPra, kDelete, 1, {})
                 .mc_get(kPra, 1, 1)
                 .mc(kPra, kAdd, 0, {1})
                 .mc(kPra, kEdit, 1, {});
             for (const uint32_t cmd : {kAdd, kAddPorts, kDeletePorts}) {
                 s.mc(kPra, cmd, 1, {1}).but([](Step &step) { step.words[2] = 101; });
             }
             s.mc_get(kPra, 1, 101);
         }},
        {"group-without-ports",
         [](Script &s) {
             s.client(kPra).mc(kPra, kAdd, 0, {}).mc_get(kPra, 1, 100).mc(kPra, kAddPorts, 1, {});
             s.mc(kPra, kAddPorts, 1, numbers_from(1, 100)).mc_get(kPra, 1, 100);
         }},
        {"groups-of-the-switch-full",
         [](Script &s) {
             s.capacity("pbs_entries", 2).client(kPra);
             s.repeat(3, [](Script &t, uint32_t i) { t.mc(kPra, kAdd, 0, {i}); });
             s.mc(kPra, kDelete, 1, {}).mc(kPra, kAdd, 0, {3});
         }},
    };
}

}  // namespace zv_fire
