/* What a rule file of the policy format or of JSON is refused for, and the exact place that is
 * named. */
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "rule_file.h"

namespace {

using namespace aclrmctl;

/* A bad text, where in it the error is, and what it says. */
struct BadText {
    const char *name;
    const char *text;
    uint32_t column; /* of its last line */
    const char *message;
    const char *path = "";
};

void PrintTo(const BadText &each, std::ostream *out) {
    *out << each.name;
}

class BadTexts : public testing::TestWithParam<BadText> {};

TEST_P(BadTexts, AreReportedAtTheirPlace) {
    const BadText &each = GetParam();
    RuleFile file;
    const auto error = parse_rule_text(each.text, RuleFormat::kAuto, &file);
    ASSERT_TRUE(error);
    const std::string text = each.text;
    EXPECT_EQ(error->column, each.column);
    EXPECT_EQ(error->message, each.message);
    EXPECT_EQ(error->path, each.path);
    EXPECT_EQ(error->line, std::count(text.begin(), text.end(), '\n') + 1);
    EXPECT_EQ(error->text, text.substr(text.rfind('\n') + 1));
}

/* A key and a mask of a digit too many. */
const std::string kDigits(257, '0');
const std::string kLongKey = "drop key " + kDigits + ":00 type 3";
const std::string kLongMask = "drop key 00:" + kDigits + " type 3";

const BadText kBadPolicyLines[] = {
    {"NoAction", "10.0.0.0/8", 1, "expected an action: permit, drop, trap or forward"},
    {"UpperCaseAction", "# x\n  Drop ip4 from any to any", 3,
     "expected an action: permit, drop, trap or forward"},
    {"NoPriority", "priority drop", 10, "expected a priority"},
    {"PriorityTooLarge", "priority 4294967296 drop ip4 from any to any", 10,
     "a priority is at most 4294967295"},
    {"LettersInPriority", "priority 1x drop", 11, "unexpected text in a priority"},
    {"PriorityAlone", "priority 1", 11, "the line ends before the action"},
    {"ActionAlone", "drop", 5, "the line ends before what to match"},
    {"NoMatch", "drop this", 6,
     "expected what to match: ip, tcp, udp, icmp, icmp6, proto N, mac or key"},
    {"ForwardWhere", "forward 3 tcp", 9, "expected 'port' or 'mc': where to forward to"},
    {"ForwardNoPort", "forward port tcp", 14, "expected a logical port"},
    {"NoFrom", "drop tcp 10.0.0.0/8", 10, "expected 'from'"},
    {"NoTo", "drop tcp from 10.0.0.0/8", 25, "expected 'to'"},
    {"ProtocolBehindIp", "drop ip tcp from any to any", 9, "expected 'from'"},
    {"NoAddress", "drop tcp from", 14, "the line ends before an address"},
    {"WordForAddress", "drop tcp from host to any", 15, "expected an address, a prefix or any"},
    {"OctetTooLarge", "drop tcp from 10.256.0.0/8 to any", 18,
     "an octet of an address is at most 255"},
    {"LengthTooLarge", "drop tcp from 10.0.0.0/33 to any", 24, "a prefix length is at most 32"},
    {"OctetWithAZeroBefore", "drop tcp from 10.010.0.0/8 to any", 18,
     "an octet of an address has no leading zero"},
    {"LengthWithAZeroBefore", "drop tcp from 10.0.0.0/08 to any", 24,
     "a prefix length has no leading zero"},
    {"PriorityWithAZeroBefore", "priority 010 drop ip4 from any to any", 10,
     "a priority has no leading zero"},
    {"PortWithAZeroBefore", "drop tcp from 10.0.0.1 to any port 0-0123", 38,
     "a port has no leading zero"},
    {"EtherTypeWithAZeroBefore", "drop mac from any to any type 0800", 31,
     "an EtherType has no leading zero"},
    {"Ipv6LengthTooLarge", "drop tcp from 2001:db8::/129 to any", 26,
     "a prefix length is at most 128"},
    {"BadIpv6", "drop tcp from 2001::db8::1 to any", 15,
     "expected an IPv6 address, such as 2001:db8::/32"},
    {"TextBehindAddress", "drop tcp from 10.0.0.0/8, to any", 25, "unexpected text in an address"},
    {"MixedVersions", "drop tcp from 10.0.0.1 to ::1", 27, "an IPv6 address in an IPv4 rule"},
    {"MixedWithWord", "drop ip6 from 10.0.0.1 to any", 15, "an IPv4 address in an IPv6 rule"},
    {"IcmpInIpv6", "drop ip6 icmp from any to any", 10, "icmp belongs to the other version of IP"},
    {"NoVersion", "drop tcp from any to any", 6,
     "both ends are 'any': say ip4 or ip6 before the protocol"},
    {"NoPort", "drop tcp from 10.0.0.1 port http to any", 29, "expected a port"},
    {"PortTooLarge", "drop tcp from 10.0.0.1 to any port 65536", 36, "a port is at most 65535"},
    {"BackwardPorts", "drop tcp from 10.0.0.1 to any port 9-8", 36,
     "the port range begins at 9, above its end 8"},
    {"PortList", "drop tcp from 10.0.0.1 to any port 80,443", 38, "unexpected text in a port"},
    {"FlagsTooLarge", "drop tcp from 10.0.0.1 to any flags 0x10000", 37,
     "a flags field is at most 65535"},
    {"FlagLetters", "drop tcp from 10.0.0.1 to any flags S", 37, "expected a flags field"},
    {"ProtocolTooLarge", "drop proto 256 from 10.0.0.1 to any", 12, "a protocol is at most 255"},
    {"MacInIpRule", "drop ip from 02:00:00:00:00:01 to any", 14,
     "a MAC address needs a 'mac' rule"},
    {"IpInMacRule", "drop mac from 10.0.0.1 to any", 15, "a 'mac' rule matches MAC addresses"},
    {"MacByte", "drop mac from 02:00:00:00:xx:01 to any", 27,
     "expected a byte of a MAC address, as one or two hexadecimal digits"},
    {"MacByteTooLong", "drop mac from 02:00:00:000:00:01 to any", 26,
     "expected ':': a MAC address has six bytes"},
    {"MacLength", "drop mac from 02:00:00:00:00:00/49 to any", 33, "a prefix length is at most 48"},
    {"VlanTooLarge", "drop mac from any to any vlan 4096", 31, "a VLAN id is at most 4095"},
    {"NoEtherType", "drop mac from any to any type ipv6", 31, "expected an EtherType"},
    {"OddKey", "drop key 0a1:ffff type 3", 13, "the last byte of a key has one digit"},
    {"NoKey", "drop key :ff type 3", 10, "expected a key in hexadecimal digits, two a byte"},
    {"NoMask", "drop key 0a14 type 3", 14, "expected ':' and a mask"},
    {"NoKeyType", "drop key 0a:ff", 15, "the line ends before 'type'"},
    {"KeyTypeTooLarge", "drop key 0a:ff type 4", 21, "a key type is at most 3"},
    {"CounterZero", "drop ip4 from any to any count 0", 32, "there is no counter 0"},
    {"CounterLetters", "drop ip4 from any to any count 7x", 33, "unexpected text in a counter"},
    {"LettersInVerdict", "verdict 9x ip4 from any to any", 10, "unexpected text in a verdict"},
    {"VerdictTooLarge", "verdict 4294967296 ip4 from any to any", 9,
     "a verdict is at most 4294967295"},
    {"LettersInLogicalPort", "forward port 7x ip4 from any to any", 15,
     "unexpected text in a logical port"},
    {"LettersInMcGroup", "forward mc 7x ip4 from any to any", 13, "unexpected text in an MC group"},
    {"LettersInFlags", "drop tcp from 10.0.0.1 to any flags 0x2x", 40,
     "unexpected text in a flags field"},
    {"LettersInFlagsMask", "drop tcp from 10.0.0.1 to any flags 2/0x2x", 42,
     "unexpected text in a flags field"},
    {"NoFlagsMask", "drop tcp from 10.0.0.1 to any flags 2/S", 39, "expected a mask"},
    {"LettersInVlan", "drop mac from any to any vlan 7x", 32, "unexpected text in a VLAN id"},
    {"LettersInEtherType", "drop mac from any to any type 0x800x", 36,
     "unexpected text in an EtherType"},
    {"HexWithoutDigits", "drop proto 0x from 10.0.0.1 to any", 14,
     "expected hexadecimal digits after 0x"},
    {"HexMaskWithoutDigits", "drop tcp from 10.0.0.1 to any flags 2/0xg", 41,
     "expected hexadecimal digits after 0x"},
    {"Icmp6InIpv4", "drop ip4 icmp6 from any to any", 10,
     "icmp6 belongs to the other version of IP"},
    {"KeyTooLong", kLongKey.c_str(), 10 + 256, "a key has at most 128 bytes"},
    {"MaskTooLong", kLongMask.c_str(), 13 + 256, "a mask has at most 128 bytes"},
    {"TextBehindRule", "drop ip4 from any to any log", 26, "unexpected text after the rule"},
    {"OptionTwice", "drop ip4 from any to any count 1 count 2", 34,
     "unexpected text after the rule"}};

INSTANTIATE_TEST_SUITE_P(Policy, BadTexts, testing::ValuesIn(kBadPolicyLines),
                         [](const auto &each) { return each.param.name; });

const std::string kLongJsonKey = "{\"rules\": [\n{\"match\": {\"key\": \"" + kDigits + "\"}}";
const std::string kLongJsonMask = "{\"rules\": [\n{\"match\": {\"mask\": \"" + kDigits + "\"}}";

/* Rules after the first line of a good frame; the line's own text is the last. */
const BadText kBadJsonRules[] = {
    {"NoObject", "{\"rules\": [\n5", 1, "expected an object, not a number", "/rules/0"},
    {"SecondRule", "{\"rules\": [{\"match\":{\"family\":\"ip4\"}},\n[]", 1,
     "expected an object, not an array", "/rules/1"},
    {"OctetInAString", "{\"rules\": [\n{\"match\": {\"src\": \"10.256.0.0/8\"}}", 23,
     "an octet of an address is at most 255", "/rules/0/match/src"},
    {"EscapedString", "{\"rules\": [\n{\"match\": {\"src\": \"10\\u002e256.0.0/8\"}}", 19,
     "an octet of an address is at most 255", "/rules/0/match/src"},
    {"UnknownMember", "{\"rules\": [\n{\"match\": {\"source\": \"10.0.0.1\"}}", 12,
     "unknown member here; there may be family, protocol, src, src_port, dst, dst_port, flags",
     "/rules/0/match/source"},
    {"MacMemberInIpRule", "{\"rules\": [\n{\"match\": {\"family\": \"ip4\", \"vlan\": 1}}", 29,
     "unknown member here; there may be family, protocol, src, src_port, dst, dst_port, flags",
     "/rules/0/match/vlan"},
    {"UnknownAction", "{\"rules\": [\n{\"action\": \"deny\", \"match\": {\"family\": \"ip4\"}}", 12,
     "unknown action: expected permit, drop, trap or forward", "/rules/0/action"},
    {"ForwardWithoutWhere",
     "{\"rules\": [\n{\"action\": \"forward\", \"match\": {\"family\": \"ip4\"}}", 12,
     "the action is forward, and there is no member forward", "/rules/0"},
    {"TwoTargets",
     "{\"rules\": [\n{\"forward\": {\"port\": 1, \"mc\": 2}, \"match\": {\"family\": \"ip4\"}}", 13,
     "expected one member, port or mc", "/rules/0/forward"},
    {"NoMatch", "{\"rules\": [\n{\"action\": \"drop\"}", 1, "the rule has no match", "/rules/0"},
    {"UnknownFamily", "{\"rules\": [\n{\"match\": {\"family\": \"ipx\"}}", 22,
     "unknown family: expected ip4, ip6 or mac", "/rules/0/match/family"},
    {"NoFamily", "{\"rules\": [\n{\"match\": {}}", 11,
     "neither end has an address: say \"family\": \"ip4\" or \"ip6\"", "/rules/0/match"},
    {"OtherFamily", "{\"rules\": [\n{\"match\": {\"src\": \"10.0.0.1\", \"dst\": \"::1\"}}", 38,
     "the address is of another family than the rule", "/rules/0/match/dst"},
    {"KeyAlone", "{\"rules\": [\n{\"match\": {\"key\": \"00\", \"key_type\": 3}}", 11,
     "key, mask and key_type belong together; there is no mask", "/rules/0/match"},
    {"MaskAlone", "{\"rules\": [\n{\"match\": {\"mask\": \"00\", \"key_type\": 3}}", 11,
     "key, mask and key_type belong together; there is no key", "/rules/0/match"},
    {"NoKeyType", "{\"rules\": [\n{\"match\": {\"key\": \"00\", \"mask\": \"ff\"}}", 11,
     "key, mask and key_type belong together; there is no key_type", "/rules/0/match"},
    {"KeyTooLong", kLongJsonKey.c_str(), 20 + 256, "a key has at most 128 bytes",
     "/rules/0/match/key"},
    {"MaskTooLong", kLongJsonMask.c_str(), 21 + 256, "a mask has at most 128 bytes",
     "/rules/0/match/mask"},
    {"UnknownProtocol", "{\"rules\": [\n{\"match\": {\"family\": \"ip4\", \"protocol\": \"tpc\"}}",
     42, "expected a protocol (tcp, udp, icmp, icmp6 or a number)", "/rules/0/match/protocol"},
    {"Icmp6InIpv4", "{\"rules\": [\n{\"match\": {\"family\": \"ip4\", \"protocol\": \"icmp6\"}}",
     41, "icmp6 belongs to the other version of IP", "/rules/0/match/protocol"},
    {"Icmpv6InIpv4", "{\"rules\": [\n{\"match\": {\"family\": \"ip4\", \"protocol\": \"icmpv6\"}}",
     41, "icmpv6 belongs to the other version of IP", "/rules/0/match/protocol"},
    {"IcmpInIpv6", "{\"rules\": [\n{\"match\": {\"family\": \"ip6\", \"protocol\": \"icmp\"}}", 41,
     "icmp belongs to the other version of IP", "/rules/0/match/protocol"},
    {"Ipv4AddressBesideIcmp6",
     "{\"rules\": [\n{\"match\": {\"src\": \"10.0.0.1\", \"protocol\": \"icmp6\"}}", 19,
     "the address is of another family than the rule", "/rules/0/match/src"},
    {"NoFamilyOfTcp", "{\"rules\": [\n{\"match\": {\"protocol\": \"tcp\"}}", 11,
     "neither end has an address: say \"family\": \"ip4\" or \"ip6\"", "/rules/0/match"},
    {"NoFamilyOf58", "{\"rules\": [\n{\"match\": {\"protocol\": 58}}", 11,
     "neither end has an address: say \"family\": \"ip4\" or \"ip6\"", "/rules/0/match"},
    {"ProtocolTooLarge", "{\"rules\": [\n{\"match\": {\"family\": \"ip4\", \"protocol\": 256}}", 41,
     "a protocol (tcp, udp, icmp, icmp6 or a number) is at most 255", "/rules/0/match/protocol"},
    {"NegativePort", "{\"rules\": [\n{\"match\": {\"src\": \"10.0.0.1\", \"dst_port\": -1}}", 43,
     "expected a port", "/rules/0/match/dst_port"},
    {"FractionalPort", "{\"rules\": [\n{\"match\": {\"src\": \"10.0.0.1\", \"dst_port\": 1.5}}", 43,
     "unexpected text in the value", "/rules/0/match/dst_port"},
    {"BooleanPort", "{\"rules\": [\n{\"match\": {\"src\": \"10.0.0.1\", \"dst_port\": true}}", 43,
     "expected a string or a number, not a boolean", "/rules/0/match/dst_port"},
    {"CounterZero", "{\"rules\": [\n{\"counter\": 0, \"match\": {\"family\": \"ip4\"}}", 13,
     "there is no counter 0", "/rules/0/counter"}};

/* Those are complete but for the end of the frame. */
class BadJsonRules : public testing::TestWithParam<BadText> {};

TEST_P(BadJsonRules, AreReportedAtTheirPlaceAndPointer) {
    const BadText &each = GetParam();
    RuleFile file;
    const auto error = parse_rule_text(std::string(each.text) + "\n]}\n", RuleFormat::kAuto, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->line, 2u);
    EXPECT_EQ(error->column, each.column);
    EXPECT_EQ(error->message, each.message);
    EXPECT_EQ(error->path, each.path);
}

INSTANTIATE_TEST_SUITE_P(Json, BadJsonRules, testing::ValuesIn(kBadJsonRules),
                         [](const auto &each) { return each.param.name; });

const BadText kBadJsonTexts[] = {
    {"Array", "[]", 1, "expected an object with a member rules"},
    {"NoRules", "{}", 1, "expected an object with a member rules"},
    {"OtherMember", "{\"rule\": []}", 2, "unknown member here; there may be rules", "/rule"},
    {"RulesOfAnotherKind", "{\"rules\": {}}", 11, "expected an array, not an object", "/rules"},
    {"NoEnd", "{\"rules\": [", 12, "the text ends before a JSON value", "/rules/0"},
    {"ArrayWithoutEnd", "{\"rules\": [{}", 11, "the array has no end", "/rules"},
    {"TrailingComma", "{\"rules\": [{},]}", 15, "expected a JSON value", "/rules/1"},
    {"MemberTwice", "{\"rules\": [], \"rules\": []}", 15, "the object has this member twice"},
    {"NoColon", "{\"rules\" []}", 10, "expected ':' behind a member's name"},
    {"NoName", "{rules: []}", 2, "expected the name of a member, in quotes"},
    {"StringWithoutEnd", "{\"rules\": [\"a]}", 12, "the string has no end", "/rules/0"},
    {"UnknownEscape", "{\"rules\": [\"a\\x\"]}", 14, "unknown escape in a string", "/rules/0"},
    {"HalfCharacter", "{\"rules\": [\"\\ud800\"]}", 13, "half of a character", "/rules/0"},
    {"LeadingZero", "{\"rules\": [01]}", 12, "a number has no zeros in front", "/rules/0"},
    {"Word", "{\"rules\": [nul]}", 12, "expected a JSON value", "/rules/0"},
    {"TextBehind", "{\"rules\": []} x", 15, "unexpected text behind the JSON value"},
    {"FractionWithoutDigits", "{\"rules\": [1.]}", 14, "expected a digit", "/rules/0"},
    {"ExponentWithoutDigits", "{\"rules\": [1e+]}", 15, "expected a digit", "/rules/0"},
    {"MinusAlone", "{\"rules\": [-]}", 13, "expected a digit", "/rules/0"},
    {"ControlCharacter", "{\"rules\": [\"a\tb\"]}", 14, "a control character in a string",
     "/rules/0"},
    {"ShortCode", "{\"rules\": [\"\\u00g0\"]}", 17, "expected four hexadecimal digits after \\u",
     "/rules/0"},
    {"SecondHalfMissing", "{\"rules\": [\"\\ud800\\u0041\"]}", 13, "half of a character",
     "/rules/0"},
    {"NoCommaInArray", "{\"rules\": [{} {}]}", 15, "expected ',' or ']'", "/rules"},
    {"NoCommaInObject", "{\"rules\": [] 5}", 14, "expected ',' or '}'"},
    {"ObjectWithoutEnd", "{\"rules\": []", 1, "the object has no end"},
    {"TooDeep", "[[[[[[[[[[[[[[[[[", 17, "more than 16 values inside each other",
     "/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0"}};

INSTANTIATE_TEST_SUITE_P(Json, BadTexts, testing::ValuesIn(kBadJsonTexts),
                         [](const auto &each) { return each.param.name; });

/* The first that is too many. */
TEST(JsonErrors, PointAtTheMemberThatIsOneTooMany) {
    const auto object_of = [](int members_num) {
        std::string text = "{\"rules\": [\n{";
        for (int i = 0; i < members_num; i++) {
            text += (i == 0 ? "\"a" : ", \"a") + std::to_string(i) + "\": 0";
        }
        return text + "}]}";
    };
    RuleFile file;
    const auto allowed = parse_rule_text(object_of(64), RuleFormat::kAuto, &file);
    ASSERT_TRUE(allowed);
    EXPECT_EQ(allowed->message,
              "unknown member here; there may be priority, action, forward, match, counter");
    const auto error = parse_rule_text(object_of(65), RuleFormat::kAuto, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, "more than 64 members");
    EXPECT_EQ(error->line, 2u);
    EXPECT_EQ(error->column, error->text.find("\"a64\"") + 1);
    EXPECT_EQ(error->path, "/rules/0");
}

TEST(JsonErrors, NameThePointerBeforeTheMessage) {
    RuleFile file;
    const auto error =
        parse_rule_text("{\"rules\": [{\"match\": {\"src\": 5}}]}", RuleFormat::kAuto, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(describe_place("edge.json", *error),
              "edge.json:1:30: /rules/0/match/src: expected a string, not a number");
    EXPECT_EQ(picture_of(*error)[1], std::string(29, ' ') + "^");
}

}  // namespace
