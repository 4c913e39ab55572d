#include <gtest/gtest.h>

#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

class PortBindTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl();
    }
    zv_acl_rm_status_t bind(std::vector<uint32_t> ports, uint64_t handle = OPEN_FLOW_HANDLE,
                            uint32_t cmd = 7) {
        const auto ports_num = static_cast<uint32_t>(ports.size());
        return acl_rm_acl_port_bind_set(handle, cmd, acl_id_, ports.data(), &ports_num);
    }
    zv_acl_rm_status_t bind_count(uint32_t ports_num, uint64_t handle = OPEN_FLOW_HANDLE) {
        std::vector<uint32_t> ports(ZV_ACL_RM_PORTS_PER_RECORD);
        for (uint32_t i = 0; i < ports.size(); i++)
            ports[i] = 65537 + i;
        return acl_rm_acl_port_bind_set(handle, 7, acl_id_, ports.data(), &ports_num);
    }
    static size_t switch_binds() { return recorded_calls("zv_api_acl_port_bind_set").size(); }

    uint32_t acl_id_ = 0;
};

TEST_F(PortBindTest, BindsThePortsInTheirOrder) {
    EXPECT_EQ(bind({70, 60, 80}), ZV_ACL_RM_STATUS_SUCCESS);
    const std::vector<nlohmann::json> calls = recorded_calls("zv_api_acl_port_bind_set");
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0]["args"]["log_port"], 70);
    EXPECT_EQ(calls[1]["args"]["log_port"], 60);
    EXPECT_EQ(calls[2]["args"]["log_port"], 80);
    const acl_id_info *info = cached_acl(acl_id_);
    ASSERT_EQ(info->acl_bound_ports_num, 3u);
    EXPECT_EQ(info->acl_bound_ports[0].port_id, 70u);
    EXPECT_EQ(info->acl_bound_ports[0].bind_point_type, 0u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(PortBindTest, SamePortTwiceLeavesItsGroupUnchanged) {
    EXPECT_EQ(bind({70}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind({70}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_ids_of(group_at({0, 70})), std::vector<uint32_t>{acl_id_});
    EXPECT_EQ(cached_acl(acl_id_)->acl_bound_ports_num, 1u);
    EXPECT_EQ(switch_binds(), 1u);
}

TEST_F(PortBindTest, ConnectionIsLookedAtFirst) {
    is_initialized = 0;
    EXPECT_EQ(bind({}, UNKNOWN_HANDLE, 99), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(PortBindTest, UnknownCommandsAreRefusedBeforeTheCount) {
    for (const uint32_t cmd : {0u, 6u, 9u, 4294967295u}) {
        EXPECT_EQ(acl_rm_acl_port_bind_set(UNKNOWN_HANDLE, cmd, acl_id_, nullptr, nullptr),
                  ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(),
                  Lines{failure(2, "Command unsupported, cmd type is:" + std::to_string(cmd))});
    }
}

TEST_F(PortBindTest, CountIsNeeded) {
    const uint32_t port = 70;
    EXPECT_EQ(acl_rm_acl_port_bind_set(OPEN_FLOW_HANDLE, 7, acl_id_, &port, nullptr),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

TEST_F(PortBindTest, CountOfZeroIsRefusedBeforeTheArrayAndTheOwner) {
    const uint32_t ports_num = 0;
    EXPECT_EQ(acl_rm_acl_port_bind_set(UNKNOWN_HANDLE, 7, acl_id_, nullptr, &ports_num),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "Wrong ports number [0] need to configure more than 0")});
}

TEST_F(PortBindTest, ArrayIsNeededBeforeTheOwnerIsLookedAt) {
    const uint32_t ports_num = 1;
    EXPECT_EQ(acl_rm_acl_port_bind_set(UNKNOWN_HANDLE, 7, acl_id_, nullptr, &ports_num),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

TEST_F(PortBindTest, OwnersFailureIsPassedUp) {
    EXPECT_EQ(bind({70}, PRA_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Wrong owner[2] trying to control another owner[0] resource")},
                        1, 1));
    EXPECT_EQ(bind({70}, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(switch_binds(), 0u);
}

TEST_F(PortBindTest, RecordHoldsUpTo100Ports) {
    EXPECT_EQ(bind_count(99), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_binds(), 99u);
    EXPECT_EQ(bind_count(100), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_binds(), 100u);
}

TEST_F(PortBindTest, CountAboveTheRecordsArrayIsRefused) {
    for (const uint32_t count : {101u, 4294967295u}) {
        EXPECT_EQ(bind_count(count), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(), Lines{failure(4, "Wrong ports number [" + std::to_string(count) +
                                                     "], the record holds [100]")});
    }
    EXPECT_EQ(switch_binds(), 0u);
}

TEST_F(PortBindTest, OwnerIsLookedAtBeforeACountAboveTheArray) {
    EXPECT_EQ(bind_count(101, PRA_HANDLE), ZV_ACL_RM_STATUS_ERROR);
}

TEST_F(PortBindTest, KeysWithoutMemoryAreReported) {
    fail_allocation(1);
    EXPECT_EQ(bind({70}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_EQ(take_lines(), Lines{failure(6, "Memory allocation failed")});
    EXPECT_EQ(switch_binds(), 0u);
}

TEST_F(PortBindTest, FailureOfABindIsPassedUpWithTheEarlierPortsBound) {
    fail_call("zv_api_acl_port_bind_set", 5, {.nth = 2});
    EXPECT_EQ(bind({70, 71, 72}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_TRUE(reports(take_lines(),
                        {notification(7,
                                      "Not enough resource to bind ACL, the maximum ACL "
                                      "resources are in use")},
                        7, 2));
    EXPECT_NE(group_at({0, 70}), 0u);
    EXPECT_EQ(group_at({0, 71}), 0u);
    EXPECT_EQ(group_at({0, 72}), 0u);
}

}  // namespace
