// Binding to ports when the switch fails: what is undone, what stays behind, and what is counted.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

// A group is created by the first call of the group function and listed by the second.
constexpr int kCreateCall = 1;
constexpr int kListCall = 2;
constexpr int kDestroyCall = 3;

struct Failure {
    uint32_t sdk_status;
    bool late;
};

void PrintTo(const Failure &failure, std::ostream *out) {
    *out << failure.sdk_status << (failure.late ? " late" : " early");
}

class GroupFailures : public testing::TestWithParam<Failure> {
  protected:
    // ACL 2 is the one bound, so that it is never taken for group 1.
    GroupFailures() : client_(daemon_) {
        client_.make_acl(1);
        client_.make_acl(1);
    }

    uint32_t sdk_status() const { return GetParam().sdk_status; }
    bool late() const { return GetParam().late; }
    std::string number() const { return std::to_string(sdk_status()); }

    uint32_t bind(uint32_t acl_id, const Ids &ports) {
        return client_.bind_ports(kBind, acl_id, ports);
    }
    nlohmann::json groups_in_switch() { return daemon_.control().state().at("groups"); }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_P(GroupFailures, OfGroupCreateLeaveNothingInTheCache) {
    daemon_.control().fail("zv_api_acl_group_set", sdk_status(), kCreateCall, 1, late());
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                                      bind_request(client_.handle(), 2, {kPort}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(
        failed(1, "Failed to create new group ACL [2], (error: " + number() + ")", 3));
    watch.expect_calls({group_created(0, late() ? 1 : 0, sdk_status())});
    const CacheDump dump = daemon_.dump();
    EXPECT_TRUE(dump.groups.empty());
    EXPECT_TRUE(dump.bind_points.empty());
    check_cache(daemon_, late() ? kSkipLeftOvers : kSkipNothing);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_P(GroupFailures, OfTheFirstListLeaveTheGroupBehind) {
    daemon_.control().fail("zv_api_acl_group_set", sdk_status(), kListCall, 1, late());
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(
        failed(1, "Failed to add new ACL [2] to ACL GROUP:[1], (error: " + number() + ")", 3));
    watch.expect_calls({group_created(0, 1), group_listed(0, {2}, 1, sdk_status())});
    const nlohmann::json left = {
        {{"group_id", 1}, {"direction", 0}, {"acl_ids", late() ? Ids{2} : Ids{}}}};
    EXPECT_EQ(groups_in_switch(), left);
    const CacheDump dump = daemon_.dump();
    EXPECT_TRUE(dump.groups.empty());
    EXPECT_TRUE(dump.bind_points.empty());
    EXPECT_EQ(ports_of_acl(dump, 2), Ids());
    check_cache(daemon_, kSkipLeftOvers);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 2}}));
}

INSTANTIATE_TEST_SUITE_P(Binding, GroupFailures,
                         testing::Values(Failure{5, false}, Failure{1, false}, Failure{5, true},
                                         Failure{1, true}));

class BindFailures : public GroupFailures {};

TEST_F(BindFailures, TheGroupLeftBehindStillCountsAsOneOfTheHundredTwentyEight) {
    daemon_.control().fail("zv_api_acl_group_set", 1, kListCall);
    EXPECT_EQ(bind(2, {1}), ZV_ACL_RM_STATUS_ERROR);
    for (const LogLine &line :
         failed(1, "Failed to add new ACL [2] to ACL GROUP:[1], (error: 1)", 3)) {
        daemon_.expect_log(line);
    }
    ASSERT_EQ(bind(2, ports_from(1000, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(2, ports_from(1100, 27)), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {1127}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(
        failed(6, "ACL [2] can't be bound to port_id [1127]. Not enough acl groups", 2));
    EXPECT_EQ(daemon_.dump().groups.size(), 127u);
}

TEST_F(BindFailures, AGroupThatCouldNotBeCreatedDoesNotCount) {
    daemon_.control().fail("zv_api_acl_group_set", 1, kCreateCall);
    EXPECT_EQ(bind(2, {1}), ZV_ACL_RM_STATUS_ERROR);
    for (const LogLine &line : failed(1, "Failed to create new group ACL [2], (error: 1)", 3)) {
        daemon_.expect_log(line);
    }
    ASSERT_EQ(bind(2, ports_from(1000, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(2, ports_from(1100, 28)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.dump().groups.size(), 128u);
    check_cache(daemon_);
}

TEST_F(BindFailures, WithoutRoomInTheSwitchTheNewGroupGoesAgain) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 5);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                                      bind_request(client_.handle(), 2, {kPort}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(
        notified(7, "Not enough resource to bind ACL, the maximum ACL resources are in use", 2));
    watch.expect_calls({group_created(0, 1), group_listed(0, {2}, 1), port_bound(kPort, 1, 5),
                        group_destroyed(0, {2}, 1)});
    const CacheDump dump = daemon_.dump();
    EXPECT_TRUE(dump.groups.empty());
    EXPECT_TRUE(dump.bind_points.empty());
    EXPECT_EQ(ports_of_acl(dump, 2), Ids());
    check_cache(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 2}}));
    check_cache(daemon_);
}

TEST_F(BindFailures, AGroupThatWentAgainDoesNotCount) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 5, 1, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bind(2, {1}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    }
    ASSERT_EQ(bind(2, ports_from(1000, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(2, ports_from(1100, 28)), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(BindFailures, PortsBeforeTheOneWithoutRoomStayBound) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 5, 2);
    EXPECT_EQ(bind(2, ports_from(kPort, 3)), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 2), Ids{kPort});
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 1}}));
    check_cache(daemon_);
}

TEST_F(BindFailures, ARealSwitchWithoutRoomIsHandledAlike) {
    DaemonOptions options;
    options.config = {{"bindings", 2}};
    DaemonProcess small(options);
    TestClient client(small);
    const acl_rm_acl acl = client.make_acl(1);
    const Watch watch(small);
    EXPECT_EQ(client.bind_ports(kBind, acl.acl_id, ports_from(kPort, 3)),
              ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    watch.expect_lines(
        notified(7, "Not enough resource to bind ACL, the maximum ACL resources are in use", 2));
    check_cache(small);
}

TEST_F(BindFailures, AnyOtherRefusalLeavesTheGroupAndBothTableEntries) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to bind ACL [1] to port_id [65537] , (error: 1)", 2));
    watch.expect_calls({group_created(0, 1), group_listed(0, {2}, 1), port_bound(kPort, 1, 1)});
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(acls_of_group(dump, 1), Ids{2});
    EXPECT_EQ(bound_groups(dump), (Pairs{{kPort, 1}}));
    EXPECT_EQ(ports_of_acl(dump, 2), Ids());
    EXPECT_EQ(daemon_.control().used("groups"), 1u);
    EXPECT_EQ(daemon_.control().used("bindings"), 0u);
    // To the daemon the ACL is bound there from now on.
    const Watch again(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    again.expect_nothing();
}

TEST_F(BindFailures, APortBoundBehindTheDaemonsBackIsSuchARefusal) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 1, 1, 1, true);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to bind ACL [1] to port_id [65537] , (error: 1)", 2));
    EXPECT_EQ(daemon_.control().used("bindings"), 1u);
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 1}}));
}

TEST_F(BindFailures, TheGroupStaysWhereTheSwitchWillNotDestroyItAgain) {
    daemon_.control().set_faults(
        {{{"call", "zv_api_acl_port_bind_set"}, {"status", 5}},
         {{"call", "zv_api_acl_group_set"}, {"nth", kDestroyCall}, {"status", 1}}});
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed deleting ACL group:[1], (error: 1)", 3));
    watch.expect_calls({group_created(0, 1), group_listed(0, {2}, 1), port_bound(kPort, 1, 5),
                        group_destroyed(0, {2}, 1, 1)});
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(acls_of_group(dump, 1), Ids{2});
    EXPECT_EQ(bound_groups(dump), (Pairs{{kPort, 1}}));
    EXPECT_EQ(ports_of_acl(dump, 2), Ids());
}

// The switch bound the group and yet said it had no room: then it will not let go of it.
TEST_F(BindFailures, AGroupBoundAfterAllIsNotDestroyed) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 5, 1, 1, true);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed deleting ACL group:[1], (error: 8)", 3));
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 1}}));
}

// A group of open-flow (1), tarn-os (2) and OF13 (3); the next ACL goes to the place of its owner.
struct EditFailure {
    uint32_t owner;
    Ids list_sent;
    Failure failure;
};

void PrintTo(const EditFailure &row, std::ostream *out) {
    *out << "owner " << row.owner << " of the list " << testing::PrintToString(row.list_sent);
}

class EditFailures : public testing::TestWithParam<EditFailure> {
  protected:
    EditFailures()
        : open_flow_(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW),
          tarn_os_(daemon_, ZV_ACL_RM_OWNER_TARN_OS),
          pra_(daemon_, ZV_ACL_RM_OWNER_PRA),
          of13_(daemon_, ZV_ACL_RM_OWNER_OF13) {
        for (TestClient *client : {&open_flow_, &tarn_os_, &of13_}) {
            const acl_rm_acl acl = client->make_acl(1);
            EXPECT_EQ(client->bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
        }
    }

    TestClient &client() {
        TestClient *const clients[] = {&open_flow_, &tarn_os_, &pra_, &of13_};
        return *clients[GetParam().owner];
    }

    DaemonProcess daemon_;
    TestClient open_flow_, tarn_os_, pra_, of13_;
};

TEST_P(EditFailures, RestoreTheListToItsFormerContentAndLength) {
    const auto &[owner, list_sent, failure] = GetParam();
    const acl_rm_acl acl = client().make_acl(1);
    ASSERT_EQ(acl.acl_id, 4u);
    daemon_.control().fail("zv_api_acl_group_set", failure.sdk_status, 1, 1, failure.late);
    const Watch watch(daemon_);
    const uint32_t status = client().bind_ports(kBind, 4, {kPort});
    if (failure.sdk_status == 5) {
        EXPECT_EQ(status, ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
        watch.expect_lines(notified(7, "Can't Add ACL table to group - not enough resources", 3));
    } else {
        EXPECT_EQ(status, ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(failed(1, "Failed to add new ACL [4] to ACL GROUP:[1], (error: 1)", 3));
    }
    watch.expect_calls({group_listed(0, list_sent, 1, failure.sdk_status)});
    const CacheDump dump = daemon_.dump();
    ASSERT_EQ(dump.groups.size(), 1u);
    EXPECT_EQ(dump.groups[0].acl_ids, (Ids{1, 2, 3}));
    EXPECT_EQ(dump.groups[0].acls_num, 3u);
    EXPECT_EQ(ports_of_acl(dump, 4), Ids());
    check_cache(daemon_, failure.late ? kSkipGroups : kSkipNothing);
    // The next attempt sends the same list once more.
    const Watch again(daemon_);
    EXPECT_EQ(client().bind_ports(kBind, 4, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    again.expect_calls({group_listed(0, list_sent, 1)});
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(Binding, EditFailures,
                         testing::Values(EditFailure{2, {4, 1, 2, 3}, {5, false}},
                                         EditFailure{2, {4, 1, 2, 3}, {1, false}},
                                         EditFailure{0, {1, 4, 2, 3}, {5, false}},
                                         EditFailure{0, {1, 4, 2, 3}, {1, false}},
                                         EditFailure{1, {1, 2, 4, 3}, {5, true}},
                                         EditFailure{1, {1, 2, 4, 3}, {1, true}},
                                         EditFailure{3, {1, 2, 3, 4}, {5, false}},
                                         EditFailure{3, {1, 2, 3, 4}, {1, false}}));

// The sixteenth ACL, at the last place and at the one before it.
class LastPlaceFailures : public testing::TestWithParam<uint32_t> {};

TEST_P(LastPlaceFailures, RestoreAListOfFifteen) {
    DaemonProcess daemon;
    TestClient first(daemon, ZV_ACL_RM_OWNER_PRA);
    TestClient last(daemon, ZV_ACL_RM_OWNER_OF13);
    Ids list;
    for (uint32_t id = 1; id <= 14; ++id) {
        ASSERT_EQ(first.bind_ports(kBind, first.make_acl(1).acl_id, {kPort}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        list.push_back(id);
    }
    ASSERT_EQ(last.bind_ports(kBind, last.make_acl(1).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    list.push_back(15);
    TestClient &client = GetParam() == 14 ? first : last;
    client.make_acl(1);
    Ids with_new = list;
    with_new.insert(with_new.begin() + GetParam(), 16);

    daemon.control().fail("zv_api_acl_group_set", 1);
    const Watch watch(daemon);
    EXPECT_EQ(client.bind_ports(kBind, 16, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to add new ACL [16] to ACL GROUP:[1], (error: 1)", 3));
    watch.expect_calls({group_listed(0, with_new, 1, 1)});
    EXPECT_EQ(acls_of_group(daemon.dump(), 1), list);
    check_cache(daemon);
}

INSTANTIATE_TEST_SUITE_P(Binding, LastPlaceFailures, testing::Values(14u, 15u));

}  // namespace
}  // namespace zv_test
