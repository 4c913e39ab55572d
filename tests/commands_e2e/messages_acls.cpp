// ACL_SET and ACL_RESIZE.
#include <gtest/gtest.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

namespace {

std::vector<LogLine> play_ordinary_acls() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    acl_rm_acl acl = {0, 3, 5, 7, 9, 32, 32, 0};
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    acl.direction = 8;
    EXPECT_EQ(client.edit_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.resize_acl(acl.acl_id, 32), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_acls() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    auto request = create_request(client.handle(), acl_of_size(4));
    request.cmd = 3;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, request).status,
              ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    acl_rm_acl acl = {0, 3, 5, 7, 9, 40, 40, 0};
    EXPECT_EQ(TestClient::unopened(daemon, 0x77).create_acl(acl), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    acl.max_size = 41;
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    acl.max_size = 40;
    daemon.control().fail("zv_api_acl_region_set", 2);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_acl_set", 2);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("cl_malloc", 1);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_PARAM_NULL);
    return stopped(daemon);
}

// The ACL's own part of a destroy, and of an edit, in the switch.
std::vector<LogLine> play_refused_changes() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    acl_rm_acl acl = client.make_acl(8);
    daemon.control().fail("zv_api_acl_set", 2);
    EXPECT_EQ(client.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_acl_region_set", 2);
    EXPECT_EQ(client.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    acl = {0, 3, 5, 7, 9, 8, 8, 0};
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    acl.direction = 6;
    daemon.control().fail("zv_api_acl_set", 2, 2);
    EXPECT_EQ(client.edit_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_resizes() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    EXPECT_EQ(client.resize_acl(client.make_acl(8).acl_id, 9),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    const uint32_t growing = client.make_acl(0).acl_id;
    daemon.control().fail("zv_api_acl_region_set", 5);
    EXPECT_EQ(client.resize_acl(growing, 16), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    daemon.control().fail("zv_api_acl_region_set", 2);
    EXPECT_EQ(client.resize_acl(growing, 16), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("cl_malloc", 1);
    EXPECT_EQ(client.resize_acl(growing, 15), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(client.resize_acl(growing, 16), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(growing, {make_rule(7)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.resize_acl(growing, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    return stopped(daemon);
}

std::vector<Message> of_ordinary_acls() {
    return {
        rpc("INFO", "got message zv_acl_rm_api_acl_set."),
        core("INFO", "acl_rm_acl_set: ******** CREATE / DESTROY ACL ********"),
        core("INFO",
             "Created region in SDK , acl_key_type: 3 , action_type: 5 , region_size: 32 , "
             "region_id: 1."),
        core("INFO",
             "Created ACL in SDK , owner:=[0] type: [7] , direction: [9] , region_id : [1] , acl "
             "id: [1]."),
        core("DEBUG", "Insert acl id:[1] to acl_id_2_acl_info hash table."),
        core("INFO", "create ACL successfully."),
        rpc("INFO", "acl id to send [1]."),
        core("DEBUG", "Removed acl id:1 from acl_id_2_acl_info hash table."),
        core("INFO",
             "Destroy ACL in SDK , type: [7] , direction: [9] , region : [1] , acl id: [1]."),
        core("INFO",
             "Created ACL in SDK , type: [7] , direction: [8] , region_id : [1] , acl id: [2]."),
        core("INFO", "edit ACL successfully."),
        rpc("INFO", "acl id to send [2]."),
        rpc("INFO", "got message acl_rm_rpc_acl_resize."),
        core("INFO", "requested acl size is equal to region size[32] - do nothing"),
        core("INFO",
             "Destroy ACL in SDK , type: [7] , direction: [8] , region : [1] , acl id: [2]."),
        core("INFO",
             "Deleted region in SDK , key type: 3 , action type: 5 , region size: 32 , region id: "
             "1."),
        core("DEBUG", "Removed acl id:2 from acl_id_2_acl_info hash table."),
        core("INFO", "delete ACL successfully."),
    };
}

std::vector<Message> of_refused_acls() {
    return {
        error_line(2, "Command unsupported, cmd type is:3"),
        rpc("INFO", "failed in acl_rm_set acl_ret_status:=2."),
        error_line(5, "Can't find handle[119] in acl_rm_clients_handles"),
        passed_up_line(5),
        error_line(4, "Wrong acl size min=[40] != max=[41], it should be equal!"),
        passed_up_line(4),
        error_line(1,
                   "failed to create region in SDK error: 2 acl_key_type: 3 , action_type: 5 , "
                   "region_size: 40 , region_id: 0"),
        error_line(1,
                   "Failed to create ACL in SDK (error: 2) , type: [7] , direction: [9] , regions "
                   ": [1]"),
        passed_up_line(1),
        passed_up_line(3),
    };
}

}  // namespace

std::vector<Situation> acl_situations() {
    return {
        {"OrdinaryAcls", play_ordinary_acls, of_ordinary_acls()},
        {"RefusedAcls", play_refused_acls, of_refused_acls()},
        {"RefusedChanges",
         play_refused_changes,
         {error_line(1, "Failed to remove ACL in SDK (error: 2) , acl id: [1]"),
          error_line(1, "Failed to delete region in SDK , error: 2"),
          error_line(1,
                     "Failed to create ACL in SDK (error: 2) , type: [7] , direction: [6] , "
                     "regions : [2]")}},
        {"RefusedResizes",
         play_refused_resizes,
         {error_line(4, "acl size[9] exceeds min[8] / max[8] limit"),
          rpc("INFO", "failed in acl_rm_acl_resize acl_ret_status:=4."),
          notification_line(7, "Can't resize ACL table not enough resources"),
          error_line(1, "Failed to resize region in SDK , error: 2"), passed_up_line(3),
          error_line(4, "Can't reduce ACL table size, offset [7] is valid in ACL [2]")}},
    };
}

}  // namespace zv_test
