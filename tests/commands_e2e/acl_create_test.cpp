// ACL_SET create when all goes well: the answer, the switch calls, the cache, the switch.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

// Every field different, none of them 0.
acl_rm_acl unlike_fields(uint32_t size) {
    return {0, 3, 5, 7, 9, size, size, 0};
}

TEST(AclCreate, AnswersWithTheAclRecordAndNotWithTheRequest) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(1);  // so that ids and sizes cannot be confused
    const acl_rm_acl acl = unlike_fields(40);
    const Answer answer =
        send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, create_request(client.handle(), acl));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_acl expected = acl;
    expected.acl_id = 2;
    expected.region_id = 2;
    EXPECT_EQ(answer.body, bytes_of(expected));
    ASSERT_EQ(answer.body.size(), 32u);
}

TEST(AclCreate, MakesTheRegionThenTheAclThenTheFlags) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = unlike_fields(40);
    const Watch watch(daemon);
    EXPECT_EQ(
        send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, create_request(client.handle(), acl))
            .status,
        ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, 1), memory_taken(160)});
    watch.expect_lines({});
}

TEST(AclCreate, PassesTypesAndDirectionThroughAsTheyAre) {
    DaemonProcess daemon;
    TestClient client(daemon);
    acl_rm_acl acl = {0, 0xffffffff, 0x80000001, 0xfffffffe, 0x80000000, 2, 2, 0};
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, 1), memory_taken(8)});
    const nlohmann::json state = daemon.control().state();
    EXPECT_EQ(state.at("acls"), nlohmann::json::parse(R"([{"acl_id":1,"acl_type":4294967294,
        "direction":2147483648,"region_id":1}])"));
    EXPECT_EQ(state.at("regions"), nlohmann::json::parse(R"([{"region_id":1,"region_size":2,
        "key_type":4294967295,"action_type":2147483649,"rules":[]}])"));
}

TEST(AclCreate, IsCachedUnderItsOwner) {
    DaemonProcess daemon;
    TestClient first(daemon, ZV_ACL_RM_OWNER_OF13);
    TestClient second(daemon, ZV_ACL_RM_OWNER_PRA);
    first.make_acl(3);
    second.make_acl(4);
    const CacheDump dump = daemon.dump();
    ASSERT_EQ(dump.acls.size(), 2u);
    EXPECT_EQ(dump.acl_table_cnt, 2u);
    for (const CacheDump::Acl &acl : dump.acls) {
        EXPECT_EQ(acl.owner, acl.acl_id == 1 ? 3 : 2);
        EXPECT_EQ(acl.region_id, acl.acl_id);
        EXPECT_FALSE(acl.bound_to_system);
        EXPECT_TRUE(acl.bound_ports.empty());
    }
    check_cache(daemon);
}

TEST(AclCreate, OfSize0TakesNoMemoryForFlags) {
    DaemonProcess daemon;
    TestClient client(daemon);
    acl_rm_acl acl = acl_of_size(0);
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, 1)});
    EXPECT_EQ(daemon.dump().acl_table_cnt, 1u);
    check_cache(daemon);
}

TEST(AclCreate, OfSize1TakesOneFlag) {
    DaemonProcess daemon;
    TestClient client(daemon);
    acl_rm_acl acl = acl_of_size(1);
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, 1), memory_taken(4)});
}

TEST(AclCreate, TakesAllEntriesOfTheSwitch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    acl_rm_acl acl = acl_of_size(65536);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.control().used("tcam_entries"), 65536u);
    check_cache(daemon);
}

TEST(AclCreate, GivesTheFlagsBackWhenTheDaemonStops) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(4);
    client.make_acl(0);
    client.make_acl(5);
    const size_t mark = daemon.trace_mark();
    daemon.stop();
    EXPECT_EQ(daemon.calls("cl_free", mark).size(), 2u);
}

}  // namespace
}  // namespace zv_test
