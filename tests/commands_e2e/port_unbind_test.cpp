// ACL_BIND_PORT_SET unbind: groups shortened and torn down, and what an ACL is still bound to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ostream>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

Answer ask(DaemonProcess &daemon, const zv_acl_rm_acl_port_bind_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, request);
}

// `port` in hexadecimal digits.

class PortUnbind : public testing::Test {
  protected:
    PortUnbind() : client_(daemon_) {}

    // ACLs 1, 2, ... `num`, all bound to the ports.
    void make_bound(uint32_t num, const Ids &ports, uint32_t direction = 0) {
        for (uint32_t i = 0; i < num; ++i) {
            bind(client_.make_acl(1, direction).acl_id, ports);
        }
    }
    void bind(uint32_t acl_id, const Ids &ports) {
        ASSERT_EQ(client_.bind_ports(kBind, acl_id, ports), ZV_ACL_RM_STATUS_SUCCESS);
    }
    uint32_t unbind(uint32_t acl_id, const Ids &ports) {
        return client_.bind_ports(kUnbind, acl_id, ports);
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(PortUnbind, TheLastAclOfAGroupTakesTheGroupWithIt) {
    client_.make_acl(1);
    bind(client_.make_acl(1, 7).acl_id, {kPort});
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(7, {}, 1), port_unbound(kPort, 1), group_destroyed(7, {}, 1)});
    watch.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 2, rules 0", "acl 1: owner 0, region 1", "acl 2: owner 0, region 2"}));
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 1", "region 2: size 1", "acl 1: region 1, direction 0",
                      "acl 2: region 2, direction 7"}));
    check_cache(daemon_);
}

TEST_F(PortUnbind, AnswersWithTheWholeRecordUnchanged) {
    make_bound(1, {kPort, kPort + 9});
    const auto request = unbind_request(client_.handle(), 1, {kPort, kPort + 9});
    const Answer answer = ask(daemon_, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 424u);
}

TEST_F(PortUnbind, APortWithoutAGroupAnyMoreCanGetANewOneOfTheOtherDirection) {
    make_bound(1, {kPort});
    ASSERT_EQ(unbind(1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    bind(client_.make_acl(2, 1).acl_id, {kPort});
    const Calls calls = {group_created(1, 2), group_listed(1, {2}, 2), port_bound(kPort, 2)};
    const acl_rm_acl made = acl_of_size(2, 1);
    watch.expect_calls({region_created(made, 2), acl_created(made, 2, 2), memory_taken(8), calls[0],
                        calls[1], calls[2]});
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 2}}));
    check_cache(daemon_);
    ASSERT_EQ(unbind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    bind(1, {kPort});
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 3}}));
    check_cache(daemon_);
}

struct OneOfThree : PortUnbind, testing::WithParamInterface<std::pair<uint32_t, Ids>> {};

TEST_P(OneOfThree, LeavesTheOthersInTheirOrderAndTheGroupBound) {
    const auto &[leaving, staying] = GetParam();
    make_bound(3, {kPort});
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(leaving, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, staying, 1)});
    watch.expect_lines({});
    const CacheDump dump = daemon_.dump();
    EXPECT_EQ(acls_of_group(dump, 1), staying);
    EXPECT_EQ(bound_groups(dump), (Pairs{{kPort, 1}}));
    EXPECT_EQ(ports_of_acl(dump, leaving), Ids());
    for (const uint32_t acl_id : staying) {
        EXPECT_EQ(ports_of_acl(dump, acl_id), Ids{kPort});
    }
    check_cache(daemon_);
    // It comes back behind those of its owner.
    const Watch again(daemon_);
    bind(leaving, {kPort});
    again.expect_calls({group_listed(0, {staying[0], staying[1], leaving}, 1)});
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(PortUnbind, OneOfThree,
                         testing::Values(std::pair{1u, Ids{2, 3}}, std::pair{2u, Ids{1, 3}},
                                         std::pair{3u, Ids{1, 2}}));

TEST_F(PortUnbind, AFullGroupIsEmptiedAclByAcl) {
    make_bound(16, {kPort});
    Ids staying;
    for (uint32_t id = 2; id <= 16; ++id) {
        staying.push_back(id);
    }
    for (uint32_t id = 1; id < 16; ++id) {
        const Watch watch(daemon_);
        ASSERT_EQ(unbind(id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
        watch.expect_calls({group_listed(0, staying, 1)});
        staying.erase(staying.begin());
    }
    check_cache(daemon_);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(16, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {}, 1), port_unbound(kPort, 1), group_destroyed(0, {}, 1)});
    check_cache(daemon_);
}

TEST_F(PortUnbind, AFullGroupHasRoomForOneAgain) {
    make_bound(16, {kPort});
    client_.make_acl(1);
    ASSERT_EQ(unbind(8, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    bind(17, {kPort});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_ports(kBind, 8, {kPort}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(failed(6, "Can't Bind acl id[8] to port_id[65537]. The Group is full", 2));
    check_cache(daemon_);
}

TEST_F(PortUnbind, OfAHundredTwentyEightGroupsOneMakesRoomForAnother) {
    make_bound(1, ports_from(1000, 100));
    bind(1, ports_from(1100, 28));
    ASSERT_EQ(unbind(1, {1050}), ZV_ACL_RM_STATUS_SUCCESS);
    bind(1, {2000});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_ports(kBind, 1, {1050}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(
        failed(6, "ACL [1] can't be bound to port_id [1050]. Not enough acl groups", 2));
    check_cache(daemon_);
}

TEST_F(PortUnbind, APortUnboundAlreadyIsOnlyNoted) {
    make_bound(1, {kPort});
    ASSERT_EQ(unbind(1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    const auto request = unbind_request(client_.handle(), 1, {kPort});
    const Answer answer = ask(daemon_, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_lines({already_unbound(1, "10001")});
    watch.expect_calls({});
    check_cache(daemon_);
}

TEST_F(PortUnbind, APortBoundByAnotherAclOnlyKeepsIt) {
    make_bound(1, {kPort});
    client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(2, {kPort, 0, 0xffffffff}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(
        {already_unbound(2, "10001"), already_unbound(2, "0"), already_unbound(2, "ffffffff")});
    watch.expect_calls({});
    EXPECT_EQ(acls_of_group(daemon_.dump(), 1), Ids{1});
    check_cache(daemon_);
}

TEST_F(PortUnbind, APortNamedTwiceIsUnboundOnce) {
    make_bound(1, {kPort});
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1, {kPort, kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {}, 1), port_unbound(kPort, 1), group_destroyed(0, {}, 1)});
    watch.expect_lines({already_unbound(1, "10001")});
    check_cache(daemon_);
}

TEST_F(PortUnbind, PortsGoInTheClientsOrderAndTheOthersStayInTheirs) {
    make_bound(1, ports_from(kPort, 5));
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1, {kPort + 3, 9, kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {}, 4), port_unbound(kPort + 3, 4),
                        group_destroyed(0, {}, 4), group_listed(0, {}, 2),
                        port_unbound(kPort + 1, 2), group_destroyed(0, {}, 2)});
    watch.expect_lines({already_unbound(1, "9")});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{kPort, kPort + 2, kPort + 4}));
    EXPECT_EQ(bound_groups(daemon_.dump()), (Pairs{{kPort, 1}, {kPort + 2, 3}, {kPort + 4, 5}}));
    check_cache(daemon_);
}

TEST_F(PortUnbind, SharedAndOwnGroupsMayBeMixed) {
    make_bound(2, {kPort});
    bind(2, {kPort + 1});
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(2, {kPort, kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {1}, 1), group_listed(0, {}, 2), port_unbound(kPort + 1, 2),
                        group_destroyed(0, {}, 2)});
    check_cache(daemon_);
}

TEST_F(PortUnbind, OnlyTheFirstPortsOfTheCountAreRead) {
    make_bound(1, ports_from(kPort, 3));
    auto request = unbind_request(client_.handle(), 1, ports_from(kPort, 3));
    request.ports_num = 1;
    EXPECT_EQ(ask(daemon_, request).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{kPort + 1, kPort + 2}));
    check_cache(daemon_);
}

TEST_F(PortUnbind, AHundredPortsFitInOneRequest) {
    make_bound(1, ports_from(1, 100));
    bind(1, {101});
    EXPECT_EQ(unbind(1, ports_from(1, 100)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{101});
    EXPECT_EQ(daemon_.control().used("bindings"), 1u);
    EXPECT_EQ(daemon_.control().used("groups"), 1u);
    check_cache(daemon_);
}

TEST_F(PortUnbind, AnUnboundAclNoLongerMatchesAndTheNextOneDoes) {
    make_bound(2, {kPort});
    for (const uint32_t acl_id : {1u, 2u}) {
        ASSERT_EQ(client_.write_rules(acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const auto matched = [&] {
        return daemon_.control().packet("log_port", kPort, 0, 0, std::string(256, '0'));
    };
    EXPECT_EQ(matched().at("acl_id"), 1);
    ASSERT_EQ(unbind(1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(matched().at("acl_id"), 2);
    ASSERT_EQ(unbind(2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(matched().at("matched"), false);
    check_cache(daemon_);
}

// The refusals before any port is looked at; each request is wrong in all later ways as well.
struct UnbindCheck {
    const char *what;
    bool opened, known_handle, known_acl;
    uint32_t cmd, ports_num, status;
    Lines lines;
};

void PrintTo(const UnbindCheck &row, std::ostream *out) {
    *out << row.what;
}

class UnbindChecks : public testing::TestWithParam<UnbindCheck> {};

TEST_P(UnbindChecks, ComeInTheirOrder) {
    const UnbindCheck &check = GetParam();
    DaemonProcess daemon;
    TestClient client = check.opened ? TestClient(daemon) : TestClient::unopened(daemon, 5);
    if (check.known_acl) {
        client.make_acl(1);
    }
    auto request = unbind_request(check.known_handle ? client.handle() : kNobody,
                                  check.known_acl ? 1 : kNoAcl, ports_from(kPort, 100));
    request.cmd = check.cmd;
    request.ports_num = check.ports_num;
    const Watch watch(daemon);
    const Answer answer = ask(daemon, request);
    EXPECT_EQ(answer.status, check.status);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(check.lines);
    watch.expect_calls({});
}

INSTANTIATE_TEST_SUITE_P(
    PortUnbind, UnbindChecks,
    testing::Values(
        UnbindCheck{"ClosedSwitch", false, false, false, 9, 0, 1,
                    failed(1, "ACL RM is not initialized", 0)},
        UnbindCheck{"Command", true, false, false, 9, 0, 2,
                    failed(2, "Command unsupported, cmd type is:9", 0)},
        UnbindCheck{"NoPorts", true, false, false, kUnbind, 0, 4,
                    failed(4, "Wrong ports number [0] need to configure more than 0", 0)},
        UnbindCheck{"Handle", true, false, false, kUnbind, 101, 4, failed(4, kForeignHandle, 1)},
        UnbindCheck{"Acl", true, true, false, kUnbind, 101, 4, failed_by_name(4, 1)},
        UnbindCheck{"TooManyPorts", true, true, true, kUnbind, 101, 4,
                    failed(4, "Wrong ports number [101], the record holds [100]", 0)}),
    [](const auto &check) { return check.param.what; });

TEST_F(PortUnbind, AnotherOwnersAclStaysBound) {
    make_bound(1, {kPort});
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    const Watch watch(daemon_);
    EXPECT_EQ(ask(daemon_, unbind_request(pra.handle(), 1, {kPort})).status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Wrong owner[2] trying to control another owner[0] resource", 1));
    watch.expect_calls({});
    check_cache(daemon_);
}

// Four owners share two ports: they are bound in one order and unbound in it again.
using Owners = std::array<uint32_t, 4>;

struct OrderOfOwners : testing::TestWithParam<Owners> {};

// ACL owner + 1 is that owner's; smaller priorities go first.
Ids sorted_by_priority(const std::vector<uint32_t> &owners) {
    constexpr uint32_t priorities[] = {1, 2, 0, 3};
    std::vector<uint32_t> sorted = owners;
    std::sort(sorted.begin(), sorted.end(),
              [&](uint32_t a, uint32_t b) { return priorities[a] < priorities[b]; });
    for (uint32_t &owner : sorted) {
        ++owner;
    }
    return sorted;
}

TEST_P(OrderOfOwners, GivesTheSameListsOnTheWayInAndOut) {
    DaemonProcess daemon;
    std::vector<TestClient> clients;
    for (uint32_t owner = 0; owner < 4; ++owner) {
        clients.emplace_back(daemon, owner);
        ASSERT_EQ(clients[owner].make_acl(1).acl_id, owner + 1);
    }
    const Ids ports = {kPort, kPort + 1};
    std::vector<uint32_t> bound;
    for (const uint32_t owner : GetParam()) {
        bound.push_back(owner);
        const Ids list = sorted_by_priority(bound);
        const Watch watch(daemon);
        ASSERT_EQ(clients[owner].bind_ports(kBind, owner + 1, ports), ZV_ACL_RM_STATUS_SUCCESS);
        if (bound.size() > 1) {
            watch.expect_calls({group_listed(0, list, 1), group_listed(0, list, 2)});
        }
        check_cache(daemon);
    }
    for (const uint32_t owner : GetParam()) {
        bound.erase(bound.begin());
        const Ids list = sorted_by_priority(bound);
        const Watch watch(daemon);
        ASSERT_EQ(clients[owner].bind_ports(kUnbind, owner + 1, ports), ZV_ACL_RM_STATUS_SUCCESS);
        if (!bound.empty()) {
            watch.expect_calls({group_listed(0, list, 1), group_listed(0, list, 2)});
        }
        watch.expect_lines({});
        check_cache(daemon);
    }
    EXPECT_TRUE(daemon.dump().groups.empty());
}

std::vector<Owners> all_orders() {
    std::vector<Owners> orders;
    Owners order = {0, 1, 2, 3};
    do {
        orders.push_back(order);
    } while (std::next_permutation(order.begin(), order.end()));
    return orders;
}

INSTANTIATE_TEST_SUITE_P(PortUnbind, OrderOfOwners, testing::ValuesIn(all_orders()));

}  // namespace
}  // namespace zv_test
