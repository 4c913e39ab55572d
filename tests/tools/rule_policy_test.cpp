/* The policy format and its JSON twin: what they read and print. */
#include <gtest/gtest.h>

#include "rule_encode.h"
#include "rule_file.h"
#include "rule_print.h"
#include "rule_words.h"

namespace {

using namespace aclrmctl;

RuleFile policy_file(const std::string &text) {
    RuleFile file;
    const auto error = parse_rule_text(text, RuleFormat::kAuto, &file);
    EXPECT_FALSE(error) << describe_place("text", *error);
    return file;
}

FilterRule only_policy_rule(const std::string &text) {
    const RuleFile file = policy_file(text);
    EXPECT_EQ(file.rules.size(), 1u) << text;
    return file.rules.empty() ? FilterRule{} : file.rules[0];
}

/* The first bytes of key or mask in hex. */
std::string match_hex(const FilterRule &rule, bool mask, size_t bytes_num) {
    RuleFile file;
    file.rules.push_back(rule);
    std::vector<ExpandedRule> expanded;
    EXPECT_FALSE(expand_rules(file, &expanded));
    KeyBytes key_bytes;
    KeyBytes mask_bytes;
    encode_match(rule, expanded.at(0), &key_bytes, &mask_bytes);
    return key_to_hex(mask ? mask_bytes : key_bytes).substr(0, bytes_num * 2);
}

TEST(Policy, ReadsAnIpv4Rule) {
    const FilterRule rule = only_policy_rule(
        "drop tcp from 10.20.0.0/16 port 80 to 198.51.100.1 port 1024-2047 flags 0x02/0x12 count "
        "7");
    EXPECT_EQ(match_hex(rule, false, 16),
              "0a140000c633640106000050040000"
              "02");
    EXPECT_EQ(match_hex(rule, true, 16), "ffff0000ffffffffff00fffffc000012");
    EXPECT_EQ(key_type_of(rule), 0u);
    EXPECT_EQ(rule.verdict, Verdict::kDrop);
    EXPECT_EQ(rule.targets.counter_id, 7u);
    EXPECT_FALSE(rule.priority);
}

TEST(Policy, ReadsAnIpv6Rule) {
    const FilterRule rule = only_policy_rule("permit udp from 2001:db8::/32 to any port 53");
    EXPECT_EQ(key_type_of(rule), 1u);
    EXPECT_EQ(match_hex(rule, false, 40), "20010db8" + std::string(56, '0') +
                                              "1100"
                                              "0000"
                                              "0035"
                                              "0000");
    EXPECT_EQ(match_hex(rule, true, 40), "ffffffff" + std::string(56, '0') +
                                             "ff00"
                                             "0000"
                                             "ffff"
                                             "0000");
}

TEST(Policy, ReadsAMacRule) {
    const FilterRule rule = only_policy_rule(
        "trap mac from 02:00:00:00:00:00/16 to 01:80:c2:00:00:0e vlan 100 type 0x88cc");
    EXPECT_EQ(key_type_of(rule), 2u);
    EXPECT_EQ(match_hex(rule, false, 16),
              "0180c200000e"
              "020000000000"
              "0064"
              "88cc");
    EXPECT_EQ(match_hex(rule, true, 16),
              "ffffffffffff"
              "ffff00000000"
              "0fff"
              "ffff");
}

TEST(Policy, ReadsARawRuleOfAnyKeyType) {
    for (uint32_t type = 0; type < 4; type++) {
        const FilterRule rule =
            only_policy_rule("permit key 0a14:Ffff00 type " + std::to_string(type));
        EXPECT_EQ(key_type_of(rule), type);
        EXPECT_EQ(match_hex(rule, false, 4), "0a140000");
        EXPECT_EQ(match_hex(rule, true, 4), "ffff0000");
    }
}

TEST(Policy, ReadsActionsTargetsAndPriorities) {
    EXPECT_EQ(only_policy_rule("forward port 65537 ip4 from any to any").targets.forward_port,
              65537u);
    EXPECT_EQ(only_policy_rule("forward port 65537 ip4 from any to any").verdict, Verdict::kPermit);
    EXPECT_EQ(only_policy_rule("trap forward mc 3 ip4 from any to any").targets.forward_mc, 3u);
    EXPECT_EQ(only_policy_rule("trap forward mc 3 ip4 from any to any").verdict, Verdict::kTrap);
    EXPECT_EQ(only_policy_rule("verdict 9 ip4 from any to any").verdict, static_cast<Verdict>(9));
    EXPECT_EQ(only_policy_rule("priority 12 permit ip4 from any to any").priority, 12u);
}

TEST(Policy, TakesTheVersionOfIpFromAddressesOrWords) {
    for (const char *text :
         {"permit ip4 from any to any", "permit ip4 tcp from any to any",
          "permit icmp from any to any", "permit ip from 10.0.0.0/8 to any",
          "permit proto 47 from any to 10.0.0.1", "permit ip from 0.0.0.0/0 to any"}) {
        EXPECT_EQ(only_policy_rule(text).kind, RuleKind::kIpv4) << text;
    }
    for (const char *text : {"permit ip6 from any to any", "permit ip6 tcp from any to any",
                             "permit icmp6 from any to any", "permit ip from ::/0 to any",
                             "permit proto 0x2f/0xff from any to ::1"}) {
        EXPECT_EQ(only_policy_rule(text).kind, RuleKind::kIpv6) << text;
    }
}

TEST(Policy, ReadsAProtocolByItsOtherNameAndShowsTheFirst) {
    const FilterRule rule = only_policy_rule("permit icmpv6 from any to any");
    EXPECT_EQ(rule.kind, RuleKind::kIpv6);
    EXPECT_EQ(rule.protocol, 58);
    EXPECT_EQ(rule.protocol_mask, 0xFF);
    EXPECT_EQ(aclrmctl::protocol_words(rule), "icmp6");
}

TEST(Policy, SkipsBlankLinesAndCommentsAndTakesCarriageReturns) {
    const RuleFile file = policy_file(
        "# a title\r\n\r\n  \t\r\n\tdrop ip4 from any to any # why\r\npermit ip6 from any to any");
    ASSERT_EQ(file.rules.size(), 2u);
    EXPECT_EQ(file.rules[0].at.line, 4u);
    EXPECT_EQ(file.rules[0].at.column, 2u);
    EXPECT_EQ(file.lines_num, 5u);
    EXPECT_EQ(file.format, RuleFormat::kPolicy);
}

TEST(Policy, ClearsBitsBeyondAPrefixAndCountsTheRules) {
    const RuleFile file = policy_file(
        "drop ip from 2001:db8::1/64 to any\ndrop mac from 02:00:00:00:00:01/16 to any\n"
        "drop ip from 10.0.0.0/8 to any\n");
    EXPECT_EQ(file.masked_num, 2u);
    EXPECT_EQ(file.first_masked_line, 1u);
    EXPECT_EQ(policy_line(file.rules[0]), "drop ip from 2001:db8::/64 to any");
    EXPECT_EQ(policy_line(file.rules[1]), "drop mac from 02:00:00:00:00:00/16 to any");
}

TEST(FormatDetection, LooksAtTheFirstCharacterOutsideComments) {
    EXPECT_EQ(detect_format("# x\n\n  @1.2.3.4/5"), RuleFormat::kClassic);
    EXPECT_EQ(detect_format(" \n{"), RuleFormat::kJson);
    EXPECT_EQ(detect_format("["), RuleFormat::kJson);
    EXPECT_EQ(detect_format("permit"), RuleFormat::kPolicy);
    EXPECT_EQ(detect_format("# nothing\n"), RuleFormat::kPolicy);
    EXPECT_EQ(format_from_name("json"), RuleFormat::kJson);
    EXPECT_FALSE(format_from_name("yaml"));
}

/* Lines that are printed as they were read. */
const char *const kCanonicalLines[] = {
    "permit tcp from 10.20.0.0/16 to 198.51.100.0/24 port 443 count 7",
    "priority 4294967295 drop ip4 from any to any",
    "drop ip6 tcp from any port 80 to any port 1024-65535 flags 0x0002/0x0012",
    "trap icmp from any to any",
    "trap icmp6 from fe80::/10 to any",
    "permit ip6 proto 1 from any to any",
    "permit ip4 proto 58 from any to any",
    "drop icmp6 from any to any",
    "permit proto 0x2c/0xfc from ::1 to any flags 0x0010",
    "forward port 65537 udp from 2001:db8::/32 to any port 53",
    "drop forward mc 12 ip from 10.0.0.1 to any",
    "verdict 9 ip4 from any to any",
    "drop mac from 02:00:00:00:00:00/16 to any vlan 100 type 0x86dd",
    "drop mac from any to 01:80:c2:00:00:0e vlan 0x001/0x00f type 0x0600/0xff00",
    "drop mac from any to any",
    "trap key 0a14:ffff type 3",
    "trap key 00:00 type 3"};

TEST(RuleFilePrint, GivesThePolicyLineThatWasRead) {
    for (const char *line : kCanonicalLines) {
        EXPECT_EQ(policy_line(only_policy_rule(line)), line);
    }
}

TEST(RuleFilePrint, GivesJsonThatIsReadAsTheSameRule) {
    for (const char *line : kCanonicalLines) {
        const std::string json = "{\"rules\": [" + json_rule(only_policy_rule(line)) + "]}";
        EXPECT_EQ(policy_line(only_policy_rule(json)), line) << json;
    }
}

TEST(RuleFilePrint, GivesBackEveryKeyThatIsDecoded) {
    for (const char *line : kCanonicalLines) {
        const FilterRule rule = only_policy_rule(line);
        RuleFile file = policy_file(line);
        std::vector<ExpandedRule> expanded;
        ASSERT_FALSE(expand_rules(file, &expanded));
        for (const ExpandedRule &one : expanded) {
            KeyBytes key;
            KeyBytes mask;
            encode_match(rule, one, &key, &mask);
            const FilterRule decoded = decode_match(key_type_of(rule), key, mask);
            EXPECT_EQ(decoded.kind, rule.kind) << line;
            const FilterRule again = only_policy_rule("permit" + policy_line(decoded).substr(6));
            KeyBytes key_again;
            KeyBytes mask_again;
            RuleFile file_again;
            file_again.rules.push_back(again);
            std::vector<ExpandedRule> one_again;
            ASSERT_FALSE(expand_rules(file_again, &one_again));
            ASSERT_EQ(one_again.size(), 1u) << line;
            encode_match(again, one_again[0], &key_again, &mask_again);
            EXPECT_EQ(key_again, key) << line;
            EXPECT_EQ(mask_again, mask) << line;
        }
    }
}

/* A bit of key or mask that no field holds must not get lost on the way through the words. */
TEST(KeyDecoding, LeavesRawWhatNoFieldHolds) {
    struct {
        const char *name;
        uint32_t key_type;
        size_t byte;
        uint8_t key;
        uint8_t mask;
    } const rows[] = {{"mask that is no prefix", 0, 3, 0, 1},
                      {"key bit outside the mask", 0, 3, 1, 0},
                      {"byte 9", 0, 9, 0, 1},
                      {"byte 16", 0, 16, 0, 1},
                      {"port mask that is no prefix", 0, 11, 1, 1},
                      {"flag outside the mask", 0, 15, 1, 0},
                      {"byte 33", 1, 33, 0, 1},
                      {"byte 40", 1, 40, 1, 0},
                      {"VLAN priority", 2, 12, 0x10, 0x10},
                      {"last byte", 2, 127, 1, 1},
                      {"free key type", 3, 0, 1, 1}};
    for (const auto &row : rows) {
        KeyBytes key{};
        KeyBytes mask{};
        key[row.byte] = row.key;
        mask[row.byte] = row.mask;
        const FilterRule rule = decode_match(row.key_type, key, mask);
        ASSERT_EQ(rule.kind, RuleKind::kRaw) << row.name;
        const FilterRule again = only_policy_rule(policy_line(rule));
        ASSERT_EQ(again.kind, RuleKind::kRaw) << row.name;
        EXPECT_EQ(again.raw->key_type, row.key_type) << row.name;
        EXPECT_EQ(again.raw->key, key) << row.name;
        EXPECT_EQ(again.raw->mask, mask) << row.name;
    }
}

TEST(KeyWordsOfOtherTypes, ReadLikeARule) {
    const auto words = [](const char *line) {
        const FilterRule rule = only_policy_rule(line);
        RuleFile file;
        file.rules.push_back(rule);
        std::vector<ExpandedRule> expanded;
        EXPECT_FALSE(expand_rules(file, &expanded));
        KeyBytes key;
        KeyBytes mask;
        encode_match(rule, expanded.at(0), &key, &mask);
        return describe_key(key_type_of(rule), key, mask);
    };
    EXPECT_EQ(words("drop udp from 2001:db8::/32 to any port 53"),
              "udp 2001:db8::/32 > any port 53");
    EXPECT_EQ(words("drop ip6 from any to any"), "ip6 any > any");
    EXPECT_EQ(words("drop ip6 tcp from any to any"), "ip6 tcp any > any");
    EXPECT_EQ(words("drop mac from any to 02:00:00:00:00:01 vlan 7 type 0x86dd"),
              "mac any > 02:00:00:00:00:01 vlan 7 type 0x86dd");
}

TEST(Priorities, FollowTheFileUntilARuleNamesItsOwn) {
    const RuleFile file = policy_file(
        "permit tcp from any to 10.0.0.1 port 1-2\npriority 10 drop ip4 from any to any\n"
        "drop ip6 from any to any\npriority 5 trap ip6 from any to any\n");
    std::vector<ExpandedRule> expanded;
    ASSERT_FALSE(expand_rules(file, &expanded));
    std::vector<uint32_t> priorities;
    for (const ExpandedRule &rule : expanded) {
        priorities.push_back(rule.priority);
    }
    EXPECT_EQ(priorities, (std::vector<uint32_t>{0, 1, 10, 11, 5}));
}

TEST(Priorities, OfTwoRulesMayNotBeTheSame) {
    std::vector<ExpandedRule> expanded;
    const auto named = expand_rules(policy_file("drop ip4 from any to any\ndrop ip4 from any to "
                                                "any\npriority 1 trap ip4 from any to any"),
                                    &expanded);
    ASSERT_TRUE(named);
    EXPECT_EQ(named->message, "priority 1 is taken by the rule of line 2");
    EXPECT_EQ(named->at.line, 3u);
    EXPECT_EQ(named->member, "priority");
    expanded.clear();
    const auto run_into =
        expand_rules(policy_file("priority 7 drop ip4 from any to any\npriority 6 "
                                 "drop tcp from any to 10.0.0.1 port 1-2"),
                     &expanded);
    ASSERT_TRUE(run_into);
    EXPECT_EQ(run_into->message, "priority 7 is taken by the rule of line 1");
    EXPECT_EQ(run_into->at.line, 2u);
    EXPECT_EQ(run_into->at.column, 1u);
    EXPECT_EQ(run_into->rule_index, 1u);
    EXPECT_EQ(run_into->member, "priority");
    expanded.clear();
    const auto unnamed =
        expand_rules(policy_file("priority 1 drop ip4 from any to any\npriority 0 drop "
                                 "ip6 from any to any\n  trap ip4 from any to any"),
                     &expanded);
    ASSERT_TRUE(unnamed);
    EXPECT_EQ(unnamed->message, "priority 1 is taken by the rule of line 1");
    EXPECT_EQ(unnamed->at.line, 3u);
    EXPECT_EQ(unnamed->at.column, 3u) << "the rule, as it names no priority";
    EXPECT_EQ(unnamed->rule_index, 2u);
    EXPECT_EQ(unnamed->member, "");
}

TEST(Priorities, EndAtTheLargest) {
    std::vector<ExpandedRule> expanded;
    EXPECT_FALSE(
        expand_rules(policy_file("priority 4294967295 drop ip4 from any to any"), &expanded));
    const auto error = expand_rules(
        policy_file("priority 4294967295 drop ip4 from any to any\ndrop ip6 from any to any"),
        &expanded);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, "the rule needs priorities past the largest, 4294967295");
    EXPECT_EQ(error->at.line, 2u);
}

TEST(JsonRules, HaveMembersForEverything) {
    const FilterRule rule = only_policy_rule(
        R"({"rules": [{"priority": 3, "action": "trap", "forward": {"mc": 9}, "counter": "0x10",
            "match": {"family": "ip4", "protocol": "6/0xff", "src": "any", "src_port": "1-2",
                      "dst": "10.0.0.0/8", "dst_port": 443, "flags": "0x02/0x12"}}]})");
    EXPECT_EQ(policy_line(rule),
              "priority 3 trap forward mc 9 tcp from any port 1-2 to 10.0.0.0/8 port 443 flags "
              "0x0002/0x0012 count 16");
}

TEST(JsonRules, NameProtocolsByEitherName) {
    for (const char *name : {"icmp6", "icmpv6"}) {
        const FilterRule rule = only_policy_rule(
            std::string(R"({"rules": [{"action": "drop", "match": {"family": "ip6", )") +
            "\"protocol\": \"" + name + "\"}}]}");
        EXPECT_EQ(rule.protocol, 58) << name;
        EXPECT_EQ(rule.protocol_mask, 0xFF) << name;
    }
}

/* As in the policy format. */
TEST(JsonRules, TakeTheVersionOfIpFromAProtocolThatHasOnlyOne) {
    struct {
        const char *protocol;
        RuleKind kind;
        const char *line;
    } const rows[] = {{"icmp", RuleKind::kIpv4, "drop icmp from any to any"},
                      {"icmp6", RuleKind::kIpv6, "drop icmp6 from any to any"},
                      {"icmpv6", RuleKind::kIpv6, "drop icmp6 from any to any"}};
    for (const auto &row : rows) {
        const FilterRule rule = only_policy_rule(
            std::string(R"({"rules": [{"action": "drop", "match": {"protocol": ")") + row.protocol +
            "\"}}]}");
        EXPECT_EQ(rule.kind, row.kind) << row.protocol;
        EXPECT_EQ(policy_line(rule), row.line);
        const FilterRule again = only_policy_rule("{\"rules\": [" + json_rule(rule) + "]}");
        EXPECT_EQ(again.kind, row.kind) << json_rule(rule);
        EXPECT_EQ(policy_line(again), row.line);
    }
}

TEST(JsonRules, LeaveTheActionToTheCommandLineWhereTheyNameNone) {
    EXPECT_FALSE(only_policy_rule(R"({"rules": [{"match": {"family": "ip6"}}]})").verdict);
}

TEST(JsonRules, UnderstandEscapes) {
    EXPECT_EQ(policy_line(only_policy_rule(
                  R"({"rules": [{"\u0061ction": "dr\u006fp", "match": {"src": "10.0.0.0\/8"}}]})")),
              "drop ip from 10.0.0.0/8 to any");
}

TEST(JsonRules, CountLinesAndKnowWhereEachRuleBegins) {
    const RuleFile file = policy_file(
        "{\"rules\": [\n {\"match\": {\"family\": \"ip4\"}},\n  {\"match\": {\"family\": "
        "\"ip6\"},\n"
        "   \"counter\": 4}]}\n");
    EXPECT_EQ(file.lines_num, 4u);
    ASSERT_EQ(file.rules.size(), 2u);
    EXPECT_EQ(file.rules[1].at.line, 3u);
    EXPECT_EQ(file.rules[1].at.column, 3u);
    EXPECT_EQ(file.rules[1].counter_at.line, 4u);
    EXPECT_EQ(file.rules[1].counter_at.column, 15u);
}

/* The two samples say the same. */
TEST(SamplePolicy, IsTheSameInBothFormats) {
    std::string policy;
    std::string json;
    ASSERT_EQ(read_text_file(ZV_TEST_SAMPLES_DIR "/branch-office.policy", &policy), 0);
    ASSERT_EQ(read_text_file(ZV_TEST_SAMPLES_DIR "/branch-office.json", &json), 0);
    const RuleFile lines = policy_file(policy);
    const RuleFile objects = policy_file(json);
    ASSERT_EQ(lines.rules.size(), 15u);
    ASSERT_EQ(objects.rules.size(), 15u);
    for (size_t i = 0; i < 15; i++) {
        EXPECT_EQ(policy_line(lines.rules[i]), policy_line(objects.rules[i]));
    }
}

}  // namespace
