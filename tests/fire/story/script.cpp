#include "tests/fire/story/script.h"

#include <utility>

namespace zv_fire {

using nlohmann::json;

RuleSpec at(uint32_t offset, uint32_t key_type) {
    RuleSpec rule;
    rule.priority = offset;
    rule.offset = offset;
    rule.key_type = key_type;
    rule.match = offset % 5;
    return rule;
}

RuleSpec to_port(RuleSpec rule, uint32_t log_port) {
    rule.tail[0] = 1;
    rule.tail[1] = log_port;
    return rule;
}

RuleSpec to_group(RuleSpec rule, uint32_t mc_group_id) {
    rule.tail[0] = 2;
    rule.tail[2] = mc_group_id;
    return rule;
}

RuleSpec counted(RuleSpec rule, uint32_t counter_id) {
    rule.tail[5] = counter_id;
    return rule;
}

Numbers numbers_from(uint32_t first, uint32_t num) {
    Numbers numbers;
    for (uint32_t i = 0; i < num; ++i) {
        numbers.push_back(first + i);
    }
    return numbers;
}

Rules rules_from(uint32_t first, uint32_t num) {
    Rules rules;
    for (const uint32_t offset : numbers_from(first, num)) {
        rules.push_back(at(offset));
    }
    return rules;
}

Script::Script() {
    json &ports = story_.config["ports"];
    for (const uint32_t port : {1, 2, 3}) {
        ports.push_back({{"log_port", port}, {"kind", 0}, {"name", "p" + std::to_string(port)}});
    }
    ports.push_back({{"log_port", 9}, {"kind", 1}, {"name", "cpu"}});
}

Script &Script::capacity(const std::string &name, uint32_t value) {
    story_.config[name] = value;
    return *this;
}

Script &Script::but_config(const std::string &name, const json &value) {
    story_.config[name] = value;
    return *this;
}

Script &Script::step(Step step) {
    step.quiet = quiet_;
    story_.steps.push_back(std::move(step));
    return *this;
}

Script &Script::but(const std::function<void(Step &)> &change) {
    change(story_.steps.back());
    return *this;
}

Script &Script::quietly(bool quiet) {
    quiet_ = quiet;
    return *this;
}

Script &Script::repeat(uint32_t num, const std::function<void(Script &, uint32_t)> &part) {
    for (uint32_t i = 0; i < num; ++i) {
        part(*this, i);
    }
    return *this;
}

// Each owner is a client with a connection of its own.
Script &Script::add(uint32_t command, Owner owner, const Numbers &words, const Numbers &items,
                    const Rules &rules) {
    Step next;
    next.command = command;
    next.handle = handle_of(owner);
    next.words = words;
    next.items = items;
    next.rules = rules;
    next.connection = owner;
    return step(std::move(next));
}

Script &Script::open(Owner owner) {
    return add(2, owner, {owner, 0});
}

Script &Script::init(Owner owner, uint32_t chip_type) {
    return add(3, owner, {chip_type, 0});
}

Script &Script::client(Owner owner) {
    return open(owner).init(owner);
}

Script &Script::clients() {
    return open(kOpenFlow).open(kTarnOs).open(kPra).open(kOf13).init(kOpenFlow);
}

Script &Script::acl_set(Owner owner, uint32_t cmd, uint32_t acl_id, uint32_t min_size,
                        uint32_t max_size, uint32_t direction) {
    return add(4, owner, {cmd, acl_id, 0, 0, 0, direction, min_size, max_size, 0, 0});
}

Script &Script::create(Owner owner, uint32_t size, uint32_t direction) {
    return acl_set(owner, kCreate, 0, size, size, direction);
}

Script &Script::destroy(Owner owner, uint32_t acl_id) {
    return acl_set(owner, kDestroy, acl_id, 0, 0);
}

Script &Script::edit(Owner owner, uint32_t acl_id, uint32_t direction) {
    return acl_set(owner, kEdit, acl_id, 0, 0, direction);
}

Script &Script::resize(Owner owner, uint32_t acl_id, uint32_t size) {
    return add(5, owner, {acl_id, size});
}

Script &Script::write(Owner owner, uint32_t acl_id, const Rules &rules) {
    return add(6, owner, {kWrite, acl_id, static_cast<uint32_t>(rules.size()), 0}, {}, rules);
}

Script &Script::erase(Owner owner, uint32_t acl_id, const Numbers &offsets) {
    Rules rules;
    for (const uint32_t offset : offsets) {
        rules.push_back(at(offset));
    }
    return add(6, owner, {kDelete, acl_id, static_cast<uint32_t>(rules.size()), 0}, {}, rules);
}

Script &Script::read(Owner owner, uint32_t acl_id, const Numbers &offsets, uint32_t activity) {
    Rules rules;
    for (const uint32_t offset : offsets) {
        rules.push_back(at(offset));
        rules.back().tail[0] = activity;
    }
    return add(7, owner, {acl_id, static_cast<uint32_t>(rules.size()), 0, 0}, {}, rules);
}

Script &Script::move(Owner owner, uint32_t acl_id, uint32_t start, uint32_t size,
                     uint32_t new_start) {
    return add(8, owner, {acl_id, start, size, new_start});
}

Script &Script::bind(Owner owner, uint32_t cmd, uint32_t acl_id, const Numbers &log_ports) {
    return add(9, owner, {cmd, acl_id, static_cast<uint32_t>(log_ports.size()), 0}, log_ports);
}

Script &Script::rif(Owner owner, uint32_t cmd, uint32_t acl_id, const Numbers &rifs) {
    return add(10, owner, {cmd, acl_id, static_cast<uint32_t>(rifs.size()), 0}, rifs);
}

Script &Script::system(Owner owner, uint32_t cmd, uint32_t acl_id) {
    return add(15, owner, {cmd, acl_id});
}

Script &Script::ports(Owner owner, uint32_t cmd, const Numbers &log_ports) {
    return add(16, owner, {cmd, static_cast<uint32_t>(log_ports.size())}, log_ports);
}

Script &Script::counter(Owner owner, uint32_t cmd, uint32_t counter_id, uint32_t first,
                        uint32_t second) {
    return add(11, owner, {cmd, first, second, counter_id});
}

Script &Script::counter_get(Owner owner, uint32_t cmd, uint32_t counter_id) {
    return add(12, owner, {cmd, counter_id, 0, 0});
}

Script &Script::mc(Owner owner, uint32_t cmd, uint32_t group_id, const Numbers &log_ports) {
    return add(13, owner, {cmd, group_id, static_cast<uint32_t>(log_ports.size()), 0}, log_ports);
}

Script &Script::mc_get(Owner owner, uint32_t group_id, uint32_t room) {
    return add(14, owner, {group_id, room});
}

Script &Script::dump(const std::string &path) {
    add(17, kOpenFlow, {});
    story_.steps.back().path = path;
    return *this;
}

}  // namespace zv_fire
