// Every command with every access command: on tables that are empty, half full and full, on objects
// of one's own and of another owner.
#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

// ACL, counter and multicast group 1 are kPra's, 2 are kOpenFlow's.
constexpr uint32_t kId = 1;

// What there is is made quietly: only what is asked of it afterwards fails.
void populate(Script &script, uint32_t rules_num) {
    script.clients().quietly().create(kPra, 4).create(kOpenFlow, 4);
    script.counter(kPra, kCreate, 0).counter(kOpenFlow, kCreate, 0);
    script.mc(kPra, kAdd, 0, {1}).mc(kOpenFlow, kAdd, 0, {2});
    Rules rules = rules_from(0, rules_num);
    rules[0] = counted(to_group(rules[0], 1), 1);
    rules[1] = to_port(rules[1], 3);
    script.write(kPra, 1, rules);
    rules[0] = counted(rules[0], 2);
    script.write(kOpenFlow, 2, rules);
    script.bind(kPra, kBind, 1, {1}).bind(kOpenFlow, kBind, 2, {1, 2}).quietly(false);
}

void capacities(Script &script, uint32_t times) {
    for (const auto &[name, used] : {std::pair{"regions", 2u},
                                     {"acls", 2u},
                                     {"tcam_entries", 8u},
                                     {"groups", 2u},
                                     {"bindings", 2u},
                                     {"counters", 2u},
                                     {"pbs_entries", 3u}}) {
        script.capacity(name, used * times);
    }
}

void nothing_there(Script &script) {
    script.clients();
}

void half_full(Script &script) {
    capacities(script, 2);
    populate(script, 2);
}

// The switch has no room for anything more, and the ACLs have none for another rule.
void full(Script &script) {
    capacities(script, 1);
    populate(script, 4);
}

// The daemon's own tables, where they can be filled.
void full_of_rules(Script &script) {
    script.clients().quietly();
    script.repeat(16, [](Script &s, uint32_t) { s.create(kPra, 401); });
    script.repeat(16, [](Script &s, uint32_t acl) {
        s.repeat(20, [&](Script &t, uint32_t batch) {
            t.write(kPra, acl + 1, rules_from(batch * 20, 20));
        });
    });
    script.quietly(false);
}

void full_of_groups(Script &script) {
    script.clients().quietly().create(kPra, 4).create(kOpenFlow, 4);
    script.bind(kPra, kBind, 1, numbers_from(100, 100));
    script.bind(kPra, kBind, 1, numbers_from(200, 28)).quietly(false);
}

void full_of_counters(Script &script) {
    script.clients().quietly().create(kPra, 4);
    script.repeat(255, [](Script &s, uint32_t) { s.counter(kPra, kCreate, 0); });
    script.write(kPra, 1, {counted(at(0), 1)}).quietly(false);
}

constexpr uint32_t kAccessCommands = 18;

void acls(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.acl_set(who, cmd, kId, 4, 6);
    }
    script.resize(who, kId, 4).resize(who, 3, 6).destroy(who, 3);
}

void rules(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.write(who, kId, {at(2 + cmd % 2)}).but([&](Step &step) { step.words[0] = cmd; });
    }
    script.read(who, kId, {0, 2}).read(who, kId, {1}, 1).read(who, kId, {1}, 2);
    script.move(who, kId, 0, 1, 3).move(who, kId, 0, 2, 1).resize(who, kId, 4);
    script.erase(who, kId, {0, 1, 2, 3}).write(who, kId, {to_port(at(0), 1)});
}

void bindings(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.bind(who, cmd, kId, {1, 3}).rif(who, cmd, kId, {7});
    }
}

void system(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.system(who, cmd, kId).ports(who, cmd, {20, 3});
    }
}

void counters(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.counter(who, cmd, kId).counter_get(who, cmd, kId);
    }
}

void groups(Script &script, Owner who) {
    for (uint32_t cmd = 0; cmd < kAccessCommands; ++cmd) {
        script.mc(who, cmd, kId, {2, 3}).mc_get(who, kId, 4);
    }
}

// Who has opened already and opens, inits, dumps again.
void sessions(Script &script, Owner who) {
    script.open(who).init(who).dump().init(who, 5).create(who, 4).dump();
}

struct World {
    const char *name;
    void (*make)(Script &script);
};

// A look at full tables takes a while, so only what they decide is asked.
void rules_past_the_last(Script &script, Owner who) {
    script.write(who, kId, {at(400)}).move(who, kId, 0, 1, 400).erase(who, kId, {0});
    script.write(who, kId, {at(0)}).write(who, kId, {at(400)});
}

struct Commands {
    const char *name;
    void (*ask)(Script &script, Owner who);
    // Of CacheSkip: what they put out of step, faults or not.
    unsigned skip = zv_test::kSkipNothing;
};

// An edit leaves groups, rules and the switch's region under the ACL's former id.
constexpr unsigned kSkipOfEdits =
    zv_test::kSkipGroups | zv_test::kSkipRules | zv_test::kSkipLeftOvers | zv_test::kSkipCounts;

constexpr Commands kCommands[] = {
    {"acls", acls, kSkipOfEdits}, {"rules", rules, zv_test::kSkipRules},
    {"bindings", bindings},       {"system", system},
    {"counters", counters},       {"groups", groups},
    {"sessions", sessions}};
constexpr World kWorlds[] = {{"empty", nothing_there}, {"half-full", half_full}, {"full", full}};

struct Whose {
    const char *name;
    Owner who;
};

constexpr Whose kWhose[] = {{"own", kPra}, {"another", kOpenFlow}};

void add(const World &world, const Commands &commands, std::vector<Scenario> *scenarios) {
    for (const Whose &whose : kWhose) {
        const std::string name =
            std::string("matrix-") + commands.name + "-" + world.name + "-" + whose.name;
        scenarios->push_back({name,
                              [=](Script &script) {
                                  world.make(script);
                                  commands.ask(script, whose.who);
                              },
                              commands.skip});
    }
}

}  // namespace

std::vector<Scenario> matrix_scenarios() {
    std::vector<Scenario> scenarios;
    for (const World &world : kWorlds) {
        for (const Commands &commands : kCommands) {
            add(world, commands, &scenarios);
        }
    }
    add({"daemon-full", full_of_rules},
        {"rules", rules_past_the_last, zv_test::kSkipRules | zv_test::kSkipCounts}, &scenarios);
    add({"daemon-full", full_of_groups}, {"bindings", bindings}, &scenarios);
    add({"daemon-full", full_of_groups}, {"system", system}, &scenarios);
    add({"daemon-full", full_of_counters}, {"counters", counters}, &scenarios);
    return scenarios;
}

}  // namespace zv_fire
