// The three bind commands and PORT_SET. Port 65537 is 0x10001.
#include <gtest/gtest.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

using nlohmann::json;

namespace {

void succeed(uint32_t status, Here here = Here::now()) {
    testing::ScopedTrace trace(here.file, here.line, "bind");
    EXPECT_EQ(status, ZV_ACL_RM_STATUS_SUCCESS);
}

// Two ACLs in one group, of a port and then of a router interface, and out again.
std::vector<LogLine> play_ordinary_binding() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t first = client.make_acl(0).acl_id;
    const uint32_t second = client.make_acl(0).acl_id;
    for (const uint32_t acl_id : {first, second, first}) {
        succeed(client.bind_ports(kBind, acl_id, {kPort}));
    }
    for (const uint32_t acl_id : {second, first, first}) {
        succeed(client.bind_ports(kUnbind, acl_id, {kPort}));
    }
    for (const uint32_t cmd : {kBind, kUnbind}) {
        for (const uint32_t acl_id : {first, second}) {
            succeed(client.bind_rifs(cmd, acl_id, {10}));
        }
    }
    return stopped(daemon);
}

std::vector<LogLine> play_system_acl() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    succeed(client.bind_system(kBind, acl_id));
    succeed(client.port_set(kAddPorts, {4000}));
    succeed(client.port_set(kDeletePorts, {4000}));
    succeed(client.bind_system(kUnbind, acl_id));
    return stopped(daemon);
}

std::vector<LogLine> play_refused_system_acls() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    const auto refuse = [&](uint32_t status, uint32_t cmd) {
        EXPECT_EQ(client.bind_system(cmd, acl_id), status);
    };
    refuse(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, kAddPorts);
    refuse(ZV_ACL_RM_STATUS_ERROR, kUnbind);
    daemon.control().fail("zv_net_ports_get_all", 42, 1);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind);
    daemon.control().fail("zv_net_ports_get_all", 43, 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind);
    refuse(ZV_ACL_RM_STATUS_SUCCESS, kBind);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind);
    EXPECT_EQ(client.port_set(kBind, {1}), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    zv_acl_rm_port_set_params_t request = {};
    request.cmd = kAddPorts;
    request.ports_num = 101;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_PORT_SET, request).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    return stopped(daemon);
}

// What the command's own checks refuse.
void refuse_records(DaemonProcess &daemon, TestClient &client, uint32_t acl_id) {
    EXPECT_EQ(client.bind_ports(9, acl_id, {}), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(client.bind_ports(kBind, acl_id, {}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(client.bind_rifs(kBind, acl_id, {}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(client.bind_ports(kBind, 99, {1}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    auto request = bind_request(client.handle(), acl_id, {});
    request.ports_num = 101;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, request).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
}

std::vector<LogLine> play_refused_binds() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    client.make_acl(1, 1);
    const uint32_t acl_id = client.make_acl(1).acl_id;
    refuse_records(daemon, client, acl_id);
    const auto refuse = [&](uint32_t status, uint32_t acl, uint32_t port = kPort) {
        EXPECT_EQ(client.bind_ports(kBind, acl, {port}), status);
    };
    const json any_bind = {{"call", "zv_api_acl_port_bind_set"}, {"status", 5}};
    daemon.control().fail("zv_api_acl_group_set", 2, 1);
    refuse(ZV_ACL_RM_STATUS_ERROR, acl_id);
    daemon.control().fail("zv_api_acl_group_set", 2, 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, acl_id);
    daemon.control().set_faults(json::array({any_bind}));
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, acl_id);
    daemon.control().set_faults(
        json::array({any_bind, {{"call", "zv_api_acl_group_set"}, {"nth", 3}, {"status", 2}}}));
    refuse(ZV_ACL_RM_STATUS_ERROR, acl_id, kPort + 1);
    daemon.control().fail("zv_api_acl_port_bind_set", 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, acl_id);
    daemon.control().clear_faults();
    refuse(ZV_ACL_RM_STATUS_ERROR, 1);  // the other direction
    const uint32_t third = client.make_acl(1).acl_id;
    daemon.control().fail("zv_api_acl_group_set", 5);
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, third);
    daemon.control().fail("zv_api_acl_group_set", 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, third);
    for (int i = 0; i < 15; ++i) {
        refuse(ZV_ACL_RM_STATUS_SUCCESS, client.make_acl(0).acl_id);
    }
    refuse(ZV_ACL_RM_STATUS_NO_RESOURCES, third);
    EXPECT_EQ(client.bind_rifs(9, acl_id, {1}), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    return stopped(daemon);
}

// Each step of taking a group down fails once, at a port of its own.
std::vector<LogLine> play_refused_unbinds() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    succeed(client.bind_ports(kBind, acl_id, {kPort, kPort + 1, kPort + 2}));
    succeed(client.bind_rifs(kBind, acl_id, {10}));
    const auto refuse = [&](const char *call, int nth, uint32_t port) {
        daemon.control().fail(call, 2, nth);
        EXPECT_EQ(client.bind_ports(kUnbind, acl_id, {port}), ZV_ACL_RM_STATUS_ERROR);
    };
    refuse("zv_api_acl_group_set", 1, kPort);
    refuse("zv_api_acl_port_bind_set", 1, kPort + 1);
    refuse("zv_api_acl_group_set", 2, kPort + 2);
    daemon.control().fail("zv_api_acl_rif_bind_set", 2);
    EXPECT_EQ(client.bind_rifs(kUnbind, acl_id, {10}), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

std::vector<Message> of_ordinary_binding() {
    return {
        rpc("INFO", "got message zv_acl_rm_api_acl_port_bind."),
        core("INFO", "No ACL is bound to port_id [10001]."),
        core("INFO", "calling bindNewAcl."),
        core("INFO", "Create new group with ID=[1]."),
        core("INFO",
             "insert to hash-table:sdk_acl_grp_2_sdk_acl_grp_info_table_ht new group[1] with "
             "acl[1]."),
        core("INFO",
             "insert to hash-table:port_id_2_sdk_acl_group_ht new port_id[65537] with "
             "acl-group[1]."),
        core("INFO", "ACL group [1] is bound to port_id [10001]."),
        core("INFO", "Added new acl [2] to group [1] on logical port [10001]."),
        core("INFO", "acl id [1] is bound in SDK in port_id [65537] within a group."),
        core("INFO", "number of ACLs in group before editing is:[2]."),
        core("INFO", "number of ACLs in group after editing is:[1]."),
        core("INFO", "Set new ACLs in ACL group[1] succeeded."),
        core("INFO", "number of port IDs to be deleted:=1."),
        core("INFO", "number of ACLs in group after editing is:[0]."),
        core("INFO", "Unbind ACL group[1] from port[10001] succeeded."),
        core("INFO", "Deletion of ACL group[1] succeeded."),
        core("NOTICE", "ACL [1] already Unbound from port_id [10001]."),
        rpc("INFO", "got message zv_acl_rm_api_acl_rif_bind."),
        core("INFO", "No ACL is bound to port_id [a]."),
        core("INFO", "Added new acl [2] to group [2] on rif [a]."),
        core("INFO", "Unbind ACL group[2] from rif[a] succeeded."),
    };
}

std::vector<Message> of_refused_system_acls() {
    return {
        error_line(2, "acl_rm_acl_system_bind_set: received unsupported command 9"),
        rpc("ERROR", "acl_rm_rpc_system_bind_set: error 2 performing acl_rm_acl_system_bind_set"),
        error_line(1, "acl_rm_acl_system_bind_set: acl 1 is not a system acl"),
        error_line(1, "acl_rm_acl_system_bind_set: error 42 getting number of ports from netlib"),
        error_line(1, "acl_rm_acl_system_bind_set: error 43 getting ports info from netlib"),
        error_line(1, "acl_rm_acl_system_bind_set: acl 1 is already a system acl"),
        error_line(2, "acl_rm_port_set: received unsupported command 7"),
        rpc("ERROR", "acl_rm_rpc_port_set: error 2 performing acl_rm_port_set"),
        error_line(4, "acl_rm_port_set: wrong ports number [101], the record holds [100]"),
    };
}

std::vector<Message> of_refused_binds() {
    return {
        error_line(2, "Command unsupported, cmd type is:9"),
        error_line(4, "Wrong ports number [0] need to configure more than 0"),
        rpc("INFO", "failed in acl_rm_bind. acl_ret_status:=4."),
        error_line(4, "Wrong rifs number [0] need to configure more than 0"),
        rpc("INFO", "failed in acl_rm_rif_bind. acl_ret_status:=4."),
        error_line(4, "Wrong ports number [101], the record holds [100]"),
        error_line(1, "Failed to create new group ACL [2], (error: 2)"),
        // The list of a new group, then that of one with an ACL.
        error_line(1, "Failed to add new ACL [2] to ACL GROUP:[1], (error: 2)"),
        error_line(1, "Failed to add new ACL [3] to ACL GROUP:[4], (error: 2)"),
        notification_line(7,
                          "Not enough resource to bind ACL, the maximum ACL resources are in use"),
        core("INFO", "Deletion of ACL group[2] succeeded."),
        error_line(1, "Failed deleting ACL group:[3], (error: 2)"),
        error_line(1, "Failed to bind ACL [4] to port_id [65537] , (error: 2)"),
        error_line(1,
                   "Can't Bind acl id[1] to port_id[65537]. the port has different direction. "
                   "port direction:[0], acl direction[1]"),
        notification_line(7, "Can't Add ACL table to group - not enough resources"),
        notification_line(7, "ZV_ACL_RM_STATUS_NO_HW_RESOURCES"),
        error_line(6, "Can't Bind acl id[3] to port_id[65537]. The Group is full"),
        notification_line(6, "ZV_ACL_RM_STATUS_NO_RESOURCES"),
    };
}

}  // namespace

std::vector<Situation> binding_situations() {
    return {
        {"OrdinaryBinding", play_ordinary_binding, of_ordinary_binding()},
        {"SystemAcl",
         play_system_acl,
         {rpc("INFO", "got message zv_acl_rm_api_acl_system_bind_set."),
          core("INFO", "ACL 1 will be bound to logical port [0x10001]"),
          core("NOTICE", "Successfully bound ACL 1 to system"),
          rpc("INFO", "got message zv_acl_rm_api_port_set."),
          core("NOTICE", "Successfully added ports to ACL 1"),
          core("NOTICE", "Successfully deleted ports from ACL 1"),
          core("INFO", "number of port IDs to be deleted:=32."),
          core("NOTICE", "Successfully unbound ACL 1 from system")}},
        {"RefusedSystemAcls", play_refused_system_acls, of_refused_system_acls()},
        {"RefusedBinds", play_refused_binds, of_refused_binds()},
        {"RefusedUnbinds",
         play_refused_unbinds,
         {error_line(1, "Failed to remove ACL [1] from ACL GROUP:[1], (error: 2)"),
          error_line(1, "Failed to unbind ACL group [2] from logical port [10002], (error: 2)"),
          error_line(1, "Failed deleting ACL group:[3], (error: 2)"),
          error_line(1, "Failed to unbind ACL group [4] from rif [a], (error: 2)")}},
    };
}

}  // namespace zv_test
