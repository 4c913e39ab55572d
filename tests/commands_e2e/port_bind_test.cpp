// ACL_BIND_PORT_SET bind when all goes well: groups made, shared and left alone.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

class PortBind : public testing::Test {
  protected:
    PortBind() : client_(daemon_) {}

    uint32_t bind(uint32_t acl_id, const Ids &ports) {
        return client_.bind_ports(kBind, acl_id, ports);
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(PortBind, APortWithoutAGroupGetsOne) {
    client_.make_acl(1);
    const acl_rm_acl acl = client_.make_acl(1, 7);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(7, 1), group_listed(7, {2}, 1), port_bound(kPort, 1)});
    watch.expect_lines({});
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(acls_of_group(dump, 1), Ids{2});
    EXPECT_EQ(bound_groups(dump), (Pairs{{kPort, 1}}));
    ASSERT_EQ(dump.bind_points.size(), 1u);
    EXPECT_FALSE(dump.bind_points[0].is_rif);
    EXPECT_EQ(ports_of_acl(dump, 2), Ids{kPort});
    check_cache(daemon_);
}

TEST_F(PortBind, AnswersWithTheWholeRecordUnchanged) {
    const acl_rm_acl acl = client_.make_acl(1);
    const auto request = bind_request(client_.handle(), acl.acl_id, {kPort, kPort + 9});
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 424u);
}

TEST_F(PortBind, ASecondAclJoinsTheGroupOfThePort) {
    const acl_rm_acl first = client_.make_acl(1, 1);
    const acl_rm_acl second = client_.make_acl(1, 1);
    ASSERT_EQ(bind(first.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(second.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(1, {1, 2}, 1)});
    watch.expect_lines({});
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(acls_of_group(dump, 1), (Ids{1, 2}));
    EXPECT_EQ(bound_groups(dump), (Pairs{{kPort, 1}}));
    EXPECT_EQ(ports_of_acl(dump, 2), Ids{kPort});
    check_cache(daemon_);
}

TEST_F(PortBind, TheSameAclAgainChangesNothing) {
    const acl_rm_acl acl = client_.make_acl(1);
    const acl_rm_acl other = client_.make_acl(1);
    ASSERT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(other.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const std::string before = daemon_.control().state().dump();
    const Watch watch(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(other.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
    EXPECT_EQ(daemon_.control().state().dump(), before);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), acl.acl_id), Ids{kPort});
    check_cache(daemon_);
}

TEST_F(PortBind, EachPortOfARequestGetsAGroupOfItsOwnInTheClientsOrder) {
    const acl_rm_acl acl = client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {kPort + 5, 0, 0xffffffff}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 1), group_listed(0, {1}, 1), port_bound(kPort + 5, 1),
                        group_created(0, 2), group_listed(0, {1}, 2), port_bound(0, 2),
                        group_created(0, 3), group_listed(0, {1}, 3), port_bound(0xffffffff, 3)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{kPort + 5, 0, 0xffffffff}));
    check_cache(daemon_);
}

TEST_F(PortBind, APortNamedTwiceIsBoundOnce) {
    const acl_rm_acl acl = client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {kPort, kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 1), group_listed(0, {1}, 1), port_bound(kPort, 1)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{kPort});
    check_cache(daemon_);
}

TEST_F(PortBind, KnownAndNewPortsMayBeMixed) {
    const acl_rm_acl first = client_.make_acl(1);
    const acl_rm_acl second = client_.make_acl(1);
    ASSERT_EQ(bind(first.acl_id, {kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(second.acl_id, {kPort, kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 2), group_listed(0, {2}, 2), port_bound(kPort, 2),
                        group_listed(0, {1, 2}, 1)});
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 2}, {kPort + 1, 1}}));
    check_cache(daemon_);
}

TEST_F(PortBind, OnlyTheFirstPortsOfTheCountAreRead) {
    const acl_rm_acl acl = client_.make_acl(1);
    auto request = bind_request(client_.handle(), acl.acl_id, {kPort, kPort + 1, kPort + 2});
    request.ports_num = 1;
    EXPECT_EQ(send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, request).status,
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{kPort});
    check_cache(daemon_);
}

TEST_F(PortBind, AHundredPortsFitInOneRequest) {
    const acl_rm_acl acl = client_.make_acl(1);
    EXPECT_EQ(bind(acl.acl_id, ports_from(kPort, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), ports_from(kPort, 100));
    EXPECT_EQ(daemon_.control().used("bindings"), 100u);
    check_cache(daemon_);
}

TEST_F(PortBind, AnAclOfSize0CanBeBound) {
    const acl_rm_acl acl = client_.make_acl(0);
    EXPECT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(PortBind, SixteenAclsFitOnAPortAndTheNextIsRefused) {
    for (uint32_t i = 0; i < 16; ++i) {
        ASSERT_EQ(bind(client_.make_acl(1).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS) << i;
    }
    check_cache(daemon_);
    const acl_rm_acl seventeenth = client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(seventeenth.acl_id, {kPort}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(failed(6, "Can't Bind acl id[17] to port_id[65537]. The Group is full", 2));
    watch.expect_calls({});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 17), Ids());
    check_cache(daemon_);
    // On another port it may be the first.
    EXPECT_EQ(bind(seventeenth.acl_id, {kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(PortBind, AFullGroupStillHoldsWhatItHolds) {
    for (uint32_t i = 0; i < 16; ++i) {
        ASSERT_EQ(bind(client_.make_acl(1).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(bind(16, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
}

TEST_F(PortBind, TheDirectionComesBeforeTheFullGroup) {
    for (uint32_t i = 0; i < 16; ++i) {
        ASSERT_EQ(bind(client_.make_acl(1, 1).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const acl_rm_acl acl = client_.make_acl(1, 0);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "Can't Bind acl id[17] to port_id[65537]. the port has different "
                              "direction. port direction:[1], acl direction[0]",
                              2));
}

TEST_F(PortBind, ADifferentDirectionChangesNothing) {
    const acl_rm_acl egress = client_.make_acl(1, 1);
    const acl_rm_acl ingress = client_.make_acl(1, 0);
    ASSERT_EQ(bind(egress.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                                      bind_request(client_.handle(), ingress.acl_id, {kPort}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(1,
                              "Can't Bind acl id[2] to port_id[65537]. the port has different "
                              "direction. port direction:[1], acl direction[0]",
                              2));
    watch.expect_calls({});
    EXPECT_EQ(acls_of_group(daemon_.dump(), 1), Ids{1});
    check_cache(daemon_);
}

TEST_F(PortBind, PortsBeforeAFailingOneStayBoundAndThoseAfterItAreNot) {
    const acl_rm_acl egress = client_.make_acl(1, 1);
    const acl_rm_acl ingress = client_.make_acl(1, 0);
    ASSERT_EQ(bind(egress.acl_id, {kPort + 2}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(ingress.acl_id, ports_from(kPort, 4)), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "Can't Bind acl id[2] to port_id[65539]. the port has different "
                              "direction. port direction:[1], acl direction[0]",
                              2));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 2), (Ids{kPort, kPort + 1}));
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 2}, {kPort + 1, 3}, {kPort + 2, 1}}));
    check_cache(daemon_);
}

TEST_F(PortBind, AHundredTwentyEightGroupsFitAndTheNextIsRefused) {
    const acl_rm_acl acl = client_.make_acl(1);
    ASSERT_EQ(bind(acl.acl_id, ports_from(1000, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(acl.acl_id, ports_from(1100, 27)), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch last(daemon_);
    EXPECT_EQ(bind(acl.acl_id, {1127, 1128}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    last.expect_lines(
        failed(6, "ACL [1] can't be bound to port_id [1128]. Not enough acl groups", 2));
    last.expect_calls({group_created(0, 128), group_listed(0, {1}, 128), port_bound(1127, 128)});
    EXPECT_EQ(daemon_.dump().groups.size(), 128u);
    check_cache(daemon_);
    // A port that has a group takes further ACLs.
    EXPECT_EQ(bind(client_.make_acl(1).acl_id, {1127}), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
