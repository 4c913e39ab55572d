// PORT_SET: what comes and goes on the front panel, for every system ACL and no other.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using nlohmann::json;

Answer ask(DaemonProcess &daemon, const zv_acl_rm_port_set_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_PORT_SET, request);
}

Lines port_set_refused(uint32_t status, Lines lines) {
    return std::move(lines) + Lines{{"ACL_RM_RPC", "ERROR",
                                     "acl_rm_rpc_port_set: error " + std::to_string(status) +
                                         " performing acl_rm_port_set"}};
}

LogLine notice(const std::string &text) {
    return {"ZV_ACL_RM", "NOTICE", text};
}
LogLine added(uint32_t acl_id) {
    return notice("Successfully added ports to ACL " + std::to_string(acl_id));
}
LogLine deleted(uint32_t acl_id) {
    return notice("Successfully deleted ports from ACL " + std::to_string(acl_id));
}

// One port, 10, on the front panel.
DaemonOptions with_one_port() {
    DaemonOptions options;
    options.config = {{"ports", {{{"log_port", 10}, {"kind", 0}, {"name", "p1"}}}}};
    return options;
}

class PortSet : public testing::Test {
  protected:
    PortSet() : daemon_(with_one_port()), client_(daemon_), pra_(daemon_, ZV_ACL_RM_OWNER_PRA) {}

    uint32_t add(const Ids &ports) { return client_.port_set(kAddPorts, ports); }
    uint32_t remove(const Ids &ports) { return client_.port_set(kDeletePorts, ports); }
    void make_system(TestClient &client, uint32_t direction = 0) {
        ASSERT_EQ(client.bind_system(kBind, client.make_acl(1, direction).acl_id),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    // ACL 1 open-flow's and ACL 3 PRA's, both on port 10 in group 1; ACL 2 is none.
    void make_two_system_acls() {
        make_system(client_);
        client_.make_acl(1);
        make_system(pra_);
    }

    DaemonProcess daemon_;
    TestClient client_;
    TestClient pra_;
};

TEST_F(PortSet, AddedPortsAreBoundToTheSystemAcl) {
    make_system(client_, 7);
    const Watch watch(daemon_);
    EXPECT_EQ(add({12, 11}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(7, 2), group_listed(7, {1}, 2), port_bound(12, 2),
                        group_created(7, 3), group_listed(7, {1}, 3), port_bound(11, 3)});
    watch.expect_lines({added(1)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1, system, bound to 10 12 11",
                      "group 1: acl 1", "group 2: acl 1", "group 3: acl 1", "port 10: group 1",
                      "port 11: group 3", "port 12: group 2"}));
    check_cache(daemon_);
}

TEST_F(PortSet, DeletedPortsAreUnboundFromTheSystemAcl) {
    make_system(client_, 7);
    ASSERT_EQ(add({11, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(remove({12, 10}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(7, {}, 3), port_unbound(12, 3), group_destroyed(7, {}, 3),
                        group_listed(7, {}, 1), port_unbound(10, 1), group_destroyed(7, {}, 1)});
    watch.expect_lines({deleted(1)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1, system, bound to 11",
                      "group 2: acl 1", "port 11: group 2"}));
    check_cache(daemon_);
}

TEST_F(PortSet, AnswersWithTheWholeRecordUnchanged) {
    make_system(client_);
    for (const uint32_t cmd : {kAddPorts, kDeletePorts}) {
        const auto request = port_set_request(client_.handle(), cmd, {11, 12});
        const Answer answer = ask(daemon_, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(answer.body, bytes_of(request));
        EXPECT_EQ(answer.body.size(), 416u);
    }
}

TEST_F(PortSet, TheSystemUnbindTakesAddedPortsToo) {
    make_system(client_);
    ASSERT_EQ(add({11}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_system(kUnbind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(daemon_.dump().bind_points.empty());
    check_cache(daemon_);
    const Watch watch(daemon_);
    EXPECT_EQ(add({11}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
}

TEST_F(PortSet, TwoSystemAclsOfDifferentOwnersGetTheNewPortsAndNoOtherAclDoes) {
    make_two_system_acls();
    ASSERT_EQ(client_.bind_ports(kBind, 2, {11, 99}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(add({11, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {2, 1}, 2), group_created(0, 4), group_listed(0, {1}, 4),
                        port_bound(12, 4), group_listed(0, {3, 2, 1}, 2),
                        group_listed(0, {3, 1}, 4)});
    watch.expect_lines({added(1), added(3)});
    EXPECT_EQ(
        cache_digest(daemon_),
        (Digest{"acls 3, rules 0", "acl 1: owner 0, region 1, system, bound to 10 11 12",
                "acl 2: owner 0, region 2, bound to 11 99",
                "acl 3: owner 2, region 3, system, bound to 10 11 12", "group 1: acl 3 1",
                "group 2: acl 3 2 1", "group 3: acl 2", "group 4: acl 3 1", "port 10: group 1",
                "port 11: group 2", "port 12: group 4", "port 99: group 3"}));
    check_cache(daemon_);
}

TEST_F(PortSet, TwoSystemAclsLeaveTheDeletedPortsAndNoOtherAclDoes) {
    make_two_system_acls();
    ASSERT_EQ(client_.bind_ports(kBind, 2, {10}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(add({11}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(remove({10, 11}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {3, 2}, 1), group_listed(0, {3}, 2),
                        group_listed(0, {2}, 1), group_listed(0, {}, 2), port_unbound(11, 2),
                        group_destroyed(0, {}, 2)});
    watch.expect_lines({deleted(1), deleted(3)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 3, rules 0", "acl 1: owner 0, region 1, system",
                      "acl 2: owner 0, region 2, bound to 10", "acl 3: owner 2, region 3, system",
                      "group 1: acl 2", "port 10: group 1"}));
    check_cache(daemon_);
}

TEST_F(PortSet, AnyHandleMaySetPorts) {
    make_system(pra_);
    const Watch watch(daemon_);
    for (const uint64_t handle : {kNobody, uint64_t{0}, client_.handle()}) {
        for (const uint32_t cmd : {kAddPorts, kDeletePorts}) {
            const auto request = port_set_request(handle, cmd, {11});
            const Answer answer = ask(daemon_, request);
            EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
            EXPECT_EQ(answer.body, bytes_of(request));
        }
    }
    watch.expect_lines({added(1), deleted(1), added(1), deleted(1), added(1), deleted(1)});
    check_cache(daemon_);
}

struct WithoutSystemAcl : PortSet, testing::WithParamInterface<uint32_t> {};

TEST_P(WithoutSystemAcl, AnEmptyTableOfAclsIsSuccess) {
    const Watch watch(daemon_);
    const auto request = port_set_request(client_.handle(), GetParam(), {10, 11});
    const Answer answer = ask(daemon_, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_nothing();
}

TEST_P(WithoutSystemAcl, OtherAclsAreNotTouched) {
    client_.make_acl(1);
    pra_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {10, 11}), ZV_ACL_RM_STATUS_SUCCESS);
    const Digest before = cache_digest(daemon_);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.port_set(GetParam(), {10, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
    EXPECT_EQ(cache_digest(daemon_), before);
    check_cache(daemon_);
}

TEST_P(WithoutSystemAcl, TheNumberOfPortsIsNotLookedAt) {
    client_.make_acl(1);
    auto request = port_set_request(client_.handle(), GetParam(), ports_from(1, 100));
    for (const uint32_t ports_num : {0u, 101u, 0xffffffffu}) {
        request.ports_num = ports_num;
        const Watch watch(daemon_);
        const Answer answer = ask(daemon_, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(answer.body, bytes_of(request));
        watch.expect_nothing();
    }
}

INSTANTIATE_TEST_SUITE_P(PortSet, WithoutSystemAcl, testing::Values(kAddPorts, kDeletePorts));

TEST_F(PortSet, NoPortsAreAddedAndDeletedSuccessfully) {
    make_two_system_acls();
    const Digest before = cache_digest(daemon_);
    const Watch watch(daemon_);
    EXPECT_EQ(add({}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(remove({}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({added(1), added(3), deleted(1), deleted(3)});
    watch.expect_calls({});
    EXPECT_EQ(cache_digest(daemon_), before);
}

TEST_F(PortSet, AHundredPortsFitInOneRequest) {
    make_system(client_);
    EXPECT_EQ(add(ports_from(11, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), ports_from(10, 101));
    check_cache(daemon_);
    EXPECT_EQ(remove(ports_from(10, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{110});
    check_cache(daemon_);
}

// The record has room for 100; a larger count would be read from behind it.
TEST_F(PortSet, MorePortsThanTheRecordHoldsAreRefused) {
    make_two_system_acls();
    for (const uint32_t cmd : {kAddPorts, kDeletePorts}) {
        for (const uint32_t ports_num : {101u, 0xffffffffu}) {
            auto request = port_set_request(client_.handle(), cmd, ports_from(1, 100));
            request.ports_num = ports_num;
            const Watch watch(daemon_);
            const Answer answer = ask(daemon_, request);
            EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
            EXPECT_EQ(answer.body, Bytes());
            watch.expect_lines(port_set_refused(
                4, failed(4,
                          "acl_rm_port_set: wrong ports number [" + std::to_string(ports_num) +
                              "], the record holds [100]",
                          0)));
            watch.expect_calls({});
        }
    }
    check_cache(daemon_);
}

TEST_F(PortSet, AddingABoundPortChangesNothing) {
    make_system(client_);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {11}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(add({10, 11, 12, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 3), group_listed(0, {1}, 3), port_bound(12, 3)});
    watch.expect_lines({added(1)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{10, 11, 12}));
    check_cache(daemon_);
}

TEST_F(PortSet, DeletingAnUnboundPortIsOnlyNoted) {
    make_two_system_acls();
    const Watch watch(daemon_);
    EXPECT_EQ(remove({0x1f}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(
        {already_unbound(1, "1f"), deleted(1), already_unbound(3, "1f"), deleted(3)});
    watch.expect_calls({});
    check_cache(daemon_);
}

// It tells of logical ports only.
TEST_F(PortSet, ARouterInterfaceOfTheSameNumberStaysBound) {
    make_system(client_);
    ASSERT_EQ(client_.bind_rifs(kBind, 1, {10}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(remove({10}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1, system, bound to 10",
                      "group 2: acl 1", "rif 10: group 2"}));
    check_cache(daemon_);
}

TEST_F(PortSet, TheFirstRefusalEndsTheWalk) {
    client_.make_acl(1, 1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {12}), ZV_ACL_RM_STATUS_SUCCESS);
    make_system(client_);
    make_system(pra_);
    const Watch watch(daemon_);
    const Answer answer = ask(daemon_, port_set_request(kNobody, kAddPorts, {11, 12, 13}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(port_set_refused(
        1, failed(1,
                  "Can't Bind acl id[2] to port_id[12]. the port has different direction. "
                  "port direction:[1], acl direction[0]",
                  2)));
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(ports_of_acl(dump, 2), (Ids{10, 11}));
    EXPECT_EQ(ports_of_acl(dump, 3), Ids{10});
    for (const CacheDump::Acl &acl : dump.acls) {
        EXPECT_EQ(acl.bound_to_system, acl.acl_id != 1);
    }
    check_cache(daemon_);
}

TEST_F(PortSet, TheHundredTwentyNinthGroupEndsTheWalk) {
    make_two_system_acls();
    ASSERT_EQ(add(ports_from(11, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(add(ports_from(111, 28)), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(port_set_refused(
        6, failed(6, "ACL [1] can't be bound to port_id [138]. Not enough acl groups", 2)));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), ports_from(10, 128));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 3), ports_from(10, 101));
    check_cache(daemon_);
    EXPECT_EQ(add(ports_from(111, 27)), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(PortSet, TheSeventeenthSystemAclOfAPortEndsTheWalk) {
    for (uint32_t id = 1; id <= 16; ++id) {
        ASSERT_EQ(client_.bind_ports(kBind, client_.make_acl(1).acl_id, {11}),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    make_system(client_);
    const Watch watch(daemon_);
    EXPECT_EQ(add({11}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(port_set_refused(
        6, failed(6, "Can't Bind acl id[17] to port_id[11]. The Group is full", 2)));
    watch.expect_calls({});
    check_cache(daemon_);
}

TEST(PortSetChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{415}, size_t{417}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_PORT_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR", "received message of size " + std::to_string(length)}});
        watch.expect_calls({});
    }
}

TEST(PortSetChecks, AClosedSwitchComesBeforeTheCommand) {
    DaemonProcess daemon;
    for (const uint32_t cmd : {kAddPorts, kDeletePorts, kBind}) {
        const Watch watch(daemon);
        EXPECT_EQ(ask(daemon, port_set_request(kNobody, cmd, {11})).status, ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(
            port_set_refused(1, failed(1, "acl_rm_port_set: ACL RM is not initialized", 0)));
        watch.expect_calls({});
    }
}

TEST_F(PortSet, OtherCommandsAreRefusedWithAndWithoutSystemAcls) {
    const std::pair<uint32_t, const char *> commands[] = {
        {0, "0"}, {7, "7"}, {8, "8"}, {11, "11"}, {23, "23"}, {24, "24"}, {0xffffffff, "-1"}};
    for (const bool with_system_acl : {false, true}) {
        if (with_system_acl) {
            make_system(client_);
        }
        for (const auto &[cmd, number] : commands) {
            const Watch watch(daemon_);
            auto request = port_set_request(client_.handle(), cmd, {11});
            request.ports_num = 101;
            const Answer answer = ask(daemon_, request);
            EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
            EXPECT_EQ(answer.body, Bytes());
            watch.expect_lines(port_set_refused(
                2, failed(2, "acl_rm_port_set: received unsupported command " + std::string(number),
                          0)));
            watch.expect_calls({});
        }
    }
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
