// Long stories: what several owners, ports, counters and groups go through together.
#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

using zv_test::kSkipCounts;
using zv_test::kSkipForwarding;
using zv_test::kSkipGroups;
using zv_test::kSkipLeftOvers;
using zv_test::kSkipRules;

void owners_on_shared_ports(Script &script) {
    four_acls(script, 2);
    script.bind(kTarnOs, kBind, 2, {1, 2, 3}).bind(kPra, kBind, 3, {2, 3});
    script.bind(kOpenFlow, kBind, 1, {3}).bind(kOf13, kBind, 4, {1, 3});
    script.bind(kTarnOs, kUnbind, 2, {3}).create(kPra, 2).bind(kPra, kBind, 5, {3, 1});
    script.destroy(kPra, 3).bind(kOf13, kUnbind, 4, {1, 3}).rif(kPra, kBind, 5, {3});
    script.destroy(kTarnOs, 2).destroy(kOpenFlow, 1).destroy(kPra, 5).destroy(kOf13, 4);
}

void shared_counters_and_forwarding(Script &script) {
    four_acls(script, 8).counter(kOpenFlow, kCreate, 0).counter(kPra, kCreate, 0, 0, 1);
    script.write(kOpenFlow, 1, {counted(to_port(at(0), 1), 1), to_port(at(1), 2)});
    script.write(kPra, 3, {counted(to_port(at(0), 1), 1), counted(to_port(at(4), 2), 2)});
    script.write(kOf13, 4, {counted(at(1), 2), to_port(at(2), 1)});
    script.counter(kOpenFlow, kDestroy, 1).erase(kOpenFlow, 1, {0, 1});
    script.move(kPra, 3, 0, 5, 2).erase(kPra, 3, {2}).erase(kPra, 3, {6});
    script.destroy(kOf13, 4).counter(kPra, kDestroy, 2).counter_get(kPra, kRead, 1);
}

void overlapping_moves(Script &script) {
    script.client(kPra).create(kPra, 12).counter(kPra, kCreate, 0);
    script.write(kPra, 1, {counted(at(0), 1), at(1), to_port(at(2), 1), at(4), counted(at(5), 1)});
    script.move(kPra, 1, 0, 6, 3).move(kPra, 1, 3, 6, 1).move(kPra, 1, 1, 4, 3);
    script.move(kPra, 1, 2, 10, 0).write(kPra, 1, {at(10), at(11)}).move(kPra, 1, 0, 4, 8);
    script.destroy(kPra, 1);
}

void system_acls_and_ports(Script &script) {
    four_acls(script, 2).system(kOf13, kBind, 4).system(kOpenFlow, kBind, 1);
    script.bind(kTarnOs, kBind, 2, {3, 20}).ports(kPra, kAddPorts, {20, 21});
    script.ports(kPra, kDeletePorts, {1, 3}).ports(kPra, kAddPorts, {1});
    script.bind(kOpenFlow, kUnbind, 1, {20}).system(kOf13, kUnbind, 4);
    script.ports(kPra, kDeletePorts, {20, 21, 2, 1}).destroy(kOpenFlow, 1).destroy(kTarnOs, 2);
}

void groups_in_rules(Script &script) {
    four_acls(script, 6).mc(kOpenFlow, kAdd, 0, {1, 2}).mc(kTarnOs, kAdd, 0, {3});
    script.write(kOpenFlow, 1, {to_group(at(0), 1), to_group(at(1), 2), to_port(at(2), 1)});
    script.write(kOf13, 4, {to_group(at(5), 1)}).read(kOpenFlow, 1, {0, 1, 2});
    script.mc(kOpenFlow, kDelete, 1, {}).write(kOf13, 4, {to_group(at(4), 1)});
    script.mc(kTarnOs, kAddPorts, 2, {1}).mc_get(kTarnOs, 2, 5).destroy(kOpenFlow, 1);
    script.erase(kOf13, 4, {5}).mc(kTarnOs, kDelete, 2, {});
}

void resize_with_all(Script &script) {
    script.clients().create(kPra, 0).resize(kPra, 1, 6).counter(kPra, kCreate, 0);
    script.write(kPra, 1, {counted(to_port(at(1), 1), 1), at(5)}).bind(kPra, kBind, 1, {1});
    script.resize(kPra, 1, 10).move(kPra, 1, 0, 6, 4).resize(kPra, 1, 9).resize(kPra, 1, 10);
    script.erase(kPra, 1, {9}).resize(kPra, 1, 6).resize(kPra, 1, 5).destroy(kPra, 1);
}

void create_and_destroy_rounds(Script &script) {
    script.clients().repeat(6, [](Script &s, uint32_t i) {
        const Owner owner = static_cast<Owner>(i % 4);
        s.create(owner, 4).write(owner, i + 1, {to_port(at(i % 4), 1)});
        s.bind(owner, kBind, i + 1, {1}).destroy(owner, i + 1);
    });
}

void edited_while_bound(Script &script) {
    script.but_config("acl_destroy_in_use", true);
    four_acls(script, 4).bind(kPra, kBind, 3, {1, 2}).bind(kOpenFlow, kBind, 1, {1});
    script.write(kPra, 3, {at(0)}).edit(kPra, 3, 0).bind(kTarnOs, kBind, 2, {1});
    script.bind(kPra, kUnbind, 5, {1, 2}).bind(kPra, kBind, 5, {3}).write(kPra, 5, {at(1)});
    script.bind(kOpenFlow, kUnbind, 1, {1}).destroy(kPra, 5).destroy(kOpenFlow, 1);
}

void takeover_of_an_owner(Script &script) {
    four_acls(script, 4).bind(kPra, kBind, 3, {1}).mc(kPra, kAdd, 0, {1});
    script.open(kPra).but([](Step &step) { step.handle = 99; });
    script.destroy(kPra, 3).mc(kPra, kDelete, 1, {}).write(kPra, 3, {at(0)});
    script.mc(kPra, kDelete, 1, {}).but([](Step &step) { step.handle = 99; });
    script.destroy(kPra, 3).but([](Step &step) { step.handle = 99; });
}

void long_port_lists(Script &script) {
    script.clients().create(kPra, 2).create(kOpenFlow, 2);
    script.bind(kPra, kBind, 1, numbers_from(1, 12)).bind(kOpenFlow, kBind, 2, numbers_from(7, 8));
    script.bind(kPra, kUnbind, 1, numbers_from(5, 20)).destroy(kOpenFlow, 2).destroy(kPra, 1);
}

// A daemon that has met refusals of every kind goes on as if nothing had been.
void refusals_in_between(Script &script) {
    four_acls(script, 4).write(kPra, 3, {at(0), at(9)}).bind(kPra, kBind, 1, {1});
    script.write(kPra, 3, {at(0)}).destroy(kPra, 1).bind(kPra, kBind, 3, {1});
    script.read(kPra, 3, {2})
        .system(kPra, kUnbind, 3)
        .erase(kPra, 3, {0, 1})
        .move(kPra, 3, 3, 3, 0);
    script.counter(kPra, kDestroy, 4).mc(kPra, kDelete, 8, {}).erase(kPra, 3, {0}).destroy(kPra, 3);
}

}  // namespace

std::vector<Scenario> long_scenarios() {
    return {
        {"long-owners-on-shared-ports", owners_on_shared_ports},
        {"long-shared-counters-and-forwarding", shared_counters_and_forwarding},
        {"long-overlapping-moves", overlapping_moves, kSkipForwarding},
        {"long-system-acls-and-ports", system_acls_and_ports},
        {"long-groups-in-rules", groups_in_rules},
        {"long-resize-with-all", resize_with_all},
        {"long-create-and-destroy-rounds", create_and_destroy_rounds},
        {"long-edited-while-bound", edited_while_bound,
         kSkipGroups | kSkipRules | kSkipLeftOvers | kSkipCounts},
        {"long-takeover-of-an-owner", takeover_of_an_owner},
        {"long-port-lists", long_port_lists},
        {"long-refusals-in-between", refusals_in_between},
    };
}

}  // namespace zv_fire
