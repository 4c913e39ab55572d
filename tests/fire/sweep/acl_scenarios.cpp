#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

using zv_test::kSkipGroups;
using zv_test::kSkipLeftOvers;
using zv_test::kSkipRules;

// What is left in the switch by a create that a small switch refuses half-way.
void creates_in(Script &script, const char *capacity, uint32_t value, uint32_t num) {
    script.capacity(capacity, value).clients();
    script.repeat(num, [](Script &s, uint32_t i) { s.create(static_cast<Owner>(i % 4), 4); });
    script.destroy(kOpenFlow, 1).create(kTarnOs, 4);
}

void fill_to_chip_limit(Script &script) {
    script.clients().quietly();
    script.repeat(398, [](Script &s, uint32_t i) { s.create(static_cast<Owner>(i % 4), 1); });
    script.quietly(false);
    script.create(kPra, 2).create(kPra, 2).destroy(kOpenFlow, 1).create(kPra, 3);
}

void destroy_with_everything(Script &script) {
    script.clients().create(kOpenFlow, 8).create(kPra, 8).counter(kOpenFlow, kCreate, 0);
    script.mc(kOpenFlow, kAdd, 0, {1, 2});
    script.write(kOpenFlow, 1,
                 {counted(to_port(at(0), 1), 1), to_group(at(3), 1), counted(at(7), 1)});
    script.write(kPra, 2, {to_port(at(0), 1)});
    script.bind(kOpenFlow, kBind, 1, {1, 2}).rif(kOpenFlow, kBind, 1, {5});
    script.bind(kPra, kBind, 2, {1}).destroy(kOpenFlow, 1).destroy(kPra, 2);
    script.mc(kOpenFlow, kDelete, 1, {});
}

}  // namespace

std::vector<Scenario> acl_scenarios() {
    return {
        {"create", [](Script &s) { s.client(kOpenFlow).create(kOpenFlow, 4); }},
        {"create-of-each-owner",
         [](Script &s) {
             s.clients().create(kOpenFlow, 1).create(kTarnOs, 2).create(kPra, 3).create(kOf13, 4);
         }},
        {"create-size-zero",
         [](Script &s) {
             s.client(kOpenFlow).create(kOpenFlow, 0).resize(kOpenFlow, 1, 4);
             s.write(kOpenFlow, 1, {at(3)}).destroy(kOpenFlow, 1);
         }},
        {"create-refused",
         [](Script &s) {
             s.client(kOpenFlow).acl_set(kOpenFlow, kCreate, 0, 4, 5).create(kStranger, 4);
             s.create(kOpenFlow, 70000).create(kOpenFlow, 0xffffffff).create(kOpenFlow, 4);
         },
         kSkipLeftOvers},
        {"create-regions-full", [](Script &s) { creates_in(s, "regions", 3, 5); }},
        {"create-acls-full", [](Script &s) { creates_in(s, "acls", 3, 5); }, kSkipLeftOvers},
        {"create-tcam-full", [](Script &s) { creates_in(s, "tcam_entries", 14, 5); }},
        {"create-to-chip-limit", fill_to_chip_limit},
        {"destroy", [](Script &s) { s.client(kPra).create(kPra, 4).destroy(kPra, 1); }},
        {"destroy-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).destroy(kOpenFlow, 1).destroy(kStranger, 1);
             s.destroy(kPra, 2).destroy(kPra, 0xffffffff).destroy(kPra, 1).destroy(kPra, 1);
         }},
        {"destroy-with-rules",
         [](Script &s) {
             s.client(kPra).create(kPra, 8).write(kPra, 1, {at(0), at(5), at(7)}).destroy(kPra, 1);
             s.destroy(kPra, 1).create(kPra, 8);
         }},
        {"destroy-bound",
         [](Script &s) {
             s.client(kPra).create(kPra, 8).bind(kPra, kBind, 1, {1, 2, 3}).destroy(kPra, 1);
             s.destroy(kPra, 1);
         }},
        {"destroy-shared-group",
         [](Script &s) {
             s.clients().create(kPra, 2).create(kOpenFlow, 2).create(kOf13, 2);
             s.bind(kPra, kBind, 1, {1}).bind(kOpenFlow, kBind, 2, {1}).bind(kOf13, kBind, 3, {1});
             s.destroy(kOpenFlow, 2).destroy(kPra, 1).destroy(kOf13, 3);
         }},
        {"destroy-with-everything", destroy_with_everything},
        {"destroy-after-failed-destroy",
         [](Script &s) {
             s.client(kPra).create(kPra, 4).write(kPra, 1, {at(1)}).bind(kPra, kBind, 1, {1});
             s.destroy(kPra, 1).destroy(kPra, 1).write(kPra, 1, {at(2)}).destroy(kPra, 1);
         }},
        {"edit",
         [](Script &s) {
             s.client(kPra).create(kPra, 4).edit(kPra, 1).edit(kPra, 2, 0).destroy(kPra, 3);
         }},
        {"edit-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).edit(kOpenFlow, 1).edit(kStranger, 1).edit(kPra, 9);
             s.edit(kPra, 1).edit(kPra, 1);
         }},
        {"edit-with-rules",
         [](Script &s) {
             s.client(kPra).create(kPra, 4).write(kPra, 1, {at(1), at(2)}).edit(kPra, 1);
             s.read(kPra, 2, {1}).write(kPra, 2, {at(1)}).write(kPra, 2, {at(3)}).destroy(kPra, 2);
         },
         kSkipRules | zv_test::kSkipCounts},
        {"edit-of-a-bound-acl-is-refused",
         [](Script &s) {
             s.client(kPra).create(kPra, 4).bind(kPra, kBind, 1, {1}).edit(kPra, 1);
             s.edit(kPra, 1).destroy(kPra, 1);
         },
         kSkipGroups | kSkipLeftOvers | zv_test::kSkipCounts},
        {"edit-of-a-bound-acl-is-allowed",
         [](Script &s) {
             s.but_config("acl_destroy_in_use", true);
             s.clients().create(kPra, 4).create(kPra, 4).bind(kPra, kBind, 1, {1, 2});
             s.bind(kPra, kBind, 2, {1}).edit(kPra, 1).bind(kPra, kUnbind, 3, {1});
             s.bind(kPra, kBind, 3, {3}).destroy(kPra, 3).destroy(kPra, 2);
         },
         kSkipGroups | kSkipLeftOvers},
        {"edit-acls-full",
         [](Script &s) {
             s.capacity("acls", 1).client(kPra).create(kPra, 4).edit(kPra, 1).create(kPra, 4);
         },
         kSkipLeftOvers},
        {"resize-to-same", [](Script &s) { s.client(kPra).create(kPra, 4).resize(kPra, 1, 4); }},
        {"resize-refused",
         [](Script &s) {
             s.clients().create(kPra, 4).resize(kPra, 1, 3).resize(kPra, 1, 5);
             s.resize(kOpenFlow, 1, 4).resize(kPra, 7, 4).resize(kStranger, 1, 4);
         }},
        {"resize-grows-and-shrinks",
         [](Script &s) {
             s.client(kPra).create(kPra, 0).resize(kPra, 1, 8).write(kPra, 1, {at(2), at(6)});
             s.resize(kPra, 1, 7).resize(kPra, 1, 6).resize(kPra, 1, 20).erase(kPra, 1, {6});
             s.resize(kPra, 1, 3).resize(kPra, 1, 0).erase(kPra, 1, {2}).resize(kPra, 1, 0);
         }},
        {"resize-tcam-full",
         [](Script &s) {
             s.capacity("tcam_entries", 10).client(kPra).create(kPra, 0).create(kPra, 4);
             s.resize(kPra, 1, 6).resize(kPra, 1, 7).resize(kPra, 1, 5).resize(kPra, 1, 6);
         }},
        {"resize-of-an-edited-acl",
         [](Script &s) {
             s.client(kPra).create(kPra, 0).resize(kPra, 1, 4).edit(kPra, 1).resize(kPra, 2, 6);
             s.destroy(kPra, 2);
         }},
        {"resize-past-16-bits",
         [](Script &s) {
             s.client(kPra).create(kPra, 0).resize(kPra, 1, 16384).write(kPra, 1, {at(0)});
             s.resize(kPra, 1, 16386).write(kPra, 1, {at(1)}).write(kPra, 1, {at(2)});
             s.resize(kPra, 1, 65536).resize(kPra, 1, 1).destroy(kPra, 1);
         },
         kSkipRules | zv_test::kSkipCounts},
    };
}

}  // namespace zv_fire
