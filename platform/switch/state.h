// The simulated switch: everything that is configured in it, and the operations on that.
//
// There is one switch in a process. Its operations, here and in the sources named after what they
// change, expect its mutex to be held and their pointers to be good; they return statuses of
// status.h and change nothing when they fail. What runs out of memory throws bad_alloc, likewise
// before anything has changed. Objects refer to each other by id; how often one is referred to
// stands in it, so that "in use" is a number and not a search.
#ifndef PLATFORM_SWITCH_STATE_H
#define PLATFORM_SWITCH_STATE_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "platform/sim/config.h"
#include "platform/switch/rule_store.h"
#include "platform/switch/status.h"

namespace zv_switch {

constexpr uint32_t kMaxGroupAcls = 16;
constexpr size_t kKeyBytes = sizeof(zv_acl_key_t::data);

struct Region {
    uint32_t key_type;
    uint32_t action_type;
    uint32_t region_size;
    RuleStore rules;
    uint32_t acl_num = 0;  // ACLs over it
};

struct Acl {
    uint32_t acl_type;
    uint32_t direction;
    uint32_t region_id;
    uint32_t member_num = 0;  // places in groups
};

struct Group {
    uint32_t direction;
    std::vector<uint32_t> acl_ids;
    uint32_t binding_num = 0;  // ports and router interfaces it is bound to
};

struct Pbs {
    uint8_t switch_id;
    uint32_t entry_type;
    std::set<uint32_t> ports;
};

struct Counter {
    uint32_t counter_type;
    zv_flow_counter_set_t values;
};

// Where a group can be bound. Ports sort before router interfaces.
struct BindPoint {
    bool is_rif;
    uint32_t number;
    auto operator<=>(const BindPoint &) const = default;
};

// Objects of one kind by id. Ids are given out upwards from 1, once.
template <class T>
class Table {
  public:
    T *find(uint32_t id) {
        const auto place = items_.find(id);
        return place == items_.end() ? nullptr : &place->second;
    }
    // Whether `capacity` leaves room for one more; ids never wrap around to used ones.
    bool has_room(uint32_t capacity) const { return items_.size() < capacity && next_id_ != 0; }
    uint32_t add(T item) {
        items_.emplace(next_id_, std::move(item));
        return next_id_++;
    }
    void remove(uint32_t id) { items_.erase(id); }
    uint32_t size() const { return static_cast<uint32_t>(items_.size()); }
    const std::map<uint32_t, T> &items() const { return items_; }

  private:
    std::map<uint32_t, T> items_;
    uint32_t next_id_ = 1;
};

struct Switch {
    std::mutex mutex;
    const zv_sim::Config &config = zv_sim::config();
    std::vector<zv_api_handle_t> handles;  // open ones; hardly ever more than one
    zv_api_handle_t next_handle = 0x5a560001;
    Table<Region> regions;
    uint64_t entry_num = 0;  // the sum of all region sizes
    Table<Acl> acls;
    Table<Group> groups;
    std::map<BindPoint, uint32_t> bindings;  // to group ids
    Table<Pbs> pbs;
    Table<Counter> counters;
};

// The switch of this process. Never destroyed, since threads may still use it while it exits.
Switch &the_switch();

// regions.cpp
zv_status_t region_create(Switch &sw, uint32_t key_type, uint32_t action_type, uint32_t region_size,
                          uint32_t *region_id);
zv_status_t region_resize(Switch &sw, uint32_t region_id, uint32_t region_size);
zv_status_t region_destroy(Switch &sw, uint32_t region_id);
zv_status_t rules_write(Switch &sw, uint32_t region_id, const zv_acl_rule_t *rules, uint32_t count);
zv_status_t rules_delete(Switch &sw, uint32_t region_id, const zv_acl_rule_t *rules,
                         uint32_t count);
zv_status_t rules_read(Switch &sw, uint32_t region_id, uint32_t offset, zv_acl_rule_t *rules,
                       uint32_t count);
zv_status_t rule_activity(Switch &sw, uint32_t region_id, uint32_t offset, bool clear,
                          uint8_t *activity);
zv_status_t rules_move(Switch &sw, uint32_t region_id, uint32_t block_start, uint32_t block_size,
                       uint32_t new_start);

// acls.cpp
zv_status_t acl_create(Switch &sw, uint32_t acl_type, uint32_t direction,
                       const zv_acl_region_group_t &group, uint32_t *acl_id);
zv_status_t acl_destroy(Switch &sw, uint32_t acl_id);

// groups.cpp
zv_status_t group_create(Switch &sw, uint32_t direction, const uint32_t *acl_ids, uint32_t count,
                         uint32_t *group_id);
zv_status_t group_set(Switch &sw, uint32_t group_id, uint32_t direction, const uint32_t *acl_ids,
                      uint32_t count);
zv_status_t group_destroy(Switch &sw, uint32_t group_id);
zv_status_t group_bind(Switch &sw, BindPoint point, uint32_t group_id);
zv_status_t group_unbind(Switch &sw, BindPoint point, uint32_t group_id);

// forwarding.cpp
zv_status_t pbs_create(Switch &sw, uint8_t switch_id, const zv_acl_pbs_entry_t &entry,
                       uint32_t *pbs_id);
zv_status_t pbs_add_ports(Switch &sw, uint8_t switch_id, uint32_t pbs_id,
                          const zv_acl_pbs_entry_t &entry);
zv_status_t pbs_delete_ports(Switch &sw, uint8_t switch_id, uint32_t pbs_id,
                             const zv_acl_pbs_entry_t &entry);
zv_status_t pbs_destroy(Switch &sw, uint8_t switch_id, uint32_t pbs_id);
zv_status_t pbs_read(Switch &sw, uint8_t switch_id, uint32_t pbs_id, zv_acl_pbs_entry_t *entry);
zv_status_t counter_create(Switch &sw, uint32_t counter_type, uint32_t *counter_id);
zv_status_t counter_destroy(Switch &sw, uint32_t counter_id);
zv_status_t counter_read(Switch &sw, uint32_t counter_id, bool clear,
                         zv_flow_counter_set_t *values);
zv_status_t counter_clear(Switch &sw, uint32_t counter_id);

}  // namespace zv_switch

#endif
