#include <cstring>

#include "tests/platform/switch/switch_fixture.h"

extern "C" int headers_are_usable_from_c(void);

namespace {

using zv_test::kAbsentId;
using zv_test::rule_at;

class Session : public zv_test::SwitchTest {};

TEST_F(Session, AHandleIsNotZeroAndIsItsOwn) {
    zv_api_handle_t other = 0;
    ASSERT_EQ(zv_api_open(nullptr, &other), 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, handle_);
    EXPECT_EQ(zv_api_close(other), 0u);
}

TEST_F(Session, AClosedHandleIsInvalid) {
    zv_api_handle_t other = 0;
    ASSERT_EQ(zv_api_open(nullptr, &other), 0u);
    ASSERT_EQ(zv_api_close(other), 0u);
    EXPECT_EQ(zv_api_close(other), 2u);
}

TEST_F(Session, OpeningRefusesANullPointer) {
    EXPECT_EQ(zv_api_open(nullptr, nullptr), 3u);
}

TEST_F(Session, EveryFunctionRefusesAWrongHandle) {
    const zv_api_handle_t wrong = 0;
    uint32_t id = 1;
    uint8_t activity = 0;
    zv_flow_counter_set_t values{};
    zv_acl_pbs_entry_t entry{};
    EXPECT_EQ(zv_api_acl_region_set(wrong, ZV_ACCESS_CMD_CREATE, 0, 0, 1, &id), 2u);
    EXPECT_EQ(zv_api_acl_set(wrong, ZV_ACCESS_CMD_DESTROY, 0, 0, nullptr, &id), 2u);
    EXPECT_EQ(zv_api_acl_rules_set(wrong, ZV_ACCESS_CMD_SET, 1, nullptr, 0), 2u);
    EXPECT_EQ(zv_api_acl_rules_get(wrong, 1, 0, nullptr, 0), 2u);
    EXPECT_EQ(zv_api_acl_rule_activity_get(wrong, ZV_ACCESS_CMD_READ, 1, 0, &activity), 2u);
    EXPECT_EQ(zv_api_acl_rule_block_move_set(wrong, 1, 0, 0, 0), 2u);
    EXPECT_EQ(zv_api_acl_group_set(wrong, ZV_ACCESS_CMD_CREATE, 0, nullptr, 0, &id), 2u);
    EXPECT_EQ(zv_api_acl_port_bind_set(wrong, ZV_ACCESS_CMD_BIND, 1, 1), 2u);
    EXPECT_EQ(zv_api_acl_rif_bind_set(wrong, ZV_ACCESS_CMD_BIND, 1, 1), 2u);
    EXPECT_EQ(zv_api_acl_policy_based_switching_set(wrong, ZV_ACCESS_CMD_ADD, 0, &entry, &id), 2u);
    EXPECT_EQ(zv_api_acl_policy_based_switching_get(wrong, ZV_ACCESS_CMD_GET, 0, 1, &entry), 2u);
    EXPECT_EQ(zv_api_flow_counter_set(wrong, ZV_ACCESS_CMD_CREATE, 0, &id), 2u);
    EXPECT_EQ(zv_api_flow_counter_get(wrong, ZV_ACCESS_CMD_READ, 1, &values), 2u);
    EXPECT_EQ(zv_api_flow_counter_clear_set(wrong, 1), 2u);
}

TEST_F(Session, StatusesHaveNames) {
    EXPECT_STREQ(zv_status_str(0), "Success");
    EXPECT_STREQ(zv_status_str(5), "No resources");
    EXPECT_STREQ(zv_status_str(9), "Command unsupported");
    EXPECT_STREQ(zv_status_str(10), "Unknown status");
}

TEST_F(Session, HeadersServeC) {
    EXPECT_EQ(headers_are_usable_from_c(), 1);
}

class Regions : public zv_test::SwitchTest {};

TEST_F(Regions, IdsCountUpAndAreNotReused) {
    const uint32_t first = new_region(1);
    EXPECT_NE(first, 0u);
    const uint32_t second = new_region(1);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(region_destroy(second), 0u);
    EXPECT_EQ(new_region(1), first + 2);
}

TEST_F(Regions, RefusesNullAndUnknownCommands) {
    uint32_t id = new_region(1);
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 1, nullptr), 3u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_SET, 1, &id), 9u);
}

TEST_F(Regions, RefusesToEditOrDestroyAnAbsentRegion) {
    uint32_t id = kAbsentId;
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 1, &id), 6u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_DESTROY, 1, &id), 6u);
}

TEST_F(Regions, ARegionInUseByAnAclIsNotDestroyed) {
    const uint32_t id = new_region(1);
    const uint32_t acl = new_acl(id);
    EXPECT_EQ(region_destroy(id), 8u);
    EXPECT_EQ(acl_destroy(acl), 0u);
    EXPECT_EQ(region_destroy(id), 0u);
}

TEST_F(Regions, ShrinksDownToItsHighestRuleAndNotBelow) {
    uint32_t id = new_region(100);
    ASSERT_EQ(write(id, {rule_at(65, 7)}), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 65, &id), 8u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 66, &id), 0u);
    EXPECT_EQ(erase(id, 65), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 0, &id), 0u);
    EXPECT_EQ(write(id, {rule_at(0)}), 4u);
}

TEST_F(Regions, GrowingKeepsTheRules) {
    uint32_t id = new_region(2);
    ASSERT_EQ(write(id, {rule_at(1, 7)}), 0u);
    ASSERT_EQ(region(ZV_ACCESS_CMD_EDIT, 4, &id), 0u);
    ASSERT_EQ(write(id, {rule_at(3, 9)}), 0u);
    EXPECT_EQ(bytes_in(id, 4), (std::vector<int>{0, 7, 0, 9}));
}

class Rules : public zv_test::SwitchTest {};

TEST_F(Rules, ReadBackAsWritten) {
    const uint32_t id = new_region(130);
    zv_acl_rule_t rule;
    std::memset(&rule, 0xa5, sizeof(rule));
    rule.offset = 129;
    ASSERT_EQ(write(id, {rule}), 0u);
    zv_acl_rule_t read{};
    ASSERT_EQ(zv_api_acl_rules_get(handle_, id, 129, &read, 1), 0u);
    EXPECT_EQ(read.valid, 0xa5);
    EXPECT_EQ(std::memcmp(&read.key, &rule.key, sizeof(rule.key)), 0);
    EXPECT_EQ(std::memcmp(&read.mask, &rule.mask, sizeof(rule.mask)), 0);
    EXPECT_EQ(std::memcmp(&read.action, &rule.action, sizeof(rule.action)), 0);
}

// Of a rule and a copy: the bytes between `valid` and `key` are nobody's.
bool same_rule(const zv_acl_rule_t &one, const zv_acl_rule_t &other) {
    constexpr size_t kFirst = offsetof(zv_acl_rule_t, key);
    return one.offset == other.offset && one.valid == other.valid &&
           std::memcmp(reinterpret_cast<const uint8_t *>(&one) + kFirst,
                       reinterpret_cast<const uint8_t *>(&other) + kFirst,
                       sizeof(one) - kFirst) == 0;
}

// Whatever the rule before it held, and wherever in key, mask or action a byte lies.
TEST_F(Rules, HoldEachByteByItself) {
    const uint32_t id = new_region(1);
    zv_acl_rule_t full;
    std::memset(&full, 0x5a, sizeof(full));
    full.offset = 0;
    for (size_t at = offsetof(zv_acl_rule_t, key); at < sizeof(zv_acl_rule_t); at++) {
        zv_acl_rule_t rule = {};
        const uint8_t byte = 0xc3;
        std::memcpy(reinterpret_cast<uint8_t *>(&rule) + at, &byte, 1);
        ASSERT_EQ(write(id, {full}), 0u);
        ASSERT_EQ(write(id, {rule}), 0u);
        zv_acl_rule_t read;
        std::memset(&read, 0xff, sizeof(read));
        ASSERT_EQ(zv_api_acl_rules_get(handle_, id, 0, &read, 1), 0u);
        ASSERT_TRUE(same_rule(read, rule)) << "byte " << at;
    }
}

TEST_F(Rules, AnEmptyOffsetReadsAsZeroButForItsOffset) {
    const uint32_t id = new_region(8);
    ASSERT_EQ(write(id, {rule_at(5, 7)}), 0u);
    ASSERT_EQ(erase(id, 5), 0u);
    zv_acl_rule_t read;
    std::memset(&read, 0xff, sizeof(read));
    ASSERT_EQ(zv_api_acl_rules_get(handle_, id, 5, &read, 1), 0u);
    zv_acl_rule_t empty;
    std::memset(&empty, 0, sizeof(empty));
    empty.offset = 5;
    EXPECT_EQ(std::memcmp(&read, &empty, sizeof(read)), 0);
}

TEST_F(Rules, SettingOverwritesAndTheLaterOfTwoStays) {
    const uint32_t id = new_region(2);
    ASSERT_EQ(write(id, {rule_at(0, 1), rule_at(0, 2)}), 0u);
    EXPECT_EQ(bytes_in(id, 2), (std::vector<int>{2, 0}));
}

TEST_F(Rules, DeletingAnEmptyOffsetSucceeds) {
    const uint32_t id = new_region(2);
    EXPECT_EQ(erase(id, 1), 0u);
}

TEST_F(Rules, RefusesAnOffsetPastTheRegionAndWritesNothing) {
    const uint32_t id = new_region(3);
    EXPECT_EQ(write(id, {rule_at(2, 9)}), 0u);
    EXPECT_EQ(write(id, {rule_at(0, 1), rule_at(3, 2)}), 4u);
    EXPECT_EQ(erase(id, 3), 4u);
    EXPECT_EQ(bytes_in(id, 3), (std::vector<int>{0, 0, 9}));
}

TEST_F(Rules, ReadingEndsAtTheRegion) {
    const uint32_t id = new_region(3);
    zv_acl_rule_t rules[3];
    EXPECT_EQ(zv_api_acl_rules_get(handle_, id, 0, rules, 3), 0u);
    EXPECT_EQ(zv_api_acl_rules_get(handle_, id, 1, rules, 3), 4u);
    EXPECT_EQ(zv_api_acl_rules_get(handle_, id, 3, rules, 1), 4u);
    EXPECT_EQ(zv_api_acl_rules_get(handle_, id, UINT32_MAX, rules, 2), 4u);
}

TEST_F(Rules, RefusesNullUnknownCommandsAndAbsentRegions) {
    const uint32_t id = new_region(3);
    const zv_acl_rule_t rule = rule_at(0);
    EXPECT_EQ(zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, id, nullptr, 1), 3u);
    EXPECT_EQ(zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, id, nullptr, 0), 0u);
    EXPECT_EQ(zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_ADD, id, &rule, 1), 9u);
    EXPECT_EQ(zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, kAbsentId, &rule, 1), 6u);
    EXPECT_EQ(zv_api_acl_rules_get(handle_, id, 0, nullptr, 1), 3u);
    zv_acl_rule_t read;
    EXPECT_EQ(zv_api_acl_rules_get(handle_, kAbsentId, 0, &read, 1), 6u);
}

TEST_F(Rules, ActivityRefusals) {
    const uint32_t id = new_region(3);
    uint8_t value = 0;
    EXPECT_EQ(zv_api_acl_rule_activity_get(handle_, ZV_ACCESS_CMD_READ, id, 0, nullptr), 3u);
    EXPECT_EQ(zv_api_acl_rule_activity_get(handle_, ZV_ACCESS_CMD_GET, id, 0, &value), 9u);
    EXPECT_EQ(zv_api_acl_rule_activity_get(handle_, ZV_ACCESS_CMD_READ, id, 3, &value), 4u);
    EXPECT_EQ(zv_api_acl_rule_activity_get(handle_, ZV_ACCESS_CMD_READ, kAbsentId, 0, &value), 6u);
    EXPECT_EQ(activity(id, 2), 0);
}

class BlockMove : public zv_test::SwitchTest {
  protected:
    // Offsets 0 to 9: a rule of byte offset + 1 at each but 3.
    BlockMove() : id_(new_region(10)) {
        for (uint32_t i = 0; i < 10; i++) {
            if (i != 3) {
                EXPECT_EQ(write(id_, {rule_at(i, static_cast<uint8_t>(i + 1))}), 0u);
            }
        }
    }
    zv_status_t move(uint32_t start, uint32_t size, uint32_t new_start) {
        return zv_api_acl_rule_block_move_set(handle_, id_, start, size, new_start);
    }
    uint32_t id_;
};

TEST_F(BlockMove, UpwardsOverItself) {
    ASSERT_EQ(move(1, 4, 3), 0u);
    // 1..4 held 2 3 - 5; 3..6 hold that now, 1 and 2 are vacated.
    EXPECT_EQ(bytes_in(id_, 10), (std::vector<int>{1, 0, 0, 2, 3, 0, 5, 8, 9, 10}));
}

TEST_F(BlockMove, DownwardsOverItself) {
    ASSERT_EQ(move(3, 4, 1), 0u);
    // 3..6 held - 5 6 7; 1..4 hold that now, 5 and 6 are vacated.
    EXPECT_EQ(bytes_in(id_, 10), (std::vector<int>{1, 0, 5, 6, 7, 0, 0, 8, 9, 10}));
}

TEST_F(BlockMove, WithoutOverlap) {
    ASSERT_EQ(move(0, 2, 8), 0u);
    EXPECT_EQ(bytes_in(id_, 10), (std::vector<int>{0, 0, 3, 0, 5, 6, 7, 8, 1, 2}));
}

TEST_F(BlockMove, OntoItselfAndOfNothingChangesNothing) {
    ASSERT_EQ(move(2, 5, 2), 0u);
    ASSERT_EQ(move(10, 0, 0), 0u);
    EXPECT_EQ(bytes_in(id_, 10), (std::vector<int>{1, 2, 3, 0, 5, 6, 7, 8, 9, 10}));
}

TEST_F(BlockMove, StaysInsideTheRegionOnBothSides) {
    EXPECT_EQ(move(8, 2, 0), 0u);
    EXPECT_EQ(move(0, 2, 8), 0u);
    EXPECT_EQ(move(9, 2, 0), 4u);
    EXPECT_EQ(move(0, 2, 9), 4u);
    EXPECT_EQ(move(UINT32_MAX, 2, 0), 4u);
    EXPECT_EQ(move(0, UINT32_MAX, 0), 4u);
    EXPECT_EQ(move(11, 0, 0), 4u);
    EXPECT_EQ(zv_api_acl_rule_block_move_set(handle_, kAbsentId, 0, 1, 1), 6u);
}

TEST_F(BlockMove, AcrossManyOffsetsAndBack) {
    const uint32_t large = new_region(300);
    for (uint32_t i = 0; i < 100; i++) {
        ASSERT_EQ(write(large, {rule_at(i, static_cast<uint8_t>(i + 1))}), 0u);
    }
    const std::vector<int> before = bytes_in(large, 300);
    ASSERT_EQ(zv_api_acl_rule_block_move_set(handle_, large, 0, 100, 77), 0u);
    EXPECT_NE(bytes_in(large, 300), before);
    ASSERT_EQ(zv_api_acl_rule_block_move_set(handle_, large, 77, 100, 0), 0u);
    EXPECT_EQ(bytes_in(large, 300), before);
}

TEST_F(BlockMove, TakesEveryByteAlong) {
    zv_acl_rule_t rule;
    std::memset(&rule, 0xa5, sizeof(rule));
    rule.offset = 0;
    ASSERT_EQ(write(id_, {rule}), 0u);
    ASSERT_EQ(move(0, 1, 7), 0u);
    rule.offset = 7;
    zv_acl_rule_t read;
    ASSERT_EQ(zv_api_acl_rules_get(handle_, id_, 7, &read, 1), 0u);
    EXPECT_TRUE(same_rule(read, rule));
}

}  // namespace
