// Bounds of the software platform that no number of commands reaches in a test's time: the objects
// of the simulated switch are part of this program, so that it can be put just before them.
#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "core/acl_rm.h"
#include "core/acl_rm_group.h"
#include "platform/log/trace_ring.h"
#include "platform/switch/control_commands.h"
#include "platform/switch/state.h"
#include "tests/core/core_fixture.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

constexpr uint32_t LAST_ID = std::numeric_limits<uint32_t>::max();

// A table keeps its next id to itself. The arguments of an explicit instantiation may name what is
// private.
template <class Table, uint32_t Table::*next_id>
struct NextIdOf {
    friend void set_next_id(Table *table, uint32_t id) { table->*next_id = id; }
};

#define ZV_TEST_TABLE(object)                               \
    void set_next_id(zv_switch::Table<object> *, uint32_t); \
    template struct NextIdOf<zv_switch::Table<object>, &zv_switch::Table<object>::next_id_>;
ZV_TEST_TABLE(zv_switch::Region)
ZV_TEST_TABLE(zv_switch::Acl)
ZV_TEST_TABLE(zv_switch::Group)
ZV_TEST_TABLE(zv_switch::Pbs)
ZV_TEST_TABLE(zv_switch::Counter)
#undef ZV_TEST_TABLE

// The switch has one id of each kind left.
class LastIdTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        set_next_id(&switch_.regions, LAST_ID);
        set_next_id(&switch_.acls, LAST_ID);
        set_next_id(&switch_.groups, LAST_ID);
        set_next_id(&switch_.pbs, LAST_ID);
        set_next_id(&switch_.counters, LAST_ID);
        take_lines();
    }
    static zv_acl_rm_status_t create(acl_rm_acl *acl) {
        acl->min_size = acl->max_size = 16;
        return acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_CREATE, acl);
    }
    static zv_acl_rm_status_t bind(uint32_t acl_id, uint32_t log_port) {
        const bind_point_key key = {BIND_POINT_LOG_PORT, log_port};
        const uint32_t keys_num = 1;
        return acl_rm_bind_acl(acl_id, &key, &keys_num);
    }
    static zv_acl_rm_status_t add_mc_group(uint32_t *mc_group_id) {
        uint32_t ports[] = {65537, 65538};
        return acl_rm_acl_mc_group_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_ADD, mc_group_id,
                                       ports, &PORTS_NUM);
    }
    static zv_acl_rm_status_t create_counter(uint32_t *counter_id) {
        const acl_rm_counter_type type = {1, 0};
        return acl_rm_counter_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_CREATE, &type, counter_id);
    }

    static constexpr uint32_t PORTS_NUM = 2;
    zv_switch::Switch &switch_ = zv_switch::the_switch();
};

TEST_F(LastIdTest, OfARegionIsGivenOutAndNoneAfterIt) {
    acl_rm_acl last = {};
    EXPECT_EQ(create(&last), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last.region_id, LAST_ID);
    take_lines();
    acl_rm_acl late = {};
    EXPECT_EQ(create(&late), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "failed to create region in SDK error: 5 acl_key_type: 0 , "
                                 "action_type: 0 , region_size: 16 , region_id: 0\n")},
                        1, 1));
    EXPECT_EQ(switch_.regions.size(), 1u);
    EXPECT_EQ(g_acl_table_cnt, 1);
}

TEST_F(LastIdTest, OfAnAclIsGivenOutAndNoneAfterIt) {
    acl_rm_acl last = {};
    EXPECT_EQ(create(&last), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last.acl_id, LAST_ID);
    ASSERT_NE(cached_acl(LAST_ID), nullptr);
    set_next_id(&switch_.regions, 1);
    take_lines();
    acl_rm_acl late = {};
    EXPECT_EQ(create(&late), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "Failed to create ACL in SDK (error: 5) , type: [0] , direction: "
                                 "[0] , regions : [1]\n")},
                        1, 1));
    EXPECT_EQ(switch_.acls.size(), 1u);
    // Not even when it is free again.
    EXPECT_EQ(acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_DESTROY, &last),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create(&late), ZV_ACL_RM_STATUS_ERROR);
}

TEST_F(LastIdTest, OfAGroupIsGivenOutAndNoneAfterIt) {
    const uint32_t acl_id = create_acl();
    EXPECT_EQ(bind(acl_id, 65537), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(group_at({BIND_POINT_LOG_PORT, 65537}), LAST_ID);
    take_lines();
    EXPECT_EQ(bind(acl_id, 65538), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Failed to create new group ACL [4294967295], (error: 5)\n")},
                        1, 2));
    EXPECT_EQ(switch_.groups.size(), 1u);
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(LastIdTest, OfAPbsEntryIsGivenOutAndNoneAfterIt) {
    uint32_t last = 0;
    EXPECT_EQ(add_mc_group(&last), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last, LAST_ID);
    take_lines();
    uint32_t late = 0;
    EXPECT_EQ(add_mc_group(&late), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(reports(take_lines(),
                        {notification(6, "failed to create MC PBS in SDK error: 5 \n")}, 6, 1));
    EXPECT_EQ(switch_.pbs.size(), 1u);
}

TEST_F(LastIdTest, OfACounterIsGivenOutAndNoneAfterIt) {
    uint32_t last = 0;
    EXPECT_EQ(create_counter(&last), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last, LAST_ID);
    take_lines();
    uint32_t late = 0;
    EXPECT_EQ(create_counter(&late), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(has_line(take_lines(), failure(1, "Fail to allocate new counter.")));
    EXPECT_EQ(switch_.counters.size(), 1u);
}

// Lines that fill their slots and lose none of them to what is left over are the longest text that
// the ring holds.
TEST(RingText, OfAFullRingIsShownWholeByTheControlCommand) {
    using zv_log_lib::kSlotNum;
    using zv_log_lib::kSlotText;
    capture_log();
    for (uint32_t i = 0; i < kSlotNum + 10; i++)
        zv_trace_cbuff_log("%0*u", static_cast<int>(kSlotText), i);
    const nlohmann::json answer =
        nlohmann::json::parse(zv_switch::control_answer(R"({"cmd":"trace","lines":65536})"));
    zv_log_close();
    const nlohmann::json &lines = answer["lines"];
    ASSERT_EQ(lines.size(), kSlotNum);
    for (uint32_t i = 0; i < kSlotNum; i++) {
        const std::string text = lines[i];
        ASSERT_EQ(text.size(), kSlotText);
        ASSERT_EQ(std::stoul(text), i + 10);
    }
}

}  // namespace
