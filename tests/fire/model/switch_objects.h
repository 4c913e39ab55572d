// switch_objects.h - what a switch holds, as far as the calls that did their work tell.
#ifndef ZV_TESTS_FIRE_MODEL_SWITCH_OBJECTS_H
#define ZV_TESTS_FIRE_MODEL_SWITCH_OBJECTS_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

namespace zv_model {

// The access commands of the switch's calls; those of a client's record have other numbers.
inline constexpr uint32_t kAdd = 1, kEdit = 2, kDelete = 3, kCreate = 12, kDestroy = 13, kSet = 15,
                          kAddPorts = 23, kDeletePorts = 24, kBind = 25, kUnbind = 26, kRead = 31,
                          kReadClear = 32;

struct SwitchObjects {
    struct Region {
        uint32_t region_size, key_type, action_type;
        std::map<uint32_t, nlohmann::json> rules;  // by offset, as the trace tells them
    };
    struct Acl {
        uint32_t acl_type, direction, region_id;
    };
    struct Group {
        uint32_t direction;
        std::vector<uint32_t> acl_ids;
    };
    struct Pbs {
        uint32_t switch_id, entry_type;
        std::set<uint32_t> ports;
    };
    using BindPoint = std::pair<bool, uint32_t>;  // whether it is a router interface, its number

    std::map<uint32_t, Region> regions;
    std::map<uint32_t, Acl> acls;
    std::map<uint32_t, Group> groups;
    std::map<BindPoint, uint32_t> bindings;
    std::map<uint32_t, Pbs> pbs;
    std::map<uint32_t, uint32_t> counters;  // their types

    // Whether the switch would carry the call out, by its rules and its capacities (`config` as in
    // the file that configures them). Only for calls whose status an injected fault has hidden.
    bool would_do(const std::string &call, const nlohmann::json &args,
                  const nlohmann::json &config) const;
};

}  // namespace zv_model

#endif
