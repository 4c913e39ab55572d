// world.h - everything the modelled daemon remembers, and the commands that change it.
#ifndef ZV_TESTS_FIRE_MODEL_WORLD_H
#define ZV_TESTS_FIRE_MODEL_WORLD_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/fire/model/calls.h"
#include "tests/fire/model/model.h"
#include "tests/fire/model/table.h"

namespace zv_model {

enum Status : uint32_t {
    kDone = 0,
    kError = 1,
    kUnsupported = 2,
    kNull = 3,
    kOutOfRange = 4,
    kNotFound = 5,
    kNoResources = 6,
    kNoHardware = 7,
};

// A command ends with this status; what it did before stays done.
struct Refusal {
    uint32_t status;
};

// A status of the switch that the daemon tells apart from all other failures.
constexpr uint32_t kSwitchFull = 5;

struct BindPoint {
    uint32_t type;  // 0 a logical port, 1 a router interface
    uint32_t id;
    bool operator==(const BindPoint &) const = default;
    uint64_t key() const { return uint64_t{type} << 32 | id; }
};

struct Acl {
    uint32_t id, owner;
    uint32_t acl_type, direction;
    uint32_t region, key_type, action_type;
    uint32_t size, min_size, max_size;
    // One flag for each offset there is memory for. Without memory (`has_flags` false) there are
    // none; `flags_len` is the number of flags that there ought to be.
    bool has_flags;
    std::vector<uint8_t> flags;
    uint32_t flags_len;
    std::vector<BindPoint> points;
    bool is_system;
};

struct Rule {
    uint32_t region, offset, counter;
    bool forwards;
    uint32_t pbs_type, pbs, port;
};

struct Group {
    std::vector<uint32_t> acls;
    uint32_t direction;
};

struct Forwarding {
    uint32_t pbs_type, pbs, port, users;
};

struct McGroup {
    uint32_t pbs, owner;
};

struct Counter {
    uint32_t first, second;  // the two flags of its type
    uint32_t users;
};

struct World {
    bool connected = false;
    std::array<uint64_t, 4> handles{};
    std::array<uint32_t, 4> priorities{4, 4, 4, 4};
    uint32_t rules_per_command = 0, acls_a = 0, acls_b = 0;  // the chip's limits
    uint16_t acls_num = 0, rules_num = 0, groups_num = 0;

    Table<Rule> rules;  // by rule_key()
    Table<Group> groups;
    Table<Acl> acls;
    Table<uint32_t> bindings;  // a bind point's group
    Table<Forwarding> forwardings;
    Table<McGroup> mc_groups;
    std::map<uint32_t, Counter> counters;

    World();
};

constexpr uint64_t rule_key(uint32_t acl, uint32_t offset) {
    return uint64_t{acl} << 32 | offset;
}
std::string rule_key_text(uint64_t key);
std::string dump_of(const World &world);
nlohmann::json cache_of(const World &world);

// One request on its way through the world. Methods are grouped as the files that hold them; all of
// them throw Refusal and Stray.
class Service {
  public:
    Service(World &world, Calls &calls, Bytes &record)
        : world_(world), calls_(calls), record_(record) {}

    // Commands, working on the record in place.
    void open();
    void init();
    void acl_set();
    void acl_resize();
    void rule_set();
    void rule_get();
    void rule_move();
    void bind_ports();
    void bind_rifs();
    void counter_set();
    void counter_get();
    void mc_set();
    void mc_get();
    void bind_system();
    void port_set();

  private:
    // A rule on its way from the client's record to the switch.
    struct Draft {
        uint32_t region;
        nlohmann::json sdk;
        Rule cached;
    };
    using Drafts = std::vector<Draft>;

    uint32_t word(size_t at) const;
    uint64_t handle() const;
    void connect();
    void need_connection() const;

    // Owners (model.cpp)
    uint32_t owner_by_handle(size_t slots, uint32_t status) const;
    Acl &owned_acl(uint32_t id);
    McGroup &owned_mc_group(uint32_t id);

    // acls.cpp
    const Call &region_call(uint32_t cmd, const Acl &acl, uint32_t size);
    const Call &acl_call(uint32_t cmd, uint32_t acl_type, uint32_t direction, const Acl &acl);
    void free_flags(Acl &acl);
    void insert_acl(Acl acl);
    void create_acl(uint32_t owner);
    void destroy_acl();
    void edit_acl();
    void scan_before_shrinking(const Acl &acl, uint32_t size) const;

    // rules.cpp
    void set_flag(uint32_t acl, uint32_t region, uint32_t offset, uint8_t value);
    void delete_rules(uint32_t acl, const std::vector<uint32_t> &offsets, bool in_switch);
    void delete_in_switch(uint32_t region, const std::vector<uint32_t> &offsets);
    void release_forwarding(const Rule &rule);
    void read_rule(const Acl &acl, size_t at);
    void move_one(const Acl &acl, uint32_t from, uint32_t to);

    // rules_write.cpp
    void write_rules(uint32_t acl, uint32_t count);
    Draft drafted(uint32_t acl, size_t at);
    void draft_forwarding(Rule &rule, size_t at);
    void write_drafts(uint32_t acl, const Drafts &drafts);
    void count_users(const Rule &rule);

    // counters.cpp
    const Call &counter_call(uint32_t cmd, uint32_t first_flag, uint32_t id);
    void drop_counter_user(uint32_t id);
    void free_counter(uint32_t id);

    // groups.cpp
    const Call &group_call(uint32_t cmd, uint32_t direction, const std::vector<uint32_t> &acls,
                           uint32_t group);
    uint32_t point_call(uint32_t cmd, BindPoint point, uint32_t group);
    Group *group_at(BindPoint point, uint32_t &group_id);
    void bind(uint32_t acl, const std::vector<BindPoint> &points);
    void bind_to_new_group(const Acl &acl, BindPoint point);
    void bind_to_group(const Acl &acl, Group &group, uint32_t group_id);
    size_t place_by_priority(const Acl &acl, const Group &group);
    uint32_t priority_of(uint32_t acl_id);
    void unbind(uint32_t acl, const std::vector<BindPoint> &points);
    void destroy_group(BindPoint point, uint32_t group_id);

    // binding.cpp
    void bind_or_unbind(uint32_t type, size_t width, size_t count_at);
    std::vector<BindPoint> front_panel_ports();
    const Call &mc_call(uint32_t cmd, uint32_t pbs, uint32_t count);
    nlohmann::json ports_in_record(size_t at, uint32_t count) const;

    World &world_;
    Calls &calls_;
    Bytes &record_;
};

}  // namespace zv_model

#endif
