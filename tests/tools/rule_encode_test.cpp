/* Rules and packets as key bytes, to the byte. */
#include "rule_encode.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace aclrmctl;

const char *const kLine = "@10.1.2.0/24 192.0.2.53/32 1024:1025 53:53 0x11/0xFF 0x0102/0x0FFF trap";

RuleFile classic_file(const std::string &text) {
    RuleFile file;
    EXPECT_FALSE(parse_rule_text(text, RuleFormat::kClassic, &file));
    return file;
}

acl_rm_rule encoded(const std::string &line, uint32_t priority, const RuleOptions &options) {
    const RuleFile file = classic_file(line);
    std::vector<ExpandedRule> expanded;
    EXPECT_FALSE(expand_rules(file, &expanded));
    acl_rm_rule record;
    std::memset(&record, 0xAA, sizeof(record));
    RuleOptions placed = options;
    placed.first_priority = priority;
    encode_whole_rule(whole_rule(file.rules[0], expanded.at(0), placed), &record);
    return record;
}

KeyBytes bytes(std::initializer_list<uint8_t> first) {
    KeyBytes key{};
    std::copy(first.begin(), first.end(), key.begin());
    return key;
}

KeyBytes key_of(const acl_rm_key &key) {
    KeyBytes copy;
    std::memcpy(copy.data(), key.data, copy.size());
    return copy;
}

TEST(RuleEncode, PutsKeyAndMaskInNetworkByteOrder) {
    const acl_rm_rule record = encoded(kLine, 5, {});
    EXPECT_EQ(record.key.key_type, 0u);
    EXPECT_EQ(key_of(record.key),
              bytes({10, 1, 2, 0, 192, 0, 2, 53, 0x11, 0, 0x04, 0x00, 0x00, 0x35, 0x01, 0x02}));
    EXPECT_EQ(record.mask.key_type, 0u);
    EXPECT_EQ(key_of(record.mask), bytes({255, 255, 255, 0, 255, 255, 255, 255, 0xFF, 0, 0xFF, 0xFE,
                                          0xFF, 0xFF, 0x0F, 0xFF}));
}

TEST(RuleEncode, SetsEveryByteOfTheRecord) {
    const acl_rm_rule record = encoded(kLine, 5, {});
    acl_rm_rule expected{};
    expected.priority = 5;
    expected.offset = 5;
    expected.valid = 1;
    std::memcpy(&expected.key, &record.key, sizeof(expected.key));
    std::memcpy(&expected.mask, &record.mask, sizeof(expected.mask));
    expected.action[12] = 2; /* trap */
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof(record)), 0);
}

TEST(RuleEncode, SetsEveryByteOfKeyAndMask) {
    KeyBytes key;
    KeyBytes mask;
    key.fill(0xAA);
    mask.fill(0xAA);
    encode_match(FilterRule{}, ExpandedRule{}, &key, &mask);
    EXPECT_EQ(key, KeyBytes{});
    EXPECT_EQ(mask, KeyBytes{});
}

TEST(RuleEncode, GivesRulesWithoutAVerdictTheOptions) {
    const std::string line = "@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 0/0 0/0";
    EXPECT_EQ(encoded(line, 0, {}).action[12], 0);
    RuleOptions options;
    options.verdict = Verdict::kDrop;
    EXPECT_EQ(encoded(line, 0, options).action[12], 1);
    EXPECT_EQ(encoded(line + " permit", 0, options).action[12], 0);
}

TEST(RuleEncode, GivesEveryRuleTheCounterAndForwardPortOfTheOptions) {
    RuleOptions options;
    options.targets.counter_id = 7;
    options.targets.forward_port = 65540;
    const acl_rm_rule record = encoded(kLine, 5, options);
    EXPECT_EQ(record.forwarding.counter_id, 7u);
    EXPECT_EQ(record.forwarding.type, 1u);
    EXPECT_EQ(record.forwarding.log_port, 65540u);
}

TEST(RuleEncode, ForwardsToAnMcGroup) {
    RuleOptions options;
    options.targets.forward_mc = 12;
    const acl_rm_rule record = encoded(kLine, 5, options);
    EXPECT_EQ(record.forwarding.type, 2u);
    EXPECT_EQ(record.forwarding.mc_group_id, 12u);
    EXPECT_EQ(record.forwarding.log_port, 0u);
}

TEST(RuleEncode, GivesKeyAndMaskTheSameKeyType) {
    WholeRule rule;
    rule.priority = 9;
    rule.key_type = 3;
    rule.key.fill(0x11);
    rule.mask.fill(0x22);
    rule.verdict = Verdict::kDrop;
    acl_rm_rule record;
    std::memset(&record, 0xAA, sizeof(record));
    encode_whole_rule(rule, &record);
    acl_rm_rule expected{};
    expected.priority = 9;
    expected.offset = 9;
    expected.valid = 1;
    expected.key.key_type = 3;
    expected.mask.key_type = 3;
    std::memset(expected.key.data, 0x11, sizeof(expected.key.data));
    std::memset(expected.mask.data, 0x22, sizeof(expected.mask.data));
    expected.action[12] = 1;
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof(record)), 0);
    EXPECT_EQ(verdict_of_action(record.action), 1u);
}

TEST(RuleExpansion, MakesEveryPairOfPrefixesInOrder) {
    const RuleFile file = classic_file(
        "@0.0.0.0/0 0.0.0.0/0 1:2 5:6 6/255 0/0\n@0.0.0.0/0 0.0.0.0/0 0:65535 9:9 6/255 0/0\n");
    std::vector<ExpandedRule> expanded;
    ASSERT_FALSE(expand_rules(file, &expanded));
    std::vector<std::array<uint32_t, 3>> seen;
    for (const ExpandedRule &rule : expanded) {
        seen.push_back({rule.rule_index, rule.source_port.value, rule.destination_port.value});
    }
    const std::vector<std::array<uint32_t, 3>> expected{
        {0, 1, 5}, {0, 1, 6}, {0, 2, 5}, {0, 2, 6}, {1, 0, 9}};
    EXPECT_EQ(seen, expected);
}

TEST(RuleExpansion, StopsAtItsLimit) {
    std::string text;
    /* 900 rules a line; 1165 lines are the most that stay within 2^20. */
    for (int i = 0; i < 1165; i++) {
        text += "@0.0.0.0/0 0.0.0.0/0 1:65534 1:65534 0/0 0/0\n";
    }
    std::vector<ExpandedRule> expanded;
    EXPECT_FALSE(expand_rules(classic_file(text), &expanded));
    EXPECT_EQ(expanded.size(), 1048500u);
    expanded.clear();
    const RuleFile more = classic_file(text + "@0.0.0.0/0 0.0.0.0/0 1:65534 1:65534 0/0 0/0\n");
    const auto error = expand_rules(more, &expanded);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->rule_index, 1165u);
    EXPECT_EQ(error->message, "the file makes more than 1048576 rules of the switch");
    EXPECT_EQ(expanded.size(), 1048500u);
}

/* The switch's matching rule over the expansion of a line, against the line read as it stands. */
TEST(RuleExpansion, MatchesThePacketsOfTheRangesAndNoOthers) {
    const RuleFile file = classic_file("@10.0.0.0/8 0.0.0.0/0 100:203 1023:1025 6/255 0/0\n");
    std::vector<ExpandedRule> expanded;
    ASSERT_FALSE(expand_rules(file, &expanded));
    std::vector<acl_rm_rule> records(expanded.size());
    for (size_t i = 0; i < expanded.size(); i++) {
        encode_whole_rule(whole_rule(file.rules[0], expanded[i], {}), &records[i]);
    }
    for (uint16_t sport = 90; sport < 215; sport++) {
        for (uint16_t dport = 1020; dport < 1030; dport++) {
            const KeyBytes packet = encode_packet({10u << 24, 1, 6, sport, dport, 0x10});
            int hits = 0;
            for (const acl_rm_rule &record : records) {
                bool matches = true;
                for (size_t i = 0; i < packet.size(); i++) {
                    matches = matches && (packet[i] & record.mask.data[i]) ==
                                             (record.key.data[i] & record.mask.data[i]);
                }
                hits += matches ? 1 : 0;
            }
            const bool inside = sport >= 100 && sport <= 203 && dport >= 1023 && dport <= 1025;
            EXPECT_EQ(hits, inside ? 1 : 0) << sport << " " << dport;
        }
    }
}

TEST(PacketKey, PutsTheFieldsWhereRulesHaveThem) {
    EXPECT_EQ(encode_packet({0x0A000001, 0xC0000202, 6, 0x1234, 443, 0x0002}),
              bytes({10, 0, 0, 1, 192, 0, 2, 2, 6, 0, 0x12, 0x34, 0x01, 0xBB, 0x00, 0x02}));
}

std::string words_of(const std::string &line) {
    const acl_rm_rule record = encoded(line, 0, {});
    return describe_match(key_of(record.key), key_of(record.mask));
}

TEST(MatchWords, ReadLikeARule) {
    EXPECT_EQ(words_of("@10.0.0.0/8 0.0.0.0/0 0:65535 53:53 17/255 0/0"),
              "udp 10.0.0.0/8 > any port 53");
    EXPECT_EQ(words_of("@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 0/0 0/0"), "ip4 any > any");
    EXPECT_EQ(words_of("@0.0.0.0/0 192.0.2.1/32 1024:2047 80:81 6/255 2/0x12"),
              "tcp any port 1024-2047 > 192.0.2.1 port 80-81 flags 0x0002/0x0012");
    EXPECT_EQ(words_of("@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 89/255 0/0"), "protocol 89 any > any");
    EXPECT_EQ(words_of("@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 1/255 0/0"), "icmp any > any");
    EXPECT_EQ(words_of("@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 6/0x0F 0/0"),
              "protocol 0x06&0x0f any > any");
}

TEST(MatchWords, ShowAMaskThatIsNoPrefix) {
    EXPECT_EQ(describe_match(bytes({10, 0, 0, 1}), bytes({255, 0, 0, 255})),
              "ip4 10.0.0.1&255.0.0.255 > any");
    EXPECT_EQ(describe_match(bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}),
                             bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})),
              "ip4 any port 1&0x0001 > any");
}

TEST(PacketWords, ReadLikeAPacket) {
    EXPECT_EQ(describe_packet(encode_packet({0x0A000001, 0xC0000202, 6, 1024, 443, 2})),
              "tcp 10.0.0.1:1024 > 192.0.2.2:443 flags 0x0002");
    EXPECT_EQ(describe_packet(encode_packet({0x0A000001, 0xC0000202, 17, 1024, 53, 0})),
              "udp 10.0.0.1:1024 > 192.0.2.2:53");
}

TEST(KeyHex, GoesThereAndBack) {
    KeyBytes key;
    for (size_t i = 0; i < key.size(); i++) {
        key[i] = static_cast<uint8_t>(i * 37 + 11);
    }
    const std::string hex = key_to_hex(key);
    EXPECT_EQ(hex.substr(0, 8), "0b30557a");
    KeyBytes back{};
    EXPECT_TRUE(key_from_hex(hex, &back));
    EXPECT_EQ(back, key);
    std::string upper = hex;
    for (char &c : upper) {
        c = static_cast<char>(toupper(c));
    }
    back = {};
    EXPECT_TRUE(key_from_hex(upper, &back));
    EXPECT_EQ(back, key);
}

TEST(KeyHex, TakesExactly256Digits) {
    KeyBytes key;
    EXPECT_FALSE(key_from_hex(std::string(255, '0'), &key));
    EXPECT_TRUE(key_from_hex(std::string(256, '0'), &key));
    EXPECT_FALSE(key_from_hex(std::string(257, '0'), &key));
    for (const char bad : {'g', 'G', ' ', '\x10', '\x00', '/', ':', '@', '`', '\xff'}) {
        EXPECT_FALSE(key_from_hex(std::string(255, '0') + bad, &key)) << int{bad};
    }
}

TEST(KeyWords, AreThe5TupleWhereItTellsAll) {
    const KeyBytes key = encode_packet({0x0A000000, 0, 6, 0, 443, 0});
    const KeyBytes mask = encode_packet({0xFF000000, 0, 255, 0, 0xFFFF, 0});
    EXPECT_TRUE(is_five_tuple(0, key, mask));
    EXPECT_EQ(describe_key(0, key, mask), "tcp 10.0.0.0/8 > any port 443");
    EXPECT_FALSE(is_five_tuple(1, key, mask));
    EXPECT_EQ(describe_key(1, key, mask),
              "key type 1: 0a0000000000000006000000../ff00000000000000ff000000..");
    for (const size_t fieldless : {9, 16, 127}) {
        KeyBytes more = mask;
        more[fieldless] = 1;
        EXPECT_FALSE(is_five_tuple(0, key, more)) << fieldless;
        EXPECT_FALSE(is_five_tuple(0, more, mask)) << fieldless;
    }
}

TEST(KeyWords, EndWhereNothingFollows) {
    EXPECT_EQ(describe_key(3, {}, {}), "key type 3: any");
    EXPECT_EQ(describe_key(2, bytes({0x0A}), bytes({0xFF, 0, 0x0F})), "key type 2: 0a0000/ff000f");
    KeyBytes twelve{};
    twelve[11] = 1;
    EXPECT_EQ(describe_key(2, twelve, {}),
              "key type 2: 000000000000000000000001/000000000000000000000000");
}

/* An action block in hexadecimal digits with these four bytes at the verdict's place. */
std::string action_text(const std::string &verdict) {
    std::string hex(2 * size_t{ZV_ACL_RM_ACTION_BYTES}, '0');
    return hex.replace(24, verdict.size(), verdict);
}

TEST(VerdictOfActionText, IsAllFourBytesOfIt) {
    EXPECT_EQ(verdict_of_action_text(action_text("00000000")), 0u);
    EXPECT_EQ(verdict_of_action_text(action_text("02000000")), 2u);
    EXPECT_EQ(verdict_of_action_text(action_text("11000000")), 17u);
    EXPECT_EQ(verdict_of_action_text(action_text("00010000")), 256u);
    EXPECT_EQ(verdict_of_action_text(action_text("FFffFFff")), 0xFFFFFFFFu);
}

TEST(VerdictOfActionText, IsNoneWhereTheTextIsNoWholeBlock) {
    const std::string whole = action_text("01000000");
    EXPECT_FALSE(verdict_of_action_text(""));
    EXPECT_FALSE(verdict_of_action_text(whole.substr(0, 26)));
    EXPECT_FALSE(verdict_of_action_text(whole.substr(1)));
    EXPECT_FALSE(verdict_of_action_text(whole + "0"));
    EXPECT_FALSE(verdict_of_action_text(whole + "00"));
    for (const char *digits : {"0g", "g0", " 1", "1 ", "-1", "+1", "0x"}) {
        EXPECT_FALSE(verdict_of_action_text(action_text(digits))) << digits;
    }
    std::string end = whole;
    end.back() = 'x';
    EXPECT_FALSE(verdict_of_action_text(end)) << "far behind the verdict";
}

}  // namespace
