// Tables and lists that are full. Most run at the daemon's ordinary verbosity: the other lines of
// that many commands would be megabytes.
#include <gtest/gtest.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

namespace {

std::vector<LogLine> play_full_tables() {
    DaemonOptions options;
    options.config = {{"acls", 700}, {"regions", 700}};
    DaemonProcess daemon(options);
    TestClient client(daemon);
    acl_rm_acl acl = client.make_acl(6500);
    for (uint32_t first = 0; first < 6400; first += 20) {
        EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(client.write_rules(acl.acl_id, {}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(client.bind_ports(kBind, acl.acl_id, ports_from(1000, 100)),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.bind_ports(kBind, acl.acl_id, ports_from(1100, 29)),
              ZV_ACL_RM_STATUS_NO_RESOURCES);
    for (int i = 1; i < 399; ++i) {
        client.make_acl(0);
    }
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_NO_RESOURCES);
    // On a chip without limits it is the table of ACLs that ends it.
    EXPECT_EQ(client.init(5), ZV_ACL_RM_STATUS_SUCCESS);
    for (int i = 399; i < 648; ++i) {
        client.make_acl(0);
    }
    acl = acl_of_size(0);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

// While the switch refuses to unbind an empty group, binding again lists the port once more.
std::vector<LogLine> play_full_list_of_ports() {
    DaemonProcess daemon;
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    EXPECT_EQ(client.bind_ports(kBind, acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon.control().fail("zv_api_acl_port_bind_set", 2, 1, -1);
    for (int listed = 1; listed < 648; ++listed) {
        EXPECT_EQ(client.bind_ports(kUnbind, acl_id, {kPort}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(client.bind_ports(kBind, acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(client.bind_ports(kUnbind, acl_id, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.bind_ports(kBind, acl_id, {kPort}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    return stopped(daemon);
}

}  // namespace

std::vector<Situation> limit_situations() {
    return {
        {"FullTables",
         play_full_tables,
         {notification_line(6, "Not enough resources to create rules, #rules = [6400]"),
          notification_line(6, "Not enough resources to create region"),
          error_line(6, "ACL [1] can't be bound to port_id [1128]. Not enough acl groups"),
          error_line(1, "Insert not successful"),
          notification_line(6, "ZV_ACL_RM_STATUS_NO_RESOURCES")}},
        {"FullListOfPorts",
         play_full_list_of_ports,
         {error_line(4, "acl id[1] is bound to [648] ports, port_id[65537] is not recorded"),
          passed_up_line(4)}},
    };
}

}  // namespace zv_test
