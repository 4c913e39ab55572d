// Flow counters: what fails in the switch, how it is told, and what stays in the switch and in the
// database. The dump does not show the database, so cases of its own look at it.
#include <gtest/gtest.h>

#include "tests/commands_e2e/failure_table.h"

namespace zv_test {
namespace {

using Type = acl_rm_counter_type;

constexpr Type kFirst = {1, 0};
constexpr Type kSecond = {0, 1};
constexpr uint32_t kRead = ZV_ACL_RM_ACCESS_CMD_READ;
constexpr uint32_t kClear = ZV_ACL_RM_ACCESS_CMD_CLEAR;

Answer counter_set(World &world, uint32_t cmd, Type type, uint32_t counter_id) {
    const zv_acl_rm_counter_set_params_t request = {world.open_flow.handle(), cmd, type,
                                                    counter_id};
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, request);
}

Answer counter_get(World &world, uint32_t cmd, uint32_t counter_id) {
    auto request = patterned<zv_acl_rm_counter_get_params_t>();
    request.cmd = cmd;
    request.counter_id = counter_id;
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, request);
}

void make_counters(World &world, uint32_t num) {
    for (uint32_t i = 0; i < num; ++i) {
        uint32_t counter_id = 0;
        ASSERT_EQ(world.open_flow.create_counter(kFirst, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
}

// Counter 1 with the rule at offset 3 of ACL 1, region 1.
void make_counting_rule(World &world) {
    make_counters(world, 1);
    const acl_rm_acl acl = world.open_flow.make_acl(8);
    ASSERT_EQ(world.open_flow.write_rules(acl.acl_id, {count_with(make_rule(3), 1)}),
              ZV_ACL_RM_STATUS_SUCCESS);
}

Answer delete_counting_rule(World &world) {
    auto request = write_request(world.open_flow.handle(), 1, {make_rule(3)});
    request.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
}

// Lines "counter 1: type 0" and on.
Digest counters(uint32_t num) {
    Digest lines;
    for (uint32_t i = 1; i <= num; ++i) {
        lines.push_back("counter " + std::to_string(i) + ": type 0");
    }
    return lines;
}

// Both sites of a failure write a text, and neither a name.
Lines two_texts(uint32_t status, const std::string &first, const std::string &second) {
    return {error_line(status, first), error_line(status, second)};
}

FailureOutcome refused_read(const std::string &sdk_text) {
    return {
        .lines = two_texts(1, "Fail to get counter: [" + sdk_text + "].", "Fail to read counter."),
        .calls = {"zv_api_flow_counter_get", "zv_status_str"},
        .cache = {"acls 0, rules 0"},
        .early = {"counter 1: type 0"},
        .late = {"counter 1: type 0"}};
}

FailureOutcome refused_clear(const std::string &sdk_text) {
    return {.lines = failed(1, "Fail to clear counter: [" + sdk_text + "].", 0),
            .calls = {"zv_api_flow_counter_clear_set", "zv_status_str"},
            .cache = {"acls 0, rules 0"},
            .early = {"counter 1: type 0"},
            .late = {"counter 1: type 0"}};
}

FailureOutcome refused_create(uint32_t sdk_type) {
    return {.lines = failed_by_name(1, 0) + failed(1, "Fail to allocate new counter.", 0),
            .calls = {"zv_api_flow_counter_set"},
            .cache = {"acls 0, rules 0"},
            .early = {},
            .late = {"counter 1: type " + std::to_string(sdk_type)}};
}

const std::vector<FailureRow> &rows() {
    static const auto &list = *new std::vector<FailureRow>{
        {.name = "CreateFirstType",
         .prepare = [](World &) {},
         .request = [](World &world) { return counter_set(world, kCreate, kFirst, 0); },
         .call = "zv_api_flow_counter_set",
         .on_other = refused_create(0)},
        {.name = "CreateSecondType",
         .prepare = [](World &) {},
         .request = [](World &world) { return counter_set(world, kCreate, kSecond, 0); },
         .call = "zv_api_flow_counter_set",
         .on_other = refused_create(1)},
        // The database is full, and the counter cannot be taken back either.
        {.name = "TakeBackThe256th",
         .prepare = [](World &world) { make_counters(world, 255); },
         .request = [](World &world) { return counter_set(world, kCreate, kFirst, 0); },
         .call = "zv_api_flow_counter_set",
         .nth = 2,
         .on_other = {.status = ZV_ACL_RM_STATUS_NO_RESOURCES,
                      .lines = {error_line(6, "Could not find free counter in counter DB.",
                                           "ACL_RM_DB"),
                                error_line(6,
                                           "Fail to allocate new counter ID (256) in counter "
                                           "DB."),
                                error_line(1, "Fail to rollback new counter creation."),
                                error_line(6, "Fail to allocate new counter.")},
                      .calls = {"zv_api_flow_counter_set", "zv_api_flow_counter_set"},
                      .cache = {"acls 0, rules 0"},
                      .early = counters(256),
                      .late = counters(255)}},
        {.name = "Destroy",
         .prepare = [](World &world) { make_counters(world, 1); },
         .request = [](World &world) { return counter_set(world, kDestroy, kFirst, 1); },
         .call = "zv_api_flow_counter_set",
         .on_other = {.lines = two_texts(1, "Fail to destroy counter ID (1).",
                                         "Fail to clear counter for counter ID (1)."),
                      .calls = {"zv_api_flow_counter_set"},
                      .cache = {"acls 0, rules 0"},
                      .early = {"counter 1: type 0"},
                      .late = {}}},
        // The rule has left the switch by then, and stays in the cache.
        {.name = "DestroyWithTheLastRule",
         .prepare = make_counting_rule,
         .request = delete_counting_rule,
         .call = "zv_api_flow_counter_set",
         .on_other = {.lines = two_texts(1, "Fail to destroy counter ID (1).",
                                         "Fail to clear counter ID (1) in counter DB.") +
                               failed_by_name(1, 1),
                      .calls = {"zv_api_acl_rules_set", "zv_api_flow_counter_set"},
                      .cache = {"acls 1, rules 1", "acl 1: owner 0, region 1",
                                "rule 1_3: region 1"},
                      .early = {"region 1: size 8", "acl 1: region 1, direction 0",
                                "counter 1: type 0"},
                      .late = {"region 1: size 8", "acl 1: region 1, direction 0"}}},
        {.name = "Read",
         .prepare = [](World &world) { make_counters(world, 1); },
         .request = [](World &world) { return counter_get(world, kRead, 1); },
         .call = "zv_api_flow_counter_get",
         .on_other = refused_read("Internal error"),
         .on_5 = refused_read("No resources")},
        {.name = "Clear",
         .prepare = [](World &world) { make_counters(world, 1); },
         .request = [](World &world) { return counter_get(world, kClear, 1); },
         .call = "zv_api_flow_counter_clear_set",
         .on_other = refused_clear("Internal error"),
         .on_5 = refused_clear("No resources")},
    };
    return list;
}

ZV_FAILURE_TABLE(CounterFailures, rows());

void expect_status(const Answer &answer, uint32_t status, Here here = Here::now()) {
    testing::ScopedTrace trace(here.file, here.line, "answer");
    EXPECT_EQ(answer.status, status);
}

// --- the database after a failure

TEST(CounterDatabase, ForgetsWhatTheSwitchRefusedToMake) {
    for (const bool late : {false, true}) {
        World world;
        world.daemon.control().fail("zv_api_flow_counter_set", 1, 1, 1, late);
        expect_status(counter_set(world, kCreate, kFirst, 0), ZV_ACL_RM_STATUS_ERROR);
        world.daemon.allow_error_lines();
        expect_status(counter_get(world, kRead, 1), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        make_counters(world, 255);  // none of the places is taken
    }
}

TEST(CounterDatabase, ForgetsThe256thThoughTheSwitchKeepsIt) {
    World world;
    make_counters(world, 255);
    world.daemon.allow_error_lines();
    world.daemon.control().fail("zv_api_flow_counter_set", 1, 2);
    expect_status(counter_set(world, kCreate, kFirst, 0), ZV_ACL_RM_STATUS_NO_RESOURCES);
    expect_status(counter_set(world, kDestroy, kFirst, 256), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(world.daemon.control().used("counters"), 256u);
}

TEST(CounterDatabase, KeepsWhatTheSwitchRefusedToDestroyUntilItDoes) {
    World world;
    make_counters(world, 1);
    world.daemon.control().fail("zv_api_flow_counter_set", 1);
    world.daemon.allow_error_lines();
    expect_status(counter_set(world, kDestroy, kFirst, 1), ZV_ACL_RM_STATUS_ERROR);
    expect_status(counter_get(world, kRead, 1), ZV_ACL_RM_STATUS_SUCCESS);
    expect_status(counter_set(world, kDestroy, kFirst, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_digest(world.daemon), Digest());
}

// It is gone in the switch, so that no destroy can succeed any more.
TEST(CounterDatabase, NeverGetsRidOfACounterThatTheSwitchLostEarlier) {
    World world;
    make_counters(world, 1);
    world.daemon.control().fail("zv_api_flow_counter_set", 1, 1, 1, true);
    expect_status(counter_set(world, kDestroy, kFirst, 1), ZV_ACL_RM_STATUS_ERROR);
    world.daemon.allow_error_lines();
    const Watch watch(world.daemon);
    expect_status(counter_set(world, kDestroy, kFirst, 1), ZV_ACL_RM_STATUS_ERROR);
    expect_status(counter_get(world, kRead, 1), ZV_ACL_RM_STATUS_ERROR);
    expect_status(counter_get(world, kClear, 1), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(two_texts(1, "Fail to destroy counter ID (1).",
                                 "Fail to clear counter for counter ID (1).") +
                       refused_read("Entry not found").lines +
                       refused_clear("Entry not found").lines);
}

// The reference was dropped before the switch was asked: the second deletion drops it again, below
// zero, and the counter is taken for one in use.
TEST(CounterDatabase, LosesCountWhenARuleIsDeletedAgainAfterItsCounterWasNot) {
    World world;
    make_counting_rule(world);
    world.daemon.control().fail("zv_api_flow_counter_set", 1);
    world.daemon.allow_error_lines();
    expect_status(delete_counting_rule(world), ZV_ACL_RM_STATUS_ERROR);
    const size_t mark = world.daemon.trace_mark();
    expect_status(delete_counting_rule(world), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(world.daemon), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    expect_status(counter_set(world, kDestroy, kFirst, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(world.daemon.call_names_since(mark),
              std::vector<std::string>{"zv_api_acl_rules_set"});
    EXPECT_EQ(world.daemon.control().used("counters"), 1u);
}

// --- the switch's words

struct WordsOfTheSwitch : testing::TestWithParam<std::pair<uint32_t, const char *>> {};

TEST_P(WordsOfTheSwitch, StandInTheTextsOfReadAndClear) {
    const auto &[sdk_status, words] = GetParam();
    World world;
    make_counters(world, 1);
    const Watch watch(world.daemon);
    world.daemon.control().fail("zv_api_flow_counter_get", sdk_status);
    expect_status(counter_get(world, kRead, 1), ZV_ACL_RM_STATUS_ERROR);
    world.daemon.control().fail("zv_api_flow_counter_clear_set", sdk_status);
    expect_status(counter_get(world, kClear, 1), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(refused_read(words).lines + refused_clear(words).lines);
}

INSTANTIATE_TEST_SUITE_P(CounterFailures, WordsOfTheSwitch,
                         testing::Values(std::pair{2u, "Invalid handle"},
                                         std::pair{6u, "Entry not found"},
                                         std::pair{9u, "Command unsupported"},
                                         std::pair{10u, "Unknown status"},
                                         std::pair{4294967295u, "Unknown status"}));

// A clear that failed late has cleared, one that failed early has not.
TEST(CounterValues, AreGoneAfterAClearThatFailedLateOnly) {
    for (const bool late : {false, true}) {
        World world;
        make_counting_rule(world);
        ASSERT_EQ(world.open_flow.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, 1, {kPort}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        world.daemon.control().packet("log_port", kPort, 0, 0, "");
        world.daemon.control().fail("zv_api_flow_counter_clear_set", 1, 1, 1, late);
        const Watch watch(world.daemon);
        expect_status(counter_get(world, kClear, 1), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(refused_clear("Internal error").lines);
        EXPECT_EQ(world.daemon.control().state().at("counters").at(0).at("values"),
                  nlohmann::json::parse(late ? "[0,0]" : "[1,64]"));
    }
}

}  // namespace
}  // namespace zv_test
