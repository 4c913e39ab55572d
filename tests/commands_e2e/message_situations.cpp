#include "tests/commands_e2e/message_situations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/watch.h"

namespace zv_test {

using nlohmann::json;

namespace {

constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;

DaemonOptions talkative(json faults = json::array()) {
    DaemonOptions options;
    options.arguments = {"-v", "5", std::string("--connector=") + ZV_TEST_EARLY_VERBOSITY};
    options.faults = std::move(faults);
    return options;
}

json fault(const char *call, uint32_t status) {
    return json::array({{{"call", call}, {"status", status}}});
}

std::vector<LogLine> stopped(DaemonProcess &daemon, int exit_code = 0) {
    daemon.allow_error_lines();
    daemon.stop(SIGTERM, ExitStatus::exit(exit_code));
    return daemon.log();
}

std::vector<LogLine> play_ordinary_session() {
    DaemonProcess daemon(talkative());
    TestClient open_flow(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW);
    TestClient tarn_os(daemon, ZV_ACL_RM_OWNER_TARN_OS);
    TestClient pra(daemon, ZV_ACL_RM_OWNER_PRA);
    TestClient of13(daemon, ZV_ACL_RM_OWNER_OF13);
    acl_rm_acl first = {0, 3, 5, 7, 9, 32, 32, 0};
    EXPECT_EQ(open_flow.create_acl(first), ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_acl second = {0, 0, 0, 0, 9, 0, 0, 0};
    EXPECT_EQ(tarn_os.create_acl(second), ZV_ACL_RM_STATUS_SUCCESS);
    pra.make_acl(0);
    of13.make_acl(0);
    EXPECT_EQ(open_flow.write_rules(first.acl_id,
                                    {forward_to_port(make_rule(5, 0), 4000), make_rule(6, 2)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(open_flow.bind_ports(kBind, first.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(tarn_os.bind_ports(kBind, second.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(open_flow.bind_ports(kBind, first.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon.dump();
    return stopped(daemon);
}

std::vector<LogLine> play_signals() {
    DaemonProcess daemon(talkative());
    daemon.signal(SIGUSR1);
    daemon.wait_for_log_matching(
        {"ZV_ACL_RM", "NOTICE", "Signal 10 caught using thread [0-9]+ context\\."});
    daemon.stop(SIGINT);
    return daemon.log();
}

std::vector<LogLine> play_closed_switch() {
    DaemonProcess daemon(talkative());
    daemon.control().fail("zv_api_open", 3, 1, -1);
    EXPECT_EQ(open_as(daemon, 7, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_ERROR);
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_ERROR);
    acl_rm_acl acl = acl_of_size(1);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.write_rules(1, {}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.bind_ports(kBind, 1, {1}), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().clear_faults();
    EXPECT_EQ(client.init(2), ZV_ACL_RM_STATUS_ERROR);  // no such chip
    return stopped(daemon);
}

std::vector<LogLine> play_wrong_lengths() {
    DaemonProcess daemon(talkative());
    for (uint32_t command = ZV_ACL_RM_API_INT_CMD_OPEN; command <= ZV_ACL_RM_API_INT_CMD_DUMP;
         ++command) {
        EXPECT_EQ(send_bytes(daemon, command, Bytes(1)).status, ZV_ACL_RM_STATUS_ERROR);
    }
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

std::vector<LogLine> play_refused_rules() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    TestClient pra(daemon, ZV_ACL_RM_OWNER_PRA);
    const uint32_t acl_id = client.make_acl(8).acl_id;
    auto request = write_request(client.handle(), acl_id, {});
    request.cmd = 5;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request).status,
              ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    const auto refuse = [&](uint32_t status, const std::vector<acl_rm_rule> &rules) {
        EXPECT_EQ(client.write_rules(acl_id, rules), status);
    };
    EXPECT_EQ(client.write_rules(acl_id, {}, 21), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(TestClient::unopened(daemon, 0x77).write_rules(acl_id, {}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(pra.write_rules(acl_id, {}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.write_rules(99, {}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    refuse(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, {make_rule(0, 4)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(8)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(1), make_rule(1)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(1)});
    refuse(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, {forward_to_mc_group(make_rule(2), 6)});
    refuse(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, {count_with(make_rule(2), 9)});
    daemon.control().fail("zv_api_acl_policy_based_switching_set", 5);
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, {forward_to_port(make_rule(3), 4000)});
    daemon.control().fail("zv_api_acl_policy_based_switching_set", 1);
    refuse(ZV_ACL_RM_STATUS_ERROR, {forward_to_port(make_rule(3), 4000)});
    return stopped(daemon);
}

std::vector<LogLine> play_refused_binds() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    client.make_acl(1, 1);
    const uint32_t acl_id = client.make_acl(1).acl_id;
    const auto refuse = [&](uint32_t status, uint32_t cmd, uint32_t acl,
                            const std::vector<uint32_t> &ports) {
        EXPECT_EQ(client.bind_ports(cmd, acl, ports), status);
    };
    refuse(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, 9, acl_id, {});
    refuse(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, kBind, acl_id, {});
    refuse(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, kBind, 99, {1});
    const json any_bind = {{"call", "zv_api_acl_port_bind_set"}, {"status", 5}};
    daemon.control().fail("zv_api_acl_group_set", 2, 1);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, acl_id, {kPort});
    daemon.control().fail("zv_api_acl_group_set", 2, 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, acl_id, {kPort});
    daemon.control().set_faults(json::array({any_bind}));
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, kBind, acl_id, {kPort});
    daemon.control().set_faults(
        json::array({any_bind, {{"call", "zv_api_acl_group_set"}, {"nth", 3}, {"status", 2}}}));
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, acl_id, {kPort + 1});
    daemon.control().fail("zv_api_acl_port_bind_set", 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, acl_id, {kPort});
    daemon.control().clear_faults();
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, 1, {kPort});  // the other direction
    const uint32_t third = client.make_acl(1).acl_id;
    daemon.control().fail("zv_api_acl_group_set", 5);
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, kBind, third, {kPort});
    daemon.control().fail("zv_api_acl_group_set", 2);
    refuse(ZV_ACL_RM_STATUS_ERROR, kBind, third, {kPort});
    for (int i = 0; i < 15; ++i) {
        refuse(ZV_ACL_RM_STATUS_SUCCESS, kBind, client.make_acl(0).acl_id, {kPort});
    }
    refuse(ZV_ACL_RM_STATUS_NO_RESOURCES, kBind, third, {kPort});
    return stopped(daemon);
}

// At the daemon's ordinary verbosity: the other lines of that many commands would be megabytes.
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

// A FIFO whose reader reads nothing takes the headline and then is full, so that it is the text
// which cannot be written.
std::vector<LogLine> play_dumps() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    for (int i = 0; i < 200; ++i) {
        client.make_acl(0);
    }
    EXPECT_EQ(client.dump("/no/such/directory/dump"), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.dump("/dev/full"), ZV_ACL_RM_STATUS_ERROR);
    const auto without_path = daemon.connect().call(ZV_ACL_RM_API_INT_CMD_DUMP, Bytes(16));
    EXPECT_TRUE(without_path && without_path->status == ZV_ACL_RM_STATUS_PARAM_NULL);
    const std::string path = daemon.root().file("fifo");
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(fcntl(reader, F_SETPIPE_SZ, 4096), 4096);
    EXPECT_EQ(client.dump(path), ZV_ACL_RM_STATUS_SUCCESS);
    close(reader);
    return stopped(daemon);
}

// A start-up that ends by itself because of one failing call.
std::vector<LogLine> failing_start(const char *call, uint32_t status) {
    DaemonOptions options = talkative(fault(call, status));
    options.wait_until_serving = false;
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1));
    return daemon.log();
}

std::vector<LogLine> failing_stop(const char *call, uint32_t status, int exit_code) {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    daemon.control().fail(call, status);
    return stopped(daemon, exit_code);
}

// Without its thread the daemon serves but cannot be asked to stop.
std::vector<LogLine> play_no_thread() {
    DaemonProcess daemon(talkative(fault("cl_thread_init", 3)));
    daemon.allow_error_lines();
    daemon.stop(SIGKILL, ExitStatus::killed(SIGKILL));
    return daemon.log();
}

}  // namespace

const Situation kOrdinarySession = {"OrdinarySession", play_ordinary_session};
const Situation kSignals = {"Signals", play_signals};
const Situation kClosedSwitch = {"ClosedSwitch", play_closed_switch};
const Situation kWrongLengths = {"WrongLengths", play_wrong_lengths};
const Situation kRefusedAcls = {"RefusedAcls", play_refused_acls};
const Situation kRefusedRules = {"RefusedRules", play_refused_rules};
const Situation kRefusedBinds = {"RefusedBinds", play_refused_binds};
const Situation kFullTables = {"FullTables", play_full_tables};
const Situation kDumps = {"Dumps", play_dumps};
const Situation kNoCounterPool = {"NoCounterPool",
                                  [] { return failing_start("cl_qpool_init", 99); }};
const Situation kNoSocket = {"NoSocket", [] { return failing_start("zv_rpc_core_td_init", 7); }};
const Situation kNoCommandTable = {
    "NoCommandTable", [] { return failing_start("zv_rpc_api_rpc_command_db_init", 7); }};
const Situation kNoNetwork = {"NoNetwork", [] { return failing_start("zv_net_init", 42); }};
const Situation kNoThread = {"NoThread", play_no_thread};
const Situation kStuckCommandTable = {
    "StuckCommandTable", [] { return failing_stop("zv_rpc_api_rpc_command_db_deinit", 7, 1); }};
const Situation kStuckSwitch = {"StuckSwitch", [] { return failing_stop("zv_api_close", 7, 1); }};
const Situation kStuckNetwork = {"StuckNetwork",
                                 [] { return failing_stop("zv_net_deinit", 42, 0); }};

void PrintTo(const Situation &situation, std::ostream *out) {
    *out << situation.name;
}

const std::vector<Situation> &all_situations() {
    static const auto &list = *new std::vector<Situation>{
        kOrdinarySession, kSignals,        kClosedSwitch, kWrongLengths, kRefusedAcls,
        kRefusedRules,    kRefusedBinds,   kFullTables,   kDumps,        kNoCounterPool,
        kNoSocket,        kNoCommandTable, kNoNetwork,    kNoThread,     kStuckCommandTable,
        kStuckSwitch,     kStuckNetwork};
    return list;
}

}  // namespace zv_test
