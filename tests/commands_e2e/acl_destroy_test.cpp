// ACL_SET destroy: the checks it shares with edit, what goes and in which order, and what a destroy
// that failed leaves to the next one.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

Answer send(DaemonProcess &daemon, uint64_t handle, uint32_t cmd, const acl_rm_acl &acl) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, acl_set_request(handle, cmd, acl));
}

// The id alone means something; every other field has a value that nothing in the tests has.
acl_rm_acl only_id(uint32_t acl_id) {
    return {acl_id, 101, 102, 103, 104, 105, 106, 107};
}

LogLine notice(const std::string &text) {
    return {"ZV_ACL_RM", "NOTICE", text};
}

// What the deletion of one rule writes.
Lines rule_deleted(uint32_t offset, uint32_t region_id) {
    const std::string region = "region[" + std::to_string(region_id) + "].";
    return {notice("delete rule[" + std::to_string(offset) + "] from " + region),
            notice("delete [1] #rules from " + region)};
}

Lines acl_refused(uint32_t sdk_status, uint32_t acl_id) {
    return failed(1,
                  "Failed to remove ACL in SDK (error: " + std::to_string(sdk_status) +
                      ") , acl id: [" + std::to_string(acl_id) + "]",
                  1);
}

// --- the checks, the same for destroy and edit

class AclChangeChecks : public testing::TestWithParam<uint32_t> {
  protected:
    void expect_refused(DaemonProcess &daemon, uint64_t handle, uint32_t acl_id, uint32_t status,
                        const Lines &lines, Here here = Here::now()) {
        const Watch watch(daemon);
        const Answer answer = send(daemon, handle, GetParam(), only_id(acl_id));
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(lines, here);
        watch.expect_calls({}, here);
    }
};

TEST_P(AclChangeChecks, AClosedSwitchComesFirst) {
    DaemonProcess daemon;
    expect_refused(daemon, kNobody, 1, ZV_ACL_RM_STATUS_ERROR,
                   failed(1, "ACL RM is not initialized", 0));
}

TEST_P(AclChangeChecks, AnUnknownHandleComesBeforeAnUnknownAcl) {
    DaemonProcess daemon;
    TestClient client(daemon);
    expect_refused(daemon, kNobody, 1, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                   failed(5, "Can't find handle[119] in acl_rm_clients_handles", 1));
}

TEST_P(AclChangeChecks, AnUnknownAclIsOutOfRange) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(4);
    for (const uint32_t acl_id : {0u, 2u, 0xffffffffu}) {
        expect_refused(daemon, client.handle(), acl_id, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                       failed_by_name(4, 2));
    }
    check_cache(daemon);
}

TEST_P(AclChangeChecks, AnotherOwnersAclIsRefusedWithBothOwners) {
    DaemonProcess daemon;
    TestClient owner(daemon, ZV_ACL_RM_OWNER_PRA);
    TestClient other(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW);
    const acl_rm_acl acl = owner.make_acl(4);
    expect_refused(daemon, other.handle(), acl.acl_id, ZV_ACL_RM_STATUS_ERROR,
                   failed(1, "Wrong owner[0] trying to control another owner[2] resource", 2));
    EXPECT_EQ(send(daemon, owner.handle(), GetParam(), only_id(acl.acl_id)).status,
              ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

INSTANTIATE_TEST_SUITE_P(AclSet, AclChangeChecks, testing::Values(kDestroy, kEdit),
                         [](const auto &cmd) { return cmd.param == kEdit ? "Edit" : "Destroy"; });

// --- destroy when all goes well

class AclDestroy : public testing::Test {
  protected:
    explicit AclDestroy(const DaemonOptions &options = {}) : daemon_(options), client_(daemon_) {}

    uint32_t destroy(uint32_t acl_id) { return client_.destroy_acl(only_id(acl_id)); }
    uint32_t bind(uint32_t acl_id, const std::vector<uint32_t> &ports) {
        return client_.bind_ports(kBind, acl_id, ports);
    }
    uint32_t create_counter() {
        uint32_t counter_id = 0;
        EXPECT_EQ(client_.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
        return counter_id;
    }
    void write(uint32_t acl_id, const std::vector<acl_rm_rule> &rules, Here here = Here::now()) {
        EXPECT_EQ(client_.write_rules(acl_id, rules, here), ZV_ACL_RM_STATUS_SUCCESS);
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(AclDestroy, AnswersWithTheAclRecordAsItWasSent) {
    client_.make_acl(1);
    const acl_rm_acl acl = only_id(client_.make_acl(4).acl_id);
    const Answer answer = send(daemon_, client_.handle(), kDestroy, acl);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(acl));
    EXPECT_EQ(answer.body.size(), 32u);
    check_cache(daemon_);
}

// Kept: the ACL goes by the client's type and direction, its region by the cached ones.
TEST_F(AclDestroy, TypeAndDirectionAreTheClientsAndTheRegionIsTheCaches) {
    acl_rm_acl acl = {0, 3, 5, 7, 9, 40, 40, 0};
    ASSERT_EQ(client_.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(destroy(acl.acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls(
        {memory_freed(), acl_destroyed(103, 104, 1, 1), region_destroyed(3, 5, 40, 1)});
    watch.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_), Digest{"acls 0, rules 0"});
    EXPECT_EQ(switch_digest(daemon_), Digest{});
}

TEST_F(AclDestroy, OfSize0HasNoFlagsToFree) {
    const acl_rm_acl acl = client_.make_acl(0);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 0, 1)});
    check_cache(daemon_);
}

TEST_F(AclDestroy, OfAResizedAclNamesThePresentSize) {
    const acl_rm_acl acl = client_.make_acl(0);
    ASSERT_EQ(client_.resize_acl(acl.acl_id, 24), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 24, 1)});
    EXPECT_EQ(daemon_.control().used("tcam_entries"), 0u);
}

TEST_F(AclDestroy, TakesOneOfSeveralAndForgetsItsId) {
    for (const uint32_t size : {4u, 5u, 6u}) {
        client_.make_acl(size);
    }
    EXPECT_EQ(destroy(2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 2, rules 0", "acl 1: owner 0, region 1", "acl 3: owner 0, region 3"}));
    EXPECT_EQ(daemon_.control().used("tcam_entries"), 10u);
    const Watch watch(daemon_);
    EXPECT_EQ(destroy(2), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed_by_name(4, 2));
    watch.expect_calls({});
    EXPECT_EQ(daemon_.dump().acl_table_cnt, 2u);
    check_cache(daemon_);
}

// --- rules

TEST_F(AclDestroy, DeletesItsRulesOneByOneUpwardAndOnlyFromTheCache) {
    const acl_rm_acl acl = client_.make_acl(16);
    const acl_rm_acl other = client_.make_acl(16);
    write(acl.acl_id, {make_rule(9), make_rule(0), make_rule(5)});
    write(other.acl_id, {make_rule(5)});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(0, 1) + rule_deleted(5, 1) + rule_deleted(9, 1));
    watch.expect_calls({memory_freed(), acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 16, 1)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 1", "acl 2: owner 0, region 2", "rule 2_5: region 2"}));
    check_cache(daemon_);
}

TEST_F(AclDestroy, FindsRulesAtBothEndsOfTheRegion) {
    const acl_rm_acl acl = client_.make_acl(16);
    write(acl.acl_id, {make_rule(15), make_rule(0)});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(0, 1) + rule_deleted(15, 1));
    EXPECT_EQ(daemon_.dump().rules_cnt, 0u);
}

TEST_F(AclDestroy, PassesOverRulesThatWereDeletedBefore) {
    const acl_rm_acl acl = client_.make_acl(16);
    write(acl.acl_id, make_rules(0, 3));
    ASSERT_EQ(client_.delete_rules(acl.acl_id, {1}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(0, 1) + rule_deleted(2, 1));
    check_cache(daemon_);
}

// More rules than one request may delete.
TEST_F(AclDestroy, DeletesMoreRulesThanARequestHolds) {
    const acl_rm_acl acl = client_.make_acl(64);
    for (const uint32_t first : {0u, 20u, 40u}) {
        write(acl.acl_id, make_rules(first, 20));
    }
    Lines lines;
    for (uint32_t offset = 0; offset < 60; ++offset) {
        lines = lines + rule_deleted(offset, 1);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(lines);
    EXPECT_EQ(cache_digest(daemon_), Digest{"acls 0, rules 0"});
    check_cache(daemon_);
}

TEST_F(AclDestroy, ReleasesACounterWithItsLastRule) {
    const acl_rm_acl acl = client_.make_acl(16);
    const acl_rm_acl other = client_.make_acl(16);
    const uint32_t mine = create_counter();
    const uint32_t shared = create_counter();
    write(acl.acl_id, {count_with(make_rule(0), mine), count_with(make_rule(5), mine),
                       count_with(make_rule(9), shared)});
    write(other.acl_id, {count_with(make_rule(0), shared)});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({counter_destroyed(0, mine), memory_freed(), acl_destroyed(0, 0, 1, 1),
                        region_destroyed(0, 0, 16, 1)});
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 2: size 16, rules 0", "acl 2: region 2, direction 0",
                      "counter 2: type 0"}));
    const Watch last(daemon_);
    EXPECT_EQ(client_.destroy_acl(other), ZV_ACL_RM_STATUS_SUCCESS);
    last.expect_calls({counter_destroyed(0, shared), memory_freed(), acl_destroyed(0, 0, 2, 2),
                       region_destroyed(0, 0, 16, 2)});
    check_cache(daemon_);
}

TEST_F(AclDestroy, ReleasesAForwardingEntryWithItsLastRule) {
    const acl_rm_acl acl = client_.make_acl(16);
    const acl_rm_acl other = client_.make_acl(16);
    write(acl.acl_id,
          {forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(5), kPort + 1)});
    write(acl.acl_id, {forward_to_port(make_rule(9), kPort)});
    write(other.acl_id, {forward_to_port(make_rule(0), kPort + 1)});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(0, 1) + rule_deleted(5, 1) + rule_deleted(9, 1));
    watch.expect_calls({port_pbs_deleted(kPort, 1), memory_freed(), acl_destroyed(0, 0, 1, 1),
                        region_destroyed(0, 0, 16, 1)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 1", "acl 2: owner 0, region 2", "rule 2_0: region 2",
                      "forward 65538: pbs 2, users 1"}));
    check_cache(daemon_);
}

// Port 0 has PBS entries that are not remembered, and misses them.
TEST_F(AclDestroy, StumblesOnceOverARuleThatForwardsToPort0) {
    const acl_rm_acl acl = client_.make_acl(16);
    write(acl.acl_id, {forward_to_port(make_rule(0), 0), make_rule(1)});
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    first.expect_lines(rule_deleted(0, 1) + failed(5, "forwarding port (pbs):=0 not found", 2));
    first.expect_calls({});
    const Watch second(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    second.expect_lines(rule_deleted(1, 1));
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: port 0"});
    check_cache(daemon_, kSkipLeftOvers);
}

TEST_F(AclDestroy, LeavesTheMulticastGroupOfItsRules) {
    const acl_rm_acl acl = client_.make_acl(16);
    uint32_t mc_group_id = 0;
    ASSERT_EQ(client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, mc_group_id, {kPort}),
              ZV_ACL_RM_STATUS_SUCCESS);
    write(acl.acl_id, {forward_to_mc_group(make_rule(0), mc_group_id)});
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 16, 1)});
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: mc 65537"});
    check_cache(daemon_);
}

// --- bindings

TEST_F(AclDestroy, LeavesEveryBindPointInTheirOrderAfterItsRules) {
    const acl_rm_acl acl = client_.make_acl(16);
    const acl_rm_acl other = client_.make_acl(16);
    write(acl.acl_id, {make_rule(3)});
    ASSERT_EQ(bind(acl.acl_id, {kPort + 4, kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_rifs(kBind, acl.acl_id, {17}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(other.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(3, 1));
    watch.expect_calls({memory_freed(), group_listed(0, {}, 1), port_unbound(kPort + 4, 1),
                        group_destroyed(0, {}, 1), group_listed(0, {2}, 2), group_listed(0, {}, 3),
                        rif_unbound(17, 3), group_destroyed(0, {}, 3), acl_destroyed(0, 0, 1, 1),
                        region_destroyed(0, 0, 16, 1)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "acl 2: owner 0, region 2, bound to 65537",
                      "group 2: acl 2", "port 65537: group 2"}));
    check_cache(daemon_);
}

TEST_F(AclDestroy, LeavesTheRestOfAGroupInItsOrder) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(bind(client_.make_acl(1).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(destroy(2), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), group_listed(0, {1, 3}, 1), acl_destroyed(103, 104, 2, 2),
                        region_destroyed(0, 0, 1, 2)});
    EXPECT_EQ(acls_of_group(daemon_.dump(), 1), (std::vector<uint32_t>{1, 3}));
    check_cache(daemon_);
}

TEST_F(AclDestroy, FreesTheGroupForAnotherAcl) {
    const acl_rm_acl first = client_.make_acl(1);
    ASSERT_EQ(bind(first.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.destroy_acl(first), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(client_.make_acl(1, 5).acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bound_groups(daemon_.dump()),
              (std::vector<std::pair<uint32_t, uint32_t>>{{kPort, 2}}));
    check_cache(daemon_);
}

DaemonOptions two_ports() {
    DaemonOptions options;
    options.config = {{"ports",
                       {{{"log_port", kPort}, {"kind", 0}, {"name", "p1"}},
                        {{"log_port", kPort + 1}, {"kind", 0}, {"name", "p2"}}}}};
    return options;
}

struct SystemAclDestroy : AclDestroy {
    SystemAclDestroy() : AclDestroy(two_ports()) {}
};

TEST_F(SystemAclDestroy, UnbindsEveryPortAndNewPortsStayUnbound) {
    const acl_rm_acl acl = client_.make_acl(1);
    ASSERT_EQ(client_.bind_system(kBind, acl.acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), group_listed(0, {}, 1), port_unbound(kPort, 1),
                        group_destroyed(0, {}, 1), group_listed(0, {}, 2),
                        port_unbound(kPort + 1, 2), group_destroyed(0, {}, 2),
                        acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 1, 1)});
    const Watch port_set(daemon_);
    EXPECT_EQ(client_.port_set(ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, {kPort + 2}),
              ZV_ACL_RM_STATUS_SUCCESS);
    port_set.expect_nothing();
    check_cache(daemon_);
}

// --- how many ACLs there are

TEST_F(AclDestroy, MakesRoomForOneMoreAclAtTheLimit) {
    for (uint32_t i = 0; i < 399; ++i) {
        client_.make_acl(1);
    }
    for (const uint32_t gone : {200u, 400u}) {
        EXPECT_EQ(destroy(gone), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(daemon_.dump().acl_table_cnt, 398u);
        client_.make_acl(1);
        acl_rm_acl refused = acl_of_size(1);
        const Watch watch(daemon_);
        EXPECT_EQ(client_.create_acl(refused), ZV_ACL_RM_STATUS_NO_RESOURCES);
        watch.expect_lines(notified(6, "Not enough resources to create region", 1));
        EXPECT_EQ(daemon_.dump().acl_table_cnt, 399u);
    }
    check_cache(daemon_);
}

DaemonOptions roomy_switch() {
    DaemonOptions options;
    options.config = {{"acls", 1000}, {"regions", 1000}};
    return options;
}

TEST(AclDestroyWithoutLimits, MakesRoomForOneMoreAclInTheCache) {
    DaemonProcess daemon(roomy_switch());
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, 5);
    for (uint32_t i = 0; i < 648; ++i) {
        client.make_acl(1);
    }
    EXPECT_EQ(client.destroy_acl(only_id(1)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.dump().acl_table_cnt, 647u);
    EXPECT_EQ(client.make_acl(1).acl_id, 649u);
    EXPECT_EQ(daemon.dump().acl_table_cnt, 648u);
    check_cache(daemon);
}

// Not a single rule may be deleted in one action there.
TEST_F(AclDestroy, OfAnAclWithRulesIsRefusedOnceTheChipHasNoLimits) {
    const acl_rm_acl acl = client_.make_acl(8);
    write(acl.acl_id, {make_rule(2)});
    ASSERT_EQ(client_.init(5), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    const Answer answer = send(daemon_, client_.handle(), kDestroy, acl);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed_by_name(4, 2));
    watch.expect_calls({});
    check_cache(daemon_);
    ASSERT_EQ(client_.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

// --- after a destroy that failed

TEST_F(AclDestroy, GoesOnWhereTheSwitchRefusedTheAcl) {
    const acl_rm_acl acl = client_.make_acl(8);
    write(acl.acl_id, {make_rule(2)});
    ASSERT_EQ(bind(acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon_.control().fail("zv_api_acl_set", 1);
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(rule_deleted(2, 1) + acl_refused(1, 1));
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 8, rules 2", "acl 1: region 1, direction 0"}));
    const Watch second(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    second.expect_calls({acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 8, 1)});
    second.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_), Digest{"acls 0, rules 0"});
    check_cache(daemon_);
}

// The ACL is gone from the switch by then, which is what every later try stumbles over.
TEST_F(AclDestroy, NeverEndsWhereTheSwitchRefusedTheRegion) {
    const acl_rm_acl acl = client_.make_acl(8);
    daemon_.control().fail("zv_api_acl_region_set", 1);
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(failed(1, "Failed to delete region in SDK , error: 1", 1));
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Watch watch(daemon_);
        EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(acl_refused(6, 1));
        watch.expect_calls({acl_destroyed(0, 0, 1, 1, 6)});
    }
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    EXPECT_EQ(switch_digest(daemon_), Digest{"region 1: size 8"});
}

TEST_F(AclDestroy, GoesOnAtTheBindPointThatFailed) {
    const acl_rm_acl acl = client_.make_acl(8);
    ASSERT_EQ(bind(acl.acl_id, {kPort, kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    // The list of the second port's group: the first one's was written and its group destroyed.
    daemon_.control().fail("zv_api_acl_group_set", 1, 3);
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(failed(1, "Failed to remove ACL [1] from ACL GROUP:[2], (error: 1)", 2));
    // The cached list of the second group is empty by now, so that the ACL counts as unbound
    // there: the switch refuses to let it go.
    const Watch second(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    second.expect_lines(Lines{notice("ACL [1] already Unbound from port_id [10001]."),
                              notice("ACL [1] already Unbound from port_id [10002].")} +
                        acl_refused(8, 1));
    second.expect_calls({acl_destroyed(0, 0, 1, 1, 8)});
    EXPECT_TRUE(ports_of_acl(daemon_.dump(), 1).empty());
}

// What a failed destroy leaves has no flags: the rule reaches the switch and the cache, and no
// more.
TEST_F(AclDestroy, ThatFailedLeavesAnAclThatTakesNoRules) {
    const acl_rm_acl acl = client_.make_acl(8);
    daemon_.control().fail("zv_api_acl_set", 1);
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(acl_refused(1, 1));
    const Watch write(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                                      write_request(client_.handle(), acl.acl_id, {make_rule(0)}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(answer.body, Bytes());
    write.expect_lines(failed(4, "rule in offset[0] is past the [0] offsets of acl_id:1", 3));
    write.expect_calls({rules_written(1, {sdk_rule(make_rule(0))})});
    // The second destroy sees no valid offset, and the rule outlives its ACL.
    const Watch second(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    second.expect_lines({});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 1", "rule 1_0: region 1"}));
    EXPECT_EQ(switch_digest(daemon_), Digest{});
}

TEST_F(AclDestroy, ThatFailedAtARuleKeepsTheLaterRulesAndTheFlags) {
    const acl_rm_acl acl = client_.make_acl(16);
    write(acl.acl_id, {make_rule(0), forward_to_port(make_rule(5), kPort), make_rule(9)});
    daemon_.control().fail("zv_api_acl_policy_based_switching_set", 1);
    const Watch first(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(rule_deleted(0, 1) + rule_deleted(5, 1) +
                       failed(1, "Failed to remove rule from a region in SDK , error: 1", 2));
    EXPECT_EQ(rule_keys(daemon_.dump()), std::vector<std::string>{"1_9"});
    const Watch write(daemon_);
    EXPECT_EQ(client_.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    write.expect_lines({});
    const Watch second(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    second.expect_lines(rule_deleted(5, 1) + rule_deleted(9, 1));
    // The forwarding entry has no users and stays.
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "forward 65537: pbs 1, users 0"}));
}

// The rule behind the daemon's back is not missed: the switch is not asked.
TEST_F(AclDestroy, DoesNotMissARuleThatTheSwitchLost) {
    const acl_rm_acl acl = client_.make_acl(8);
    write(acl.acl_id, {make_rule(2)});
    daemon_.control().corrupt(1, 2);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines(rule_deleted(2, 1));
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
