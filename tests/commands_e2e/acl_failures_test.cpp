// Every platform call of ACL_SET, ACL_RESIZE and OPEN that can fail, failing.
#include <gtest/gtest.h>

#include "tests/commands_e2e/failure_table.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"

namespace zv_test {
namespace {

constexpr const char *kRegionSet = "zv_api_acl_region_set";
constexpr const char *kAclSet = "zv_api_acl_set";
constexpr const char *kMalloc = "cl_malloc";
constexpr const char *kFree = "cl_free";

// --- the requests

Answer send(World &world, uint32_t cmd, const acl_rm_acl &acl) {
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET,
                       acl_set_request(world.open_flow.handle(), cmd, acl));
}

// The region id sent is the one the switch will give: the text of a failure names whichever it has.
Answer create(World &world) {
    return send(world, ZV_ACL_RM_ACCESS_CMD_CREATE, {0, 3, 5, 7, 9, 40, 40, 1});
}

// Of ACL 1, as the tests make it.
Answer destroy(World &world) {
    return send(world, kDestroy, {1, 0, 0, 0, 0, 0, 0, 0});
}

Answer edit(World &world) {
    return send(world, kEdit, {1, 0, 0, 0, 9, 0, 0, 0});
}

Answer resize_to(World &world, uint32_t new_size) {
    const zv_acl_rm_acl_resize_params_t request = {world.open_flow.handle(), 1, new_size};
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, request);
}

// --- the situations; each has ACL 1

void write(World &world, const std::vector<acl_rm_rule> &rules) {
    ASSERT_EQ(world.open_flow.write_rules(1, rules), ZV_ACL_RM_STATUS_SUCCESS);
}

void with_acl(World &world) {
    world.open_flow.make_acl(8);
}

void with_rule(World &world) {
    with_acl(world);
    write(world, {make_rule(3)});
}

// Counter 1 is used by the rule at 2, counter 2 by those at 4 and 6; the one at 7 has none.
void with_counters(World &world) {
    with_acl(world);
    uint32_t counter_id = 0;
    ASSERT_EQ(world.open_flow.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(world.open_flow.create_counter({0, 1}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    write(world, {count_with(make_rule(2), 1), count_with(make_rule(4), 2),
                  count_with(make_rule(6), 2), make_rule(7)});
}

// PBS entry 1 is used by the rule at 2, entry 2 by those at 4 and 6; the one at 7 has none.
void with_forwarding(World &world) {
    with_acl(world);
    write(world, {forward_to_port(make_rule(2), kPort), forward_to_port(make_rule(4), kPort + 1)});
    write(world, {forward_to_port(make_rule(6), kPort + 1), make_rule(7)});
}

// Group 1 on a port, group 2 on a router interface, and group 3 on a port that ACL 2 shares.
void with_bindings(World &world) {
    with_rule(world);
    world.open_flow.make_acl(0);
    ASSERT_EQ(world.open_flow.bind_ports(kBind, 1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(world.open_flow.bind_rifs(kBind, 1, {17}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(world.open_flow.bind_ports(kBind, 1, {kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(world.open_flow.bind_ports(kBind, 2, {kPort + 1}), ZV_ACL_RM_STATUS_SUCCESS);
}

// 16 offsets, without bounds.
void with_resized_acl(World &world) {
    world.open_flow.make_acl(0);
    ASSERT_EQ(world.open_flow.resize_acl(1, 16), ZV_ACL_RM_STATUS_SUCCESS);
    write(world, {make_rule(7)});
}

// --- what is seen

// The notices of rules that were deleted, one by one.
Lines rules_deleted(const std::vector<uint32_t> &offsets) {
    Lines lines;
    for (const uint32_t offset : offsets) {
        lines.push_back(
            {"ZV_ACL_RM", "NOTICE", "delete rule[" + std::to_string(offset) + "] from region[1]."});
        lines.push_back({"ZV_ACL_RM", "NOTICE", "delete [1] #rules from region[1]."});
    }
    return lines;
}

Lines counter_stays(const std::string &counter_id) {
    return Lines{error_line(1, "Fail to destroy counter ID (" + counter_id + ").")} +
           failed(1, "Fail to clear counter ID (" + counter_id + ") in counter DB.", 3);
}

// Kept: the text speaks of the rule.
Lines pbs_entry_stays() {
    return failed(1, "Failed to remove rule from a region in SDK , error: {sdk}", 2);
}

// Of a destroy in with_bindings().
Lines unbinding_fails(const std::string &text, int callers = 2) {
    return rules_deleted({3}) + failed(1, text, callers);
}

// The cache and the switch in with_bindings() once the rule is deleted; what follows are the
// groups and where they are bound.
Digest cached_with(const Digest &groups) {
    return Digest{"acls 2, rules 0", "acl 1: owner 0, region 1, bound to 65537 17 65538",
                  "acl 2: owner 0, region 2, bound to 65538"} +
           groups;
}
Digest switch_with(const Digest &groups) {
    return Digest{"region 1: size 8, rules 3", "region 2: size 0", "acl 1: region 1, direction 0",
                  "acl 2: region 2, direction 0"} +
           groups;
}

// --- the tables

const std::vector<FailureRow> &create_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        {.name = "Region",
         .prepare = [](World &) {},
         .request = create,
         .call = kRegionSet,
         .on_other = {.lines = failed(1,
                                      "failed to create region in SDK error: {sdk} acl_key_type: 3 "
                                      ", action_type: 5 , region_size: 40 , region_id: 1",
                                      1),
                      .calls = {kRegionSet},
                      .cache = {"acls 0, rules 0"},
                      .early = {},
                      .late = {"region 1: size 40"}}},
        {.name = "Acl",
         .prepare = [](World &) {},
         .request = create,
         .call = kAclSet,
         .on_other = {.lines = failed(1,
                                      "Failed to create ACL in SDK (error: {sdk}) , type: [7] , "
                                      "direction: [9] , regions : [1]",
                                      1),
                      .calls = {kRegionSet, kAclSet},
                      .cache = {"acls 0, rules 0"},
                      .early = {"region 1: size 40"},
                      .late = {"region 1: size 40", "acl 1: region 1, direction 9"}}},
        {.name = "Flags",
         .prepare = [](World &) {},
         .request = create,
         .call = kMalloc,
         .on_other = {.status = ZV_ACL_RM_STATUS_PARAM_NULL,
                      .lines = failed_by_name(3, 1),
                      .calls = {kRegionSet, kAclSet, kMalloc},
                      .cache = {"acls 1, rules 0"},
                      .early = {"region 1: size 40", "acl 1: region 1, direction 9"},
                      .late = {"region 1: size 40", "acl 1: region 1, direction 9"}}},
    };
    return rows;
}

const std::vector<FailureRow> &destroy_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        {.name = "FirstCounter",
         .prepare = with_counters,
         .request = destroy,
         .call = kCounterSet,
         .on_other = {.lines = counter_stays("1"),
                      .calls = {kCounterSet},
                      .cache = {"acls 1, rules 4", "acl 1: owner 0, region 1", "rule 1_2: region 1",
                                "rule 1_4: region 1", "rule 1_6: region 1", "rule 1_7: region 1"},
                      .early = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                                "counter 1: type 0", "counter 2: type 1"},
                      .late = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                               "counter 2: type 1"}}},
        {.name = "CounterOfTwoRules",
         .prepare = with_counters,
         .request = destroy,
         .call = kCounterSet,
         .nth = 2,
         .on_other = {.lines = rules_deleted({2, 4}) + counter_stays("2"),
                      .calls = {kCounterSet, kCounterSet},
                      .cache = {"acls 1, rules 2", "acl 1: owner 0, region 1", "rule 1_6: region 1",
                                "rule 1_7: region 1"},
                      .early = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                                "counter 2: type 1"},
                      .late = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0"}}},
        {.name = "FirstPbsEntry",
         .prepare = with_forwarding,
         .request = destroy,
         .call = kPbsSet,
         .on_other = {.lines = rules_deleted({2}) + pbs_entry_stays(),
                      .calls = {kPbsSet},
                      .cache = {"acls 1, rules 3", "acl 1: owner 0, region 1", "rule 1_4: region 1",
                                "rule 1_6: region 1", "rule 1_7: region 1",
                                "forward 65537: pbs 1, users 0", "forward 65538: pbs 2, users 2"},
                      .early = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                                "pbs 1: port 65537", "pbs 2: port 65538"},
                      .late = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                               "pbs 2: port 65538"}}},
        {.name = "PbsEntryOfTwoRules",
         .prepare = with_forwarding,
         .request = destroy,
         .call = kPbsSet,
         .nth = 2,
         .on_other = {.lines = rules_deleted({2, 4, 6}) + pbs_entry_stays(),
                      .calls = {kPbsSet, kPbsSet},
                      .cache = {"acls 1, rules 1", "acl 1: owner 0, region 1", "rule 1_7: region 1",
                                "forward 65538: pbs 2, users 0"},
                      .early = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0",
                                "pbs 2: port 65538"},
                      .late = {"region 1: size 8, rules 2 4 6 7", "acl 1: region 1, direction 0"}}},
        {.name = "Acl",
         .prepare = with_rule,
         .request = destroy,
         .call = kAclSet,
         .on_other = {.lines =
                          rules_deleted({3}) +
                          failed(1, "Failed to remove ACL in SDK (error: {sdk}) , acl id: [1]", 1),
                      .calls = {kFree, kAclSet},
                      .cache = {"acls 1, rules 0", "acl 1: owner 0, region 1"},
                      .early = {"region 1: size 8, rules 3", "acl 1: region 1, direction 0"},
                      .late = {"region 1: size 8, rules 3"}}},
        {.name = "Region",
         .prepare = with_rule,
         .request = destroy,
         .call = kRegionSet,
         .on_other = {.lines = rules_deleted({3}) +
                               failed(1, "Failed to delete region in SDK , error: {sdk}", 1),
                      .calls = {kFree, kAclSet, kRegionSet},
                      .cache = {"acls 1, rules 0", "acl 1: owner 0, region 1"},
                      .early = {"region 1: size 8, rules 3"},
                      .late = {}}},
    };
    return rows;
}

const std::vector<FailureRow> &unbinding_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        {.name = "PortsGroupList",
         .prepare = with_bindings,
         .request = destroy,
         .call = kGroupSet,
         .on_other = {.lines = unbinding_fails(
                          "Failed to remove ACL [1] from ACL GROUP:[1], (error: {sdk})"),
                      .calls = {kFree, kGroupSet},
                      .cache = cached_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65537: group 1", "port 65538: group 3",
                                            "rif 17: group 2"}),
                      .early = switch_with({"group 1: acl 1", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65537: group 1", "port 65538: group 3",
                                            "rif 17: group 2"}),
                      .late = switch_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                           "port 65537: group 1", "port 65538: group 3",
                                           "rif 17: group 2"})}},
        {.name = "Port",
         .prepare = with_bindings,
         .request = destroy,
         .call = kPortBind,
         .on_other = {.lines = unbinding_fails("Failed to unbind ACL group [1] from logical port "
                                               "[10001], (error: {sdk})"),
                      .calls = {kFree, kGroupSet, kPortBind},
                      .cache = cached_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65537: group 1", "port 65538: group 3",
                                            "rif 17: group 2"}),
                      .early = switch_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65537: group 1", "port 65538: group 3",
                                            "rif 17: group 2"}),
                      .late = switch_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                           "port 65538: group 3", "rif 17: group 2"})}},
        {.name = "PortsGroup",
         .prepare = with_bindings,
         .request = destroy,
         .call = kGroupSet,
         .nth = 2,
         .on_other = {.lines = unbinding_fails("Failed deleting ACL group:[1], (error: {sdk})", 3),
                      .calls = {kFree, kGroupSet, kPortBind, kGroupSet},
                      .cache = cached_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65537: group 1", "port 65538: group 3",
                                            "rif 17: group 2"}),
                      .early = switch_with({"group 1: empty", "group 2: acl 1", "group 3: acl 1 2",
                                            "port 65538: group 3", "rif 17: group 2"}),
                      .late = switch_with({"group 2: acl 1", "group 3: acl 1 2",
                                           "port 65538: group 3", "rif 17: group 2"})}},
        {.name = "RifsGroupList",
         .prepare = with_bindings,
         .request = destroy,
         .call = kGroupSet,
         .nth = 3,
         .on_other = {.lines = unbinding_fails(
                          "Failed to remove ACL [1] from ACL GROUP:[2], (error: {sdk})"),
                      .calls = {kFree, kGroupSet, kPortBind, kGroupSet, kGroupSet},
                      .cache = cached_with({"group 2: empty", "group 3: acl 1 2",
                                            "port 65538: group 3", "rif 17: group 2"}),
                      .early = switch_with({"group 2: acl 1", "group 3: acl 1 2",
                                            "port 65538: group 3", "rif 17: group 2"}),
                      .late = switch_with({"group 2: empty", "group 3: acl 1 2",
                                           "port 65538: group 3", "rif 17: group 2"})}},
        {.name = "Rif",
         .prepare = with_bindings,
         .request = destroy,
         .call = kRifBind,
         .on_other = {.lines = unbinding_fails(
                          "Failed to unbind ACL group [2] from rif [11], (error: {sdk})"),
                      .calls = {kFree, kGroupSet, kPortBind, kGroupSet, kGroupSet, kRifBind},
                      .cache = cached_with({"group 2: empty", "group 3: acl 1 2",
                                            "port 65538: group 3", "rif 17: group 2"}),
                      .early = switch_with({"group 2: empty", "group 3: acl 1 2",
                                            "port 65538: group 3", "rif 17: group 2"}),
                      .late = switch_with(
                          {"group 2: empty", "group 3: acl 1 2", "port 65538: group 3"})}},
        {.name = "RifsGroup",
         .prepare = with_bindings,
         .request = destroy,
         .call = kGroupSet,
         .nth = 4,
         .on_other =
             {.lines = unbinding_fails("Failed deleting ACL group:[2], (error: {sdk})", 3),
              .calls = {kFree, kGroupSet, kPortBind, kGroupSet, kGroupSet, kRifBind, kGroupSet},
              .cache = cached_with(
                  {"group 2: empty", "group 3: acl 1 2", "port 65538: group 3", "rif 17: group 2"}),
              .early = switch_with({"group 2: empty", "group 3: acl 1 2", "port 65538: group 3"}),
              .late = switch_with({"group 3: acl 1 2", "port 65538: group 3"})}},
        {.name = "SharedGroupList",
         .prepare = with_bindings,
         .request = destroy,
         .call = kGroupSet,
         .nth = 5,
         .on_other = {.lines = unbinding_fails(
                          "Failed to remove ACL [1] from ACL GROUP:[3], (error: {sdk})"),
                      .calls = {kFree, kGroupSet, kPortBind, kGroupSet, kGroupSet, kRifBind,
                                kGroupSet, kGroupSet},
                      .cache = cached_with({"group 3: acl 2", "port 65538: group 3"}),
                      .early = switch_with({"group 3: acl 1 2", "port 65538: group 3"}),
                      .late = switch_with({"group 3: acl 2", "port 65538: group 3"})}},
    };
    return rows;
}

// Whichever call fails, the cache forgets the ACL and the flags are freed.
const std::vector<FailureRow> &edit_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        {.name = "Destroy",
         .prepare = with_rule,
         .request = edit,
         .call = kAclSet,
         .on_other = {.lines =
                          failed(1, "Failed to remove ACL in SDK (error: {sdk}) , acl id: [1]", 1),
                      .calls = {kAclSet, kFree},
                      .cache = {"acls 1, rules 1", "rule 1_3: region 1"},
                      .early = {"region 1: size 8, rules 3", "acl 1: region 1, direction 0"},
                      .late = {"region 1: size 8, rules 3"}}},
        {.name = "Create",
         .prepare = with_rule,
         .request = edit,
         .call = kAclSet,
         .nth = 2,
         .on_other = {.lines = failed(1,
                                      "Failed to create ACL in SDK (error: {sdk}) , type: [0] , "
                                      "direction: [9] , regions : [1]",
                                      1),
                      .calls = {kAclSet, kAclSet, kFree},
                      .cache = {"acls 1, rules 1", "rule 1_3: region 1"},
                      .early = {"region 1: size 8, rules 3"},
                      .late = {"region 1: size 8, rules 3", "acl 2: region 1, direction 9"}}},
    };
    return rows;
}

Digest cached_resized() {
    return {"acls 1, rules 1", "acl 1: owner 0, region 1", "rule 1_7: region 1"};
}

Digest region_of_size(const std::string &size) {
    return {"region 1: size " + size + ", rules 7", "acl 1: region 1, direction 0"};
}

FailureRow region_row(const std::string &name, uint32_t new_size) {
    const FailureOutcome refused = {
        .lines = failed(1, "Failed to resize region in SDK , error: {sdk}", 0),
        .calls = {kRegionSet},
        .cache = cached_resized(),
        .early = region_of_size("16"),
        .late = region_of_size(std::to_string(new_size))};
    FailureOutcome full = refused;
    full.status = ZV_ACL_RM_STATUS_NO_HW_RESOURCES;
    full.lines = notified(7, "Can't resize ACL table not enough resources", 0);
    return {.name = name,
            .prepare = with_resized_acl,
            .request = [new_size](World &world) { return resize_to(world, new_size); },
            .call = kRegionSet,
            .on_other = refused,
            .on_5 = full};
}

FailureRow flags_row(const std::string &name, uint32_t new_size) {
    return {.name = name,
            .prepare = with_resized_acl,
            .request = [new_size](World &world) { return resize_to(world, new_size); },
            .call = kMalloc,
            .on_other = {.status = ZV_ACL_RM_STATUS_PARAM_NULL,
                         .lines = failed_by_name(3, 0),
                         .calls = {kRegionSet, kMalloc},
                         .cache = cached_resized(),
                         .early = region_of_size(std::to_string(new_size)),
                         .late = region_of_size(std::to_string(new_size))}};
}

const std::vector<FailureRow> &resize_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        region_row("GrowingRegion", 32), region_row("ShrinkingRegion", 8),
        flags_row("GrowingFlags", 32), flags_row("ShrinkingFlags", 8)};
    return rows;
}

ZV_FAILURE_TABLE(AclCreateFailure, create_rows());
ZV_FAILURE_TABLE(AclDestroyFailure, destroy_rows());
ZV_FAILURE_TABLE(AclDestroyUnbindingFailure, unbinding_rows());
ZV_FAILURE_TABLE(AclEditFailure, edit_rows());
ZV_FAILURE_TABLE(AclResizeFailure, resize_rows());

// --- OPEN, which the clients of a table have behind them

struct OpenFailure : testing::TestWithParam<std::tuple<uint32_t, bool>> {};

TEST_P(OpenFailure, LeavesTheDaemonUnconnectedUntilTheNextOpen) {
    const auto [sdk_status, late] = GetParam();
    DaemonProcess daemon;
    daemon.control().fail("zv_api_open", sdk_status, 1, 1, late);
    const zv_acl_rm_open_params_t request = {5, ZV_ACL_RM_OWNER_PRA, 0};
    const Watch watch(daemon);
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_OPEN, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(
        failed(1, "Can't open an handle to the SDK, error: [" + std::to_string(sdk_status) + "]",
               0) +
        failed(1, "ACL RM connect to sdk failure", 0));
    watch.expect_calls({sdk_open(sdk_status)});
    const Watch refused(daemon);
    TestClient client = TestClient::unopened(daemon, 5);
    acl_rm_acl acl = acl_of_size(4);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    refused.expect_lines(failed(1, "ACL RM is not initialized", 0));
    refused.expect_calls({});
    const Watch again(daemon);
    EXPECT_EQ(client.open(ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    again.expect_lines({});
    again.expect_calls({sdk_open()});
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Each, OpenFailure,
                         testing::Combine(testing::Values(5u, 1u), testing::Bool()),
                         [](const auto &failure) {
                             return "With" + std::to_string(std::get<0>(failure.param)) +
                                    (std::get<1>(failure.param) ? "Late" : "Early");
                         });

}  // namespace
}  // namespace zv_test
