/* The tool's process against a stub of the daemon: what it sends, prints and exits with. */
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/client/stub_daemon.h"
#include "tests/tools/full_listener.h"
#include "tests/tools/json_answer.h"
#include "tests/tools/stub_words.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace {

using nlohmann::json;
using zv_test::echo_reply;
using zv_test::expect_part;
using zv_test::refuse;
using zv_test::run;
using zv_test::run_tool;
using zv_test::StubDaemon;
using zv_test::StubReply;
using zv_test::StubRequest;
using zv_test::ToolRun;
using zv_test::Words;

constexpr const char *kRule = "@10.0.0.0/8 192.0.2.0/24 0:65535 80:80 6/255 0/0\n";

template <typename Params>
Params record(const StubRequest &request) {
    Params params{};
    EXPECT_EQ(request.body.size(), sizeof(params));
    std::memcpy(&params, request.body.data(), std::min(request.body.size(), sizeof(params)));
    return params;
}

std::string rule_file(const StubDaemon &daemon, const std::string &text) {
    const std::string path = daemon.directory() + "/test.rules";
    std::ofstream(path) << text;
    return path;
}

std::string rules(int count) {
    std::string text;
    for (int i = 0; i < count; i++) {
        text += kRule;
    }
    return text;
}

/* Nothing is waited for: a time limit of an hour would outlast the test's own. */
TEST(MissingDaemon, IsSaidAtOnceAndNotAfterTheTimeout) {
    for (Words words : {Words{"open", "--owner", "PRA"},
                        {"init"},
                        {"acl", "create", "--size", "1"},
                        {"bind", "port", "--acl", "1", "2"},
                        {"dump"}}) {
        words.insert(words.begin(), {"--timeout", "3600000"});
        const ToolRun result = run_tool("/nonexistent", words);
        EXPECT_EQ(result.exit_code, 3);
        EXPECT_EQ(result.out, "");
        expect_part(result.err, "no daemon at /nonexistent/var/run/zv_acl_rm.sock: No such file");
    }
}

TEST(MissingDaemon, IsAnObjectInJson) {
    const ToolRun result = run_tool("/nonexistent", {"init", "--json"});
    EXPECT_EQ(result.exit_code, 3);
    const json answer = json::parse(result.out);
    EXPECT_EQ(answer.at("ok"), false);
    EXPECT_EQ(answer.at("exit"), 3);
}

TEST(OpenWord, SendsTheOwnerAndTheDefaultHandle) {
    StubDaemon daemon;
    const ToolRun result = run(daemon, {"open", "--owner", "tarn-os"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, "Opened as tarn-os with handle 0xac1.\n");
    ASSERT_EQ(daemon.requests().size(), 1u);
    const auto params = record<zv_acl_rm_open_params_t>(daemon.requests()[0]);
    EXPECT_EQ(params.client_handle, 0xac1u);
    EXPECT_EQ(params.owner, 1u);
}

TEST(OpenWord, IsTheOnlyOneThatOpens) {
    StubDaemon daemon;
    const std::string file = rule_file(daemon, rules(1));
    run(daemon, {"init"});
    run(daemon, {"acl", "create", "--size", "1"});
    run(daemon, {"rule", "load", file, "--acl", "1"});
    run(daemon, {"rule", "check", file});
    run(daemon, {"bind", "port", "--acl", "1", "2"});
    run(daemon, {"dump", daemon.directory() + "/d"});
    EXPECT_GE(daemon.requests().size(), 5u);
    for (const StubRequest &request : daemon.requests()) {
        EXPECT_NE(request.command, 2u);
    }
}

TEST(InitWord, SendsTheChipType) {
    StubDaemon daemon;
    EXPECT_EQ(run(daemon, {"init", "--chip", "9"}).out, "Limits of chip type 9 loaded.\n");
    EXPECT_EQ(record<zv_acl_rm_init_params_t>(daemon.requests()[0]).chip_type, 9u);
}

StubReply create_reply(const StubRequest &request) {
    StubReply reply = echo_reply(request);
    reply.body[0] = 17;  /* ACL id */
    reply.body[28] = 23; /* region id */
    return reply;
}

TEST(AclCreateWord, SendsTheAclAndPrintsItsIds) {
    StubDaemon daemon(create_reply);
    const ToolRun result = run(daemon, {"acl", "create", "--size", "512", "--direction", "egress",
                                        "--action-type", "4", "--handle", "9"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, "ACL 17 created: egress, room for 512 rules of key type 0, region 23.\n");
    const auto params = record<zv_acl_rm_acl_set_params_t>(daemon.requests()[0]);
    EXPECT_EQ(params.client_handle, 9u);
    EXPECT_EQ(params.cmd, 4u);
    EXPECT_EQ(params.acl.direction, 1u);
    EXPECT_EQ(params.acl.action_type, 4u);
    EXPECT_EQ(params.acl.min_size, 512u);
    EXPECT_EQ(params.acl.max_size, 512u);
}

TEST(AclCreateWord, PrintsAnObjectInJson) {
    StubDaemon daemon(create_reply);
    const json answer = json::parse(run(daemon, {"--json", "acl", "create", "--size", "5"}).out);
    EXPECT_EQ(answer.at("ok"), true);
    EXPECT_EQ(answer.at("acl_id"), 17);
    EXPECT_EQ(answer.at("region_id"), 23);
}

TEST(Refusal, NamesInputStatusAndMeaning) {
    StubDaemon daemon(refuse(ZV_ACL_RM_STATUS_NO_RESOURCES));
    const ToolRun result = run(daemon, {"acl", "create", "--size", "77"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.out, "");
    expect_part(result.err, "aclrmctl: creating an ACL of 77 rules: refused\n");
    expect_part(result.err,
                "  status 6, ZV_ACL_RM_STATUS_NO_RESOURCES\n"
                "  perhaps: the daemon holds 399 ACLs");
    const ToolRun numeric = run(daemon, {"-n", "acl", "create", "--size", "77"});
    expect_part(numeric.err, "  status 6\n  perhaps: ");
}

TEST(Refusal, HintsAtAHandleThatIsNotOpen) {
    StubDaemon daemon(refuse(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND));
    expect_part(run(daemon, {"acl", "create", "--size", "1"}).err,
                "'aclrmctl open --owner NAME' opens it");
}

TEST(Refusal, IsAnObjectInJson) {
    StubDaemon daemon(refuse(1));
    const ToolRun result = run(daemon, {"init", "--json"});
    EXPECT_EQ(result.exit_code, 4);
    const json answer = json::parse(result.out);
    EXPECT_EQ(answer.at("status"), 1);
    EXPECT_EQ(answer.at("status_name"), "ZV_ACL_RM_STATUS_ERROR");
    EXPECT_FALSE(answer.at("status_meaning").get<std::string>().empty());
    EXPECT_FALSE(answer.at("why").empty());
}

TEST(SilentDaemon, MakesTheToolGiveUpWithStatusFive) {
    StubDaemon daemon([](const StubRequest &) { return StubReply{.silent = true}; });
    const ToolRun result = run(daemon, {"init", "--timeout", "30"});
    EXPECT_EQ(result.exit_code, 5);
    expect_part(result.err, "no answer within 30 ms");
}

TEST(DyingDaemon, MakesTheToolEndWithStatusThree) {
    StubDaemon daemon([](const StubRequest &) { return StubReply{.hang_up = true}; });
    const ToolRun result = run(daemon, {"init"});
    EXPECT_EQ(result.exit_code, 3);
    expect_part(result.err, "the daemon went away");
}

/* Each in its own words, and what can be done about it. */
TEST(DaemonOfAnotherVersion, IsToldWithStatusSeven) {
    struct {
        StubReply reply;
        const char *what;
    } const rows[] = {{{.transport = 1}, "the daemon found the message malformed"},
                      {{.transport = 2}, "the daemon has no such command"},
                      {{.transport = 3}, "the daemon found the message too long"},
                      {{.body = {1, 2, 3}}, "the daemon's answer is none of this protocol"},
                      {{.garbage = true}, "the daemon's answer is none of this protocol"}};
    for (const auto &row : rows) {
        StubDaemon daemon([&row](const StubRequest &) { return row.reply; });
        const json answer = zv_test::own_members(run(daemon, {"-j", "init"}).out, 7);
        EXPECT_EQ(answer.at("error"),
                  std::string("loading the limits of chip type 1: ") + row.what);
        EXPECT_EQ(answer.at("hint"),
                  "daemon and tool are of different versions, which 'zv_acl_rm --version' and "
                  "'aclrmctl --version' tell");
        const ToolRun text = run(daemon, {"init"});
        EXPECT_EQ(text.exit_code, 7);
        EXPECT_EQ(text.out, "");
        expect_part(text.err, "different versions");
    }
}

/* It is there, which a daemon that is missing is not. */
TEST(BusyDaemon, IsNotSaidToBeMissing) {
    const zv_test::FullListener daemon(SOCK_SEQPACKET);
    const Words words{"--socket", daemon.path(), "--timeout", "3600000", "init", "-j"};
    const json answer = zv_test::own_members(run_tool("", words).out, 3);
    EXPECT_EQ(answer.at("error"), "the daemon at " + daemon.path() + " takes no connections now");
    EXPECT_EQ(answer.at("hint"), "it is very busy, or stopped: try again");
}

/* Root may connect all the same: the tool is then started without that capability. */
TEST(LockedSocket, IsNotSaidToBeMissing) {
    const zv_test::FullListener daemon(SOCK_SEQPACKET);
    ASSERT_EQ(chmod(daemon.path().c_str(), 0), 0);
    const Words words{"--socket", daemon.path(), "init", "-j"};
    bool locked = false;
    ToolRun run;
    std::thread([&] { /* what a thread gives up here the rest of the process keeps */
                      locked =
                          geteuid() != 0 || prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) == 0;
                      run = run_tool("", words);
    })
        .join();
    if (!locked) {
        GTEST_SKIP() << "no right to start a program with fewer rights";
    }
    const json answer = zv_test::own_members(run.out, 3);
    EXPECT_EQ(answer.at("error"), "no right to connect to the daemon at " + daemon.path());
    EXPECT_EQ(answer.at("hint"), "run aclrmctl as root or as the user that the socket belongs to");
}

TEST(BindPortWord, SendsThePortsInTheirOrder) {
    StubDaemon daemon;
    const ToolRun result = run(daemon, {"bind", "port", "--acl", "3", "65537-65540", "9"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, "ACL 3 bound to 5 ports: 65537-65540, 9.\n");
    const auto params = record<zv_acl_rm_acl_port_bind_params_t>(daemon.requests()[0]);
    EXPECT_EQ(params.cmd, 7u);
    EXPECT_EQ(params.acl_id, 3u);
    ASSERT_EQ(params.ports_num, 5u);
    EXPECT_EQ(params.log_ports[3], 65540u);
    EXPECT_EQ(params.log_ports[4], 9u);
}

TEST(BindPortWord, SplitsAListAtAHundredPorts) {
    for (const auto &[ports, commands] : {std::pair{"1-100", 1u}, {"1-101", 2u}, {"1-200", 2u}}) {
        StubDaemon daemon;
        EXPECT_EQ(run(daemon, {"bind", "port", "--acl", "3", ports}).exit_code, 0);
        EXPECT_EQ(daemon.requests().size(), commands) << ports;
    }
}

/* Writes what it is asked to, as the daemon does. */
StubReply write_dump(const StubRequest &request) {
    std::ofstream(std::string(request.attachment.begin(), request.attachment.end() - 1))
        << "=====ACL_RM Cache dump start:=====\n";
    return echo_reply(request);
}

TEST(DumpWord, PrintsTheDumpAndLeavesNoFile) {
    StubDaemon daemon(write_dump);
    const ToolRun result = run(daemon, {"dump"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "=====ACL_RM Cache dump start:=====\n");
    const auto attachment = daemon.requests()[0].attachment;
    EXPECT_FALSE(std::ifstream(std::string(attachment.begin(), attachment.end() - 1)).is_open());
}

TEST(DumpWord, HasTheDaemonWriteTheNamedFile) {
    StubDaemon daemon(write_dump);
    const std::string path = daemon.directory() + "/dump.txt";
    const ToolRun result = run(daemon, {"dump", path});
    EXPECT_EQ(result.out, path + ": 35 bytes written by the daemon.\n");
    EXPECT_EQ(run(daemon, {"dump", path}).exit_code, 0) << "a file that is there is replaced";
}

TEST(DumpWord, NoticesThatTheDaemonWroteNoFile) {
    StubDaemon daemon;
    const ToolRun result = run(daemon, {"dump", daemon.directory() + "/dump.txt"});
    EXPECT_EQ(result.exit_code, 7);
    expect_part(result.err, "dump.txt: the daemon did not write it");
    EXPECT_EQ(run(daemon, {"dump"}).exit_code, 7);
}

}  // namespace
