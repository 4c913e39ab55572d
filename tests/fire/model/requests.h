// requests.h - the sixteen commands as records.
#ifndef ZV_TESTS_FIRE_MODEL_REQUESTS_H
#define ZV_TESTS_FIRE_MODEL_REQUESTS_H

#include <cstdint>
#include <vector>

#include "tests/fire/model/side_by_side.h"

namespace zv_model {

// A rule of a write; of a read or a deletion only the offset, and `forward_type` as the activity
// request.
struct RuleWords {
    uint32_t offset = 0;
    uint32_t key_type = 0;
    uint32_t forward_type = 0;
    uint32_t forward_to = 0;  // a logical port or a multicast group
    uint32_t counter = 0;
};

inline Record open_request(uint64_t handle, uint32_t owner) {
    return Record(16, handle).u32(8, owner);
}

inline Record init_request(uint64_t handle, uint32_t chip) {
    return Record(16, handle).u32(8, chip);
}

struct AclWords {
    uint32_t id = 0, size = 0, direction = 0, max_size = 0;
};

inline Record acl_request(uint64_t handle, uint32_t cmd, AclWords acl) {
    return Record(48, handle)
        .u32(8, cmd)
        .u32(12, acl.id)
        .u32(16, 3)
        .u32(20, 1)
        .u32(24, 2)
        .u32(28, acl.direction)
        .u32(32, acl.size)
        .u32(36, acl.size + acl.max_size);
}

inline Record resize_request(uint64_t handle, uint32_t acl, uint32_t size) {
    return Record(16, handle).u32(8, acl).u32(12, size);
}

inline void put_rules(Record &record, const std::vector<RuleWords> &rules) {
    for (size_t i = 0; i < rules.size() && i < 20; ++i) {
        const size_t at = 16 + i * 360;
        const RuleWords &rule = rules[i];
        record.u32(at, rule.offset)
            .u32(at + 4, rule.offset)
            .u8(at + 8, 1)
            .u32(at + 12, rule.key_type)
            .u8(at + 20, static_cast<uint8_t>(rule.offset))
            .u32(at + 336, rule.forward_type)
            .u32(at + 340, rule.forward_to)
            .u32(at + 344, rule.forward_to)
            .u32(at + 356, rule.counter);
    }
}

// cmd: 6 write, 3 delete. `more` is added to the count of rules.
inline Record rules_request(uint64_t handle, uint32_t cmd, uint32_t acl,
                            const std::vector<RuleWords> &rules, uint32_t more = 0) {
    Record record(7224, handle);
    record.u32(8, cmd).u32(12, acl);
    put_rules(record, rules);
    return record.u32(7216, static_cast<uint32_t>(rules.size()) + more);
}

inline Record read_request(uint64_t handle, uint32_t acl, const std::vector<RuleWords> &rules,
                           uint32_t more = 0) {
    Record record(7224, handle);
    record.u32(8, acl);
    put_rules(record, rules);
    return record.u32(7216, static_cast<uint32_t>(rules.size()) + more);
}

inline Record move_request(uint64_t handle, uint32_t acl, uint32_t from, uint32_t num,
                           uint32_t to) {
    return Record(24, handle).u32(8, acl).u32(12, from).u32(16, num).u32(20, to);
}

inline Record bind_ports_request(uint64_t handle, uint32_t cmd, uint32_t acl,
                                 const std::vector<uint32_t> &ports, uint32_t more = 0) {
    Record record(424, handle);
    record.u32(8, cmd).u32(12, acl);
    for (size_t i = 0; i < ports.size() && i < 100; ++i) {
        record.u32(16 + 4 * i, ports[i]);
    }
    return record.u32(416, static_cast<uint32_t>(ports.size()) + more);
}

inline Record bind_rifs_request(uint64_t handle, uint32_t cmd, uint32_t acl,
                                const std::vector<uint32_t> &rifs, uint32_t more = 0) {
    Record record(224, handle);
    record.u32(8, cmd).u32(12, acl);
    for (size_t i = 0; i < rifs.size() && i < 100; ++i) {
        record.u16(16 + 2 * i, static_cast<uint16_t>(rifs[i]));
    }
    return record.u32(216, static_cast<uint32_t>(rifs.size()) + more);
}

inline Record counter_request(uint64_t handle, uint32_t cmd, uint32_t first, uint32_t second,
                              uint32_t id) {
    return Record(24, handle).u32(8, cmd).u32(12, first).u32(16, second).u32(20, id);
}

inline Record counter_get_request(uint64_t handle, uint32_t cmd, uint32_t id) {
    return Record(40, handle).u32(8, cmd).u32(12, id);
}

inline Record mc_request(uint64_t handle, uint32_t cmd, uint32_t id,
                         const std::vector<uint32_t> &ports, uint32_t more = 0) {
    Record record(424, handle);
    record.u32(8, cmd).u32(12, id);
    for (size_t i = 0; i < ports.size() && i < 100; ++i) {
        record.u32(16 + 4 * i, ports[i]);
    }
    return record.u32(416, static_cast<uint32_t>(ports.size()) + more);
}

inline Record mc_get_request(uint64_t handle, uint32_t id, uint32_t room) {
    return Record(416, handle).u32(8, id).u32(412, room);
}

inline Record system_request(uint64_t handle, uint32_t cmd, uint32_t acl) {
    return Record(16, handle).u32(8, cmd).u32(12, acl);
}

inline Record port_set_request(uint64_t handle, uint32_t cmd, const std::vector<uint32_t> &ports,
                               uint32_t more = 0) {
    Record record(416, handle);
    record.u32(8, cmd);
    for (size_t i = 0; i < ports.size() && i < 100; ++i) {
        record.u32(12 + 4 * i, ports[i]);
    }
    return record.u32(412, static_cast<uint32_t>(ports.size()) + more);
}

}  // namespace zv_model

#endif
