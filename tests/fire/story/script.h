// script.h - stories written down in the words of the commands.
//
//   Script script;
//   script.clients();                                   // the four owners, and INIT
//   script.create(kOpenFlow, 8).write(kOpenFlow, 1, {to_port(at(3), 1)});
//   script.bind(kPra, kBind, 2, {1, 2});
//
// Ids are the switch's: each kind counts from 1. A multicast group and a forwarding port are both
// PBS entries.
#ifndef ZV_TESTS_FIRE_STORY_SCRIPT_H
#define ZV_TESTS_FIRE_STORY_SCRIPT_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/fire/story/step.h"

namespace zv_fire {

using Numbers = std::vector<uint32_t>;
using Rules = std::vector<RuleSpec>;

enum Owner : uint32_t { kOpenFlow = 0, kTarnOs = 1, kPra = 2, kOf13 = 3 };
// The handle a script opens an owner with.
constexpr uint64_t handle_of(uint32_t owner) {
    return 0x1000000011 + owner;
}
constexpr Owner kStranger = static_cast<Owner>(77);  // its handle was never opened

enum Access : uint32_t {
    kAdd = 1,
    kEdit = 2,
    kDelete = 3,
    kCreate = 4,
    kDestroy = 5,
    kWrite = 6,
    kBind = 7,
    kUnbind = 8,
    kAddPorts = 9,
    kDeletePorts = 10,
    kRead = 13,
    kReadClear = 14,
    kClear = 15,
};

// Rules: each function changes one thing.
RuleSpec at(uint32_t offset, uint32_t key_type = 0);
RuleSpec to_port(RuleSpec rule, uint32_t log_port);
RuleSpec to_group(RuleSpec rule, uint32_t mc_group_id);
RuleSpec counted(RuleSpec rule, uint32_t counter_id);
// first, first + 1, ...
Rules rules_from(uint32_t first, uint32_t num);
Numbers numbers_from(uint32_t first, uint32_t num);

class Script {
  public:
    Script();  // a switch of the front-panel ports 1, 2, 3 and the CPU's port 9

    Script &capacity(const std::string &name, uint32_t value);
    Script &but_config(const std::string &name, const nlohmann::json &value);
    Script &open(Owner owner);
    Script &init(Owner owner, uint32_t chip_type = 3);
    Script &clients();            // opens all four and INITs
    Script &client(Owner owner);  // opens one and INITs

    Script &acl_set(Owner owner, uint32_t cmd, uint32_t acl_id, uint32_t min_size,
                    uint32_t max_size, uint32_t direction = 0);
    Script &create(Owner owner, uint32_t size, uint32_t direction = 0);
    Script &destroy(Owner owner, uint32_t acl_id);
    Script &edit(Owner owner, uint32_t acl_id, uint32_t direction = 1);
    Script &resize(Owner owner, uint32_t acl_id, uint32_t size);

    Script &write(Owner owner, uint32_t acl_id, const Rules &rules);
    Script &erase(Owner owner, uint32_t acl_id, const Numbers &offsets);
    Script &read(Owner owner, uint32_t acl_id, const Numbers &offsets, uint32_t activity = 0);
    Script &move(Owner owner, uint32_t acl_id, uint32_t start, uint32_t size, uint32_t new_start);

    Script &bind(Owner owner, uint32_t cmd, uint32_t acl_id, const Numbers &log_ports);
    Script &rif(Owner owner, uint32_t cmd, uint32_t acl_id, const Numbers &rifs);
    Script &system(Owner owner, uint32_t cmd, uint32_t acl_id);
    Script &ports(Owner owner, uint32_t cmd, const Numbers &log_ports);

    Script &counter(Owner owner, uint32_t cmd, uint32_t counter_id, uint32_t first = 1,
                    uint32_t second = 0);
    Script &counter_get(Owner owner, uint32_t cmd, uint32_t counter_id);
    Script &mc(Owner owner, uint32_t cmd, uint32_t group_id, const Numbers &log_ports);
    Script &mc_get(Owner owner, uint32_t group_id, uint32_t room);
    Script &dump(const std::string &path = "@");

    Script &step(Step step);
    // Changes the last step: what its words cannot say otherwise.
    Script &but(const std::function<void(Step &)> &change);
    // Steps from here on only fill tables (or do not any more).
    Script &quietly(bool quiet = true);
    Script &repeat(uint32_t num, const std::function<void(Script &, uint32_t index)> &part);

    const Story &story() const { return story_; }

  private:
    Script &add(uint32_t command, Owner owner, const Numbers &words, const Numbers &items = {},
                const Rules &rules = {});
    Story story_;
    bool quiet_ = false;
};

}  // namespace zv_fire

#endif
