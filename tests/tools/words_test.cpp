/* The tool's words: help, wrong ones, and what right ones ask for. */
#include "words.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "exit_codes.h"
#include "frame.h"
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

Read read(Words words, size_t columns = 0) {
    std::vector<const char *> argv{"aclrmctl"};
    for (const std::string &word : words) {
        argv.push_back(word.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    Read result;
    result.invocation = read_words(static_cast<int>(argv.size()), argv.data(), out, err,
                                   &result.exit_code, columns);
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
                                   {"acl", "destroy"},
                                   {"acl", "edit"},
                                   {"acl", "resize"},
                                   {"rule"},
                                   {"rule", "load"},
                                   {"rule", "check"},
                                   {"rule", "add"},
                                   {"rule", "del"},
                                   {"rule", "get"},
                                   {"rule", "move"},
                                   {"bind"},
                                   {"bind", "port"},
                                   {"bind", "rif"},
                                   {"bind", "system"},
                                   {"unbind"},
                                   {"unbind", "port"},
                                   {"unbind", "rif"},
                                   {"unbind", "system"},
                                   {"port"},
                                   {"port", "add"},
                                   {"port", "del"},
                                   {"counter"},
                                   {"counter", "create"},
                                   {"counter", "destroy"},
                                   {"counter", "read"},
                                   {"counter", "clear"},
                                   {"mc"},
                                   {"mc", "create"},
                                   {"mc", "add"},
                                   {"mc", "del"},
                                   {"mc", "delete"},
                                   {"mc", "get"},
                                   {"dump"},
                                   {"show"},
                                   {"show", "acls"},
                                   {"show", "rules"},
                                   {"show", "groups"},
                                   {"show", "counters"},
                                   {"show", "ports"},
                                   {"show", "owners"},
                                   {"show", "mc"},
                                   {"show", "forwarding"},
                                   {"switch"},
                                   {"switch", "packet"},
                                   {"switch", "state"},
                                   {"switch", "usage"},
                                   {"switch", "ports"},
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

bool is_group(const Words &words) {
    static const std::set<Words> groups{{},       {"acl"},     {"rule"}, {"bind"},  {"unbind"},
                                        {"port"}, {"counter"}, {"mc"},   {"switch"}};
    return groups.count(words) > 0;
}

TEST(Help, ShowsAnExampleOfEveryCommandThatDoesSomething) {
    for (Words words : kCommands) {
        const bool group = is_group(words);
        std::string example = "\n  aclrmctl";
        for (const std::string &word : words) {
            example += " " + word;
        }
        words.push_back("--help");
        if (!group) {
            EXPECT_NE(read(words).out.find(example), std::string::npos) << example;
        }
    }
}

TEST(Help, ShowsExamplesThatAreAccepted) {
    const auto accepted = [](const std::string &line) {
        std::istringstream stream(line);
        Words words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        words.erase(words.begin()); /* the tool's own name */
        const Read result = read(words);
        EXPECT_TRUE(result.invocation) << line << "\n" << result.err;
    };
    int examples = 0;
    for (Words words : kCommands) {
        words.push_back("--help");
        std::istringstream help(read(words).out);
        for (std::string line, rest; std::getline(help, line);) {
            while (!line.empty() && line.back() == '\\' && std::getline(help, rest)) {
                line = line.substr(0, line.size() - 1) + rest;
            }
            /* A quoted JSON list is the shell's to read, not this test's. */
            line = line.substr(0, line.find(" > ")); /* nor is where the output goes */
            if (line.rfind("  aclrmctl ", 0) == 0 && line.find('\'') == std::string::npos) {
                accepted(line);
                examples++;
            }
        }
    }
    EXPECT_GT(examples, 40);
}

TEST(Help, FitsATerminalOf80Columns) {
    for (Words words : kCommands) {
        words.push_back("--help");
        std::istringstream help(read(words).out);
        for (std::string line; std::getline(help, line);) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}

TEST(Help, NamesEveryExitStatus) {
    const std::string text = read({"--help"}).out;
    for (int code = 0; code <= kExitPartial; code++) {
        EXPECT_NE(text.find("\n  " + std::to_string(code) + "  "), std::string::npos) << code;
    }
}

TEST(WrongWords, EndWithStatusOneAndAReason) {
    expect_wrong({}, "needs a command");
    expect_wrong({"acl"}, "needs a command");
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
    expect_wrong({"acl", "destroy"}, "--acl is required");
    expect_wrong({"acl", "edit", "--acl", "1"}, "--direction is required");
    expect_wrong({"acl", "edit", "--acl", "1", "--direction", "up"}, "up");
    expect_wrong({"acl", "resize", "--acl", "1"}, "--size is required");
    expect_wrong({"rule", "del", "--acl", "1"}, "OFFSET is required");
    expect_wrong({"rule", "del", "--acl", "1", "3-1"}, "ends before it begins");
    expect_wrong({"rule", "get", "1"}, "--acl is required");
    expect_wrong({"rule", "get", "--acl", "1", "x"}, "'x' is neither an offset");
    expect_wrong({"rule", "get", "--acl", "1", "1", "--activity", "--clear-activity"}, "excludes");
    expect_wrong({"rule", "move", "--acl", "1", "--from", "1", "--to", "2"}, "--count is required");
    expect_wrong({"unbind", "port", "--acl", "1"}, "PORT is required");
    expect_wrong({"bind", "rif", "--acl", "1", "65536"}, "'65536': a router interface is at most");
    expect_wrong({"bind", "system"}, "--acl is required");
    expect_wrong({"port", "add"}, "PORT is required");
    expect_wrong({"port", "65537"}, "65537");
    expect_wrong({"counter", "create"}, "--type is required");
    expect_wrong({"counter", "create", "--type", "2"}, "'2' is neither packets nor bytes");
    expect_wrong({"counter", "read"}, "ID is required");
    expect_wrong({"counter", "clear", "one"}, "one");
    expect_wrong({"mc", "create", "5-"}, "'5-'");
    expect_wrong({"mc", "add", "1"}, "PORT is required");
    expect_wrong({"mc", "get"}, "ID is required");
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

TEST(WrongWords, OfARuleNameTheOption) {
    const auto expect_wrong_rule = [](Words words, const std::string &part) {
        words.insert(words.begin(), {"rule", "add", "--acl", "1", "--priority", "0"});
        expect_wrong(words, part);
    };
    expect_wrong({"rule", "add", "--acl", "1"}, "--priority is required");
    expect_wrong_rule({"--src", "10.0.0.0/33"}, "--src: '10.0.0.0/33'");
    expect_wrong_rule({"--dst", "10.0.0"}, "--dst: '10.0.0'");
    expect_wrong_rule({"--proto", "256"}, "--proto: '256'");
    expect_wrong_rule({"--sport", "65536"}, "--sport: '65536'");
    expect_wrong_rule({"--dport", "1-6"}, "--dport: '1-6' is no prefix");
    expect_wrong_rule({"--flags", "2/x"}, "--flags: '2/x'");
    expect_wrong_rule({"--verdict", "deny"}, "deny");
    expect_wrong_rule({"--key", "00"}, "--key and --mask belong together");
    expect_wrong_rule({"--mask", "00"}, "--key and --mask belong together");
    expect_wrong_rule({"--key", "0", "--mask", "00"}, "--key: '0'");
    expect_wrong_rule({"--key", "00", "--mask", "zz"}, "--mask: 'zz'");
    expect_wrong_rule({"--key-type", "2"}, "--key-type requires --key");
    for (const char *field : {"--src", "--dst", "--proto", "--sport", "--dport", "--flags"}) {
        expect_wrong_rule({"--key", "00", "--mask", "00", field, "1"},
                          std::string("--key excludes ") + field);
    }
    expect_wrong_rule({"--forward-port", "1", "--forward-mc", "1"}, "--forward-mc excludes");
    expect_wrong_rule({"--counter", "0"}, "--counter: there is no counter 0");
    expect_wrong({"rule", "load", "f", "--acl", "1", "--counter", "0"}, "there is no counter 0");
}

/* The line under the message that shows the command line, and the caret's line. */
std::pair<std::string, std::string> picture(const Words &words) {
    std::istringstream lines(read(words).err);
    std::string message;
    std::string line;
    std::string caret;
    std::getline(lines, message);
    std::getline(lines, line);
    std::getline(lines, caret);
    return {line, caret};
}

/* What stands over the carets. */
std::string pointed_at(const Words &words) {
    const auto [line, caret] = picture(words);
    const size_t start = caret.find('^');
    EXPECT_NE(start, std::string::npos) << line << "\n" << caret;
    EXPECT_LE(line.size(), 80u);
    return start == std::string::npos ? "" : line.substr(start, caret.size() - start);
}

TEST(WrongWords, ArePointedAt) {
    EXPECT_EQ(pointed_at({"acl", "crate"}), "crate");
    EXPECT_EQ(pointed_at({"acl", "create", "--siez", "5"}), "--siez");
    EXPECT_EQ(pointed_at({"acl", "create", "--size", "5x"}), "5x");
    EXPECT_EQ(pointed_at({"acl", "create", "--size=5x"}), "--size=5x");
    EXPECT_EQ(pointed_at({"open", "--owner", "nobody"}), "nobody");
    EXPECT_EQ(pointed_at({"bind", "port", "--acl", "1", "7", "8x"}), "8x");
    EXPECT_EQ(pointed_at({"init", "extra"}), "extra");
    EXPECT_EQ(picture({"acl", "create", "--size", "5x", "--socket", "5x"}).second,
              picture({"acl", "create", "--size", "5x"}).second)
        << "the value, not what is spelt like it";
    EXPECT_EQ(pointed_at({"--timeout", "5x", "init"}), "5x");
    EXPECT_EQ(pointed_at({"acl", "create", "--size", "1", "--size", "2"}), "2");
    EXPECT_EQ(pointed_at({"switch", "packet", "--port", "1", "--src", "::g"}), "::g");
    EXPECT_EQ(
        pointed_at({"switch", "packet", "--port", "1", "--src", "10.0.0", "--proto", "icmp6"}),
        "10.0.0")
        << "before what would not fit an address";
    EXPECT_EQ(pointed_at({"switch", "packet", "--port", "1", "--mac-src", "1:2"}), "1:2");
    EXPECT_EQ(read({"init", "--owner"}).err.find("did you mean"), std::string::npos);
}

/* At the protocol, whatever else among the words is spelt like it. */
TEST(WrongWords, OfTheOtherVersionOfIpArePointedAt) {
    for (const auto &[source, protocol] : {std::pair<std::string, std::string>{"10.0.0.1", "icmp6"},
                                           {"10.0.0.1", "icmpv6"},
                                           {"::1", "icmp"}}) {
        for (const Words &command : {Words{"rule", "add", "--acl", "1", "--priority", "0"},
                                     Words{"switch", "packet", "--port", "1"}}) {
            Words words = command;
            words.insert(words.end(), {"--proto", protocol, "--src", source});
            words.insert(words.end(), {"--socket", "/" + protocol});
            const Read result = read(words);
            EXPECT_EQ(result.exit_code, 1);
            EXPECT_EQ(
                result.err.rfind(
                    "aclrmctl: --proto: " + protocol + " belongs to the other version of IP\n", 0),
                0u)
                << result.err;
            EXPECT_EQ(pointed_at(words), protocol);
            words = command;
            words.insert(words.end(), {"--dst", source, "--proto=" + protocol});
            EXPECT_EQ(pointed_at(words), "--proto=" + protocol);
        }
    }
}

TEST(WrongWords, ArePointedAtInLongLines) {
    const std::string list(200, '1');
    EXPECT_EQ(pointed_at({"bind", "port", "--acl", "1", "1,2,3,4", list}).substr(0, 5), "11111");
    EXPECT_EQ(pointed_at({"rule", "get", "--acl", "1", "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17",
                          "18,19,20,21,22", "23x"}),
              "23x");
}

/* A character has one column, however many bytes. */
TEST(WrongWords, BehindWordsOfManyBytesArePointedAt) {
    EXPECT_EQ(picture({"rule", "load", "\u00c4.rules", "--bad"}),
              std::pair(std::string("    aclrmctl rule load \u00c4.rules --bad"),
                        std::string(31, ' ') + "^^^^^"));
    const std::string frankly = "--\u00fc\u00fc";
    EXPECT_EQ(picture({"init", frankly}).second, std::string(18, ' ') + "^^^^");
}

TEST(WrongWords, AreCutBetweenCharacters) {
    std::string umlauts;
    for (int i = 0; i < 100; i++) {
        umlauts += "\u00c4";
    }
    for (const char *odd : {"", "x"}) {
        const auto [line, caret] = picture({"rule", "load", odd + umlauts, "--bad"});
        EXPECT_EQ(line.find('?'), std::string::npos) << line;
        EXPECT_EQ(line.substr(0, 7), "    ...");
        EXPECT_EQ(line.substr(line.size() - 6), " --bad");
        EXPECT_EQ(caret, std::string(4 + 3 + 30, ' ') + "^^^^^");
        EXPECT_EQ(picture({"rule", "lod", odd + umlauts}).first.find('?'), std::string::npos);
    }
}

TEST(WrongWords, SendNothingToTheTerminalThatItWouldObey) {
    const std::string evil = "\x1b[2J\x7f\xc2\x9b\x9b\n\t";
    const std::string shown = "?[2J?????";
    for (const Words &words : {Words{"init", evil}, Words{"init", "--" + evil}, Words{evil},
                               Words{"init", "--chip", evil}, Words{"open", "--owner", evil},
                               Words{"rule", "get", "--acl", "1", evil}}) {
        const Read result = read(words);
        EXPECT_EQ(result.exit_code, 1);
        for (const char *byte : {"\x1b", "\x7f", "\x9b", "\t"}) {
            EXPECT_EQ(result.err.find(byte), std::string::npos) << result.err;
        }
        EXPECT_NE(result.err.find(shown), std::string::npos) << result.err;
        EXPECT_NE(picture(words).first.find(shown), std::string::npos) << result.err;
    }
}

TEST(WrongWords, AreToldWithinTheColumnsOfTheTerminal) {
    const Words words{"switch", "packet", "--port", "1", "--proto", "tpc"};
    const std::string whole = read(words).err;
    const std::string sentence = whole.substr(0, whole.find('\n'));
    EXPECT_GT(sentence.size(), 79u);
    for (const size_t columns : {40u, 79u, 200u}) {
        std::istringstream lines(read(words, columns).err);
        std::string first;
        std::getline(lines, first);
        EXPECT_EQ(first == sentence, columns == 200) << first;
        for (std::string line = first; std::getline(lines, line);) {
            EXPECT_TRUE(line.size() <= columns || line.find("aclrmctl switch packet") == 4 ||
                        line.find('^') != std::string::npos)
                << line;
        }
        EXPECT_LE(first.size(), columns);
    }
}

TEST(WrongWords, ThatAreMissingArePointedAtNowhere) {
    EXPECT_EQ(read({"open"}).err,
              "aclrmctl: --owner is required\n  hint: 'aclrmctl open --help' tells more\n");
}

TEST(WrongWords, AreAnObjectInJson) {
    for (const char *option : {"--json", "-j", "-nj", "-qj", "-jq", "--json=true", "--json=1"}) {
        const Read result = read({"acl", "crate", option});
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out.rfind("{\"schema_version\":1,\"command\":\"acl\",\"ok\":false,"
                                   "\"exit\":1,",
                                   0),
                  0u)
            << result.out;
        EXPECT_NE(result.out.find("\"argument\":{\"index\":2,\"word\":\"crate\"}"),
                  std::string::npos);
    }
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
    EXPECT_EQ(load.options.targets.counter_id, 9u);
    EXPECT_EQ(load.options.targets.forward_port, 65540u);
    EXPECT_EQ(load.options.verdict, Verdict::kDrop);
    EXPECT_FALSE(
        request<RuleLoadRequest>({"rule", "load", "f", "--acl", "3"}).options.targets.forward_port);
}

TEST(Words, ForwardALoadToAnMcGroup) {
    const auto targets =
        request<RuleLoadRequest>({"rule", "load", "f", "--acl", "3", "--forward-mc", "0"})
            .options.targets;
    EXPECT_EQ(targets.forward_mc, 0u);
    EXPECT_FALSE(targets.forward_port);
    expect_wrong({"rule", "load", "f", "--acl", "3", "--forward-mc", "1", "--forward-port", "1"},
                 "--forward-mc excludes --forward-port");
}

TEST(Words, DescribeARuleByItsFields) {
    const auto add = request<RuleAddRequest>(
        {"rule",        "add",   "--acl",   "3",       "--priority", "9",       "--src",
         "10.1.2.3/24", "--dst", "any",     "--proto", "udp",        "--sport", "1024-2047",
         "--dport",     "53",    "--flags", "0x02/18", "--verdict",  "trap"});
    EXPECT_EQ(add.acl_id, 3u);
    EXPECT_EQ(add.rule.priority, 9u);
    EXPECT_EQ(add.rule.key_type, 0u);
    EXPECT_EQ(add.rule.key, encode_packet({0x0A010200, 0, 17, 1024, 53, 2}));
    EXPECT_EQ(add.rule.mask, encode_packet({0xFFFFFF00, 0, 255, 0xFC00, 0xFFFF, 0x12}));
    EXPECT_EQ(add.rule.verdict, Verdict::kTrap);
    EXPECT_EQ(add.rule.targets.counter_id, 0u);
    EXPECT_FALSE(add.rule.targets.forward_port);
    EXPECT_FALSE(add.rule.targets.forward_mc);
}

TEST(Words, LeaveFieldsOfARuleOpen) {
    const auto add = request<RuleAddRequest>({"rule", "add", "--acl", "3", "--priority", "9"});
    EXPECT_EQ(add.rule.key, KeyBytes{});
    EXPECT_EQ(add.rule.mask, KeyBytes{});
    EXPECT_EQ(add.rule.verdict, Verdict::kPermit);
}

/* The key type by the protocol, as there is no address. */
TEST(Words, TakeTheVersionOfIpFromAProtocolThatHasOnlyOne) {
    for (const auto &[protocol, key_type] : {std::pair{"icmp6", kKeyIpv6},
                                             {"icmpv6", kKeyIpv6},
                                             {"icmp", kKeyIpv4},
                                             {"tcp", kKeyIpv4},
                                             {"58", kKeyIpv4}}) {
        const auto add = request<RuleAddRequest>(
            {"rule", "add", "--acl", "3", "--priority", "9", "--proto", protocol});
        EXPECT_EQ(add.rule.key_type, key_type) << protocol;
        const auto packet =
            request<PacketRequest>({"switch", "packet", "--port", "1", "--proto", protocol});
        EXPECT_EQ(packet.key_type, key_type) << protocol;
    }
    const auto add = request<RuleAddRequest>(
        {"rule", "add", "--acl", "3", "--priority", "9", "--proto", "icmp6"});
    EXPECT_EQ(add.rule.key, encode_ipv6({.protocol = 58}).key);
    EXPECT_EQ(add.rule.mask, encode_ipv6({.protocol = 255}).key);
    const auto packet =
        request<PacketRequest>({"switch", "packet", "--port", "1", "--proto", "ICMP6"});
    EXPECT_EQ(packet.key_type, kKeyIpv6) << "whatever its case";
    EXPECT_EQ(packet.key, encode_ipv6({.protocol = 58}).key);
}

TEST(Words, AskForActivityThreeWays) {
    const auto activity = [](const Words &more) {
        Words words{"rule", "get", "--acl", "1", "4"};
        words.insert(words.end(), more.begin(), more.end());
        return request<RuleGetRequest>(words).activity;
    };
    EXPECT_EQ(activity({}), Activity::kNone);
    EXPECT_EQ(activity({"--activity"}), Activity::kRead);
    EXPECT_EQ(activity({"--clear-activity"}), Activity::kReadAndClear);
}

TEST(Words, NameCounterTypesOrNumberThem) {
    for (const char *type : {"packets", "1"}) {
        EXPECT_EQ(request<CounterCreateRequest>({"counter", "create", "--type", type}).type,
                  CounterType::kPackets);
    }
    for (const char *type : {"bytes", "0"}) {
        EXPECT_EQ(request<CounterCreateRequest>({"counter", "create", "--type", type}).type,
                  CounterType::kBytes);
    }
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

}  // namespace
