// Start, clients, dumps, stop; and what every command says of a record of the wrong length, or of a
// daemon that is not connected.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

using nlohmann::json;

namespace {

std::vector<LogLine> play_ordinary_session() {
    DaemonProcess daemon(talkative());
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; ++owner) {
        TestClient(daemon, owner).make_acl(0);
    }
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

// A record for each command that has one, of zeros. DUMP needs no connection.
std::vector<LogLine> play_closed_switch() {
    DaemonProcess daemon(talkative());
    daemon.control().fail("zv_api_open", 3, 1, -1);
    constexpr size_t kLengths[] = {0,   0,   16, 16, 48,  16,  7224, 7224, 24,
                                   424, 224, 24, 40, 424, 416, 16,   416};
    for (uint32_t command = ZV_ACL_RM_API_INT_CMD_OPEN; command < ZV_ACL_RM_API_INT_CMD_DUMP;
         ++command) {
        EXPECT_EQ(send_bytes(daemon, command, Bytes(kLengths[command])).status,
                  ZV_ACL_RM_STATUS_ERROR);
    }
    daemon.control().clear_faults();
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.init(2), ZV_ACL_RM_STATUS_ERROR);  // no such chip
    EXPECT_EQ(open_as(daemon, 7, 4), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
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

json fault(const char *call, uint32_t status) {
    return json::array({{{"call", call}, {"status", status}}});
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

std::vector<Message> of_ordinary_session() {
    return {
        core("INFO", "Creating Terminator MUTEX."),
        core("INFO", "Locking Terminator MUTEX."),
        core("INFO", "Creating Terminator thread."),
        core("NOTICE", "Creating Terminator thread done."),
        LogLine{"ACL_RM_DB", "INFO", "Counter Pool Init Success."},
        core("INFO", "calling acl_rm_rpc_init_procedure."),
        rpc("INFO", "start acl_rm_rpc_init_procedure."),
        rpc("INFO", "call to rpc_zv_core_td_init."),
        rpc("INFO", "call to zv_api_rpc_command_db."),
        rpc("INFO", "finish acl_rm_rpc_init_procedure."),
        core("INFO", "ACL RM DB init done."),
        rpc("INFO", "start loop."),
        rpc("INFO", "got message zv_acl_rm_api_open."),
        rpc("INFO", "got message zv_acl_rm_api_init."),
        core("INFO", "ACL RM is connected to SDK."),
        core("INFO", "set open-flow as owner of acl."),
        core("INFO", "set tarn-os as owner of acl."),
        core("INFO", "set PRA as owner of acl."),
        core("INFO", "set OF13 as owner of acl."),
        rpc("INFO", "got message zv_acl_rm_api_dump."),
        {core("NOTICE", "Signal 15 caught using thread [0-9]+ context\\."), Message::kPattern},
        core("INFO", "Un-Locking Terminator MUTEX."),
        core("NOTICE", "starting zv_acl_rm termination..."),
        core("INFO", "calling acl_rm_rpc_deinit."),
        rpc("INFO", "call to zv_api_rpc_command_db_deinit."),
        rpc("INFO", "finish acl_rm_rpc_deinit."),
    };
}

std::vector<Message> of_closed_switch() {
    return {
        error_line(1, "Can't open an handle to the SDK, error: [3]"),
        error_line(1, "ACL RM connect to sdk failure"),
        rpc("INFO", "failed in acl_rm_open_new_client. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_init. acl_ret_status:=1."),
        error_line(1, "ACL RM is not initialized"),
        rpc("INFO", "failed in acl_rm_set acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_acl_resize acl_ret_status:=1."),
        rpc("INFO", "failed to in acl_rm_acl_rule_set. acl_ret_status:=1."),
        rpc("INFO", "failed to in acl_rm_acl_rule_get. acl_ret_status:=1"),
        rpc("INFO", "failed to in zv_acl_rm_api_acl_rule_move_block. acl_ret_status:=1"),
        rpc("INFO", "failed in acl_rm_bind. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_rif_bind. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_rpc_counter_bind. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_rpc_counter_get. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_acl_mc_group_set. acl_ret_status:=1."),
        rpc("INFO", "failed in acl_rm_acl_mc_group_get. acl_ret_status:=1."),
        rpc("ERROR", "acl_rm_rpc_system_bind_set: error 1 performing acl_rm_acl_system_bind_set"),
        error_line(1, "acl_rm_port_set: ACL RM is not initialized"),
        rpc("ERROR", "acl_rm_rpc_port_set: error 1 performing acl_rm_port_set"),
        rpc("INFO", "ACL RM init resources failed. acl_ret_status:=1."),
        error_line(4, "owner [4] is unknown, handle[7] is not stored"),
    };
}

// The entry line comes before, from those that have one.
std::vector<Message> of_wrong_lengths() {
    return {
        rpc("ERROR", "failed to received zv_acl_rm_api_open len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_set."),
        rpc("ERROR", "failed to receive zv_acl_rm_api_acl_set len 1."),
        rpc("INFO", "got message acl_rm_rpc_acl_resize."),
        rpc("ERROR", "failed to receive acl_rm_resize_params len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_set."),
        rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_set len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_get"),
        rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_get len 1"),
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_move_block."),
        rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_move_block len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_port_bind."),
        rpc("ERROR", "failed to received zv_acl_rm_api_acl_port_bind len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_rif_bind."),
        rpc("ERROR", "failed to received zv_acl_rm_api_acl_rif_bind len 1."),
        rpc("INFO", "got message acl_rm_rpc_counter_set."),
        rpc("ERROR", "failed to received zv_acl_rm_api_counter_bind_params_t len 1."),
        rpc("INFO", "got message zv_acl_rm_api_counter_get."),
        rpc("ERROR", "failed to received zv_acl_rm_api_counter_get len 1."),
        rpc("ERROR", "failed to receive zv_acl_rm_api_acl_mc_group_set len 1."),
        rpc("ERROR", "failed to receive zv_acl_rm_api_acl_mc_group_get len 1."),
        rpc("INFO", "got message zv_acl_rm_api_acl_system_bind_set."),
        rpc("INFO", "got message zv_acl_rm_api_port_set."),
        rpc("INFO", "got message zv_acl_rm_api_dump."),
        rpc("ERROR", "received message of size 1"),
    };
}

std::vector<Message> of_dumps() {
    return {
        core("WARN", "Can't open the acl-rm dump file /no/such/directory/dump, will print to log"),
        {core("NOTICE", "acl-rm dump data started at: [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9:]+"),
         Message::kPattern},
        {core("NOTICE", "ACL-RM dump data:\n =====ACL_RM Cache dump start:=====\n"),
         Message::kBeginning},
        error_line(1, "Can't write to acl-rm dump"),
        error_line(3, "file_path is NULL"),
        rpc("ERROR", "acl_rm_rpc_dump: error 1 performing acl_rm_dump"),
        rpc("ERROR", "acl_rm_rpc_dump: error 3 performing acl_rm_dump"),
        {core("WARN", "error=\\[11\\] write to file /[^ ]*/fifo, will print to log"),
         Message::kPattern},
    };
}

}  // namespace

std::vector<Situation> session_situations() {
    return {
        {"OrdinarySession", play_ordinary_session, of_ordinary_session()},
        {"Signals",
         play_signals,
         {{core("NOTICE", "Signal 10 caught using thread [0-9]+ context\\."), Message::kPattern},
          {core("NOTICE", "Signal 2 caught using thread [0-9]+ context\\."), Message::kPattern}}},
        {"ClosedSwitch", play_closed_switch, of_closed_switch()},
        {"WrongLengths", play_wrong_lengths, of_wrong_lengths()},
        {"Dumps", play_dumps, of_dumps()},
        // Starts and stops with one failing call.
        {"NoCounterPool",
         [] { return failing_start("cl_qpool_init", 99); },
         {error_line(6, "Counter Pool Init Failure (invalid status code).", "ACL_RM_DB"),
          error_line(6, "ACL RM init counter DB failure."),
          error_line(1, "ACL RM internal cache init failure"),
          error_line(1, "Can't deinit counter DB - DB not initialized).", "ACL_RM_DB"),
          error_line(1, "ACL RM deinit counter DB failure."), passed_up_line(1)}},
        {"NoSocket",
         [] { return failing_start("zv_rpc_core_td_init", 7); },
         {error_line(1, "failed to call zv_core_td_init 1", "ACL_RM_RPC"),
          core("ERROR", "RPC procedure failed."), passed_up_line(1)}},
        {"NoCommandTable",
         [] { return failing_start("zv_rpc_api_rpc_command_db_init", 7); },
         {error_line(1, "failed to call zv_api_rpc_command_db 1", "ACL_RM_RPC"),
          core("ERROR", "RPC procedure failed.")}},
        {"NoNetwork",
         [] { return failing_start("zv_net_init", 42); },
         {core("ERROR", "error 42 initializing netlib")}},
        {"NoThread",
         play_no_thread,
         {core("NOTICE", "Creating Terminator thread done."),
          core("ERROR", "cl_thread_init (terminator) error: 3.")}},
        {"StuckCommandTable",
         [] { return failing_stop("zv_rpc_api_rpc_command_db_deinit", 7, 1); },
         {error_line(1, "failed to call zv_api_rpc_command_db_deinit 1", "ACL_RM_RPC"),
          core("ERROR", "acl_rm_rpc_deinit failed.")}},
        {"StuckSwitch",
         [] { return failing_stop("zv_api_close", 7, 1); },
         {error_line(1, "Failed to close ZV SDK Handle")}},
        {"StuckNetwork",
         [] { return failing_stop("zv_net_deinit", 42, 0); },
         {core("ERROR", "error 42 deinitializing netlib")}},
    };
}

}  // namespace zv_test
