#include "platform/sim/faults.h"

#include <gtest/gtest.h>

#include "platform/sim/call.h"
#include "platform/sim/json.h"

namespace {

using json = zv_sim::Json;
using zv_sim::Call;

std::string fault_complaint(const char *text) {
    std::vector<zv_sim::Fault> faults;
    return zv_sim::faults_parse(json::parse(text), "set", &faults);
}

class Faults : public testing::Test {
  protected:
    ~Faults() override { zv_sim::faults_arm({}); }

    static void arm(const char *text) {
        std::vector<zv_sim::Fault> faults;
        ASSERT_EQ(zv_sim::faults_parse(json::parse(text), "set", &faults), "");
        zv_sim::faults_arm(std::move(faults));
    }

    // The statuses of `num` calls whose work succeeds.
    static std::vector<uint32_t> statuses(const char *name, int num) {
        std::vector<uint32_t> list;
        for (int i = 0; i < num; i++) {
            Call call(name);
            list.push_back(call.finish(0));
        }
        return list;
    }
};

using Statuses = std::vector<uint32_t>;

TEST_F(Faults, TheNextCallFailsOnceByDefault) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 3), (Statuses{5, 0, 0}));
}

TEST_F(Faults, TheNthCallFailsAndNoOther) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 3}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 5), (Statuses{0, 0, 5, 0, 0}));
}

TEST_F(Faults, TimesCountsTheCallsThatFail) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2, "times": 2}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 5), (Statuses{0, 5, 5, 0, 0}));
}

TEST_F(Faults, MinusOneFailsForEver) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2, "times": -1}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 4), (Statuses{0, 5, 5, 5}));
    EXPECT_EQ(statuses("zv_api_acl_set", 2), (Statuses{5, 5}));
}

TEST_F(Faults, OtherCallsAreNotCounted) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 1), (Statuses{0}));
    EXPECT_EQ(statuses("zv_api_acl_group_set", 2), (Statuses{0, 0}));
    EXPECT_EQ(statuses("zv_api_acl_set", 1), (Statuses{5}));
}

TEST_F(Faults, AStarMatchesEveryCallThatCanFail) {
    arm(R"([{"call": "*", "status": 9, "nth": 2, "times": 3}])");
    EXPECT_EQ(statuses("zv_api_open", 1), (Statuses{0}));
    EXPECT_EQ(statuses("zv_log_init", 1), (Statuses{9}));
    EXPECT_EQ(statuses("cl_qpool_init", 1), (Statuses{9}));
    // Functions without a status are neither failed nor counted.
    EXPECT_EQ(statuses("cl_free", 1), (Statuses{0}));
    EXPECT_EQ(statuses("zv_status_str", 1), (Statuses{0}));
    EXPECT_EQ(statuses("zv_net_deinit", 2), (Statuses{9, 0}));
}

TEST_F(Faults, EarlyKeepsTheCallFromWorking) {
    arm(R"([{"call": "zv_api_open", "status": 4}])");
    Call call("zv_api_open");
    EXPECT_TRUE(call.fails_early());
    EXPECT_TRUE(call.fails());
    EXPECT_EQ(call.finish(0), 4u);
}

TEST_F(Faults, LateLetsTheCallWorkAndReplacesItsStatus) {
    arm(R"([{"call": "zv_api_open", "status": 4, "late": true}])");
    Call call("zv_api_open");
    EXPECT_FALSE(call.fails_early());
    EXPECT_TRUE(call.fails());
    EXPECT_EQ(call.finish(0), 4u);
}

TEST_F(Faults, StatusZeroIsASuccessThatDidNothing) {
    arm(R"([{"call": "zv_api_open", "status": 0}])");
    Call call("zv_api_open");
    EXPECT_TRUE(call.fails_early());
    EXPECT_EQ(call.finish(1), 0u);
}

TEST_F(Faults, EachFaultCountsItsOwnCallsAndTheFirstGivesTheStatus) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2}, {"call": "*", "status": 6, "times": 3}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 4), (Statuses{6, 5, 6, 0}));
}

TEST_F(Faults, ArmingReplacesAndCountsAnew) {
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 1), (Statuses{0}));
    arm(R"([{"call": "zv_api_acl_set", "status": 7, "nth": 2}])");
    EXPECT_EQ(statuses("zv_api_acl_set", 3), (Statuses{0, 7, 0}));
}

TEST_F(Faults, CallsAreWatchedOnlyWhileAFaultIsLeft) {
    arm("[]");
    EXPECT_FALSE(zv_sim::g_watch.load());
    arm(R"([{"call": "zv_api_acl_set", "status": 5, "nth": 2}])");
    EXPECT_TRUE(zv_sim::g_watch.load());
    EXPECT_EQ(statuses("zv_api_acl_set", 1), (Statuses{0}));
    EXPECT_TRUE(zv_sim::g_watch.load());
    EXPECT_EQ(statuses("zv_api_acl_set", 1), (Statuses{5}));
    EXPECT_FALSE(zv_sim::g_watch.load());
}

TEST_F(Faults, ArgumentsAreNotRenderedWithoutATrace) {
    arm(R"([{"call": "*", "status": 5}])");
    Call call("zv_api_open");
    call.args([](auto &) { ADD_FAILURE() << "args were rendered"; });
    call.out([](auto &) { ADD_FAILURE() << "out was rendered"; });
    EXPECT_EQ(call.finish(0), 5u);
}

TEST(FaultsParsing, NamesTheOffendingField) {
    EXPECT_EQ(fault_complaint("{}"), "set: must be a list");
    EXPECT_EQ(fault_complaint("[1]"), "set[0]: must be an object");
    EXPECT_EQ(fault_complaint(R"([{"status": 1}])"), "set[0].call: missing");
    EXPECT_EQ(fault_complaint(R"([{"call": 1, "status": 1}])"), "set[0].call: must be a text");
    EXPECT_EQ(fault_complaint(R"([{"call": "zv_api_acl_sett", "status": 1}])"),
              "set[0].call: no call of this name can fail");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1}, {"call": "*"}])"),
              "set[1].status: missing");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1, "nth": 0}])"),
              "set[0].nth: must be an integer from 1 to 4294967295");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1, "times": 0}])"),
              "set[0].times: must be -1 or a positive integer");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1, "times": -2}])"),
              "set[0].times: must be an integer from -1 to 4294967295");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1, "late": 1}])"),
              "set[0].late: must be true or false");
    EXPECT_EQ(fault_complaint(R"([{"call": "*", "status": 1, "time": 1}])"),
              "set[0].time: unknown field");
}

TEST(FaultsParsing, MallocNeedsNoStatus) {
    EXPECT_EQ(fault_complaint(R"([{"call": "cl_malloc"}])"), "");
}

}  // namespace
