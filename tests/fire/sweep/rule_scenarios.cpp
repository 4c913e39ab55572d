#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

using zv_test::kSkipCounts;
using zv_test::kSkipRules;

Script &one_acl(Script &script, uint32_t size = 16) {
    return script.client(kPra).create(kPra, size);
}

Rules of_each_key_type(uint32_t first) {
    return {at(first, 3), at(first + 1, 0), at(first + 2, 2), at(first + 3, 1), at(first + 4, 0)};
}

// A table of 6400 rules, but for `room`: 320 requests of 20.
void fill_rules(Script &script, uint32_t room) {
    script.clients().quietly();
    script.repeat(16, [](Script &s, uint32_t) { s.create(kPra, 400); });
    script.repeat(16, [&](Script &s, uint32_t acl) {
        s.repeat(20, [&](Script &t, uint32_t batch) {
            const uint32_t left = acl == 15 && batch == 19 ? 20 - room : 20;
            t.write(kPra, acl + 1, rules_from(batch * 20, left));
        });
    });
    script.quietly(false);
}

}  // namespace

std::vector<Scenario> rule_scenarios() {
    return {
        {"write", [](Script &s) { one_acl(s).write(kPra, 1, {at(0)}); }},
        {"write-none", [](Script &s) { one_acl(s).write(kPra, 1, {}).erase(kPra, 1, {}); }},
        {"write-twenty", [](Script &s) { one_acl(s, 20).write(kPra, 1, rules_from(0, 20)); }},
        {"write-each-key-type",
         [](Script &s) { one_acl(s).write(kPra, 1, of_each_key_type(2)).destroy(kPra, 1); }},
        {"write-unknown-key-type",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {to_port(at(0), 1), at(1, 4)});
         },
         zv_test::kSkipLeftOvers},
        {"write-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).write(kOpenFlow, 1, {at(0)});
             s.write(kStranger, 1, {at(0)}).write(kPra, 3, {at(0)}).write(kPra, 1, {at(4)});
             s.write(kPra, 1, rules_from(0, 20)).but([](Step &step) { step.words[2] = 21; });
             s.write(kPra, 1, {at(0)}).write(kPra, 1, {at(0)}).write(kPra, 1, {at(1), at(0)});
         }},
        {"write-one-offset-twice",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(2), at(2)}).erase(kPra, 1, {2});
         },
         kSkipRules | kSkipCounts},
        {"write-past-the-region",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(15), at(16)}).write(kPra, 1, {at(15)});
         }},
        {"write-not-valid",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(2)}).but([](Step &step) { step.rules[0].valid = 0; });
             s.read(kPra, 1, {2});
         }},
        {"write-rules-full",
         [](Script &s) {
             fill_rules(s, 1);
             s.create(kPra, 4).write(kPra, 17, {at(0), at(1)}).write(kPra, 17, {at(2)});
         },
         kSkipRules | kSkipCounts},
        {"write-rules-exactly-full",
         [](Script &s) {
             fill_rules(s, 1);
             s.write(kPra, 16, {at(399)}).write(kPra, 16, {at(399)}).erase(kPra, 16, {399});
         }},
        {"delete",
         [](Script &s) { one_acl(s).write(kPra, 1, rules_from(0, 3)).erase(kPra, 1, {1}); }},
        {"delete-all",
         [](Script &s) {
             one_acl(s).write(kPra, 1, rules_from(0, 3)).erase(kPra, 1, {2, 0, 1});
         }},
        {"delete-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).write(kPra, 1, {at(0), at(1)}).erase(kPra, 1, {0, 3});
             s.erase(kOpenFlow, 1, {0}).erase(kPra, 2, {0}).erase(kPra, 1, {9});
         }},
        {"delete-one-twice",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(0), at(1)}).erase(kPra, 1, {1, 1});
         }},
        {"read",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(1), at(2)}).read(kPra, 1, {1, 2}).read(kPra, 1, {2}, 1);
             s.read(kPra, 1, {1}, 2).read(kPra, 1, {});
         }},
        {"read-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).write(kPra, 1, {at(1)}).read(kPra, 1, {1, 0});
             s.read(kPra, 1, {4}).read(kPra, 2, {0}).read(kOpenFlow, 1, {1}, 2);
             s.read(kStranger, 1, {1}, 2).read(kPra, 1, {1}).but([](Step &step) {
                 step.words[1] = 21;
             });
         }},
        {"read-of-another-owner",
         [](Script &s) {
             s.clients().create(kPra, 4).write(kPra, 1, {at(1)}).read(kOf13, 1, {1});
             s.read(kOf13, 1, {1}, 1).read(kStranger, 1, {1}, 1);
         }},
        {"read-what-a-rule-forwards-to",
         [](Script &s) {
             one_acl(s).mc(kPra, kAdd, 0, {1}).counter(kPra, kCreate, 0);
             s.write(kPra, 1, {to_group(at(1), 1), counted(to_port(at(2), 3), 1), at(3)});
             s.read(kPra, 1, {1, 2, 3}, 1);
         }},
        {"move",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(1), at(2)}).move(kPra, 1, 1, 2, 8);
             s.read(kPra, 1, {8, 9}).write(kPra, 1, {at(1)});
         },
         kSkipRules},  // a moved rule's record keeps the offset it was written with
        {"move-overlapping-up",
         [](Script &s) {
             one_acl(s).write(kPra, 1, rules_from(2, 4)).move(kPra, 1, 2, 4, 4).read(kPra, 1, {7});
         },
         kSkipRules},
        {"move-overlapping-down",
         [](Script &s) {
             one_acl(s).write(kPra, 1, rules_from(4, 4)).move(kPra, 1, 4, 4, 2).erase(kPra, 1, {2});
         },
         kSkipRules},
        {"move-onto-rules",
         [](Script &s) {
             one_acl(s).counter(kPra, kCreate, 0);
             s.write(kPra, 1, {at(1), counted(to_port(at(8), 1), 1), at(9)});
             s.move(kPra, 1, 1, 1, 8).destroy(kPra, 1);
         }},
        {"move-with-gaps",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(0), at(3), at(5)}).move(kPra, 1, 0, 6, 3);
             s.move(kPra, 1, 3, 6, 10).move(kPra, 1, 10, 6, 0);
         }},
        {"move-nothing",
         [](Script &s) {
             one_acl(s).write(kPra, 1, {at(1)}).move(kPra, 1, 1, 0, 4).move(kPra, 1, 5, 2, 8);
             s.move(kPra, 1, 1, 1, 1);
         }},
        {"move-refused",
         [](Script &s) {
             s.clients().create(kPra, 8).write(kPra, 1, {at(1)}).move(kPra, 1, 4, 5, 0);
             s.move(kPra, 1, 0, 4, 5).move(kPra, 1, 0, 0xffffffff, 0).move(kPra, 2, 0, 1, 2);
             s.move(kOpenFlow, 1, 0, 1, 2).move(kStranger, 1, 0, 1, 2);
             s.move(kPra, 1, 0xffffffff, 2, 0).move(kPra, 1, 0, 2, 0xffffffff);
         }},
        {"move-with-counters-and-forwarding",
         [](Script &s) {
             one_acl(s).counter(kPra, kCreate, 0).mc(kPra, kAdd, 0, {1, 2});
             s.write(kPra, 1, {counted(to_port(at(0), 1), 1), to_group(at(1), 1), at(2)});
             s.move(kPra, 1, 0, 3, 2).read(kPra, 1, {2, 3, 4}).erase(kPra, 1, {2, 3, 4});
         }},
        {"rules-of-two-acls",
         [](Script &s) {
             s.clients().create(kPra, 4).create(kOpenFlow, 4).write(kPra, 1, rules_from(0, 4));
             s.write(kOpenFlow, 2, rules_from(0, 4)).erase(kPra, 1, {0, 1, 2, 3});
             s.destroy(kOpenFlow, 2).destroy(kPra, 1);
         }},
    };
}

}  // namespace zv_fire
