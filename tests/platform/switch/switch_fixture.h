// What the switch's tests share: a handle, and objects in one line each.
#ifndef TESTS_PLATFORM_SWITCH_SWITCH_FIXTURE_H
#define TESTS_PLATFORM_SWITCH_SWITCH_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/sim/faults.h"
#include "zv_api.h"

namespace zv_test {

constexpr uint32_t kAbsentId = 4000000000u;

// A rule of key type 1 that matches every packet whose first key byte is `byte`.
inline zv_acl_rule_t rule_at(uint32_t offset, uint8_t byte = 0) {
    zv_acl_rule_t rule{};
    rule.offset = offset;
    rule.valid = 1;
    rule.key.key_type = 1;
    rule.key.data[0] = byte;
    rule.mask.key_type = 1;
    rule.mask.data[0] = 0xff;
    return rule;
}

class SwitchTest : public testing::Test {
  protected:
    SwitchTest() { EXPECT_EQ(zv_api_open(nullptr, &handle_), 0u); }
    ~SwitchTest() override {
        zv_sim::faults_arm({});
        EXPECT_EQ(zv_api_close(handle_), 0u);
    }

    uint32_t new_region(uint32_t size) {
        uint32_t id = 0;
        EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, size, &id), 0u);
        return id;
    }
    uint32_t new_acl(uint32_t region_id, uint32_t direction = 0) {
        uint32_t id = 0;
        const zv_acl_region_group_t group{0, region_id};
        EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, direction, &group, &id), 0u);
        return id;
    }
    uint32_t new_group(const std::vector<uint32_t> &acl_ids, uint32_t direction = 0) {
        uint32_t id = 0;
        EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, direction, acl_ids, &id), 0u);
        return id;
    }
    uint32_t new_counter() {
        uint32_t id = 0;
        EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_CREATE, 0, &id), 0u);
        return id;
    }
    uint32_t new_pbs(std::vector<uint32_t> ports, uint32_t type = 2) {
        uint32_t id = 0;
        EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, type, std::move(ports), &id), 0u);
        return id;
    }

    zv_status_t region(uint32_t cmd, uint32_t size, uint32_t *id) {
        return zv_api_acl_region_set(handle_, cmd, 1, 2, size, id);
    }
    zv_status_t acl_destroy(uint32_t id) {
        return zv_api_acl_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, 0, nullptr, &id);
    }
    zv_status_t region_destroy(uint32_t id) { return region(ZV_ACCESS_CMD_DESTROY, 0, &id); }
    zv_status_t group(uint32_t cmd, uint32_t direction, const std::vector<uint32_t> &acl_ids,
                      uint32_t *id) {
        return zv_api_acl_group_set(handle_, cmd, direction, acl_ids.data(),
                                    static_cast<uint32_t>(acl_ids.size()), id);
    }
    zv_status_t group_destroy(uint32_t id) { return group(ZV_ACCESS_CMD_DESTROY, 0, {}, &id); }
    zv_status_t pbs(uint32_t cmd, uint32_t type, std::vector<uint32_t> ports, uint32_t *id,
                    uint8_t switch_id = 0) {
        const zv_acl_pbs_entry_t entry{type, static_cast<uint32_t>(ports.size()), ports.data()};
        return zv_api_acl_policy_based_switching_set(handle_, cmd, switch_id, &entry, id);
    }
    zv_status_t write(uint32_t region_id, const std::vector<zv_acl_rule_t> &rules) {
        return zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, region_id, rules.data(),
                                    static_cast<uint32_t>(rules.size()));
    }
    zv_status_t erase(uint32_t region_id, uint32_t offset) {
        const zv_acl_rule_t rule = rule_at(offset);
        return zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_DELETE, region_id, &rule, 1);
    }
    // Where the first key byte of each offset stands; 0 for an empty offset.
    std::vector<int> bytes_in(uint32_t region_id, uint32_t size) {
        std::vector<zv_acl_rule_t> rules(size);
        EXPECT_EQ(zv_api_acl_rules_get(handle_, region_id, 0, rules.data(), size), 0u);
        std::vector<int> bytes;
        for (uint32_t i = 0; i < size; i++) {
            EXPECT_EQ(rules[i].offset, i);
            bytes.push_back(rules[i].key.data[0]);
        }
        return bytes;
    }
    int activity(uint32_t region_id, uint32_t offset, uint32_t cmd = ZV_ACCESS_CMD_READ) {
        uint8_t value = 99;
        EXPECT_EQ(zv_api_acl_rule_activity_get(handle_, cmd, region_id, offset, &value), 0u);
        return value;
    }

    zv_api_handle_t handle_ = 0;
};

}  // namespace zv_test

#endif
