// The router-interface command inside the process: what cannot arrive through the socket. And the
// port command's unbind, whose bind stands in bind_command_test.cpp.
#include <gtest/gtest.h>

#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Rifs = std::vector<uint16_t>;

class RifBindTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl();
        take_lines();
    }
    zv_acl_rm_status_t ask(uint32_t cmd, const Rifs &rifs, uint64_t handle = OPEN_FLOW_HANDLE) {
        const auto rifs_num = static_cast<uint32_t>(rifs.size());
        return acl_rm_acl_rif_bind_set(handle, cmd, acl_id_, rifs.data(), &rifs_num);
    }
    zv_acl_rm_status_t ask_count(uint32_t cmd, uint32_t rifs_num,
                                 uint64_t handle = OPEN_FLOW_HANDLE) {
        Rifs rifs(ZV_ACL_RM_PORTS_PER_RECORD);
        for (uint16_t i = 0; i < rifs.size(); i++)
            rifs[i] = i;
        return acl_rm_acl_rif_bind_set(handle, cmd, acl_id_, rifs.data(), &rifs_num);
    }
    static size_t switch_binds() { return recorded_calls("zv_api_acl_rif_bind_set").size(); }

    uint32_t acl_id_ = 0;
};

TEST_F(RifBindTest, KeysAreOfTypeOneWithTheUpperBitsClear) {
    EXPECT_EQ(ask(BIND, {0xffff, 7}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_NE(group_at({BIND_POINT_RIF, 0xffff}), 0u);
    EXPECT_NE(group_at({BIND_POINT_RIF, 7}), 0u);
    const acl_id_info *info = cached_acl(acl_id_);
    ASSERT_EQ(info->acl_bound_ports_num, 2u);
    for (uint32_t i = 0; i < 2; i++) {
        EXPECT_EQ(info->acl_bound_ports[i].bind_point_type, BIND_POINT_RIF);
        EXPECT_EQ(info->acl_bound_ports[i].port_id, i == 0 ? 0xffffu : 7u);
    }
    EXPECT_EQ(ask(UNBIND, {7, 0xffff}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(info->acl_bound_ports_num, 0u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RifBindTest, ConnectionIsLookedAtFirst) {
    is_initialized = 0;
    EXPECT_EQ(acl_rm_acl_rif_bind_set(UNKNOWN_HANDLE, 99, acl_id_, nullptr, nullptr),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(RifBindTest, UnknownCommandsAreRefusedBeforeTheCount) {
    for (const uint32_t cmd : {0u, 6u, 9u, 4294967295u}) {
        EXPECT_EQ(acl_rm_acl_rif_bind_set(UNKNOWN_HANDLE, cmd, acl_id_, nullptr, nullptr),
                  ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(),
                  Lines{failure(2, "Command unsupported, cmd type is:" + std::to_string(cmd))});
    }
}

TEST_F(RifBindTest, CountIsNeeded) {
    const uint16_t rif = 7;
    for (const uint32_t cmd : {BIND, UNBIND}) {
        EXPECT_EQ(acl_rm_acl_rif_bind_set(UNKNOWN_HANDLE, cmd, acl_id_, &rif, nullptr),
                  ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    }
}

TEST_F(RifBindTest, CountOfZeroIsRefusedBeforeTheArrayAndTheOwner) {
    const uint32_t rifs_num = 0;
    for (const uint32_t cmd : {BIND, UNBIND}) {
        EXPECT_EQ(acl_rm_acl_rif_bind_set(UNKNOWN_HANDLE, cmd, acl_id_, nullptr, &rifs_num),
                  ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(),
                  Lines{failure(4, "Wrong rifs number [0] need to configure more than 0")});
    }
}

TEST_F(RifBindTest, ArrayIsNeededBeforeTheOwnerIsLookedAt) {
    const uint32_t rifs_num = 1;
    for (const uint32_t cmd : {BIND, UNBIND}) {
        EXPECT_EQ(acl_rm_acl_rif_bind_set(UNKNOWN_HANDLE, cmd, acl_id_, nullptr, &rifs_num),
                  ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    }
}

TEST_F(RifBindTest, OwnersFailureIsPassedUp) {
    EXPECT_EQ(ask(BIND, {7}, PRA_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Wrong owner[2] trying to control another owner[0] resource")},
                        1, 1));
    EXPECT_EQ(switch_binds(), 0u);
}

TEST_F(RifBindTest, RecordHoldsUpTo100RouterInterfaces) {
    EXPECT_EQ(ask_count(BIND, 99), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_binds(), 99u);
    EXPECT_EQ(ask_count(BIND, 100), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_binds(), 100u);
    EXPECT_EQ(ask_count(UNBIND, 100), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_binds(), 200u);
}

TEST_F(RifBindTest, CountAboveTheRecordsArrayIsRefusedAfterTheOwner) {
    for (const uint32_t cmd : {BIND, UNBIND}) {
        EXPECT_EQ(ask_count(cmd, 101), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(),
                  Lines{failure(4, "Wrong rifs number [101], the record holds [100]")});
        EXPECT_EQ(ask_count(cmd, 101, PRA_HANDLE), ZV_ACL_RM_STATUS_ERROR);
        take_lines();
    }
    EXPECT_EQ(switch_binds(), 0u);
}

TEST_F(RifBindTest, KeysWithoutMemoryAreReported) {
    ASSERT_EQ(ask(BIND, {8}), ZV_ACL_RM_STATUS_SUCCESS);
    for (const uint32_t cmd : {BIND, UNBIND}) {
        fail_allocation(1);
        EXPECT_EQ(ask(cmd, {7, 8}), ZV_ACL_RM_STATUS_NO_RESOURCES);
        EXPECT_FALSE(allocation_failure_is_pending());
        EXPECT_EQ(take_lines(), Lines{failure(6, "Memory allocation failed")});
    }
    EXPECT_EQ(switch_binds(), 1u);
    EXPECT_NE(group_at({BIND_POINT_RIF, 8}), 0u);
}

TEST_F(RifBindTest, FailureOfABindIsPassedUpWithTheEarlierOnesBound) {
    fail_call("zv_api_acl_rif_bind_set", 5, {.nth = 2});
    EXPECT_EQ(ask(BIND, {70, 71, 72}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_TRUE(reports(take_lines(),
                        {notification(7,
                                      "Not enough resource to bind ACL, the maximum ACL "
                                      "resources are in use")},
                        7, 2));
    EXPECT_NE(group_at({BIND_POINT_RIF, 70}), 0u);
    EXPECT_EQ(group_at({BIND_POINT_RIF, 71}), 0u);
    EXPECT_EQ(group_at({BIND_POINT_RIF, 72}), 0u);
}

TEST_F(RifBindTest, AMissingTableIsPassedUpByBindAndUnbind) {
    for (const uint32_t cmd : {BIND, UNBIND}) {
        const Missing gone(port_id_2_sdk_acl_group_ht);
        EXPECT_EQ(ask(cmd, {7}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    }
}

// The port command's unbind.
class PortUnbindTest : public RifBindTest {
  protected:
    zv_acl_rm_status_t ask_ports(uint32_t cmd, const std::vector<uint32_t> &ports) {
        const auto ports_num = static_cast<uint32_t>(ports.size());
        return acl_rm_acl_port_bind_set(OPEN_FLOW_HANDLE, cmd, acl_id_, ports.data(), &ports_num);
    }
};

TEST_F(PortUnbindTest, UnbindsPortsAndNotRouterInterfacesOfTheSameNumber) {
    ASSERT_EQ(ask_ports(BIND, {7, 70000}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(ask(BIND, {7}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ask_ports(UNBIND, {7}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(group_at({BIND_POINT_LOG_PORT, 7}), 0u);
    EXPECT_NE(group_at({BIND_POINT_LOG_PORT, 70000}), 0u);
    EXPECT_NE(group_at({BIND_POINT_RIF, 7}), 0u);
}

TEST_F(PortUnbindTest, CountAndArrayAreNeeded) {
    const uint32_t port = 7;
    const uint32_t ports_num = 1;
    EXPECT_EQ(acl_rm_acl_port_bind_set(UNKNOWN_HANDLE, UNBIND, acl_id_, &port, nullptr),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(acl_rm_acl_port_bind_set(UNKNOWN_HANDLE, UNBIND, acl_id_, nullptr, &ports_num),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), (Lines{passed_up(3), passed_up(3)}));
}

TEST_F(PortUnbindTest, KeysWithoutMemoryLeaveThePortBound) {
    ASSERT_EQ(ask_ports(BIND, {7}), ZV_ACL_RM_STATUS_SUCCESS);
    fail_allocation(1);
    EXPECT_EQ(ask_ports(UNBIND, {7}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_EQ(take_lines(), Lines{failure(6, "Memory allocation failed")});
    EXPECT_NE(group_at({BIND_POINT_LOG_PORT, 7}), 0u);
}

}  // namespace
