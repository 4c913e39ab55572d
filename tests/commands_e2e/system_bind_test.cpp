// ACL_BIND_SYSTEM_SET: ACLs on every front-panel port at once, and off everything again.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using nlohmann::json;

Answer ask(DaemonProcess &daemon, const zv_acl_rm_acl_system_bind_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, request);
}

// A refusal of the core, and the handler's line about it.
Lines system_bind_refused(uint32_t status, Lines lines) {
    return std::move(lines) + Lines{{"ACL_RM_RPC", "ERROR",
                                     "acl_rm_rpc_system_bind_set: error " + std::to_string(status) +
                                         " performing acl_rm_acl_system_bind_set"}};
}

LogLine bound_to_system(uint32_t acl_id) {
    return {"ZV_ACL_RM", "NOTICE",
            "Successfully bound ACL " + std::to_string(acl_id) + " to system"};
}

LogLine unbound_from_system(uint32_t acl_id) {
    return {"ZV_ACL_RM", "NOTICE",
            "Successfully unbound ACL " + std::to_string(acl_id) + " from system"};
}

json port(uint32_t log_port, uint32_t kind = 0) {
    return {{"log_port", log_port}, {"kind", kind}, {"name", "p" + std::to_string(log_port)}};
}

json front_panel(uint32_t first, uint32_t num) {
    json ports = json::array();
    for (uint32_t i = 0; i < num; ++i) {
        ports.push_back(port(first + i));
    }
    return ports;
}

// A switch with these ports, and verbosity 4 where asked for.
DaemonOptions with_ports(const json &ports, bool talking = false) {
    DaemonOptions options;
    options.config = {{"ports", ports}};
    if (talking) {
        options.arguments = {"-v", "4"};
    }
    return options;
}

// Ports 10, 11 and 12 on the front panel, and two ports of other kinds between them.
const json &five_ports() {
    static const json &ports =
        *new json({port(10), port(5, 1), port(12), port(6, 0xffffffff), port(11)});
    return ports;
}

class SystemBind : public testing::Test {
  protected:
    explicit SystemBind(DaemonOptions options = with_ports(five_ports()))
        : daemon_(std::move(options)), client_(daemon_) {}

    uint32_t bind(uint32_t acl_id) { return client_.bind_system(kBind, acl_id); }
    uint32_t unbind(uint32_t acl_id) { return client_.bind_system(kUnbind, acl_id); }
    void make_system(uint32_t direction = 0) {
        ASSERT_EQ(bind(client_.make_acl(1, direction).acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
    bool is_system(uint32_t acl_id) {
        for (const CacheDump::Acl &acl : daemon_.dump().acls) {
            if (acl.acl_id == acl_id) {
                return acl.bound_to_system;
            }
        }
        ADD_FAILURE() << "no ACL " << acl_id;
        return false;
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(SystemBind, BindsEveryFrontPanelPortInTheOrderReported) {
    client_.make_acl(1);
    client_.make_acl(1, 7);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(2), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({ports_counted(5), ports_listed(15, five_ports()), group_created(7, 1),
                        group_listed(7, {2}, 1), port_bound(10, 1), group_created(7, 2),
                        group_listed(7, {2}, 2), port_bound(12, 2), group_created(7, 3),
                        group_listed(7, {2}, 3), port_bound(11, 3)});
    watch.expect_lines({bound_to_system(2)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 2, rules 0", "acl 1: owner 0, region 1",
                      "acl 2: owner 0, region 2, system, bound to 10 12 11", "group 1: acl 2",
                      "group 2: acl 2", "group 3: acl 2", "port 10: group 1", "port 11: group 3",
                      "port 12: group 2"}));
    check_cache(daemon_);
}

TEST_F(SystemBind, UnbindsInTheOrderOfTheAclsList) {
    make_system(7);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(7, {}, 1), port_unbound(10, 1), group_destroyed(7, {}, 1),
                        group_listed(7, {}, 2), port_unbound(12, 2), group_destroyed(7, {}, 2),
                        group_listed(7, {}, 3), port_unbound(11, 3), group_destroyed(7, {}, 3)});
    watch.expect_lines({unbound_from_system(1)});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    check_cache(daemon_);
    EXPECT_EQ(bind(1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_system(1));
    check_cache(daemon_);
}

TEST_F(SystemBind, AnswersWithTheWholeRecordUnchanged) {
    client_.make_acl(1);
    for (const uint32_t cmd : {kBind, kUnbind}) {
        const auto request = system_request(client_.handle(), cmd, 1);
        const Answer answer = ask(daemon_, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(answer.body, bytes_of(request));
        EXPECT_EQ(answer.body.size(), 16u);
    }
}

TEST_F(SystemBind, ASystemAclIsNotMadeOneAgain) {
    make_system();
    const Digest before = cache_digest(daemon_);
    const Watch watch(daemon_);
    const Answer answer = ask(daemon_, system_request(client_.handle(), kBind, 1));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(system_bind_refused(
        1, failed(1, "acl_rm_acl_system_bind_set: acl 1 is already a system acl", 0)));
    watch.expect_calls({});
    EXPECT_EQ(cache_digest(daemon_), before);
    check_cache(daemon_);
}

TEST_F(SystemBind, AnotherAclIsNotUnboundFromTheSystem) {
    make_system();
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 2, {10}), ZV_ACL_RM_STATUS_SUCCESS);
    const Digest before = cache_digest(daemon_);
    const Watch watch(daemon_);
    const Answer answer = ask(daemon_, system_request(client_.handle(), kUnbind, 2));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(system_bind_refused(
        1, failed(1, "acl_rm_acl_system_bind_set: acl 2 is not a system acl", 0)));
    watch.expect_calls({});
    EXPECT_EQ(cache_digest(daemon_), before);
    check_cache(daemon_);
}

TEST_F(SystemBind, ASecondUnbindFindsNoSystemAcl) {
    make_system();
    ASSERT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(system_bind_refused(
        1, failed(1, "acl_rm_acl_system_bind_set: acl 1 is not a system acl", 0)));
}

TEST_F(SystemBind, APortBoundAlreadyIsPassedOver) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {12}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({ports_counted(5), ports_listed(15, five_ports()), group_created(0, 2),
                        group_listed(0, {1}, 2), port_bound(10, 2), group_created(0, 3),
                        group_listed(0, {1}, 3), port_bound(11, 3)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{12, 10, 11}));
    check_cache(daemon_);
}

TEST_F(SystemBind, JoinsAndLeavesTheGroupsOfOtherAcls) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    client_.make_acl(1);
    pra.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {11, 5}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch in(daemon_);
    EXPECT_EQ(pra.bind_system(kBind, 2), ZV_ACL_RM_STATUS_SUCCESS);
    in.expect_calls({ports_counted(5), ports_listed(15, five_ports()), group_created(0, 3),
                     group_listed(0, {2}, 3), port_bound(10, 3), group_created(0, 4),
                     group_listed(0, {2}, 4), port_bound(12, 4), group_listed(0, {2, 1}, 1)});
    check_cache(daemon_);
    const Watch out(daemon_);
    EXPECT_EQ(pra.bind_system(kUnbind, 2), ZV_ACL_RM_STATUS_SUCCESS);
    out.expect_calls({group_listed(0, {}, 3), port_unbound(10, 3), group_destroyed(0, {}, 3),
                      group_listed(0, {}, 4), port_unbound(12, 4), group_destroyed(0, {}, 4),
                      group_listed(0, {1}, 1)});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{11, 5}));
    check_cache(daemon_);
}

TEST_F(SystemBind, SystemAclsOfSeveralOwnersAreOrderedOnEveryPort) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    TestClient tarn_os(daemon_, ZV_ACL_RM_OWNER_TARN_OS);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    for (TestClient *client : {&of13, &tarn_os, &client_, &pra}) {
        const acl_rm_acl acl = client->make_acl(1);
        ASSERT_EQ(client->bind_system(kBind, acl.acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
    for (uint32_t group_id = 1; group_id <= 3; ++group_id) {
        EXPECT_EQ(acls_of_group(daemon_.dump(), group_id), (Ids{4, 3, 2, 1}));
    }
    check_cache(daemon_);
    ASSERT_EQ(tarn_os.bind_system(kUnbind, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acls_of_group(daemon_.dump(), 2), (Ids{4, 3, 1}));
    EXPECT_FALSE(is_system(2));
    EXPECT_TRUE(is_system(3));
    check_cache(daemon_);
}

TEST_F(SystemBind, UnbindTakesTheAclFromEverythingItIsBoundTo) {
    client_.make_acl(1);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {5, 900}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_rifs(kBind, 1, {10}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(1), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.bind_rifs(kBind, 1, {901}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    Calls calls;
    const std::vector<json> unbound = {
        port_unbound(5, 1),  port_unbound(900, 2), rif_unbound(10, 3), port_unbound(10, 4),
        port_unbound(12, 5), port_unbound(11, 6),  rif_unbound(901, 7)};
    for (uint32_t group_id = 1; group_id <= 7; ++group_id) {
        calls.push_back(group_listed(0, {}, group_id));
        calls.push_back(unbound[group_id - 1]);
        calls.push_back(group_destroyed(0, {}, group_id));
    }
    watch.expect_calls(calls);
    watch.expect_lines({unbound_from_system(1)});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    check_cache(daemon_);
}

TEST_F(SystemBind, ASystemAclTakenFromSinglePortsStaysOne) {
    make_system();
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, {10, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_system(1));
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, {}, 3), port_unbound(11, 3), group_destroyed(0, {}, 3)});
    EXPECT_FALSE(is_system(1));
    check_cache(daemon_);
}

// Nothing to unbind is no failure: the flag goes all the same.
TEST_F(SystemBind, ASystemAclTakenFromEveryPortCanStillBeUnbound) {
    make_system();
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, {10, 11, 12}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({unbound_from_system(1)});
    watch.expect_calls({});
    EXPECT_FALSE(is_system(1));
}

TEST_F(SystemBind, PortsThatComeLaterAreNotBoundByThemselves) {
    make_system();
    daemon_.control().set_ports(front_panel(10, 4));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{10, 12, 11}));
    ASSERT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(bind(1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 1), (Ids{10, 11, 12, 13}));
    check_cache(daemon_);
}

TEST_F(SystemBind, PortsThatWentStayBoundUntilTheUnbind) {
    make_system();
    daemon_.control().set_ports(json::array({port(12)}));
    ASSERT_EQ(unbind(1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(daemon_.dump().bind_points.empty());
    check_cache(daemon_);
}

TEST_F(SystemBind, APortOfAnotherDirectionEndsItWithTheEarlierPortsBound) {
    client_.make_acl(1, 1);
    client_.make_acl(1, 0);
    ASSERT_EQ(client_.bind_ports(kBind, 1, {12}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    const Answer answer = ask(daemon_, system_request(client_.handle(), kBind, 2));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(system_bind_refused(
        1, failed(1,
                  "Can't Bind acl id[2] to port_id[12]. the port has different direction. "
                  "port direction:[1], acl direction[0]",
                  2)));
    EXPECT_FALSE(is_system(2));
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 2), Ids{10});
    check_cache(daemon_);
    // It is no system ACL, so it leaves its port one by one, and may try again.
    const Watch again(daemon_);
    EXPECT_EQ(unbind(2), ZV_ACL_RM_STATUS_ERROR);
    again.expect_lines(system_bind_refused(
        1, failed(1, "acl_rm_acl_system_bind_set: acl 2 is not a system acl", 0)));
    ASSERT_EQ(client_.bind_ports(kUnbind, 1, {12}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(bind(2), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(SystemBind, AFullGroupEndsIt) {
    for (uint32_t id = 1; id <= 16; ++id) {
        ASSERT_EQ(client_.bind_ports(kBind, client_.make_acl(1).acl_id, {12}),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    client_.make_acl(1);
    const Watch watch(daemon_);
    EXPECT_EQ(bind(17), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(system_bind_refused(
        6, failed(6, "Can't Bind acl id[17] to port_id[12]. The Group is full", 2)));
    EXPECT_FALSE(is_system(17));
    check_cache(daemon_);
}

TEST(SystemBindPorts, OfTheDefaultSwitchAreThirtyTwoWithoutTheCpu) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(1);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon.dump(), 1), ports_from(kPort, 32));
    check_cache(daemon);
}

TEST(SystemBindPorts, MayBeNone) {
    DaemonProcess daemon(with_ports(json::array()));
    TestClient client(daemon);
    client.make_acl(1);
    const Watch bind(daemon);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    bind.expect_calls({ports_counted(0), ports_listed(10, json::array())});
    bind.expect_lines({bound_to_system(1)});
    EXPECT_TRUE(daemon.dump().acls.at(0).bound_to_system);
    const Watch unbind(daemon);
    EXPECT_EQ(client.bind_system(kUnbind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    unbind.expect_calls({});
    unbind.expect_lines({unbound_from_system(1)});
    check_cache(daemon);
}

TEST(SystemBindPorts, OfOtherKindsAreNeverBound) {
    const json ports = {port(1, 1), port(2, 2), port(3, 0x80000000)};
    DaemonProcess daemon(with_ports(ports));
    TestClient client(daemon);
    client.make_acl(1);
    const Watch watch(daemon);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({ports_counted(3), ports_listed(13, ports)});
    watch.expect_lines({bound_to_system(1)});
    check_cache(daemon);
}

TEST(SystemBindPorts, AHundredTwentyEightCanBeBound) {
    DaemonProcess daemon(with_ports(front_panel(1, 128)));
    TestClient client(daemon);
    client.make_acl(1);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_acl(daemon.dump(), 1), ports_from(1, 128));
    check_cache(daemon);
    EXPECT_EQ(client.bind_system(kUnbind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.control().used("groups"), 0u);
    check_cache(daemon);
}

TEST(SystemBindPorts, OfAHundredTwentyNineTheLastFindsNoGroup) {
    DaemonProcess daemon(with_ports(front_panel(1, 129)));
    TestClient client(daemon);
    client.make_acl(1);
    const Watch watch(daemon);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(system_bind_refused(
        6, failed(6, "ACL [1] can't be bound to port_id [129]. Not enough acl groups", 2)));
    EXPECT_FALSE(daemon.dump().acls.at(0).bound_to_system);
    EXPECT_EQ(ports_of_acl(daemon.dump(), 1), ports_from(1, 128));
    check_cache(daemon);
}

TEST(SystemBindPorts, AreToldAtInfoBeforeTheyAreBound) {
    DaemonProcess daemon(with_ports({port(0x10a), port(5, 1), port(11)}, true));
    TestClient client(daemon);
    client.make_acl(1);
    for (const uint32_t log_port : {0x10au, 11u}) {
        ASSERT_EQ(client.bind_ports(kBind, 1, {log_port}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const auto info = [](const std::string &text) { return LogLine{"ZV_ACL_RM", "INFO", text}; };
    const Watch watch(daemon);
    EXPECT_EQ(client.bind_system(kBind, 1), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({info("ACL 1 will be bound to logical port [0x10a]"),
                        info("ACL 1 will be bound to logical port [0xb]"),
                        info("ACL group [1] is bound to port_id [10a]."),
                        info("acl id [1] is bound in SDK in port_id [266] within a group."),
                        info("ACL group [2] is bound to port_id [b]."),
                        info("acl id [1] is bound in SDK in port_id [11] within a group."),
                        bound_to_system(1)});
}

TEST(SystemBindChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{15}, size_t{17}}) {
        const Watch watch(daemon);
        const Answer answer =
            send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR", "received message of size " + std::to_string(length)}});
        watch.expect_calls({});
    }
}

// Each request is wrong in all later ways as well.
struct SystemCheck {
    const char *what;
    bool opened, known_handle, known_acl;
    uint32_t cmd, status;
    Lines lines;
};

void PrintTo(const SystemCheck &row, std::ostream *out) {
    *out << row.what;
}

class SystemChecks : public testing::TestWithParam<SystemCheck> {};

TEST_P(SystemChecks, ComeInTheirOrder) {
    const SystemCheck &check = GetParam();
    DaemonProcess daemon;
    TestClient client = check.opened ? TestClient(daemon) : TestClient::unopened(daemon, 5);
    if (check.known_acl) {
        client.make_acl(1);
    }
    const Watch watch(daemon);
    const Answer answer = ask(daemon, system_request(check.known_handle ? client.handle() : kNobody,
                                                     check.cmd, check.known_acl ? 1 : kNoAcl));
    EXPECT_EQ(answer.status, check.status);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(system_bind_refused(check.status, check.lines));
    watch.expect_calls({});
}

SystemCheck command_check(const char *what, uint32_t cmd, const std::string &number) {
    return {what,
            true,
            true,
            true,
            cmd,
            2,
            failed(2, "acl_rm_acl_system_bind_set: received unsupported command " + number, 0)};
}

INSTANTIATE_TEST_SUITE_P(
    SystemBind, SystemChecks,
    testing::Values(
        SystemCheck{"ClosedSwitch", false, false, false, 9, 1,
                    failed(1, "ACL RM is not initialized", 0)},
        SystemCheck{
            "Handle", true, false, false, 9, 4,
            failed(4,
                   "Wrong owner of the handle[119] toward ACL_RM, trying to control another owner "
                   "resource",
                   1)},
        SystemCheck{"Acl", true, true, false, 9, 4, failed_by_name(4, 1)},
        command_check("Command0", 0, "0"), command_check("Command6", 6, "6"),
        command_check("Command9", 9, "9"), command_check("CommandAllOnes", 0xffffffff, "-1")),
    [](const auto &check) { return check.param.what; });

TEST_F(SystemBind, TheOwnerComesBeforeTheCommand) {
    client_.make_acl(1);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    for (const uint32_t cmd : {kBind, kUnbind, 9u}) {
        const Watch watch(daemon_);
        EXPECT_EQ(ask(daemon_, system_request(pra.handle(), cmd, 1)).status,
                  ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(system_bind_refused(
            1, failed(1, "Wrong owner[2] trying to control another owner[0] resource", 1)));
        watch.expect_calls({});
    }
    EXPECT_FALSE(is_system(1));
}

}  // namespace
}  // namespace zv_test
