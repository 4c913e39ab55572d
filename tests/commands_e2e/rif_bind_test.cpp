// ACL_BIND_RIF_SET: binding ACLs to router interfaces and unbinding them, beside the ports.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using Rifs = std::vector<uint16_t>;

Answer ask(DaemonProcess &daemon, const zv_acl_rm_acl_rif_bind_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, request);
}

Rifs rifs_from(uint16_t first, uint16_t num) {
    Rifs rifs;
    for (uint16_t i = 0; i < num; ++i) {
        rifs.push_back(static_cast<uint16_t>(first + i));
    }
    return rifs;
}

class RifBind : public testing::Test {
  protected:
    explicit RifBind(DaemonOptions options = {}) : daemon_(std::move(options)), client_(daemon_) {}

    uint32_t bind(uint32_t acl_id, const Rifs &rifs) {
        return client_.bind_rifs(kBind, acl_id, rifs);
    }
    uint32_t unbind(uint32_t acl_id, const Rifs &rifs) {
        return client_.bind_rifs(kUnbind, acl_id, rifs);
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(RifBind, ARouterInterfaceWithoutAGroupGetsOne) {
    client_.make_acl(1);
    client_.make_acl(1, 7);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(7, 1), group_listed(7, {2}, 1), rif_bound(9, 1)});
    watch.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 2, rules 0", "acl 1: owner 0, region 1",
                      "acl 2: owner 0, region 2, bound to 9", "group 1: acl 2", "rif 9: group 1"}));
    check_cache(daemon_);
}

struct WholeRecord : RifBind, testing::WithParamInterface<uint32_t> {};

TEST_P(WholeRecord, IsTheAnswer) {
    client_.make_acl(1);
    const auto request = rif_request(client_.handle(), GetParam(), 1, {9, 0xffff});
    const Answer answer = ask(daemon_, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 224u);
}

INSTANTIATE_TEST_SUITE_P(RifBind, WholeRecord, testing::Values(kBind, kUnbind));

TEST_F(RifBind, ASecondAclJoinsTheGroupAndTheSameOneAgainChangesNothing) {
    client_.make_acl(1);
    client_.make_acl(1);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(1, {9, 9}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(2, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {1, 2}, 1)});
    watch.expect_lines({});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{9});
    check_cache(daemon_);
}

TEST_F(RifBind, AllNumbersOf16BitsAreRouterInterfaces) {
    client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(1, {0xffff, 0, 0x8000}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 1), group_listed(0, {1}, 1), rif_bound(0xffff, 1),
                        group_created(0, 2), group_listed(0, {1}, 2), rif_bound(0, 2),
                        group_created(0, 3), group_listed(0, {1}, 3), rif_bound(0x8000, 3)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{0xffff, 0, 0x8000}));
    check_cache(daemon_);
}

// Whatever earlier requests left in the memory of the keys, a router interface is found again.
TEST_F(RifBind, TheUpperBitsOfAKeyAre0) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, ports_from(0xabcd0000, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, ports_from(0xabcd0000, 100)),
              ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(1, rifs_from(0, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), ports_from(0, 100));
    const Watch watch(daemon_);
    EXPECT_EQ(bind(1, rifs_from(0, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
    EXPECT_EQ(unbind(1, rifs_from(0, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({});
    EXPECT_TRUE(daemon_.dump().bind_points.empty());
    check_cache(daemon_);
}

TEST_F(RifBind, APortOfTheSameNumberHasItsOwnGroup) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_created(0, 2), group_listed(0, {1}, 2), rif_bound(9, 2)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1, bound to 9 9", "group 1: acl 1",
                      "group 2: acl 1", "port 9: group 1", "rif 9: group 2"}));
    check_cache(daemon_);
}

TEST_F(RifBind, UnbindingOneOfTheSameNumberLeavesTheOther) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {}, 2), rif_unbound(9, 2), group_destroyed(0, {}, 2)});
    const Digest port_only = {"acls 1, rules 0", "acl 1: owner 0, region 1, bound to 9",
                              "group 1: acl 1", "port 9: group 1"};
    EXPECT_EQ(cache_digest(daemon_), port_only);
    check_cache(daemon_);
    // A second time: only the port is left in the ACL's list, and it stays.
    EXPECT_EQ(unbind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), port_only);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1, bound to 9", "group 3: acl 1",
                      "rif 9: group 3"}));
    check_cache(daemon_);
}

TEST_F(RifBind, TheLastAclOfAGroupTakesTheGroupWithIt) {
    client_.make_acl(1, 7);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(7, {}, 1), rif_unbound(9, 1), group_destroyed(7, {}, 1)});
    watch.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    check_cache(daemon_);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_groups(daemon_.dump()), (std::vector{std::pair{9u, 2u}}));
    check_cache(daemon_);
}

TEST_F(RifBind, OneOfThreeAclsLeavesTheOthersInTheirOrder) {
    for (uint32_t id = 1; id <= 3; ++id) {
        ASSERT_EQ(bind(client_.make_acl(1).acl_id, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(2, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {1, 3}, 1)});
    check_cache(daemon_);
}

TEST_F(RifBind, AnUnboundOneIsOnlyNoted) {
    client_.make_acl(1);
    client_.make_acl(1);
    ASSERT_EQ(bind(2, {0x1f}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1, {0x1f, 0xffff}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({already_unbound(1, "1f"), already_unbound(1, "ffff")});
    watch.expect_calls({});
    check_cache(daemon_);
}

TEST_F(RifBind, OwnersAreOrderedAsOnPorts) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    for (TestClient *client : {&of13, &client_, &pra}) {
        const acl_rm_acl acl = client->make_acl(1);
        ASSERT_EQ(client->bind_rifs(kBind, acl.acl_id, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(acls_of_group(daemon_.dump(), 1), (Ids{3, 2, 1}));
    check_cache(daemon_);
}

TEST_F(RifBind, TheGroupIsOfOneDirection) {
    client_.make_acl(1, 1);
    client_.make_acl(1, 0);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2, {8, 9, 10}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "Can't Bind acl id[2] to port_id[9]. the port has different "
                              "direction. port direction:[1], acl direction[0]",
                              2));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 2), Ids{8});
    check_cache(daemon_);
}

TEST_F(RifBind, SixteenAclsFitAndTheNextIsRefused) {
    for (uint32_t id = 1; id <= 16; ++id) {
        ASSERT_EQ(bind(client_.make_acl(1).acl_id, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(17, {9}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(failed(6, "Can't Bind acl id[17] to port_id[9]. The Group is full", 2));
    watch.expect_calls({});
    check_cache(daemon_);
}

TEST_F(RifBind, PortsAndRouterInterfacesShareTheHundredTwentyEightGroups) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, ports_from(0, 64)), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(1, rifs_from(0, 63)), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(1, {63, 64}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(
        failed(6, "ACL [1] can't be bound to port_id [64]. Not enough acl groups", 2));
    watch.expect_calls({group_created(0, 128), group_listed(0, {1}, 128), rif_bound(63, 128)});
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, {7}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(1, {64}), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(RifBind, OnlyTheFirstRouterInterfacesOfTheCountAreRead) {
    client_.make_acl(1);
    auto request = rif_request(client_.handle(), kBind, 1, {9, 10, 11});
    request.rifs_num = 1;
    EXPECT_EQ(ask(daemon_, request).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{9});
    check_cache(daemon_);
}

class TalkingRifBind : public RifBind {
  protected:
    TalkingRifBind() : RifBind(talking()) {}
    static DaemonOptions talking() {
        DaemonOptions options;
        options.arguments = {"-v", "4"};
        return options;
    }
    static LogLine info(const std::string &text) { return {"ZV_ACL_RM", "INFO", text}; }
};

TEST_F(TalkingRifBind, TellsItsStepsAtInfo) {
    client_.make_acl(1);
    client_.make_acl(1);
    ASSERT_EQ(bind(1, {0xab}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch joining(daemon_);
    EXPECT_EQ(bind(2, {0xab}), ZV_ACL_RM_STATUS_SUCCESS);
    joining.expect_lines({info("ACL group [1] is bound to port_id [ab]."),
                          info("calling bindNewAcl."),
                          info("Added new acl [2] to group [1] on rif [ab].")});
    ASSERT_EQ(unbind(1, {0xab}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch leaving(daemon_);
    EXPECT_EQ(unbind(2, {0xab}), ZV_ACL_RM_STATUS_SUCCESS);
    leaving.expect_lines({info("ACL group [1] is bound to port_id [ab]."),
                          info("acl id [2] is bound in SDK in port_id [171] within a group."),
                          info("number of ACLs in group before editing is:[1]."),
                          info("number of ACLs in group after editing is:[0]."),
                          info("Set new ACLs in ACL group[1] succeeded."),
                          info("Unbind ACL group[1] from rif[ab] succeeded."),
                          info("Deletion of ACL group[1] succeeded."),
                          info("number of port IDs to be deleted:=1.")});
}

TEST(RifBindChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{223}, size_t{225}}) {
        const Watch watch(daemon);
        const Answer answer =
            send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines({{"ACL_RM_RPC", "ERROR",
                             "failed to received zv_acl_rm_api_acl_rif_bind len " +
                                 std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

// The refusals before any router interface is looked at; each request is wrong in all later ways
// as well.
struct RifCheck {
    const char *what;
    bool opened, known_handle, known_acl;
    uint32_t cmd, rifs_num, status;
    Lines lines;
};

void PrintTo(const RifCheck &row, std::ostream *out) {
    *out << row.what;
}

class RifChecks : public testing::TestWithParam<RifCheck> {};

TEST_P(RifChecks, ComeInTheirOrder) {
    const RifCheck &check = GetParam();
    DaemonProcess daemon;
    TestClient client = check.opened ? TestClient(daemon) : TestClient::unopened(daemon, 5);
    if (check.known_acl) {
        client.make_acl(1);
    }
    auto request = rif_request(check.known_handle ? client.handle() : kNobody, check.cmd,
                               check.known_acl ? 1 : kNoAcl, rifs_from(1, 100));
    request.rifs_num = check.rifs_num;
    const Watch watch(daemon);
    const Answer answer = ask(daemon, request);
    EXPECT_EQ(answer.status, check.status);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(check.lines);
    watch.expect_calls({});
}

RifCheck command_check(const char *what, uint32_t cmd) {
    return {
        what, true, false, false,
        cmd,  0,    2,     failed(2, "Command unsupported, cmd type is:" + std::to_string(cmd), 0)};
}

RifCheck count_check(const char *what, uint32_t cmd, uint32_t rifs_num) {
    return {
        what,
        true,
        true,
        true,
        cmd,
        rifs_num,
        4,
        failed(4, "Wrong rifs number [" + std::to_string(rifs_num) + "], the record holds [100]", 0)};
}

const char kNoRifs[] = "Wrong rifs number [0] need to configure more than 0";

INSTANTIATE_TEST_SUITE_P(
    RifBind, RifChecks,
    testing::Values(
        RifCheck{"ClosedSwitch", false, false, false, 9, 0, 1,
                 failed(1, "ACL RM is not initialized", 0)},
        command_check("Command0", 0), command_check("Command6", 6), command_check("Command9", 9),
        command_check("Command25", 25), command_check("CommandAllOnes", 0xffffffff),
        RifCheck{"BindNone", true, false, false, kBind, 0, 4, failed(4, kNoRifs, 0)},
        RifCheck{"UnbindNone", true, false, false, kUnbind, 0, 4, failed(4, kNoRifs, 0)},
        RifCheck{"Handle", true, false, false, kBind, 101, 4, failed(4, kForeignHandle, 1)},
        RifCheck{"Acl", true, true, false, kBind, 101, 4, failed_by_name(4, 1)},
        // The record has room for 100; a larger count would be read from behind it.
        count_check("Bind101", kBind, 101), count_check("Unbind101", kUnbind, 101),
        count_check("BindAllOnes", kBind, 0xffffffff)),
    [](const auto &check) { return check.param.what; });

TEST_F(RifBind, AnotherOwnersAclIsRefused) {
    client_.make_acl(1);
    ASSERT_EQ(bind(1, {9}), ZV_ACL_RM_STATUS_SUCCESS);
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    for (const uint32_t cmd : {kBind, kUnbind}) {
        const Watch watch(daemon_);
        EXPECT_EQ(ask(daemon_, rif_request(of13.handle(), cmd, 1, {9})).status,
                  ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(
            failed(1, "Wrong owner[3] trying to control another owner[0] resource", 1));
        watch.expect_calls({});
    }
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
