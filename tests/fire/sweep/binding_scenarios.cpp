#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

using zv_test::kSkipGroups;
using zv_test::kSkipLeftOvers;

void bind_all(Script &script, const Numbers &ports) {
    script.bind(kOf13, kBind, 4, ports).bind(kTarnOs, kBind, 2, ports);
    script.bind(kPra, kBind, 3, ports).bind(kOpenFlow, kBind, 1, ports);
}

// 127 groups of the daemon's 128, one port each.
void fill_groups(Script &script) {
    script.clients().create(kPra, 1).create(kOpenFlow, 1).quietly();
    script.bind(kPra, kBind, 1, numbers_from(100, 100));
    script.bind(kPra, kBind, 1, numbers_from(200, 27)).quietly(false);
}

}  // namespace

std::vector<Scenario> binding_scenarios() {
    return {
        {"bind", [](Script &s) { s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {1}); }},
        {"bind-three-ports",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {3, 1, 2});
         }},
        {"bind-again",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {1, 1}).bind(kPra, kBind, 1, {1});
         }},
        {"bind-refused",
         [](Script &s) {
             s.clients().create(kPra, 2).bind(kPra, kBind, 1, {}).bind(kOpenFlow, kBind, 1, {1});
             s.bind(kStranger, kBind, 1, {1}).bind(kPra, kBind, 5, {1});
             s.bind(kPra, kBind, 1, {1}).but([](Step &step) { step.words[2] = 101; });
             s.rif(kPra, kBind, 1, {1}).but([](Step &step) { step.words[2] = 0xffffffff; });
         }},
        {"bind-other-direction",
         [](Script &s) {
             s.clients().create(kPra, 2, 0).create(kOpenFlow, 2, 1).bind(kPra, kBind, 1, {1});
             s.bind(kOpenFlow, kBind, 2, {2, 1}).bind(kOpenFlow, kUnbind, 2, {2});
         }},
        {"bind-by-priority",
         [](Script &s) {
             four_acls(s);
             bind_all(s, {1});
         }},
        {"bind-by-priority-on-shared-ports",
         [](Script &s) {
             four_acls(s);
             bind_all(s, {1, 2});
             s.bind(kPra, kUnbind, 3, {1})
                 .bind(kTarnOs, kUnbind, 2, {2, 1})
                 .bind(kPra, kBind, 3, {1});
         }},
        {"bind-sixteen-of-one-port",
         [](Script &s) {
             s.clients().quietly();
             s.repeat(17, [](Script &t, uint32_t i) { t.create(static_cast<Owner>(i % 4), 1); });
             s.repeat(15, [](Script &t, uint32_t i) {
                 t.bind(static_cast<Owner>(i % 4), kBind, i + 1, {1});
             });
             s.quietly(false).bind(kOf13, kBind, 16, {1}).bind(kOpenFlow, kBind, 17, {1});
             s.bind(kPra, kUnbind, 3, {1}).bind(kOpenFlow, kBind, 17, {1});
         }},
        {"bind-groups-full",
         [](Script &s) {
             fill_groups(s);
             s.bind(kPra, kBind, 1, {1, 2})
                 .bind(kOpenFlow, kBind, 2, {2})
                 .bind(kPra, kUnbind, 1, {1});
         }},
        {"bind-switch-groups-full",
         [](Script &s) {
             s.capacity("groups", 1).client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {1, 2});
             s.bind(kPra, kUnbind, 1, {1}).bind(kPra, kBind, 1, {2});
         }},
        {"bind-switch-bindings-full",
         [](Script &s) {
             s.capacity("bindings", 1).clients().create(kPra, 2).create(kOpenFlow, 2);
             s.bind(kPra, kBind, 1, {1, 2})
                 .bind(kOpenFlow, kBind, 2, {2})
                 .bind(kOpenFlow, kBind, 2, {1});
         }},
        {"unbind",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {1}).bind(kPra, kUnbind, 1, {1});
         }},
        {"unbind-refused",
         [](Script &s) {
             s.clients().create(kPra, 2).bind(kPra, kBind, 1, {1}).bind(kPra, kUnbind, 1, {});
             s.bind(kOpenFlow, kUnbind, 1, {1}).bind(kPra, kUnbind, 2, {1});
             s.bind(kPra, kUnbind, 1, {2})
                 .bind(kPra, kUnbind, 1, {2, 1})
                 .bind(kPra, kUnbind, 1, {1});
         }},
        {"unbind-out-of-a-shared-group",
         [](Script &s) {
             four_acls(s);
             bind_all(s, {1});
             s.bind(kOpenFlow, kUnbind, 1, {1}).bind(kOf13, kUnbind, 4, {1});
             s.bind(kPra, kUnbind, 3, {1}).bind(kTarnOs, kUnbind, 2, {1});
         }},
        {"unbind-some-of-many",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, numbers_from(1, 8));
             s.bind(kPra, kUnbind, 1, {7, 2, 5}).bind(kPra, kBind, 1, {2}).destroy(kPra, 1);
         }},
        {"rif",
         [](Script &s) {
             s.client(kPra)
                 .create(kPra, 2)
                 .rif(kPra, kBind, 1, {1, 65535})
                 .bind(kPra, kBind, 1, {1});
             s.rif(kPra, kUnbind, 1, {1})
                 .rif(kPra, kUnbind, 1, {65535})
                 .bind(kPra, kUnbind, 1, {1});
         }},
        {"rif-shared",
         [](Script &s) {
             four_acls(s).rif(kOf13, kBind, 4, {7, 8}).rif(kPra, kBind, 3, {8, 7});
             s.rif(kOpenFlow, kBind, 1, {7}).rif(kPra, kUnbind, 3, {7, 8}).destroy(kOf13, 4);
         }},
        {"rif-refused",
         [](Script &s) {
             s.clients().create(kPra, 2).rif(kPra, kBind, 1, {}).rif(kOpenFlow, kBind, 1, {1});
             s.rif(kPra, kBind, 2, {1}).rif(kPra, kEdit, 1, {1}).rif(kPra, kUnbind, 1, {1});
         }},
        {"system-bind", [](Script &s) { s.client(kPra).create(kPra, 2).system(kPra, kBind, 1); }},
        {"system-bind-and-unbind",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).system(kPra, kBind, 1).system(kPra, kUnbind, 1);
         }},
        {"system-refused",
         [](Script &s) {
             s.clients().create(kPra, 2).system(kPra, kUnbind, 1).system(kOpenFlow, kBind, 1);
             s.system(kPra, kBind, 2).system(kPra, kBind, 1).system(kPra, kBind, 1);
             s.system(kPra, kUnbind, 1).system(kPra, kUnbind, 1);
         }},
        {"system-of-a-bound-acl",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).bind(kPra, kBind, 1, {2, 77}).rif(kPra, kBind, 1, {3});
             s.system(kPra, kBind, 1).system(kPra, kUnbind, 1);
         }},
        {"system-of-two-owners",
         [](Script &s) {
             four_acls(s).system(kOf13, kBind, 4).system(kPra, kBind, 3);
             s.bind(kOpenFlow, kBind, 1, {2}).system(kOf13, kUnbind, 4).destroy(kPra, 3);
         }},
        {"system-without-ports",
         [](Script &s) {
             s.but_config("ports", nlohmann::json::array()).client(kPra).create(kPra, 2);
             s.system(kPra, kBind, 1).ports(kPra, kAddPorts, {1}).system(kPra, kUnbind, 1);
         }},
        {"system-switch-groups-full",
         [](Script &s) {
             s.capacity("groups", 2).client(kPra).create(kPra, 2).system(kPra, kBind, 1);
             s.system(kPra, kUnbind, 1).bind(kPra, kUnbind, 1, {1, 2, 3}).system(kPra, kBind, 1);
         },
         kSkipGroups | kSkipLeftOvers},
        {"ports-without-system-acl",
         [](Script &s) {
             s.client(kPra)
                 .create(kPra, 2)
                 .ports(kPra, kAddPorts, {1})
                 .ports(kPra, kDeletePorts, {1});
             s.ports(kPra, kAddPorts, {1}).but([](Step &step) { step.words[1] = 200; });
         }},
        {"ports-come",
         [](Script &s) {
             four_acls(s).system(kOf13, kBind, 4).system(kPra, kBind, 3);
             s.ports(kStranger, kAddPorts, {10, 11}).ports(kPra, kAddPorts, {11});
         }},
        {"ports-go",
         [](Script &s) {
             four_acls(s).system(kOf13, kBind, 4).system(kPra, kBind, 3).bind(kPra, kBind, 3, {12});
             s.ports(kPra, kDeletePorts, {2, 12}).ports(kPra, kDeletePorts, {2, 40});
         }},
        {"ports-refused",
         [](Script &s) {
             s.client(kPra).create(kPra, 2).system(kPra, kBind, 1).ports(kPra, kAddPorts, {});
             s.ports(kPra, kAddPorts, {4}).but([](Step &step) { step.words[1] = 101; });
             s.ports(kPra, kBind, {4});
         }},
    };
}

}  // namespace zv_fire
