#include "tests/fire/soak/capacity.h"

#include "tests/support/test_client.h"

namespace zv_fire {

using namespace zv_test;

namespace {

constexpr uint32_t kCounters = 255;
constexpr uint32_t kAcls = 399;
constexpr uint32_t kAclsWithoutLimits = 648;
constexpr uint32_t kChipWithLimits = 3;
constexpr uint32_t kChipWithoutLimits = 5;
constexpr uint32_t kRules = 6400;
constexpr uint32_t kMostForwardPorts = 100;
constexpr uint32_t kGroups = 128;
constexpr uint32_t kBindPoints = 648;
constexpr uint32_t kMcGroups = 6400;

// How many succeed before the first refusal, of at most `most` + 1.
template <typename Make>
void expect_room(Report &report, const char *what, uint32_t most, const Make &make) {
    uint32_t made = 0;
    while (made <= most && make(made)) {
        ++made;
    }
    report.figure(std::string("capacity_") + what, made);
    report.expect(made == most, "there is room for " + std::to_string(made) + " " + what +
                                    ", and was for " + std::to_string(most));
}

void check_counters(TestClient &client, Report &report) {
    std::vector<uint32_t> ids;
    expect_room(report, "counters", kCounters, [&](uint32_t) {
        uint32_t id = 0;
        const bool made = client.create_counter({1, 0}, id) == ZV_ACL_RM_STATUS_SUCCESS;
        ids.push_back(id);
        return made;
    });
    ids.pop_back();  // the one that was refused
    for (const uint32_t id : ids) {
        report.expect(client.destroy_counter(id) == ZV_ACL_RM_STATUS_SUCCESS,
                      "a counter cannot be destroyed");
    }
}

void check_acls(TestClient &client, Report &report, const char *what, uint32_t most) {
    std::vector<acl_rm_acl> acls;
    expect_room(report, what, most, [&](uint32_t) {
        acl_rm_acl acl = acl_of_size(4);
        const bool made = client.create_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS;
        if (made) {
            acls.push_back(acl);
        }
        return made;
    });
    for (const acl_rm_acl &acl : acls) {
        report.expect(client.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS,
                      "an ACL cannot be destroyed");
    }
}

void check_rules(TestClient &client, Report &report) {
    constexpr uint32_t kBatch = ZV_ACL_RM_RULES_PER_RECORD;
    const acl_rm_acl acl = client.make_acl(kRules + kBatch);
    // The first hundred forward, to a port each.
    expect_room(report, "batches_of_rules", kRules / kBatch, [&](uint32_t batch) {
        std::vector<acl_rm_rule> rules = make_rules(batch * kBatch, kBatch);
        for (uint32_t i = 0; i < kBatch && batch * kBatch + i < kMostForwardPorts; ++i) {
            rules[i] = forward_to_port(rules[i], 70000 + batch * kBatch + i);
        }
        return client.write_rules(acl.acl_id, rules) == ZV_ACL_RM_STATUS_SUCCESS;
    });
    report.expect(client.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS,
                  "an ACL with every rule there is cannot be destroyed");
}

void check_groups(TestClient &client, Report &report) {
    const acl_rm_acl acl = client.make_acl(4);
    expect_room(report, "groups", kGroups, [&](uint32_t rif) {
        return client.bind_rifs(ZV_ACL_RM_ACCESS_CMD_BIND, acl.acl_id,
                                {static_cast<uint16_t>(rif + 1)}) == ZV_ACL_RM_STATUS_SUCCESS;
    });
    report.expect(client.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS,
                  "an ACL with every group there is cannot be destroyed");
}

// The 128 groups are in the way of 648 bind points in one table, of which each has its group. The
// list of an ACL fills where the switch refuses to unbind an empty group: then each bind lists the
// port once more.
void check_bind_points(DaemonProcess &daemon, TestClient &client, Report &report) {
    const acl_rm_acl acl = client.make_acl(4);
    expect_room(report, "bind_points_of_an_acl", kBindPoints, [&](uint32_t listed_num) {
        if (listed_num == 1) {
            daemon.control().fail("zv_api_acl_port_bind_set", 2, 1, -1);
        }
        if (listed_num > 0) {
            report.expect(client.bind_ports(ZV_ACL_RM_ACCESS_CMD_UNBIND, acl.acl_id, {kPort}) ==
                              ZV_ACL_RM_STATUS_ERROR,
                          "a port is unbound against the switch's will");
        }
        return client.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, acl.acl_id, {kPort}) ==
               ZV_ACL_RM_STATUS_SUCCESS;
    });
    daemon.control().clear_faults();
    report.expect(client.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS,
                  "an ACL with every bind point there is cannot be destroyed");
}

void check_mc_groups(TestClient &client, Report &report) {
    std::vector<uint32_t> ids;
    expect_room(report, "mc_groups", kMcGroups, [&](uint32_t) {
        uint32_t id = 0;
        const bool made = client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, id, {kPort, kPort + 1}) ==
                          ZV_ACL_RM_STATUS_SUCCESS;
        ids.push_back(id);
        return made;
    });
    ids.pop_back();  // the one that was refused
    for (uint32_t &id : ids) {
        report.expect(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, id, {kPort}) ==
                          ZV_ACL_RM_STATUS_SUCCESS,
                      "an MC group cannot be deleted");
    }
}

}  // namespace

DaemonOptions with_room_to_fill(DaemonOptions options) {
    options.config = {
        {"acls", kAclsWithoutLimits}, {"regions", kAclsWithoutLimits}, {"pbs_entries", kMcGroups}};
    return options;
}

void check_capacities(DaemonProcess &daemon, Report &report) {
    TestClient client(daemon);
    check_counters(client, report);
    check_acls(client, report, "acls", kAcls);
    client.init(kChipWithoutLimits);
    check_acls(client, report, "acls_without_limits", kAclsWithoutLimits);
    client.init(kChipWithLimits);
    check_rules(client, report);
    check_groups(client, report);
    check_bind_points(daemon, client, report);
    check_mc_groups(client, report);
}

}  // namespace zv_fire
