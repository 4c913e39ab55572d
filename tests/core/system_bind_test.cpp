// System ACLs inside the process: memory and iterators that fail, and ports that come and go in
// the middle of an operation.
#include <gtest/gtest.h>

#include <numeric>
#include <ostream>

#include "core/acl_rm.h"
#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "platform/sim/config.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Ids = std::vector<uint32_t>;

constexpr uint32_t ADD_PORTS = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
constexpr uint32_t DELETE_PORTS = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;

Ids ids_from(uint32_t first, uint32_t num) {
    Ids ids(num);
    std::iota(ids.begin(), ids.end(), first);
    return ids;
}

// The switch has front-panel ports 1 to num.
void set_front_panel(uint32_t num) {
    std::vector<zv_sim::Port> ports;
    for (const uint32_t log_port : ids_from(1, num))
        ports.push_back({log_port, 0, "p"});
    zv_sim::ports_replace(ports);
}

class SystemBindTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        set_front_panel(2);
        acl_id_ = create_acl();
        take_lines();
    }
    zv_acl_rm_status_t ask(uint32_t cmd, uint64_t handle = OPEN_FLOW_HANDLE) {
        return acl_rm_acl_system_bind_set(handle, cmd, acl_id_);
    }
    void make_system() {
        ASSERT_EQ(ask(BIND), ZV_ACL_RM_STATUS_SUCCESS);
        take_lines();
    }
    // Also checks that all bind points are ports.
    static Ids bound_ports(uint32_t acl_id) {
        const acl_id_info *info = cached_acl(acl_id);
        Ids ports;
        for (uint32_t i = 0; i < info->acl_bound_ports_num; i++) {
            EXPECT_EQ(info->acl_bound_ports[i].bind_point_type, BIND_POINT_LOG_PORT);
            ports.push_back(info->acl_bound_ports[i].port_id);
        }
        return ports;
    }
    bool is_system() const { return cached_acl(acl_id_)->bound_to_system != 0; }
    static size_t calls_num() { return switch_call_names().size(); }

    uint32_t acl_id_ = 0;
};

TEST_F(SystemBindTest, SetsAndClearsTheFlag) {
    EXPECT_EQ(cached_acl(acl_id_)->bound_to_system, 0u);
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_acl(acl_id_)->bound_to_system, 1u);
    EXPECT_EQ(bound_ports(acl_id_), (Ids{1, 2}));
    EXPECT_EQ(ask(UNBIND), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_acl(acl_id_)->bound_to_system, 0u);
    EXPECT_EQ(bound_ports(acl_id_), Ids());
    EXPECT_EQ(take_lines(), (Lines{line(NOTICE_MASK, "Successfully bound ACL 1 to system"),
                                   line(NOTICE_MASK, "Successfully unbound ACL 1 from system")}));
    EXPECT_EQ(g_acl_group_cnt, 0);
}

TEST_F(SystemBindTest, ConnectionIsLookedAtFirst) {
    is_initialized = 0;
    EXPECT_EQ(ask(99, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(SystemBindTest, TheOwnerIsLookedAtBeforeTheCommand) {
    EXPECT_EQ(ask(99, OF13_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Wrong owner[3] trying to control another owner[0] resource")},
                        1, 1));
    EXPECT_EQ(ask(99), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(take_lines(),
              Lines{failure(2, "acl_rm_acl_system_bind_set: received unsupported command 99")});
}

TEST_F(SystemBindTest, AMissingTableOfAclsIsTheOwnersFailure) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
}

TEST_F(SystemBindTest, PortsWithoutMemoryAreReported) {
    fail_allocation(1);
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_EQ(take_lines(), Lines{failure(6,
                                          "acl_rm_acl_system_bind_set: failed to allocate memory "
                                          "for port parameters buffer")});
    EXPECT_EQ(recorded_calls("zv_net_ports_get_all").size(), 1u);
    EXPECT_FALSE(is_system());
}

TEST_F(SystemBindTest, KeysWithoutMemoryAreReportedBeforeAnyPortIsBound) {
    fail_allocation(2);
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_EQ(take_lines(), Lines{failure(6,
                                          "acl_rm_acl_system_bind_set: failed to allocate memory "
                                          "for logical ports buffer")});
    EXPECT_EQ(recorded_calls("zv_net_ports_get_all").size(), 2u);
    EXPECT_EQ(recorded_calls("zv_api_acl_group_set").size(), 0u);
    EXPECT_FALSE(is_system());
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(SystemBindTest, UnbindingNeedsNoMemory) {
    make_system();
    fail_allocation(1);
    EXPECT_EQ(ask(UNBIND), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(allocation_failure_is_pending());
    fail_allocation(0, 0);
}

// Between counting the ports and listing them the daemon takes the memory for them.
void now_twelve_ports() {
    set_front_panel(12);
}
void now_thirteen_ports() {
    set_front_panel(13);
}
void now_one_port() {
    set_front_panel(1);
}

struct Change {
    void (*act)();
    uint32_t bound_num;
};

void PrintTo(const Change &row, std::ostream *out) {
    *out << row.bound_num << " bound";
}

class ChangingPortsTest : public SystemBindTest, public testing::WithParamInterface<Change> {};

TEST_P(ChangingPortsTest, AreBoundAsFarAsTheHeadroomOfTenGoes) {
    act_at_allocation(1, GetParam().act);
    EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_ports(acl_id_), ids_from(1, GetParam().bound_num));
    const std::vector<nlohmann::json> calls = recorded_calls("zv_net_ports_get_all");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0]["args"]["buffer"], false);
    EXPECT_EQ(calls[0]["args"]["selector"], 2);
    EXPECT_EQ(calls[0]["out"]["count"], 2);
    EXPECT_EQ(calls[1]["args"], (nlohmann::json{{"selector", 2}, {"buffer", true}, {"count", 12}}));
    EXPECT_EQ(calls[1]["out"]["count"], GetParam().bound_num);
}

INSTANTIATE_TEST_SUITE_P(SystemBindTest, ChangingPortsTest,
                         testing::Values(Change{now_one_port, 1}, Change{now_twelve_ports, 12},
                                         Change{now_thirteen_ports, 12}));

TEST_F(SystemBindTest, AMissingTableOfBindPointsIsPassedUp) {
    {
        const Missing gone(port_id_2_sdk_acl_group_ht);
        EXPECT_EQ(ask(BIND), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
        EXPECT_FALSE(is_system());
    }
    make_system();
    const Missing gone(port_id_2_sdk_acl_group_ht);
    EXPECT_EQ(ask(UNBIND), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    EXPECT_TRUE(is_system());
}

// As many bind points as the ACL's list holds, none of which the switch knows.
TEST_F(SystemBindTest, AListOf648BindPointsIsUnboundWhole) {
    make_system();
    acl_id_info *info = cached_acl(acl_id_);
    for (uint32_t i = 2; i < MAX_BIND_POINTS_NUM; i++)
        info->acl_bound_ports[i] = {BIND_POINT_RIF, i};
    info->acl_bound_ports_num = MAX_BIND_POINTS_NUM;
    EXPECT_EQ(ask(UNBIND), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), MAX_BIND_POINTS_NUM - 2 + 1u);
    EXPECT_EQ(lines.front(), line(NOTICE_MASK, "ACL [1] already Unbound from port_id [2].\n"));
    EXPECT_EQ(lines.back(), line(NOTICE_MASK, "Successfully unbound ACL 1 from system"));
    EXPECT_EQ(info->acl_bound_ports_num, 0u);
    EXPECT_EQ(info->acl_id, acl_id_);
    EXPECT_FALSE(is_system());
}

// --- ports that come and go

class PortSetTest : public SystemBindTest {
  protected:
    static zv_acl_rm_status_t set(uint32_t cmd, const Ids &ports) {
        return acl_rm_port_set(UNKNOWN_HANDLE, cmd, ports.data(),
                               static_cast<uint32_t>(ports.size()));
    }
    // A second system ACL, of another owner; returns its id.
    uint32_t make_two_system_acls() {
        make_system();
        const uint32_t second = create_acl(1, PRA_HANDLE);
        EXPECT_EQ(acl_rm_acl_system_bind_set(PRA_HANDLE, BIND, second), ZV_ACL_RM_STATUS_SUCCESS);
        take_lines();
        return second;
    }
};

TEST_F(PortSetTest, ConnectionIsLookedAtFirst) {
    is_initialized = 0;
    EXPECT_EQ(set(99, {3}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "acl_rm_port_set: ACL RM is not initialized")});
}

TEST_F(PortSetTest, OtherCommandsAreRefusedBeforeTheTableIsLookedAt) {
    const Missing gone(acl_id_2_acl_id_info_table_it);
    for (const uint32_t cmd : {0u, 7u, 8u, 11u, 4294967295u}) {
        EXPECT_EQ(set(cmd, {3}), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(), Lines{failure(2, "acl_rm_port_set: received unsupported command " +
                                                     std::to_string(static_cast<int>(cmd)))});
    }
}

TEST_F(PortSetTest, AMissingIteratorIsReported) {
    make_system();
    const Missing gone(acl_id_2_acl_id_info_table_it);
    for (const uint32_t cmd : {ADD_PORTS, DELETE_PORTS}) {
        EXPECT_EQ(set(cmd, {3}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), Lines{failure(1,
                                              "acl_rm_port_set: error 1 returned getting first ACL "
                                              "from hash table")});
    }
    EXPECT_EQ(bound_ports(acl_id_), (Ids{1, 2}));
}

ht_iterator_zvlib_t *lost_iterator;

// While the keys of the first ACL are made.
void lose_iterator() {
    lost_iterator = acl_id_2_acl_id_info_table_it;
    acl_id_2_acl_id_info_table_it = nullptr;
}

TEST_F(PortSetTest, AnIteratorThatFailsOnTheWayLeavesTheFirstAclDone) {
    const uint32_t second = make_two_system_acls();
    act_at_allocation(1, lose_iterator);
    EXPECT_EQ(set(ADD_PORTS, {3}), ZV_ACL_RM_STATUS_ERROR);
    acl_id_2_acl_id_info_table_it = lost_iterator;
    EXPECT_EQ(take_lines(),
              (Lines{line(NOTICE_MASK, "Successfully added ports to ACL 1"),
                     failure(1,
                             "acl_rm_port_set: error 1 returned getting next ACL from hash "
                             "table")}));
    EXPECT_EQ(bound_ports(acl_id_), (Ids{1, 2, 3}));
    EXPECT_EQ(bound_ports(second), (Ids{1, 2}));
}

TEST_F(PortSetTest, KeysWithoutMemoryEndTheWalk) {
    const uint32_t second = make_two_system_acls();
    for (const uint32_t nth : {1u, 2u}) {
        fail_allocation(nth);
        EXPECT_EQ(set(ADD_PORTS, {2 + nth}), ZV_ACL_RM_STATUS_NO_RESOURCES);
        EXPECT_FALSE(allocation_failure_is_pending());
        Lines expected = {passed_up(6)};
        if (nth == 2)
            expected.insert(expected.begin(),
                            line(NOTICE_MASK, "Successfully added ports to ACL 1"));
        EXPECT_EQ(take_lines(), expected);
    }
    EXPECT_EQ(bound_ports(acl_id_), (Ids{1, 2, 4}));
    EXPECT_EQ(bound_ports(second), (Ids{1, 2}));
    fail_allocation(1);
    EXPECT_EQ(set(DELETE_PORTS, {1}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(bound_ports(acl_id_), (Ids{1, 2, 4}));
}

TEST_F(PortSetTest, MissingPortsAreLookedAtOnlyForASystemAcl) {
    for (const uint32_t cmd : {ADD_PORTS, DELETE_PORTS})
        EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, cmd, nullptr, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    make_system();
    for (const uint32_t cmd : {ADD_PORTS, DELETE_PORTS}) {
        EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, cmd, nullptr, 3), ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    }
}

TEST_F(PortSetTest, MorePortsThanTheRecordHoldsAreRefusedOnlyForASystemAcl) {
    const Ids ports = ids_from(1, 100);
    EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, ADD_PORTS, ports.data(), 101),
              ZV_ACL_RM_STATUS_SUCCESS);
    make_system();
    EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, ADD_PORTS, ports.data(), 101),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(
        take_lines(),
        Lines{failure(4, "acl_rm_port_set: wrong ports number [101], the record holds [100]")});
    EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, ADD_PORTS, ports.data(), 100),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_ports(acl_id_).size(), 100u);
}

TEST_F(PortSetTest, AMissingTableOfBindPointsIsPassedUp) {
    make_system();
    const Missing gone(port_id_2_sdk_acl_group_ht);
    for (const uint32_t cmd : {ADD_PORTS, DELETE_PORTS}) {
        EXPECT_EQ(set(cmd, {1}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    }
    EXPECT_TRUE(is_system());
}

// Two ACLs that share a chain of the table are walked from the newest on.
TEST_F(PortSetTest, EveryEntryOfTheTableIsLookedAt) {
    for (const uint32_t acl_id : {2u, 1297u, 5u}) {
        cache_acl(acl_id);
        cached_acl(acl_id)->bound_to_system = acl_id == 2 ? 0 : 1;
    }
    const uint32_t no_port = 0;
    EXPECT_EQ(acl_rm_port_set(UNKNOWN_HANDLE, DELETE_PORTS, &no_port, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), (Lines{line(NOTICE_MASK, "Successfully deleted ports from ACL 1297"),
                                   line(NOTICE_MASK, "Successfully deleted ports from ACL 5")}));
}

}  // namespace
