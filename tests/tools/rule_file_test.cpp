/* Reading rule files: every field, every way for a line to be wrong with its exact place. */
#include "rule_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ostream>

namespace {

using namespace aclrmctl;

/* An error as people see it. */
std::string told(const std::string &file_name, const RuleFileError &error) {
    const auto picture = picture_of(error);
    return describe_place(file_name, error) + "\n    " + picture[0] + "\n    " + picture[1] + "\n";
}

uint32_t ipv4(const AddressPrefix &prefix) {
    return static_cast<uint32_t>(prefix.bytes[0]) << 24 | prefix.bytes[1] << 16 |
           prefix.bytes[2] << 8 | prefix.bytes[3];
}

TEST(Picture, ShowsThePartOfALongLineThatHasTheCaret) {
    const std::string digits = "0123456789";
    std::string line;
    for (int i = 0; i < 10; i++) {
        line += digits;
    }
    EXPECT_EQ(picture_of({1, 5, "", line}),
              (std::array<std::string, 2>{line.substr(0, 73) + "...", "    ^"}));
    EXPECT_EQ(picture_of({1, 81, "", line}),
              (std::array<std::string, 2>{"..." + line.substr(50), std::string(33, ' ') + "^"}));
    EXPECT_EQ(picture_of({1, 101, "", line})[1].size(), 34u) << "behind the end";
    EXPECT_EQ(picture_of({1, 51, "", line}, 30),
              (std::array<std::string, 2>{"..." + line.substr(38, 24) + "...",
                                          std::string(15, ' ') + "^"}));
    EXPECT_EQ(picture_of({1, 51, "", line}, 200),
              (std::array<std::string, 2>{line, std::string(50, ' ') + "^"}));
    for (size_t columns = 12; columns < 120; columns++) {
        for (uint32_t column = 1; column <= 101; column++) {
            for (const std::string &part : picture_of({1, column, "", line}, columns)) {
                EXPECT_LE(part.size(), columns) << "column " << column;
            }
        }
    }
}

TEST(Picture, ShowsUtf8AsItIsAndCountsCharacters) {
    const std::string umlauts = "# \xC3\xA4\xE2\x82\xAC\xF0\x9F\x8C\xB3 x";
    EXPECT_EQ(picture_of({1, 13, "", umlauts}), (std::array<std::string, 2>{umlauts, "      ^"}));
    /* Cut short, overlong, a surrogate, a control of 8 bits, and one of 7. */
    EXPECT_EQ(picture_of({1, 1, "", "\xC3 \xC0\x80 \xED\xA0\x80 \xC2\x9B \x1B"})[0],
              "? ?? ??? ? ?");
    EXPECT_EQ(picture_of({1, 3, "", "\xC3\xA4\t."}),
              (std::array<std::string, 2>{"\xC3\xA4\t.", " ^"}));
    EXPECT_EQ(picture_of({1, 4, "", "\xC3\xA4\t."})[1], " \t^");
}

constexpr const char *kGood =
    "@10.1.2.0/24\t192.0.2.53/32\t1024 : 65535\t53 : 53\t0x11/0xFF\t0x0000/0x0000\t";

RuleFile parsed(const std::string &text) {
    RuleFile file;
    const auto error = parse_rule_text(text, RuleFormat::kClassic, &file);
    EXPECT_FALSE(error) << told("text", *error);
    return file;
}

FilterRule only_rule(const std::string &text) {
    const RuleFile file = parsed(text);
    EXPECT_EQ(file.rules.size(), 1u);
    return file.rules.empty() ? FilterRule{} : file.rules[0];
}

TEST(RuleFile, ReadsEveryFieldOfARule) {
    const FilterRule rule = only_rule(
        "@10.1.2.0/24\t192.0.2.53/32\t1024 : 65535\t53 : 54\t0x06/0xFF\t0x1002/0x1012\t\n");
    EXPECT_EQ(rule.at.line, 1u);
    EXPECT_EQ(ipv4(rule.source), 0x0A010200u);
    EXPECT_EQ(rule.source.length, 24);
    EXPECT_EQ(ipv4(rule.destination), 0xC0000235u);
    EXPECT_EQ(rule.destination.length, 32);
    EXPECT_EQ(rule.source_ports.low, 1024);
    EXPECT_EQ(rule.source_ports.high, 65535);
    EXPECT_EQ(rule.destination_ports.low, 53);
    EXPECT_EQ(rule.destination_ports.high, 54);
    EXPECT_EQ(rule.protocol, 6);
    EXPECT_EQ(rule.protocol_mask, 0xFF);
    EXPECT_EQ(rule.flags, 0x1002);
    EXPECT_EQ(rule.flags_mask, 0x1012);
    EXPECT_FALSE(rule.verdict);
}

/* The files of others are older than this tool, and their generators pad numbers. */
TEST(RuleFile, TakesLeadingZerosInTheClassicFormatOnly) {
    RuleFile file;
    const auto error = parse_rule_text(
        "@010.0.0.0/08 192.168.001.000/024 0000 : 0080 00443 : 0443 006/0xFF 0/00\n",
        RuleFormat::kAuto, &file);
    ASSERT_FALSE(error) << error->message;
    ASSERT_EQ(file.rules.size(), 1u);
    EXPECT_EQ(file.rules[0].source.bytes[0], 10);
    EXPECT_EQ(file.rules[0].source.length, 8);
    EXPECT_EQ(file.rules[0].destination.bytes[2], 1);
    EXPECT_EQ(file.rules[0].source_ports.high, 80);
    EXPECT_EQ(file.rules[0].destination_ports.low, 443);
    EXPECT_EQ(file.rules[0].protocol, 6);
}

TEST(RuleFile, TakesAnyWhiteSpaceBetweenFields) {
    const FilterRule rule = only_rule("  @ 1.2.3.4/32   5.6.7.8/32\t \t1:2 3 :4  6/255 0/0");
    EXPECT_EQ(ipv4(rule.source), 0x01020304u);
    EXPECT_EQ(rule.source_ports.high, 2);
    EXPECT_EQ(rule.destination_ports.low, 3);
    EXPECT_EQ(rule.protocol, 6);
}

TEST(RuleFile, TakesCarriageReturnsAndALastLineWithoutAnEnd) {
    const std::string text = std::string(kGood) + "\r\n" + kGood + "\r\n" + kGood;
    const RuleFile file = parsed(text);
    ASSERT_EQ(file.rules.size(), 3u);
    EXPECT_EQ(file.rules[2].at.line, 3u);
    EXPECT_EQ(file.lines_num, 3u);
}

TEST(RuleFile, SkipsBlankLinesAndComments) {
    const RuleFile file =
        parsed(std::string("# title\n\n  \t\n   # indented\n") + kGood + " # after a rule\n\r\n");
    ASSERT_EQ(file.rules.size(), 1u);
    EXPECT_EQ(file.rules[0].at.line, 5u);
    EXPECT_EQ(file.lines_num, 6u);
}

TEST(RuleFile, HasNoRulesInAnEmptyText) {
    EXPECT_TRUE(parsed("").rules.empty());
    EXPECT_EQ(parsed("").lines_num, 0u);
}

TEST(RuleFile, ReadsTheVerdictAtTheEnd) {
    EXPECT_EQ(only_rule(std::string(kGood) + "permit").verdict, Verdict::kPermit);
    EXPECT_EQ(only_rule(std::string(kGood) + "drop \t").verdict, Verdict::kDrop);
    EXPECT_EQ(only_rule(std::string(kGood) + "trap#x").verdict, Verdict::kTrap);
}

TEST(RuleFile, ClearsAddressBitsBeyondThePrefixAndCountsTheRules) {
    const RuleFile file =
        parsed(std::string(kGood) + "\n@10.1.2.3/24 10.9.9.9/0 0:1 0:1 0/0 0/0\n");
    EXPECT_EQ(file.masked_num, 1u);
    EXPECT_EQ(file.first_masked_line, 2u);
    EXPECT_EQ(ipv4(file.rules[1].source), 0x0A010200u);
    EXPECT_EQ(ipv4(file.rules[1].destination), 0u);
}

TEST(RuleFile, ClearsProtocolAndFlagBitsOutsideTheirMasks) {
    const FilterRule rule = only_rule("@0.0.0.0/0 0.0.0.0/0 0:1 0:1 0x06/0x00 0xFFFF/0x0200");
    EXPECT_EQ(rule.protocol, 0);
    EXPECT_EQ(rule.flags, 0x0200);
}

TEST(RuleFile, TakesTheLimitsOfEveryField) {
    const FilterRule rule =
        only_rule("@255.255.255.255/32 0.0.0.0/0 0 : 65535 65535 : 65535 0xFF/0xff 0xFFFF/0XFFFF");
    EXPECT_EQ(ipv4(rule.source), 0xFFFFFFFFu);
    EXPECT_EQ(rule.destination_ports.low, 65535);
    EXPECT_EQ(rule.protocol_mask, 0xFF);
    EXPECT_EQ(rule.flags_mask, 0xFFFF);
}

TEST(RuleFile, KeepsTheRulesBeforeABadLineAndStopsThere) {
    RuleFile file;
    const auto error = parse_rule_text(std::string(kGood) + "\nx\n" + kGood + "\ny\n",
                                       RuleFormat::kClassic, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->line, 2u);
    EXPECT_EQ(file.rules.size(), 1u);
}

/* A bad line, where in it the error is, and what the error says. */
struct BadLine {
    const char *name;
    const char *line;
    uint32_t column;
    const char *message;
};

/* Else a case is listed with the addresses in its record, which differ from run to run. */
void PrintTo(const BadLine &each, std::ostream *out) {
    *out << each.name;
}

class BadLines : public testing::TestWithParam<BadLine> {};

TEST_P(BadLines, AreReportedAtTheirColumn) {
    RuleFile file;
    const auto error = parse_rule_text(std::string("# first\n") + GetParam().line + "\n",
                                       RuleFormat::kClassic, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->line, 2u);
    EXPECT_EQ(error->column, GetParam().column);
    EXPECT_EQ(error->message, GetParam().message);
    EXPECT_EQ(error->text, GetParam().line);
}

const BadLine kBadLines[] = {
    {"NoAt", "10.0.0.0/8 0.0.0.0/0 0:1 0:1 0/0 0/0", 1, "a rule begins with '@'"},
    {"IndentedNoAt", "  rule", 3, "a rule begins with '@'"},
    {"NoAddress", "@x", 2, "expected an octet of an address"},
    {"NothingAfterAt", "@", 2, "expected an octet of an address"},
    {"OctetTooLarge", "@10.256.0.0/8", 5, "an octet of an address is at most 255"},
    {"OctetOfManyDigits", "@10.99999999999999999999999.0.0/8", 5,
     "an octet of an address is at most 255"},
    {"ThreeOctets", "@10.0.0/8", 8, "expected '.': an address has four octets"},
    {"FiveOctets", "@10.0.0.0.0/8", 10, "expected '/' and a prefix length"},
    {"EmptyOctet", "@10..0.0/8", 5, "expected an octet of an address"},
    {"NoPrefixLength", "@10.0.0.0 0.0.0.0/0", 10, "expected '/' and a prefix length"},
    {"EmptyPrefixLength", "@10.0.0.0/ 0.0.0.0/0", 11, "expected a prefix length"},
    {"PrefixLengthTooLarge", "@10.0.0.0/33 0.0.0.0/0", 11, "a prefix length is at most 32"},
    {"NegativePrefixLength", "@10.0.0.0/-1", 11, "expected a prefix length"},
    {"EndsAfterSource", "@10.0.0.0/8", 12, "the line ends before the destination"},
    {"CommentAfterSource", "@10.0.0.0/8 # why", 13, "the line ends before the destination"},
    {"NoSpaceAfterSource", "@10.0.0.0/8@1.2.3.4/5", 12,
     "expected white space before the destination"},
    {"BadDestination", "@10.0.0.0/8\t1.2.3.x/5", 19, "expected an octet of an address"},
    {"EndsAfterDestination", "@1.0.0.0/8 2.0.0.0/8 ", 22, "the line ends before the source ports"},
    {"NoPort", "@1.0.0.0/8 2.0.0.0/8 http", 22, "expected a port"},
    {"PortTooLarge", "@1.0.0.0/8 2.0.0.0/8 0:65536", 24, "a port is at most 65535"},
    {"NoColon", "@1.0.0.0/8 2.0.0.0/8 80 443", 25,
     "expected ':' between the two ends of a port range"},
    {"DashForColon", "@1.0.0.0/8 2.0.0.0/8 80-443", 24,
     "expected ':' between the two ends of a port range"},
    {"NoHighPort", "@1.0.0.0/8 2.0.0.0/8 80 :", 26, "expected a port"},
    {"BackwardRange", "@1.0.0.0/8 2.0.0.0/8 443 : 80 0:1 0/0 0/0", 22,
     "the port range begins at 443, above its end 80"},
    {"BackwardDestinationRange", "@1.0.0.0/8 2.0.0.0/8 0:1 2 : 1 0/0 0/0", 26,
     "the port range begins at 2, above its end 1"},
    {"EndsAfterSourcePorts", "@1.0.0.0/8 2.0.0.0/8 0:1", 25,
     "the line ends before the destination ports"},
    {"EndsAfterPorts", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1", 29, "the line ends before the protocol"},
    {"NoProtocol", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 tcp/0xFF", 30, "expected a protocol"},
    {"EmptyHex", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x/0xFF", 32,
     "expected hexadecimal digits after 0x"},
    {"ProtocolTooLarge", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x100/0xFF", 30,
     "a protocol is at most 255"},
    {"NoProtocolMask", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x06 0/0", 34, "expected '/' and a mask"},
    {"ProtocolMaskTooLarge", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x06/0x1FF 0/0", 35,
     "a protocol mask is at most 255"},
    {"EndsAfterProtocol", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x06/0xFF", 39,
     "the line ends before the flags"},
    {"FlagsTooLarge", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0x10000/0", 36,
     "a flags field is at most 65535"},
    {"NoFlagsMask", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0x2", 39, "expected '/' and a mask"},
    {"WordForFlagsMask", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/S", 38, "expected a flags mask"},
    {"NothingForFlagsMask", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/", 38, "expected a flags mask"},
    {"FlagsMaskTooLarge", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0x10000", 38,
     "a flags mask is at most 65535"},
    {"LetterInFlagsMask", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0x0g", 41,
     "unexpected text in the flags mask"},
    {"UnknownVerdict", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0 deny", 40,
     "unknown verdict: expected permit, drop or trap"},
    {"UpperCaseVerdict", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0 Drop", 40,
     "unknown verdict: expected permit, drop or trap"},
    {"TextAfterVerdict", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0 drop now", 45,
     "unexpected text after the rule"},
    {"LetterAtVerdict", "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 6/255 0/0 drop!", 44,
     "unexpected text after the rule"},
};

INSTANTIATE_TEST_SUITE_P(RuleFile, BadLines, testing::ValuesIn(kBadLines),
                         [](const auto &each) { return each.param.name; });

TEST(RuleFile, ReportsANulByteLikeAnyOtherBadCharacter) {
    RuleFile file;
    const auto error =
        parse_rule_text(std::string("@1.0.0.0/8\0", 11), RuleFormat::kClassic, &file);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->column, 11u);
    EXPECT_EQ(
        told("f", *error),
        "f:1:11: expected white space before the destination\n    @1.0.0.0/8?\n              ^\n");
}

TEST(RuleErrorText, ShowsFileLineColumnTextAndCaret) {
    const RuleFileError error{3, 13, "expected an octet of an address", "@10.0.0.0/8 x.2.3.4/5"};
    EXPECT_EQ(told("dir/edge.rules", error),
              "dir/edge.rules:3:13: expected an octet of an address\n"
              "    @10.0.0.0/8 x.2.3.4/5\n"
              "                ^\n");
}

TEST(RuleErrorText, PutsATabBelowEveryTabBeforeTheCaret) {
    const RuleFileError error{1, 5, "m", "a\tb\tc\td"};
    EXPECT_EQ(told("f", error), "f:1:5: m\n    a\tb\tc\td\n     \t \t^\n");
}

TEST(RuleErrorText, ShowsThePartOfALongLineAroundTheCaret) {
    const RuleFileError error{1, 5001, "m", std::string(5000, 'a') + "X" + std::string(5000, 'b')};
    EXPECT_EQ(told("f", error), "f:1:5001: m\n    ..." + std::string(30, 'a') + "X" +
                                    std::string(39, 'b') + "...\n    " + std::string(33, ' ') +
                                    "^\n");
}

TEST(ReadTextFile, TellsWhyAFileCannotBeRead) {
    std::string text;
    EXPECT_EQ(read_text_file("/nonexistent/file", &text), ENOENT);
    EXPECT_EQ(read_text_file("/", &text), EISDIR);
}

/* The set of real rules beside the source tree, where there is one. */
TEST(RuleFile, ReadsTheClassicFilterSet) {
    std::string text;
    if (read_text_file(ZV_TEST_DATA_DIR "/acl1_1k.rules", &text) != 0) {
        GTEST_SKIP() << "no " ZV_TEST_DATA_DIR "/acl1_1k.rules here";
    }
    const RuleFile file = parsed(text);
    ASSERT_EQ(file.rules.size(), 941u);
    EXPECT_EQ(file.lines_num, 941u);
    EXPECT_EQ(ipv4(file.rules[0].source), 180u << 24 | 140u << 16 | 202u << 8 | 97u);
    EXPECT_EQ(file.rules[0].destination_ports.low, 5631);
    EXPECT_EQ(file.rules[0].flags_mask, 0x0200);
}

TEST(SampleFile, HasAtLeastThreeHundredRulesEachWithAVerdict) {
    std::string text;
    ASSERT_EQ(read_text_file(ZV_TEST_SAMPLES_DIR "/campus-edge.rules", &text), 0);
    const RuleFile file = parsed(text);
    EXPECT_GE(file.rules.size(), 300u);
    EXPECT_EQ(file.masked_num, 0u);
    for (const FilterRule &rule : file.rules) {
        EXPECT_TRUE(rule.verdict) << "line " << rule.at.line;
    }
}

TEST(SampleFile, IsWhatItsGeneratorWrites) {
    std::string text;
    ASSERT_EQ(read_text_file(ZV_TEST_SAMPLES_DIR "/campus-edge.rules", &text), 0);
    FILE *generator = popen("python3 '" ZV_TEST_SAMPLES_DIR "/make_campus_edge.py'", "r");
    ASSERT_NE(generator, nullptr);
    std::string written;
    char buffer[4096];
    size_t got = 0;
    while ((got = fread(buffer, 1, sizeof(buffer), generator)) > 0) {
        written.append(buffer, got);
    }
    const int status = pclose(generator);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        GTEST_SKIP() << "no python3 here";
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written, text);
}

}  // namespace
