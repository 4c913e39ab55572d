// After a refused bind or unbind cache and switch disagree: what the next requests make of it.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;

LogLine already_unbound(const std::string &port) {
    return {"ZV_ACL_RM", "NOTICE", "ACL [1] already Unbound from port_id [" + port + "]."};
}

// ACL 1 on ports 7, 8 and 9, in groups 1, 2 and 3.
class UnbindRecovery : public testing::Test {
  protected:
    UnbindRecovery() : daemon_(with_three_ports()), client_(daemon_) { client_.make_acl(1); }

    static DaemonOptions with_three_ports() {
        DaemonOptions options;
        options.config = {{"ports", nlohmann::json::array()}};
        for (const uint32_t log_port : {7, 8, 9}) {
            options.config["ports"].push_back({{"log_port", log_port}, {"kind", 0}, {"name", "p"}});
        }
        return options;
    }
    void bind(const Ids &ports) { ASSERT_EQ(client_.bind_ports(kBind, 1, ports), kOk); }
    uint32_t unbind(const Ids &ports) { return client_.bind_ports(kUnbind, 1, ports); }
    // An unbind of all three of which one call fails early.
    void refuse_unbind(const char *call, int nth, const std::string &text, int callers) {
        bind({7, 8, 9});
        daemon_.control().fail(call, 1, nth);
        const Watch watch(daemon_);
        ASSERT_EQ(unbind({7, 8, 9}), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(failed(1, text, callers));
    }

    DaemonProcess daemon_;
    TestClient client_;
};

// The list was shortened before the switch refused it, so the ACL counts as unbound: the next
// unbind notes that and takes the port off the ACL's list.
TEST_F(UnbindRecovery, APortWhoseShortListWasRefusedCountsAsUnbound) {
    refuse_unbind(kGroupSet, 3, "Failed to remove ACL [1] from ACL GROUP:[2], (error: 1)", 1);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{7, 8, 9}));
    const Watch again(daemon_);
    EXPECT_EQ(unbind({7, 8, 9}), kOk);
    again.expect_lines({already_unbound("7"), already_unbound("8")});
    again.expect_calls({group_listed(0, {}, 3), port_unbound(9, 3), group_destroyed(0, {}, 3)});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1",
                                             "group 2: empty", "port 8: group 2"}));
}

TEST_F(UnbindRecovery, TheEmptyGroupOfAPortIsFilledByTheNextBind) {
    refuse_unbind(kGroupSet, 3, "Failed to remove ACL [1] from ACL GROUP:[2], (error: 1)", 1);
    ASSERT_EQ(unbind({7, 8, 9}), kOk);
    const Watch watch(daemon_);
    bind({8});
    watch.expect_calls({group_listed(0, {1}, 2)});
    watch.expect_lines({});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{8});
    check_cache(daemon_);
}

// Ports that were unbound before the refusal are still listed; bound again, they are twice.
TEST_F(UnbindRecovery, APortBoundAgainAfterARefusalIsListedTwiceAndUnboundOnce) {
    refuse_unbind(kGroupSet, 3, "Failed to remove ACL [1] from ACL GROUP:[2], (error: 1)", 1);
    bind({7});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{7, 8, 9, 7}));
    const Watch watch(daemon_);
    EXPECT_EQ(unbind({7}), kOk);
    watch.expect_calls({group_listed(0, {}, 4), port_unbound(7, 4), group_destroyed(0, {}, 4)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{8, 9}));
}

TEST_F(UnbindRecovery, AGroupThatStayedBoundIsFilledByTheNextBind) {
    refuse_unbind(kPortBind, 2, "Failed to unbind ACL group [2] from logical port [8], (error: 1)",
                  1);
    const Watch watch(daemon_);
    bind({8});
    watch.expect_calls({group_listed(0, {1}, 2)});
    // The list of the ACL has port 8 twice, and port 7 that it left.
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{7, 8, 9, 8}));
    EXPECT_EQ(unbind({7, 8}), kOk);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids{9});
    daemon_.expect_log(already_unbound("7"));
    check_cache(daemon_);
}

// To the daemon the port still has its group, which the switch no longer has bound there.
TEST_F(UnbindRecovery, AGroupThatWasNotDestroyedIsFilledButNotBoundAgain) {
    refuse_unbind(kGroupSet, 4, "Failed deleting ACL group:[2], (error: 1)", 2);
    const Watch watch(daemon_);
    bind({8});
    watch.expect_calls({group_listed(0, {1}, 2)});
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 1", "acl 1: region 1, direction 0", "group 2: acl 1",
                      "group 3: acl 1", "port 9: group 3"}));
}

TEST_F(UnbindRecovery, APortWhoseBindWasRefusedCannotBeUnboundInTheSwitch) {
    daemon_.control().fail(kPortBind, 1);
    EXPECT_EQ(client_.bind_ports(kBind, 1, {7}), ZV_ACL_RM_STATUS_ERROR);
    for (const LogLine &line : failed(1, "Failed to bind ACL [1] to port_id [7] , (error: 1)", 2)) {
        daemon_.expect_log(line);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(unbind({7}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_calls({group_listed(0, {}, 1), port_unbound(7, 1, 6)});
    watch.expect_lines(
        failed(1, "Failed to unbind ACL group [1] from logical port [7], (error: 6)", 1));
}

// A group that could not be destroyed still counts as one of the 128.
TEST_F(UnbindRecovery, AGroupThatWasNotDestroyedStillCounts) {
    refuse_unbind(kGroupSet, 4, "Failed deleting ACL group:[2], (error: 1)", 2);
    ASSERT_EQ(unbind({9}), kOk);
    bind(ports_from(1000, 100));
    bind(ports_from(1100, 27));
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_ports(kBind, 1, {1127}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(
        failed(6, "ACL [1] can't be bound to port_id [1127]. Not enough acl groups", 2));
}

TEST_F(UnbindRecovery, ASystemAclWhoseUnbindWasRefusedIsUnboundByTheNextOne) {
    ASSERT_EQ(client_.bind_system(kBind, 1), kOk);
    daemon_.control().fail(kPortBind, 1, 2);
    ASSERT_EQ(client_.bind_system(kUnbind, 1), ZV_ACL_RM_STATUS_ERROR);
    for (const LogLine &line :
         failed(1, "Failed to unbind ACL group [2] from logical port [8], (error: 1)", 1)) {
        daemon_.expect_log(line);
    }
    daemon_.expect_log({"ACL_RM_RPC", "ERROR",
                        "acl_rm_rpc_system_bind_set: error 1 performing "
                        "acl_rm_acl_system_bind_set"});
    EXPECT_TRUE(daemon_.dump().acls.at(0).bound_to_system);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_system(kUnbind, 1), kOk);
    watch.expect_lines({already_unbound("7"),
                        already_unbound("8"),
                        {"ZV_ACL_RM", "NOTICE", "Successfully unbound ACL 1 from system"}});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1",
                                             "group 2: empty", "port 8: group 2"}));
}

TEST_F(UnbindRecovery, ASystemBindThatWasRefusedGoesOnWhereItStopped) {
    daemon_.control().fail(kPortBind, 5, 2);
    ASSERT_EQ(client_.bind_system(kBind, 1), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    daemon_.expect_log({"ACL_RM_RPC", "ERROR",
                        "acl_rm_rpc_system_bind_set: error 7 performing "
                        "acl_rm_acl_system_bind_set"});
    EXPECT_FALSE(daemon_.dump().acls.at(0).bound_to_system);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_system(kBind, 1), kOk);
    watch.expect_lines({{"ZV_ACL_RM", "NOTICE", "Successfully bound ACL 1 to system"}});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{7, 8, 9}));
    check_cache(daemon_);
}

TEST_F(UnbindRecovery, ASystemBindThatWasRefusedIsTakenBackPortByPort) {
    daemon_.control().fail(kPortBind, 5, 2);
    ASSERT_EQ(client_.bind_system(kBind, 1), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    daemon_.expect_log({"ACL_RM_RPC", "ERROR",
                        "acl_rm_rpc_system_bind_set: error 7 performing "
                        "acl_rm_acl_system_bind_set"});
    EXPECT_EQ(client_.bind_system(kUnbind, 1), ZV_ACL_RM_STATUS_ERROR);
    daemon_.allow_error_lines();
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{7}));
    EXPECT_EQ(client_.bind_ports(kUnbind, 1, {7}), kOk);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), Ids());
    EXPECT_EQ(daemon_.control().state().at("bindings"), nlohmann::json::array());
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
