/* The tool's words: help, wrong ones, and what right ones ask for. */
#include "words.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/run_tool.h"

namespace {

using namespace aclrmctl;
using zv_test::run_tool;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

struct Read {
    std::optional<Invocation> invocation;
    int exit_code = -1;
    std::string out;
    std::string err;
};

Read read(Words words) {
    std::vector<const char *> argv{"aclrmctl"};
    for (const std::string &word : words) {
        argv.push_back(word.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    Read result;
    result.invocation =
        read_words(static_cast<int>(argv.size()), argv.data(), out, err, &result.exit_code);
    result.out = out.str();
    result.err = err.str();
    return result;
}

template <typename SomeRequest>
SomeRequest request(const Words &words) {
    const Read result = read(words);
    EXPECT_TRUE(result.invocation) << result.err;
    if (!result.invocation || !std::holds_alternative<SomeRequest>(result.invocation->request)) {
        ADD_FAILURE() << "another request";
        return {};
    }
    return std::get<SomeRequest>(result.invocation->request);
}

void expect_wrong(const Words &words, const std::string &part) {
    const Read result = read(words);
    EXPECT_FALSE(result.invocation);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
}

const std::vector<Words> kCommands{{},
                                   {"open"},
                                   {"init"},
                                   {"acl"},
                                   {"acl", "create"},
                                   {"rule"},
                                   {"rule", "load"},
                                   {"rule", "check"},
                                   {"bind"},
                                   {"bind", "port"},
                                   {"dump"},
                                   {"switch"},
                                   {"switch", "packet"},
                                   {"switch", "state"},
                                   {"switch", "usage"},
                                   {"switch", "faults"}};

TEST(Help, IsThereForEveryCommandAndNeedsNoDaemon) {
    for (Words words : kCommands) {
        words.push_back("--help");
        const ToolRun run = run_tool("/nonexistent", words);
        EXPECT_EQ(run.exit_code, 0) << words.front();
        EXPECT_NE(run.out.find("Usage: "), std::string::npos) << words.front();
        EXPECT_EQ(run.err, "");
    }
}

TEST(Help, ShowsAnExampleOfEveryCommandThatDoesSomething) {
    for (Words words : kCommands) {
        const bool group = words.empty() || words == Words{"acl"} || words == Words{"rule"} ||
                           words == Words{"bind"} || words == Words{"switch"};
        words.push_back("--help");
        if (!group) {
            EXPECT_NE(read(words).out.find("\n  aclrmctl " + words.front()), std::string::npos)
                << words.front();
        }
    }
}

TEST(Help, NamesEveryExitStatus) {
    const std::string text = read({"--help"}).out;
    for (int code = 0; code <= 7; code++) {
        EXPECT_NE(text.find("\n  " + std::to_string(code) + "  "), std::string::npos) << code;
    }
}

TEST(WrongWords, EndWithStatusOneAndAReason) {
    expect_wrong({}, "A command is required");
    expect_wrong({"acl"}, "A command is required");
    expect_wrong({"acl", "crate"}, "crate");
    expect_wrong({"frobnicate"}, "frobnicate");
    expect_wrong({"open"}, "--owner is required");
    expect_wrong({"open", "--owner", "nobody"}, "--owner");
    expect_wrong({"acl", "create"}, "--size is required");
    expect_wrong({"acl", "create", "--size", "many"}, "many");
    expect_wrong({"acl", "create", "--size", "-1"}, "-1");
    expect_wrong({"acl", "create", "--size", "4294967296"}, "4294967296");
    expect_wrong({"acl", "create", "--size", "1", "--direction", "sideways"}, "sideways");
    expect_wrong({"rule", "load", "f"}, "--acl");
    expect_wrong({"rule", "load", "--acl", "1"}, "FILE is required");
    expect_wrong({"rule", "load", "f", "--acl", "1", "--verdict", "deny"}, "deny");
    expect_wrong({"bind", "port", "--acl", "1"}, "PORT is required");
    expect_wrong({"bind", "port", "--acl", "1", "6x"}, "'6x'");
    expect_wrong({"switch", "packet"}, "exactly one of --port and --rif");
    expect_wrong({"switch", "packet", "--port", "1", "--rif", "1"}, "exactly one");
    expect_wrong({"switch", "packet", "--port", "1", "--src", "10.0.0"}, "'10.0.0'");
    expect_wrong({"switch", "packet", "--port", "1", "--proto", "256"}, "256");
    expect_wrong({"switch", "packet", "--port", "1", "--dport", "65536"}, "65536");
    expect_wrong({"switch", "packet", "--port", "1", "--key", "00"}, "256 hexadecimal digits");
    expect_wrong({"switch", "faults"}, "--set or --clear");
    expect_wrong({"switch", "faults", "--clear", "--set", "[]"}, "--clear");
    expect_wrong({"switch", "state", "--rules", "--active"}, "--active");
}

TEST(WrongWords, IncludeNumbersBesideTheirLimits) {
    for (const char *batch : {"1", "20"}) {
        EXPECT_TRUE(read({"rule", "load", "f", "--acl", "1", "--batch", batch}).invocation);
    }
    for (const char *in_flight : {"1", "32"}) {
        EXPECT_TRUE(read({"rule", "load", "f", "--acl", "1", "--in-flight", in_flight}).invocation);
    }
    expect_wrong({"rule", "load", "f", "--acl", "1", "--batch", "0"}, "--batch");
    expect_wrong({"rule", "load", "f", "--acl", "1", "--batch", "21"}, "--batch");
    expect_wrong({"rule", "load", "f", "--acl", "1", "--in-flight", "0"}, "--in-flight");
    expect_wrong({"rule", "load", "f", "--acl", "1", "--in-flight", "33"}, "--in-flight");
    expect_wrong({"dump", "--timeout", "0"}, "--timeout");
}

TEST(WrongWords, MakeTheProcessEndWithStatusOne) {
    const ToolRun run = run_tool("", {"open"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(run.err.find("--owner is required"), std::string::npos);
    EXPECT_EQ(run.out, "");
}

TEST(Words, NameTheFourOwners) {
    EXPECT_EQ(request<OpenRequest>({"open", "--owner", "open-flow"}).owner, 0u);
    EXPECT_EQ(request<OpenRequest>({"open", "--owner", "tarn-os"}).owner, 1u);
    EXPECT_EQ(request<OpenRequest>({"open", "--owner", "PRA"}).owner, 2u);
    EXPECT_EQ(request<OpenRequest>({"open", "--owner", "of13"}).owner, 3u);
}

TEST(Words, HaveDefaultsForTheSettings) {
    const Settings settings = read({"dump"}).invocation->settings;
    EXPECT_EQ(settings.socket, "/var/run/zv_acl_rm.sock");
    EXPECT_EQ(settings.switch_socket, "/var/run/zv_switch.sock");
    EXPECT_EQ(settings.handle, 0xac1u);
    EXPECT_EQ(settings.timeout_ms, 5000);
    EXPECT_FALSE(settings.json);
}

TEST(Words, TakeSettingsBeforeAndBehindTheCommand) {
    const Settings before =
        read({"--handle", "0x10", "--socket", "/s", "--timeout", "7", "--json", "dump"})
            .invocation->settings;
    EXPECT_EQ(before.handle, 16u);
    EXPECT_EQ(before.socket, "/s");
    EXPECT_EQ(before.timeout_ms, 7);
    EXPECT_TRUE(before.json);
    EXPECT_EQ(
        read({"bind", "port", "--acl", "1", "5", "--handle", "12"}).invocation->settings.handle,
        12u);
}

TEST(Words, DescribeAnAcl) {
    const auto plain = request<AclCreateRequest>({"acl", "create", "--size", "512"});
    EXPECT_EQ(plain.size, 512u);
    EXPECT_EQ(plain.direction, 0u);
    const auto full = request<AclCreateRequest>({"acl", "create", "--size", "1", "--key-type", "2",
                                                 "--action-type", "3", "--acl-type", "4",
                                                 "--direction", "egress"});
    EXPECT_EQ(full.key_type, 2u);
    EXPECT_EQ(full.action_type, 3u);
    EXPECT_EQ(full.acl_type, 4u);
    EXPECT_EQ(full.direction, 1u);
    EXPECT_EQ(
        request<AclCreateRequest>({"acl", "create", "--size", "1", "--direction", "5"}).direction,
        5u);
}

TEST(Words, DescribeALoad) {
    const auto load = request<RuleLoadRequest>(
        {"rule", "load", "f", "--acl", "3", "--first-priority", "40", "--batch", "5", "--in-flight",
         "2", "--counter", "9", "--forward-port", "65540", "--verdict", "drop"});
    EXPECT_EQ(load.file, "f");
    EXPECT_EQ(load.acl_id, 3u);
    EXPECT_EQ(load.batch, 5u);
    EXPECT_EQ(load.in_flight, 2u);
    EXPECT_EQ(load.options.first_priority, 40u);
    EXPECT_EQ(load.options.counter_id, 9u);
    EXPECT_EQ(load.options.forward_port, 65540u);
    EXPECT_EQ(load.options.verdict, Verdict::kDrop);
    EXPECT_FALSE(
        request<RuleLoadRequest>({"rule", "load", "f", "--acl", "3"}).options.forward_port);
}

TEST(Words, CheckAFileTwoWays) {
    EXPECT_EQ(request<RuleCheckRequest>({"rule", "check", "f"}).file, "f");
    EXPECT_EQ(request<RuleCheckRequest>({"rule", "load", "--check", "f"}).file, "f");
}

TEST(Words, DescribeAPacketByItsFields) {
    const auto packet = request<PacketRequest>(
        {"switch",    "packet",  "--port",   "65537",   "--src",       "10.0.0.1", "--dst",
         "192.0.2.2", "--proto", "tcp",      "--sport", "1024",        "--dport",  "443",
         "--flags",   "0x02",    "--length", "128",     "--direction", "egress"});
    EXPECT_FALSE(packet.router_interface);
    EXPECT_EQ(packet.ingress_point, 65537u);
    EXPECT_EQ(packet.direction, 1u);
    EXPECT_EQ(packet.length, 128u);
    EXPECT_EQ(packet.key, encode_packet({0x0A000001, 0xC0000202, 6, 1024, 443, 2}));
}

TEST(Words, DescribeAPacketByItsKey) {
    const std::string hex = "ff" + std::string(252, '0') + "01";
    const auto packet =
        request<PacketRequest>({"switch", "packet", "--rif", "7", "--key", hex, "--key-type", "3"});
    EXPECT_TRUE(packet.router_interface);
    EXPECT_EQ(packet.ingress_point, 7u);
    EXPECT_EQ(packet.key_type, 3u);
    EXPECT_EQ(key_to_hex(packet.key), hex);
}

TEST(PortList, ReadsNumbersRangesAndLists) {
    const auto ports =
        request<BindPortRequest>({"bind", "port", "--acl", "1", "5", "7-9,3", "65537-65537"}).ports;
    EXPECT_EQ(ports, (std::vector<uint32_t>{5, 7, 8, 9, 3, 65537}));
}

TEST(PortList, RefusesWhatIsNone) {
    std::vector<uint32_t> ports;
    for (const char *text :
         {"", ",", "5,", "a", "5-", "-5", "5--6", "5-6-7", "0x5", " 5", "4294967296"}) {
        EXPECT_NE(read_port_list(text, &ports), "") << text;
    }
    EXPECT_EQ(read_port_list("9-8", &ports), "the range '9-8' ends before it begins");
}

TEST(PortList, Holds4096Ports) {
    std::vector<uint32_t> ports;
    EXPECT_EQ(read_port_list("1-4096", &ports), "");
    EXPECT_EQ(ports.size(), 4096u);
    EXPECT_NE(read_port_list("5000", &ports), "");
    ports.clear();
    EXPECT_NE(read_port_list("1-4097", &ports), "");
    EXPECT_NE(read_port_list("0-4294967295", &ports), "");
    ports.clear();
    EXPECT_EQ(read_port_list("4294967294-4294967295", &ports), "");
    EXPECT_EQ(ports.size(), 2u);
}

}  // namespace
