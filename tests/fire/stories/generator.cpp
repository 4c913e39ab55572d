#include "tests/fire/stories/generator.h"

#include <algorithm>
#include <iterator>

namespace zv_fire {

using nlohmann::json;

namespace {

constexpr uint32_t kPortsNum = 6;
constexpr uint32_t kMostAcls = 7;
constexpr uint32_t kMostCounters = 5;
constexpr uint32_t kMostGroups = 4;
constexpr uint32_t kSpoiledPercent = 25;

// The step that one call of a script makes.
template <class F>
Step one(F &&make) {
    Script script;
    make(script);
    return script.story().steps.back();
}

uint32_t word_at(const Bytes &body, size_t at) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4 && at + i < body.size(); ++i) {
        word |= static_cast<uint32_t>(body[at + i]) << (8 * i);
    }
    return word;
}

json port_list(uint32_t first, uint32_t num) {
    json ports = json::array();
    for (uint32_t i = 0; i < num; ++i) {
        ports.push_back({{"log_port", first + i},
                         {"kind", (first + i) % 4 == 3 ? 1 : 0},
                         {"name", "p" + std::to_string(first + i)}});
    }
    return ports;
}

}  // namespace

Generator::Generator(uint64_t seed) : random_(seed) {
    has_faults_ = chance(50);
}

json Generator::config() {
    json config = {{"ports", port_list(1, 4)}, {"acl_destroy_in_use", chance(40)}};
    if (chance(30)) {
        config["tcam_entries"] = 30 + below(40);
        config["regions"] = 4 + below(4);
        config["acls"] = 4 + below(4);
        config["groups"] = 3 + below(4);
        config["bindings"] = 4 + below(5);
        config["pbs_entries"] = 4 + below(4);
        config["counters"] = 2 + below(4);
    }
    return config;
}

Generator::Acl *Generator::some_acl() {
    return acls_.empty() ? nullptr : &acls_[below(static_cast<uint32_t>(acls_.size()))];
}

Generator::Acl *Generator::acl_with(uint32_t id) {
    const auto found =
        std::find_if(acls_.begin(), acls_.end(), [&](const Acl &acl) { return acl.id == id; });
    return found == acls_.end() ? nullptr : &*found;
}

uint32_t Generator::some_counter() {
    return counters_.empty() ? 0 : counters_[below(static_cast<uint32_t>(counters_.size()))];
}

uint32_t Generator::some_group() {
    return groups_.empty() ? 0 : groups_[below(static_cast<uint32_t>(groups_.size()))].id;
}

Numbers Generator::some_numbers(uint32_t most, uint32_t bound) {
    Numbers numbers;
    for (uint32_t left = 1 + below(most); left > 0; --left) {
        numbers.push_back(1 + below(bound));
    }
    return numbers;
}

Numbers Generator::some_of(const std::set<uint32_t> &numbers) {
    Numbers chosen;
    for (const uint32_t number : numbers) {
        if (chance(60)) {
            chosen.push_back(number);
        }
    }
    if (chosen.empty() && !numbers.empty()) {
        chosen.push_back(*numbers.begin());
    }
    std::shuffle(chosen.begin(), chosen.end(), random_);
    chosen.resize(std::min<size_t>(chosen.size(), 20));
    return chosen;
}

uint32_t Generator::odd_number() {
    constexpr uint32_t kOdd[] = {0,  1,  2,   3,     4,          7,          16,        17,
                                 20, 21, 100, 65535, 0x7fffffff, 0x80000000, 0xffffffff};
    return kOdd[below(std::size(kOdd))];
}

Step Generator::session_step() {
    switch (below(4)) {
        case 0:
            return one([&](Script &s) { s.open(some_owner()); });
        case 1:
            return one([&](Script &s) { s.init(some_owner(), chance(70) ? 3 : below(13)); });
        default:
            return one([&](Script &s) { s.dump(chance(95) ? "@" : "/no/such/place"); });
    }
}

Step Generator::make_acl() {
    const uint32_t size = chance(20) ? 0 : 4 + below(9);
    return one([&](Script &s) { s.create(some_owner(), size, chance(90) ? 0 : 1); });
}

Step Generator::write_rules(Acl &acl) {
    Numbers free;
    for (uint32_t offset = 0; offset < acl.size; ++offset) {
        if (acl.offsets.count(offset) == 0) {
            free.push_back(offset);
        }
    }
    std::shuffle(free.begin(), free.end(), random_);
    free.resize(std::min<size_t>(free.size(), 1 + below(4)));
    Rules rules;
    for (const uint32_t offset : free) {
        RuleSpec rule = at(offset, chance(60) ? 0 : below(4));
        if (chance(35)) {
            rule = to_port(rule, 1 + below(kPortsNum));
        } else if (chance(25) && !groups_.empty()) {
            rule = to_group(rule, some_group());
        }
        if (chance(30) && !counters_.empty()) {
            rule = counted(rule, some_counter());
        }
        rules.push_back(rule);
    }
    return one([&](Script &s) { s.write(acl.owner, acl.id, rules); });
}

Step Generator::move_rules(Acl &acl) {
    const uint32_t size = std::max(acl.size, 1u);
    const uint32_t block = 1 + below(std::min(size, 4u));
    const uint32_t room = size - block + 1;
    return one([&](Script &s) { s.move(acl.owner, acl.id, below(room), block, below(room)); });
}

Step Generator::bind(Acl &acl, bool rif) {
    const std::set<uint32_t> &bound = rif ? acl.rifs : acl.log_ports;
    const bool unbinds = !bound.empty() && chance(45);
    const uint32_t cmd = unbinds ? kUnbind : kBind;
    const Numbers points = unbinds ? some_of(bound) : some_numbers(3, kPortsNum);
    return one([&](Script &s) {
        if (rif) {
            s.rif(acl.owner, cmd, acl.id, points);
        } else {
            s.bind(acl.owner, cmd, acl.id, points);
        }
    });
}

Step Generator::counter_step() {
    if (counters_.empty() || (counters_.size() < kMostCounters && chance(30))) {
        const uint32_t first = below(2);
        return one([&](Script &s) { s.counter(some_owner(), kCreate, 0, first, 1 - first); });
    }
    const uint32_t id = some_counter();
    if (chance(40)) {
        return one([&](Script &s) { s.counter(some_owner(), kDestroy, id); });
    }
    return one([&](Script &s) { s.counter_get(some_owner(), chance(70) ? kRead : kClear, id); });
}

Step Generator::group_step() {
    if (groups_.empty() || (groups_.size() < kMostGroups && chance(30))) {
        // OF13 may make groups and nothing else with them.
        const Owner owner = static_cast<Owner>(chance(10) ? 3 : below(3));
        return one([&](Script &s) { s.mc(owner, kAdd, 0, some_numbers(4, kPortsNum)); });
    }
    const McGroup group = groups_[below(static_cast<uint32_t>(groups_.size()))];
    if (chance(35)) {
        return one([&](Script &s) { s.mc_get(group.owner, group.id, below(8)); });
    }
    const uint32_t cmd = chance(30) ? kDelete : chance(50) ? kAddPorts : kDeletePorts;
    return one([&](Script &s) { s.mc(group.owner, cmd, group.id, some_numbers(3, kPortsNum)); });
}

Step Generator::step_of_acl(uint32_t kind, Acl &acl) {
    if (kind < 24) {
        return acl.offsets.size() < acl.size ? write_rules(acl) : move_rules(acl);
    }
    if (kind < 34 && !acl.offsets.empty()) {
        return one([&](Script &s) { s.erase(acl.owner, acl.id, some_of(acl.offsets)); });
    }
    if (kind < 44 && !acl.offsets.empty()) {
        return one([&](Script &s) { s.read(acl.owner, acl.id, some_of(acl.offsets), below(3)); });
    }
    if (kind < 50) {
        return move_rules(acl);
    }
    if (kind < 72) {
        return bind(acl, kind >= 64);
    }
    if (kind < 78) {
        return one([&](Script &s) { s.system(acl.owner, acl.system ? kUnbind : kBind, acl.id); });
    }
    if (kind < 84) {
        return one(
            [&](Script &s) { s.resize(acl.owner, acl.id, chance(50) ? acl.size : below(16)); });
    }
    // An edit leaves a bound ACL's groups with an id that nobody knows: a rare one is enough.
    if (kind < 87 && ((acl.log_ports.empty() && acl.rifs.empty() && !acl.system) || chance(10))) {
        return one([&](Script &s) { s.edit(acl.owner, acl.id, below(2)); });
    }
    if (kind < 95) {
        return one([&](Script &s) {
            s.ports(some_owner(), chance(50) ? kAddPorts : kDeletePorts,
                    some_numbers(3, kPortsNum));
        });
    }
    return one([&](Script &s) { s.destroy(acl.owner, acl.id); });
}

Step Generator::valid_step() {
    // A story begins with its clients.
    if (begun_num_ < 5) {
        const Owner owner = static_cast<Owner>(begun_num_ % 4);
        return begun_num_++ < 4 ? one([&](Script &s) { s.open(owner); })
                                : one([&](Script &s) { s.init(owner); });
    }
    if (chance(6)) {
        return session_step();
    }
    if (chance(14)) {
        return counter_step();
    }
    if (chance(14)) {
        return group_step();
    }
    Acl *acl = some_acl();
    if (acl == nullptr || (acls_.size() < kMostAcls && chance(12))) {
        return make_acl();
    }
    return step_of_acl(below(100), *acl);
}

// One thing wrong; rarely several.
void Generator::spoil(Step &step) {
    switch (below(8)) {
        case 0:
            step.handle = chance(50) ? handle_of(some_owner()) : below(3);
            break;
        case 1:
            step.length = chance(50) ? below(60) : 7224;
            break;
        case 2:
            if (!step.rules.empty()) {
                RuleSpec &rule = step.rules[below(static_cast<uint32_t>(step.rules.size()))];
                rule.tail[below(6)] = chance(60) ? below(8) : odd_number();
            }
            break;
        case 3:
            if (!step.rules.empty()) {
                RuleSpec &rule = step.rules.back();
                rule.priority = rule.offset = chance(70) ? below(16) : odd_number();
                rule.key_type = below(6);
            }
            break;
        case 4:
            step.items = some_numbers(8, 3 * kPortsNum);
            break;
        case 5:
            if (chance(20)) {
                step.command = below(20);
            }
            break;
        default:
            if (!step.words.empty()) {
                step.words[below(static_cast<uint32_t>(step.words.size()))] =
                    chance(60) ? below(18) : odd_number();
            }
            break;
    }
    if (chance(15)) {
        spoil(step);
    }
}

// Faults, armed now and disarmed some requests later, and ports that the switch has no more.
void Generator::disturb(Step &step) {
    constexpr uint32_t kStatuses[] = {5, 4, 77, 1};
    constexpr const char *kCalls[] = {"*",
                                      "*",
                                      "*",
                                      "cl_malloc",
                                      "zv_api_acl_group_set",
                                      "zv_api_acl_port_bind_set",
                                      "zv_api_acl_rules_set",
                                      "zv_api_flow_counter_set",
                                      "zv_net_ports_get_all"};
    if (chance(1)) {
        step.ports = port_list(1 + below(3), below(6));
    }
    if (armed_steps_ > 0) {
        if (--armed_steps_ == 0) {
            step.faults = json::array();
        }
    } else if (has_faults_ && chance(15)) {
        armed_steps_ = 2 + below(10);
        step.faults = json::array({{{"call", kCalls[below(std::size(kCalls))]},
                                    {"nth", 1 + below(5)},
                                    {"status", kStatuses[below(std::size(kStatuses))]},
                                    {"times", chance(20) ? -1 : 1 + static_cast<int>(below(2))},
                                    {"late", chance(40)}}});
    }
}

Step Generator::next() {
    const bool begins = begun_num_ < 5;
    Step step = valid_step();
    step.connection = below(4);
    if (!begins && chance(kSpoiledPercent)) {
        spoil(step);
    }
    disturb(step);
    return step;
}

void Generator::learn_acl_set(const Step &step, const Bytes &body) {
    const uint32_t cmd = step.words[0];
    if (cmd == kCreate) {
        acls_.push_back({word_at(body, 0),
                         static_cast<Owner>(step.handle - handle_of(0)),
                         step.words[6],
                         {},
                         {},
                         {}});
    } else if (cmd == kDestroy) {
        std::erase_if(acls_, [&](const Acl &acl) { return acl.id == step.words[1]; });
    } else if (Acl *acl = acl_with(step.words[1])) {
        acl->id = word_at(body, 0);
        // Its rules go by the former id and can be neither read nor deleted any more.
        acl->offsets.clear();
    }
}

void Generator::learn_rules(const Step &step, Acl &acl) {
    for (size_t i = 0; i < step.rules.size() && i < step.words[2]; ++i) {
        if (step.words[0] == kWrite) {
            acl.offsets.insert(step.rules[i].priority);
        } else {
            acl.offsets.erase(step.rules[i].offset);
        }
    }
}

void Generator::learn_bind(const Step &step, Acl &acl) {
    std::set<uint32_t> &points = step.command == 9 ? acl.log_ports : acl.rifs;
    for (size_t i = 0; i < step.items.size() && i < step.words[2]; ++i) {
        if (step.words[0] == kBind) {
            points.insert(step.items[i]);
        } else {
            points.erase(step.items[i]);
        }
    }
}

void Generator::learn(const Step &step, const zv_model::Reply &reply) {
    if (reply.transport != 0 || reply.status != 0 || step.words.size() < 2) {
        return;
    }
    Acl *acl = acl_with(step.words[step.command == 5 || step.command == 8 ? 0 : 1]);
    if (step.command == 4) {
        learn_acl_set(step, reply.body);
    } else if (step.command == 11 && step.words[0] == kCreate) {
        counters_.push_back(word_at(reply.body, 20));
    } else if (step.command == 11) {
        std::erase(counters_, step.words[3]);
    } else if (step.command == 13 && step.words[0] == kAdd) {
        groups_.push_back(
            {word_at(reply.body, 12), static_cast<Owner>(step.handle - handle_of(0))});
    } else if (step.command == 13 && step.words[0] == kDelete) {
        std::erase_if(groups_, [&](const McGroup &group) { return group.id == step.words[1]; });
    } else if (acl != nullptr && step.command == 6) {
        learn_rules(step, *acl);
    } else if (acl != nullptr && (step.command == 9 || step.command == 10)) {
        learn_bind(step, *acl);
    } else if (acl != nullptr && step.command == 5) {
        acl->size = step.words[1];
    } else if (acl != nullptr && step.command == 15) {
        acl->system = step.words[0] == kBind;
    } else if (acl != nullptr && step.command == 8) {
        // Where they went is for the next read to find out; most offsets can be written again.
        const uint32_t start = step.words[1], num = step.words[2], to = step.words[3];
        std::set<uint32_t> moved;
        for (const uint32_t offset : acl->offsets) {
            if (offset >= start && offset - start < num) {
                moved.insert(offset - start + to);
            } else if (offset < to || offset - to >= num) {
                moved.insert(offset);
            }
        }
        acl->offsets = moved;
    }
}

}  // namespace zv_fire
