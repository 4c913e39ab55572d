// PORT_SET with two system ACLs when a platform call fails: the walk ends there, with what was
// done before left as it is. What fails while ports are added to the first of them stands in
// binding_failures_test.cpp.
#include <gtest/gtest.h>

#include "tests/commands_e2e/failure_table.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/watch.h"

namespace zv_test {
namespace {

using Names = std::vector<std::string>;

LogLine notice(const std::string &text) {
    return {"ZV_ACL_RM", "NOTICE", text};
}

Lines handler_line(uint32_t status) {
    return {
        {"ACL_RM_RPC", "ERROR",
         "acl_rm_rpc_port_set: error " + std::to_string(status) + " performing acl_rm_port_set"}};
}

// ACLs 1 and 2, open-flow's and tarn-os's, are system ACLs of a switch without ports.
void make_system_acls(World &world) {
    for (TestClient *client : {&world.open_flow, &world.tarn_os}) {
        ASSERT_EQ(client->bind_system(kBind, client->make_acl(1).acl_id), kOk);
    }
}

// Both are on ports 7 and 8, in groups 1 and 2.
void bind_both(World &world) {
    make_system_acls(world);
    ASSERT_EQ(world.open_flow.port_set(kAddPorts, {7, 8}), kOk);
}

// Only the first is.
void bind_first_only(World &world) {
    bind_both(world);
    ASSERT_EQ(world.tarn_os.bind_ports(kUnbind, 2, {7, 8}), kOk);
}

Answer set_ports(World &world, uint32_t cmd) {
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_PORT_SET,
                       port_set_request(world.tarn_os.handle(), cmd, {7, 8}));
}

Answer add(World &world) {
    return set_ports(world, kAddPorts);
}

Answer remove(World &world) {
    return set_ports(world, kDeletePorts);
}

Digest cached(const std::string &first_tail, const std::string &second_tail, const Digest &more) {
    Digest digest = {"acls 2, rules 0", "acl 1: owner 0, region 1, system" + first_tail,
                     "acl 2: owner 1, region 2, system" + second_tail};
    digest.insert(digest.end(), more.begin(), more.end());
    return digest;
}

Digest in_switch(const Digest &more) {
    Digest digest = {"region 1: size 1", "region 2: size 1", "acl 1: region 1, direction 0",
                     "acl 2: region 2, direction 0"};
    digest.insert(digest.end(), more.begin(), more.end());
    return digest;
}

const nlohmann::json kNoPorts = {{"ports", nlohmann::json::array()}};
const char kBound[] = ", bound to 7 8";

// The second ACL joins the groups that the first one got.
FailureRow join_row(const std::string &name, int nth, uint32_t group, const Names &calls,
                    const std::string &second_tail, const Digest &cache, const Digest &late) {
    const Lines first = {notice("Successfully added ports to ACL 1")};
    const std::string text =
        "Failed to add new ACL [2] to ACL GROUP:[" + std::to_string(group) + "], (error: {sdk})";
    FailureRow row = {.name = name,
                      .prepare = make_system_acls,
                      .request = add,
                      .call = kGroupSet,
                      .nth = nth,
                      .on_other = {.lines = first + failed(1, text, 3) + handler_line(1),
                                   .calls = calls,
                                   .cache = cached(kBound, second_tail, cache),
                                   .early = in_switch(cache),
                                   .late = in_switch(late)},
                      .config = kNoPorts};
    row.on_5 = row.on_other;
    row.on_5->status = ZV_ACL_RM_STATUS_NO_HW_RESOURCES;
    row.on_5->lines = first +
                      notified(7, "Can't Add ACL table to group - not enough resources", 3) +
                      handler_line(7);
    return row;
}

const Names kTwoNewGroups = {kGroupSet, kGroupSet, kPortBind, kGroupSet, kGroupSet, kPortBind};

FailureRow delete_row(const std::string &name, std::function<void(World &)> prepare,
                      const char *call, int nth, const Lines &lines, const Names &calls,
                      const Digest &cache, const Digest &early, const Digest &late) {
    return {.name = name,
            .prepare = std::move(prepare),
            .request = remove,
            .call = call,
            .nth = nth,
            .on_other = {.lines = lines + handler_line(1),
                         .calls = calls,
                         .cache = cache,
                         .early = in_switch(early),
                         .late = in_switch(late)},
            .config = kNoPorts};
}

Lines list_refused(uint32_t acl_id, uint32_t group) {
    return failed(1,
                  "Failed to remove ACL [" + std::to_string(acl_id) + "] from ACL GROUP:[" +
                      std::to_string(group) + "], (error: {sdk})",
                  1);
}

Lines unbind_refused(uint32_t group, uint32_t port) {
    return failed(1,
                  "Failed to unbind ACL group [" + std::to_string(group) + "] from logical port [" +
                      std::to_string(port) + "], (error: {sdk})",
                  1);
}

Lines destroy_refused(uint32_t group) {
    return failed(1, "Failed deleting ACL group:[" + std::to_string(group) + "], (error: {sdk})",
                  2);
}

Lines after_first(const Lines &lines) {
    return Lines{notice("Successfully deleted ports from ACL 1")} + lines;
}

const std::vector<FailureRow> &add_rows() {
    static const auto &rows = *new std::vector<FailureRow>{
        join_row("SecondAclAtTheFirstPort", 5, 1, kTwoNewGroups + Names{kGroupSet}, "",
                 {"group 1: acl 1", "group 2: acl 1", "port 7: group 1", "port 8: group 2"},
                 {"group 1: acl 1 2", "group 2: acl 1", "port 7: group 1", "port 8: group 2"}),
        join_row("SecondAclAtTheSecondPort", 6, 2, kTwoNewGroups + Names{kGroupSet, kGroupSet},
                 ", bound to 7",
                 {"group 1: acl 1 2", "group 2: acl 1", "port 7: group 1", "port 8: group 2"},
                 {"group 1: acl 1 2", "group 2: acl 1 2", "port 7: group 1", "port 8: group 2"})};
    return rows;
}
ZV_FAILURE_TABLE(AddPortsFailures, add_rows());

// The first ACL leaves groups that the second keeps.
std::vector<FailureRow> first_acl_shared_rows() {
    const Digest ports = {"port 7: group 1", "port 8: group 2"};
    const auto with_ports = [&](Digest groups) {
        groups.insert(groups.end(), ports.begin(), ports.end());
        return groups;
    };
    const Digest none = with_ports({"group 1: acl 1 2", "group 2: acl 1 2"});
    const Digest one = with_ports({"group 1: acl 2", "group 2: acl 1 2"});
    const Digest both = with_ports({"group 1: acl 2", "group 2: acl 2"});
    return {
        delete_row("FirstAclSharedListAtTheFirstPort", bind_both, kGroupSet, 1, list_refused(1, 1),
                   {kGroupSet}, cached(kBound, kBound, one), none, one),
        delete_row("FirstAclSharedListAtTheSecondPort", bind_both, kGroupSet, 2, list_refused(1, 2),
                   {kGroupSet, kGroupSet}, cached(kBound, kBound, both), one, both)};
}

// An ACL alone in its groups takes them with it: the first one, or the second after it.
std::vector<FailureRow> last_acl_rows(bool is_second) {
    const std::string who = is_second ? "SecondAcl" : "FirstAcl";
    const std::string member = is_second ? "acl 2" : "acl 1";
    const auto prepare = is_second ? bind_both : bind_first_only;
    const Names before = is_second ? Names{kGroupSet, kGroupSet} : Names();
    const int shift = is_second ? 2 : 0;
    const auto lines = [&](const Lines &own) { return is_second ? after_first(own) : own; };
    // ACL 1 has left both ports when ACL 2's turn comes.
    const auto cache = [&](const Digest &more) {
        return is_second ? cached("", kBound, more) : cached(kBound, "", more);
    };
    const Digest cache1 =
        cache({"group 1: empty", "group 2: " + member, "port 7: group 1", "port 8: group 2"});
    const Digest cache2 = cache({"group 2: empty", "port 8: group 2"});
    const Names first_port = {kGroupSet, kPortBind, kGroupSet};
    const uint32_t acl_id = is_second ? 2 : 1;
    return {
        delete_row(
            who + "ListAtTheFirstPort", prepare, kGroupSet, shift + 1,
            lines(list_refused(acl_id, 1)), before + Names{kGroupSet}, cache1,
            {"group 1: " + member, "group 2: " + member, "port 7: group 1", "port 8: group 2"},
            {"group 1: empty", "group 2: " + member, "port 7: group 1", "port 8: group 2"}),
        delete_row(who + "UnbindAtTheFirstPort", prepare, kPortBind, 1, lines(unbind_refused(1, 7)),
                   before + Names{kGroupSet, kPortBind}, cache1,
                   {"group 1: empty", "group 2: " + member, "port 7: group 1", "port 8: group 2"},
                   {"group 1: empty", "group 2: " + member, "port 8: group 2"}),
        delete_row(who + "DestroyAtTheFirstPort", prepare, kGroupSet, shift + 2,
                   lines(destroy_refused(1)), before + first_port, cache1,
                   {"group 1: empty", "group 2: " + member, "port 8: group 2"},
                   {"group 2: " + member, "port 8: group 2"}),
        delete_row(who + "ListAtTheSecondPort", prepare, kGroupSet, shift + 3,
                   lines(list_refused(acl_id, 2)), before + first_port + Names{kGroupSet}, cache2,
                   {"group 2: " + member, "port 8: group 2"},
                   {"group 2: empty", "port 8: group 2"}),
        delete_row(who + "UnbindAtTheSecondPort", prepare, kPortBind, 2,
                   lines(unbind_refused(2, 8)), before + first_port + Names{kGroupSet, kPortBind},
                   cache2, {"group 2: empty", "port 8: group 2"}, {"group 2: empty"}),
        delete_row(who + "DestroyAtTheSecondPort", prepare, kGroupSet, shift + 4,
                   lines(destroy_refused(2)), before + first_port + first_port, cache2,
                   {"group 2: empty"}, {})};
}

const std::vector<FailureRow> &delete_rows() {
    static const auto &rows = *new std::vector<FailureRow>([] {
        std::vector<FailureRow> all = first_acl_shared_rows();
        for (const bool is_second : {false, true}) {
            const std::vector<FailureRow> more = last_acl_rows(is_second);
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }());
    return rows;
}
ZV_FAILURE_TABLE(DeletePortsFailures, delete_rows());

}  // namespace
}  // namespace zv_test
