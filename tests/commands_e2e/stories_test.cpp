// Long stories: what several owners, ports, counters and groups go through together, and what
// daemon and switch hold after each chapter.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using nlohmann::json;

constexpr acl_rm_counter_type kPackets = {1, 0};

DaemonOptions configured(const json &config) {
    DaemonOptions options;
    options.config = config;
    return options;
}

class Story : public testing::Test {
  protected:
    explicit Story(const json &config = nullptr)
        : daemon_(configured(config)),
          open_flow_(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW),
          tarn_os_(daemon_, ZV_ACL_RM_OWNER_TARN_OS),
          pra_(daemon_, ZV_ACL_RM_OWNER_PRA),
          of13_(daemon_, ZV_ACL_RM_OWNER_OF13) {}

    Digest cache() { return cache_digest(daemon_); }
    Digest in_switch() { return switch_digest(daemon_); }
    uint32_t counter() {
        uint32_t counter_id = 0;
        EXPECT_EQ(open_flow_.create_counter(kPackets, counter_id), kOk);
        return counter_id;
    }
    // Nothing is left but what start-up makes.
    void expect_empty(Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "nothing is left");
        EXPECT_EQ(cache(), (Digest{"acls 0, rules 0"}));
        EXPECT_EQ(in_switch(), Digest{});
    }

    DaemonProcess daemon_;
    TestClient open_flow_, tarn_os_, pra_, of13_;
};

TEST_F(Story, OfCountersAndForwardingPortsThatGoWithTheirLastRule) {
    const acl_rm_acl first = open_flow_.make_acl(8);
    const acl_rm_acl second = tarn_os_.make_acl(8);
    const uint32_t kept = counter();
    const uint32_t shared = counter();
    const auto rule = [&](uint32_t offset, uint32_t counter_id, uint32_t log_port) {
        return forward_to_port(count_with(make_rule(offset), counter_id), log_port);
    };
    ASSERT_EQ(open_flow_.write_rules(first.acl_id, {rule(0, shared, kPort)}), kOk);
    ASSERT_EQ(open_flow_.write_rules(first.acl_id, {rule(1, shared, kPort), rule(2, kept, kPort)}),
              kOk);
    ASSERT_EQ(tarn_os_.write_rules(second.acl_id, {rule(5, shared, kPort)}), kOk);
    ASSERT_EQ(tarn_os_.write_rules(second.acl_id, {rule(6, shared, kPort + 1)}), kOk);
    EXPECT_EQ(cache(),
              (Digest{"acls 2, rules 5", "acl 1: owner 0, region 1", "acl 2: owner 1, region 2",
                      "rule 1_0: region 1", "rule 1_1: region 1", "rule 1_2: region 1",
                      "rule 2_5: region 2", "rule 2_6: region 2", "forward 65537: pbs 1, users 4",
                      "forward 65538: pbs 2, users 1"}));

    // A client lets go of both counters; the rules still hold them.
    EXPECT_EQ(pra_.destroy_counter(shared), kOk);
    EXPECT_EQ(pra_.destroy_counter(kept), kOk);
    EXPECT_EQ(open_flow_.delete_rules(first.acl_id, {0, 2}), kOk);
    EXPECT_EQ(in_switch(), (Digest{"region 1: size 8, rules 1", "region 2: size 8, rules 5 6",
                                   "acl 1: region 1, direction 0", "acl 2: region 2, direction 0",
                                   "pbs 1: port 65537", "pbs 2: port 65538", "counter 2: type 0"}));
    check_cache(daemon_);

    EXPECT_EQ(tarn_os_.delete_rules(second.acl_id, {6, 5}), kOk);
    EXPECT_EQ(cache(),
              (Digest{"acls 2, rules 1", "acl 1: owner 0, region 1", "acl 2: owner 1, region 2",
                      "rule 1_1: region 1", "forward 65537: pbs 1, users 1"}));
    check_cache(daemon_);
    EXPECT_EQ(open_flow_.destroy_acl(first), kOk);
    EXPECT_EQ(tarn_os_.destroy_acl(second), kOk);
    expect_empty();
}

TEST_F(Story, OfADestroyWithRulesCountersForwardingAndBindings) {
    const acl_rm_acl acl = open_flow_.make_acl(16);
    const acl_rm_acl other = pra_.make_acl(16);
    const uint32_t counter_id = counter();
    uint32_t mc_group = 0;
    ASSERT_EQ(open_flow_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, mc_group, {kPort, kPort + 1}), kOk);
    ASSERT_EQ(open_flow_.write_rules(acl.acl_id,
                                     {count_with(forward_to_port(make_rule(0), kPort), counter_id),
                                      forward_to_mc_group(make_rule(5), mc_group),
                                      count_with(make_rule(9), counter_id)}),
              kOk);
    ASSERT_EQ(pra_.write_rules(other.acl_id, {forward_to_port(make_rule(0), kPort)}), kOk);
    ASSERT_EQ(open_flow_.bind_ports(kBind, acl.acl_id, {kPort, kPort + 1}), kOk);
    ASSERT_EQ(open_flow_.bind_rifs(kBind, acl.acl_id, {7}), kOk);
    ASSERT_EQ(pra_.bind_ports(kBind, other.acl_id, {kPort}), kOk);
    check_cache(daemon_);

    const size_t mark = daemon_.trace_mark();
    EXPECT_EQ(open_flow_.destroy_acl(acl), kOk);
    EXPECT_EQ(daemon_.call_names_since(mark),
              (std::vector<std::string>{
                  "zv_api_flow_counter_set",                           // with the rule at 9
                  "cl_free",                                           //
                  "zv_api_acl_group_set",                              // the shared port
                  "zv_api_acl_group_set", "zv_api_acl_port_bind_set",  // the port of its own
                  "zv_api_acl_group_set",                              //
                  "zv_api_acl_group_set", "zv_api_acl_rif_bind_set",   // the router interface
                  "zv_api_acl_group_set",                              //
                  "zv_api_acl_set", "zv_api_acl_region_set"}));
    EXPECT_EQ(cache(), (Digest{"acls 1, rules 1", "acl 2: owner 2, region 2, bound to 65537",
                               "rule 2_0: region 2", "group 1: acl 2", "port 65537: group 1",
                               "forward 65537: pbs 2, users 1", "mc group 1: owner 0"}));
    EXPECT_EQ(in_switch(), (Digest{"region 2: size 16, rules 0", "acl 2: region 2, direction 0",
                                   "group 1: acl 2", "port 65537: group 1", "pbs 1: mc 65537 65538",
                                   "pbs 2: port 65537"}));
    check_cache(daemon_);
    EXPECT_EQ(pra_.destroy_acl(other), kOk);
    EXPECT_EQ(open_flow_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, mc_group, {}), kOk);
    expect_empty();
}

TEST_F(Story, OfSystemAclsWhilePortsComeAndGo) {
    daemon_.control().set_ports(json::array({{{"log_port", 1}, {"kind", 0}, {"name", "p1"}},
                                             {{"log_port", 2}, {"kind", 1}, {"name", "cpu"}},
                                             {{"log_port", 3}, {"kind", 0}, {"name", "p3"}}}));
    const acl_rm_acl open_flow_acl = open_flow_.make_acl(4);
    const acl_rm_acl of13_acl = of13_.make_acl(4);
    const acl_rm_acl single = tarn_os_.make_acl(4);
    ASSERT_EQ(of13_.bind_system(kBind, of13_acl.acl_id), kOk);
    ASSERT_EQ(open_flow_.bind_system(kBind, open_flow_acl.acl_id), kOk);
    ASSERT_EQ(tarn_os_.bind_ports(kBind, single.acl_id, {3}), kOk);
    EXPECT_EQ(cache(), (Digest{"acls 3, rules 0", "acl 1: owner 0, region 1, system, bound to 1 3",
                               "acl 2: owner 3, region 2, system, bound to 1 3",
                               "acl 3: owner 1, region 3, bound to 3", "group 1: acl 1 2",
                               "group 2: acl 1 3 2", "port 1: group 1", "port 3: group 2"}));

    // A port comes that only PORT_SET tells of: only the system ACLs go there.
    EXPECT_EQ(pra_.port_set(kAddPorts, {9}), kOk);
    EXPECT_EQ(pra_.port_set(kDeletePorts, {3}), kOk);
    EXPECT_EQ(cache(), (Digest{"acls 3, rules 0", "acl 1: owner 0, region 1, system, bound to 1 9",
                               "acl 2: owner 3, region 2, system, bound to 1 9",
                               "acl 3: owner 1, region 3, bound to 3", "group 1: acl 1 2",
                               "group 2: acl 3", "group 3: acl 1 2", "port 1: group 1",
                               "port 3: group 2", "port 9: group 3"}));
    for (const uint32_t acl_id : {1u, 2u}) {
        const std::string id = std::to_string(acl_id);
        daemon_.expect_log({"ZV_ACL_RM", "NOTICE", "Successfully added ports to ACL " + id});
        daemon_.expect_log({"ZV_ACL_RM", "NOTICE", "Successfully deleted ports from ACL " + id});
    }
    check_cache(daemon_);

    // No longer a system ACL: later ports are the other's alone.
    ASSERT_EQ(of13_.bind_rifs(kBind, of13_acl.acl_id, {5}), kOk);
    EXPECT_EQ(of13_.bind_system(kUnbind, of13_acl.acl_id), kOk);
    EXPECT_EQ(pra_.port_set(kAddPorts, {3, 11}), kOk);
    EXPECT_EQ(
        cache(),
        (Digest{"acls 3, rules 0", "acl 1: owner 0, region 1, system, bound to 1 9 3 11",
                "acl 2: owner 3, region 2", "acl 3: owner 1, region 3, bound to 3",
                "group 1: acl 1", "group 2: acl 1 3", "group 3: acl 1", "group 5: acl 1",
                "port 1: group 1", "port 3: group 2", "port 9: group 3", "port 11: group 5"}));
    check_cache(daemon_);
    EXPECT_EQ(open_flow_.destroy_acl(open_flow_acl), kOk);
    EXPECT_EQ(of13_.destroy_acl(of13_acl), kOk);
    EXPECT_EQ(tarn_os_.destroy_acl(single), kOk);
    expect_empty();
    EXPECT_EQ(pra_.port_set(kAddPorts, {3, 11}), kOk);
    expect_empty();
}

TEST_F(Story, OfMcGroupsInTheRulesOfSeveralOwners) {
    uint32_t group = 0;
    ASSERT_EQ(tarn_os_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group, {kPort}), kOk);
    const acl_rm_acl first = open_flow_.make_acl(8);
    const acl_rm_acl second = of13_.make_acl(8);
    // Any owner's rules may forward to it.
    ASSERT_EQ(open_flow_.write_rules(first.acl_id, {forward_to_mc_group(make_rule(1), group)}),
              kOk);
    ASSERT_EQ(of13_.write_rules(second.acl_id, {forward_to_mc_group(make_rule(2), group),
                                                forward_to_port(make_rule(3), kPort)}),
              kOk);
    ASSERT_EQ(open_flow_.bind_ports(kBind, first.acl_id, {kPort}), kOk);
    EXPECT_EQ(tarn_os_.mc_group_set(kAddPorts, group, {kPort + 1, kPort + 2}), kOk);
    EXPECT_EQ(tarn_os_.mc_group_set(kDeletePorts, group, {kPort}), kOk);
    const json hit = daemon_.control().packet("log_port", kPort, 0, 0, "00");
    EXPECT_EQ(hit.at("ports"), (Ids{kPort + 1, kPort + 2}));

    std::vector<acl_rm_rule> rules(1);
    rules[0].offset = 1;
    ASSERT_EQ(open_flow_.read_rules(first.acl_id, rules), kOk);
    EXPECT_EQ(rules[0].readout.forwarding_type, 2u);
    EXPECT_EQ(rules[0].readout.log_port, 0u);
    EXPECT_EQ(rules[0].readout.mc_pbs_id, group);

    // Rules come and go without touching it.
    const size_t mark = daemon_.trace_mark();
    EXPECT_EQ(of13_.move_block(second.acl_id, 2, 2, 3), kOk);
    EXPECT_EQ(of13_.delete_rules(second.acl_id, {3}), kOk);
    EXPECT_TRUE(daemon_.calls("zv_api_acl_policy_based_switching_set", mark).empty());
    EXPECT_EQ(of13_.delete_rules(second.acl_id, {4}), kOk);
    EXPECT_EQ(daemon_.calls("zv_api_acl_policy_based_switching_set", mark).size(), 1u);
    EXPECT_EQ(in_switch(),
              (Digest{"region 1: size 8, rules 1", "region 2: size 8",
                      "acl 1: region 1, direction 0", "acl 2: region 2, direction 0",
                      "group 1: acl 1", "port 65537: group 1", "pbs 1: mc 65538 65539"}));
    EXPECT_EQ(open_flow_.destroy_acl(first), kOk);
    EXPECT_EQ(of13_.destroy_acl(second), kOk);
    check_cache(daemon_);
    EXPECT_EQ(tarn_os_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, group, {}), kOk);
    expect_empty();
}

// Rules 0 to 9 with a counter of their own each; blocks slide over themselves and over others.
TEST_F(Story, OfBlocksThatMoveOverThemselvesAndOverOthers) {
    const acl_rm_acl acl = open_flow_.make_acl(16);
    std::vector<acl_rm_rule> rules;
    for (uint32_t offset = 0; offset < 10; ++offset) {
        rules.push_back(count_with(make_rule(offset), counter()));
    }
    ASSERT_EQ(open_flow_.write_rules(acl.acl_id, rules), kOk);
    // The counter of each offset, 0 where there is no rule: counter n came with rule n - 1.
    const auto counters = [&] {
        Ids ids(16, 0);
        const json state = daemon_.control().state();
        for (const json &rule : state.at("regions").at(0).at("rules")) {
            std::vector<acl_rm_rule> read(1);
            read[0].offset = rule.at("offset");
            EXPECT_EQ(open_flow_.read_rules(acl.acl_id, read), kOk);
            ids[rule.at("offset")] = read[0].readout.counter_id;
        }
        return ids;
    };
    const auto expect_counters = [&](const Ids &expected) {
        EXPECT_EQ(counters(), expected);
        EXPECT_EQ(daemon_.control().state().at("counters").size(),
                  16u - static_cast<size_t>(std::count(expected.begin(), expected.end(), 0u)));
        EXPECT_EQ(daemon_.dump().rules_cnt, daemon_.control().state().at("counters").size());
    };
    expect_counters({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(open_flow_.move_block(acl.acl_id, 0, 10, 3), kOk);  // up, overlapping
    expect_counters({0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0, 0});
    EXPECT_EQ(open_flow_.move_block(acl.acl_id, 3, 10, 0), kOk);  // and down again
    expect_counters({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(open_flow_.move_block(acl.acl_id, 0, 2, 4), kOk);  // over two others
    expect_counters({0, 0, 3, 4, 1, 2, 7, 8, 9, 10, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(open_flow_.move_block(acl.acl_id, 0, 3, 6), kOk);  // two empty ones among them
    expect_counters({0, 0, 0, 4, 1, 2, 0, 0, 3, 10, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(open_flow_.move_block(acl.acl_id, 11, 5, 4), kOk);  // nothing, over everything
    expect_counters({0, 0, 0, 4, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(open_flow_.destroy_acl(acl), kOk);
    expect_empty();
}

TEST_F(Story, OfAnEditOfABoundAclThatTheSwitchRefuses) {
    acl_rm_acl acl = open_flow_.make_acl(8);
    ASSERT_EQ(open_flow_.write_rules(acl.acl_id, make_rules(0, 2)), kOk);
    ASSERT_EQ(open_flow_.bind_ports(kBind, acl.acl_id, {kPort}), kOk);
    acl.direction = 1;
    const Watch watch(daemon_);
    EXPECT_EQ(open_flow_.edit_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    const json in_use = daemon_.calls("zv_api_acl_set").back().at("status");
    EXPECT_NE(in_use, 0);
    watch.expect_lines(
        failed(1, "Failed to remove ACL in SDK (error: " + in_use.dump() + ") , acl id: [1]", 1));
    // The daemon has forgotten the ACL; rule, group, binding and the switch's objects remain.
    EXPECT_EQ(cache(), (Digest{"acls 1, rules 2", "rule 1_0: region 1", "rule 1_1: region 1",
                               "group 1: acl 1", "port 65537: group 1"}));
    EXPECT_EQ(in_switch(), (Digest{"region 1: size 8, rules 0 1", "acl 1: region 1, direction 0",
                                   "group 1: acl 1", "port 65537: group 1"}));
    const Watch afterwards(daemon_);
    EXPECT_EQ(open_flow_.destroy_acl(acl), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    afterwards.expect_lines(failed_by_name(4, 2));
}

class StoryOfEdits : public Story {
  protected:
    StoryOfEdits() : Story({{"acl_destroy_in_use", true}}) {}
};

TEST_F(StoryOfEdits, OfABoundAclLeavesRulesAndGroupsWithTheFormerId) {
    acl_rm_acl acl = open_flow_.make_acl(8);
    ASSERT_EQ(open_flow_.write_rules(acl.acl_id, make_rules(0, 2)), kOk);
    ASSERT_EQ(open_flow_.bind_ports(kBind, acl.acl_id, {kPort}), kOk);
    acl.direction = 1;
    EXPECT_EQ(open_flow_.edit_acl(acl), kOk);
    EXPECT_EQ(acl.acl_id, 2u);
    EXPECT_EQ(cache(), (Digest{"acls 1, rules 2", "acl 2: owner 0, region 1, bound to 65537",
                               "rule 1_0: region 1", "rule 1_1: region 1", "group 1: acl 1",
                               "port 65537: group 1"}));
    // Its own rules are out of its reach: neither read, nor deleted, nor written again.
    std::vector<acl_rm_rule> rules(1);
    const Watch watch(daemon_);
    EXPECT_EQ(open_flow_.read_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(open_flow_.delete_rules(acl.acl_id, {0}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(open_flow_.write_rules(acl.acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(
        failed(5, "Failed to retrieve rule at offset [0] from ACL RM DB for ACL ID [2], error: 5",
               0) +
        failed(5, "Failed to retrieve rules for acl_id [2] ", 0) +
        failed(5, "key:[2_0] not found", 1) +
        failed(1, "rule in offset[0] should not be valid", 3));
    check_cache(daemon_, kSkipRules | kSkipGroups | kSkipCounts);
}

// The order of a group is found by asking for the owner of each of its ACLs.
TEST_F(StoryOfEdits, AGroupWithAFormerIdTakesNobody) {
    acl_rm_acl acl = open_flow_.make_acl(0);
    const acl_rm_acl before = pra_.make_acl(0);
    const acl_rm_acl behind = tarn_os_.make_acl(0);
    ASSERT_EQ(open_flow_.bind_ports(kBind, acl.acl_id, {kPort}), kOk);
    ASSERT_EQ(open_flow_.edit_acl(acl), kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(open_flow_.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(tarn_os_.bind_ports(kBind, behind.acl_id, {kPort}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(pra_.bind_ports(kBind, before.acl_id, {kPort}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed_by_name(5, 3) + failed_by_name(5, 3) + failed_by_name(5, 3));
    watch.expect_calls({});
    // Unbinding finds it bound nowhere, but takes the port off its list.
    const Watch unbinding(daemon_);
    EXPECT_EQ(open_flow_.bind_ports(kUnbind, acl.acl_id, {kPort}), kOk);
    unbinding.expect_lines(
        {{"ZV_ACL_RM", "NOTICE", "ACL [4] already Unbound from port_id [10001]."}});
    EXPECT_EQ(cache(),
              (Digest{"acls 3, rules 0", "acl 2: owner 2, region 2", "acl 3: owner 1, region 3",
                      "acl 4: owner 0, region 1", "group 1: acl 1", "port 65537: group 1"}));
}

}  // namespace
}  // namespace zv_test
