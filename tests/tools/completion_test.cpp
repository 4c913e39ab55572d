/* Completion as bash has it: the script is sourced, a line set up, its function called. */
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tests/client/stub_daemon.h"
#include "tests/tools/tool_session.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace {

using Words = std::vector<std::string>;

std::string quoted(const std::string &text) {
    return "'" + text + "'"; /* no word of a test has a quote in it */
}

/* What bash offers for the last of `words`, whose pieces are those that bash would have made. */
Words offered(const std::string &root, const Words &words) {
    std::string line;
    for (const std::string &word : words) {
        line += " " + quoted(word);
    }
    const std::string script =
        "export ZV_PLATFORM_ROOT=" + quoted(root) +
        "; source " ZV_TEST_COMPLETION_SCRIPT "; COMP_WORDS=(" + zv_test::tool_path() + line +
        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1));" +
        " _aclrmctl; ((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\"; true";
    FILE *pipe = popen(("bash --norc -c \"" +
                        [&] {
                            std::string escaped;
                            for (const char c : script) {
                                escaped += c == '"' || c == '$' || c == '\\' ? std::string("\\") + c
                                                                             : std::string(1, c);
                            }
                            return escaped;
                        }() +
                        "\" 2>&1")
                           .c_str(),
                       "r");
    std::string text;
    char buffer[4096];
    while (fgets(buffer, sizeof(buffer), pipe) != nullptr) {
        text += buffer;
    }
    EXPECT_EQ(pclose(pipe), 0) << text;
    std::istringstream lines(text);
    Words result;
    for (std::string word; std::getline(lines, word);) {
        result.push_back(word);
    }
    std::sort(result.begin(), result.end());
    return result;
}

Words without_daemon(const Words &words) {
    return offered("/nonexistent", words);
}

TEST(Completion, OffersCommands) {
    EXPECT_EQ(without_daemon({""}), (Words{"acl", "bind", "counter", "demo", "dump", "init", "mc",
                                           "open", "port", "rule", "show", "switch", "unbind"}));
    EXPECT_EQ(without_daemon({"acl", ""}), (Words{"create", "destroy", "edit", "resize"}));
    EXPECT_EQ(without_daemon({"-j", "sh"}), (Words{"show"}));
    EXPECT_EQ(without_daemon({"--timeout", "1s", "mc", "de"}), (Words{"del", "delete"}));
    EXPECT_EQ(without_daemon({"frobnicate", "x"}), Words{});
}

TEST(Completion, OffersOptionsThatAreNotThereYet) {
    EXPECT_EQ(without_daemon({"acl", "resize", "--"}),
              (Words{"--acl", "--handle", "--help", "--json", "--numeric", "--size", "--socket",
                     "--switch-socket", "--timeout", "--version"}));
    EXPECT_EQ(without_daemon({"acl", "resize", "--acl", "1", "--si"}), (Words{"--size"}));
    EXPECT_EQ(without_daemon({"acl", "resize", "--acl", "1", "--ac"}), Words{});
}

TEST(Completion, OffersNames) {
    EXPECT_EQ(without_daemon({"open", "--owner", ""}),
              (Words{"OF13", "PRA", "open-flow", "tarn-os"}));
    EXPECT_EQ(without_daemon({"acl", "create", "--direction", "e"}), (Words{"egress"}));
    EXPECT_EQ(without_daemon({"counter", "create", "--type", ""}), (Words{"bytes", "packets"}));
    EXPECT_EQ(without_daemon({"switch", "packet", "--key-type", "i"}), (Words{"ipv4", "ipv6"}));
    EXPECT_EQ(without_daemon({"rule", "add", "--verdict", "d"}), (Words{"drop"}));
    for (const Words &command : {Words{"rule", "add"}, Words{"switch", "packet"}}) {
        Words words = command;
        words.insert(words.end(), {"--proto", ""});
        EXPECT_EQ(without_daemon(words), (Words{"icmp", "icmp6", "tcp", "udp"}));
    }
}

TEST(Completion, OffersTheCallsThatCanFail) {
    EXPECT_EQ(without_daemon({"switch", "faults", "--call", "zv_api_acl_rules"}),
              (Words{"zv_api_acl_rules_get", "zv_api_acl_rules_set"}));
    zv_test::ToolSession session;
    const std::string root = session.daemon().root().path().string();
    for (const std::string &call : offered(root, {"switch", "faults", "--call", ""})) {
        EXPECT_EQ(session.run({"switch", "faults", "--call", call}).exit_code, 0) << call;
    }
    session.text({"switch", "faults", "--clear"});
}

TEST(Completion, OffersNamesBehindAnEqualsSign) {
    EXPECT_EQ(without_daemon({"acl", "create", "--direction", "=", "in"}), (Words{"ingress"}));
    EXPECT_EQ(without_daemon({"acl", "create", "--direction", "="}), (Words{"egress", "ingress"}));
}

TEST(Completion, OffersTheFormatsThatACommandTakes) {
    EXPECT_EQ(without_daemon({"rule", "check", "--format", ""}),
              (Words{"auto", "classic", "json", "policy"}));
    EXPECT_EQ(without_daemon({"rule", "load", "--format", "=", "c"}), (Words{"classic"}));
    EXPECT_EQ(without_daemon({"rule", "get", "--format", ""}), (Words{"json", "policy"}));
}

TEST(Completion, ReadsAnOptionsValueBehindAnEqualsSign) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "16"});
    session.text({"rule", "add", "--acl", "1", "--priority", "3"});
    const std::string socket = session.daemon().root().file("var/run/zv_acl_rm.sock");
    EXPECT_EQ(offered("", {"--socket", "=", socket, "acl", "destroy", "--acl", ""}), (Words{"1"}));
    EXPECT_EQ(offered("", {"--socket", socket, "rule", "get", "--acl", "=", "1", ""}),
              (Words{"3"}));
    EXPECT_EQ(without_daemon({"acl", "resize", "--acl", "=", "1", "--ac"}), Words{});
}

/* A shell waits for all of it: the first call without an answer takes the time of all others. */
TEST(Completion, AsksForNothingMoreWhenItsTimeIsOver) {
    constexpr uint32_t kCounters = 10;
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "16"});
    for (uint32_t i = 0; i < kCounters; i++) {
        session.text({"counter", "create", "--type", "packets"});
        session.text({"rule", "add", "--acl", "1", "--priority", std::to_string(i), "--counter",
                      std::to_string(i + 1)});
    }
    const std::string dump = session.text({"dump"});
    const zv_test::StubDaemon stub([&](const zv_test::StubRequest &request) {
        zv_test::StubReply reply = zv_test::echo_reply(request);
        if (request.command == ZV_ACL_RM_API_INT_CMD_DUMP) {
            std::ofstream(request.attachment.data() == nullptr
                              ? ""
                              : reinterpret_cast<const char *>(request.attachment.data()))
                << dump;
        }
        if (request.command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET) {
            zv_acl_rm_acl_rule_get_params_t params{};
            std::memcpy(&params, request.body.data(), sizeof(params));
            for (uint32_t i = 0; i < params.rules_num; i++) {
                params.rules[i].readout.counter_id = params.rules[i].offset + 1;
            }
            std::memcpy(reply.body.data(), &params, sizeof(params));
        }
        reply.silent = request.command == ZV_ACL_RM_API_INT_CMD_COUNTER_GET;
        return reply;
    });
    offered("", {"--socket", stub.socket_path(), "counter", "read", ""});
    const std::vector<zv_test::StubRequest> requests = stub.requests();
    const auto reads_num =
        std::count_if(requests.begin(), requests.end(), [](const zv_test::StubRequest &request) {
            return request.command == ZV_ACL_RM_API_INT_CMD_COUNTER_GET;
        });
    EXPECT_FALSE(requests.empty());
    EXPECT_LE(reads_num, 2) << "of " << kCounters;
}

TEST(Completion, OffersFiles) {
    const zv_test::TempDir directory;
    std::ofstream(directory.file("edge.rules")) << "\n";
    EXPECT_EQ(without_daemon({"rule", "check", directory.file("ed")}),
              (Words{directory.file("edge.rules")}));
}

TEST(Completion, IsSilentAboutIdsWithoutADaemon) {
    EXPECT_EQ(without_daemon({"acl", "destroy", "--acl", ""}), Words{});
    EXPECT_EQ(without_daemon({"counter", "read", ""}), Words{});
    EXPECT_EQ(without_daemon({"bind", "port", "--acl", "1", ""}), Words{});
}

TEST(Completion, IsSilentWhereTheDaemonDoesNotAnswer) {
    zv_test::ToolSession session;
    const std::string root = session.daemon().root().path().string();
    session.daemon().signal(SIGSTOP);
    EXPECT_EQ(offered(root, {"acl", "destroy", "--acl", ""}), Words{});
    session.daemon().signal(SIGCONT);
}

TEST(Completion, OffersIdsThatAreThere) {
    zv_test::ToolSession session;
    const std::string root = session.daemon().root().path().string();
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "16"});
    session.text({"acl", "create", "--size", "16"});
    session.text({"counter", "create", "--type", "packets"});
    session.text({"mc", "create", "65540"});
    session.text({"rule", "add", "--acl", "2", "--priority", "3", "--counter", "1"});
    session.text({"rule", "add", "--acl", "2", "--priority", "4"});
    session.text({"bind", "port", "--acl", "1", "65539,65541"});
    session.text({"bind", "rif", "--acl", "1", "7"});
    EXPECT_EQ(offered(root, {"acl", "destroy", "--acl", ""}), (Words{"1", "2"}));
    EXPECT_EQ(offered(root, {"counter", "read", ""}), (Words{"1"}));
    EXPECT_EQ(offered(root, {"rule", "add", "--counter", ""}), (Words{"1"}));
    EXPECT_EQ(offered(root, {"mc", "get", ""}), (Words{"1"}));
    EXPECT_EQ(offered(root, {"mc", "add", "1", ""}).size(), 32u);
    EXPECT_EQ(offered(root, {"rule", "get", "--acl", "2", ""}), (Words{"3-4"}));
    EXPECT_EQ(offered(root, {"rule", "get", "--acl", "2", "3"}), (Words{"3"}));
    EXPECT_EQ(offered(root, {"rule", "get", "--acl", "2", "3,4"}), (Words{"3,4"}));
    EXPECT_EQ(offered(root, {"rule", "get", "--acl", "2", "9,"}), (Words{"9,3-4"}));
    EXPECT_EQ(offered(root, {"unbind", "port", "--acl", "1", ""}), (Words{"65539", "65541"}));
    EXPECT_EQ(offered(root, {"unbind", "port", "--acl", "1", "65539,"}), (Words{"65539,65541"}));
    EXPECT_EQ(offered(root, {"unbind", "rif", "--acl", "1", ""}), (Words{"7"}));
    EXPECT_EQ(offered(root, {"switch", "packet", "--port", "655"}).size(), 32u);
}

TEST(Options, AreListedOneALine) {
    const zv_test::ToolRun run = zv_test::run_tool("", {"__options"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("acl create\t--size\tUINT\trequired\n"), std::string::npos);
    EXPECT_NE(run.out.find("\t-j,--json\t-\toptional\n"), std::string::npos);
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 3) << line;
    }
}

}  // namespace
