/* What is no number is refused, wherever the tool takes one. */
#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "tests/tools/run_tool.h"

namespace {

using zv_test::run_tool;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

struct NumericOption {
    Words words; /* of its command, and its own where it is no positional */
    std::string name;
    bool may_be_negative;
};

/* As the tool itself lists them. */
std::vector<NumericOption> numeric_options() {
    std::vector<NumericOption> options;
    std::istringstream lines(run_tool("", {"__options"}).out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream cells(line);
        std::string command;
        std::string names;
        std::string type;
        std::getline(cells, command, '\t');
        std::getline(cells, names, '\t');
        std::getline(cells, type, '\t');
        if (type.rfind("UINT", 0) != 0 && type.rfind("INT", 0) != 0) {
            continue;
        }
        NumericOption option{{}, names.substr(0, names.find(',')), type[0] == 'I'};
        std::istringstream words(command);
        for (std::string word; words >> word;) {
            option.words.push_back(word);
        }
        if (option.name.rfind("--", 0) == 0) {
            option.words.push_back(option.name);
        }
        options.push_back(option);
    }
    return options;
}

/* A command line that gives the option this value. */
Words with_value(const NumericOption &option, const std::string &value) {
    Words words = option.words;
    if (value.rfind('-', 0) == 0 && words.back() == option.name) {
        words.back() += "=" + value;
    } else {
        words.push_back(value);
    }
    return words;
}

void expect_no_number(const NumericOption &option, const std::string &value) {
    const bool is_positional = option.words.back() != option.name;
    if (value == "--1" && is_positional) {
        return; /* an option, as a word of its own */
    }
    if (value == "-1" && option.may_be_negative) {
        return;
    }
    const ToolRun run = run_tool("/none", with_value(option, value));
    EXPECT_EQ(run.exit_code, 1) << option.name << " '" << value << "'";
    EXPECT_EQ(run.err.rfind("aclrmctl: " + option.name + ": '" + value + "' is no number", 0), 0u)
        << run.err;
}

constexpr std::array no_numbers = {"",    "+5", " 5",  "5 ",  "010", "00", "0x",
                                   "0xg", "5x", "1e3", "1.5", "--1", "-1"};

TEST(StrictNumbers, AreAskedForByEveryNumericOption) {
    const auto options = numeric_options();
    ASSERT_GT(options.size(), 30u);
    /* A process each: every option meets three of them, all options together all of them. */
    size_t next = 0;
    for (const NumericOption &option : options) {
        for (int turn = 0; turn < 3; ++turn) {
            expect_no_number(option, no_numbers[next++ % no_numbers.size()]);
        }
        const ToolRun run = run_tool("/none", with_value(option, "99999999999999999999999"));
        EXPECT_EQ(run.exit_code, 1) << option.name;
        EXPECT_NE(run.err.find("is too large a number"), std::string::npos) << run.err;
    }
}

TEST(StrictNumbers, AreToldFromEverythingThatResemblesThem) {
    for (const char *value : no_numbers) {
        expect_no_number({{"acl", "create", "--size"}, "--size", false}, value);
    }
}

TEST(StrictNumbers, AreTakenUpToTheLargestThereIs) {
    for (const Words &words :
         {Words{"acl", "create", "--size", "4294967295"},
          Words{"acl", "create", "--size", "0xFFFFFFFF"}, Words{"acl", "create", "--size", "0"},
          Words{"--handle", "18446744073709551615", "show"},
          Words{"--handle", "0xffffffffffffffff", "show"},
          Words{"switch", "faults", "--call", "*", "--times", "-1"},
          Words{"bind", "port", "--acl", "1", "0x10001-0x10004,65545"}}) {
        EXPECT_EQ(run_tool("/none", words).exit_code, 3) << words.back();
    }
    for (const Words &words : {Words{"acl", "create", "--size", "4294967296"},
                               Words{"--handle", "18446744073709551616", "show"},
                               Words{"switch", "packet", "--port", "1", "--sport", "65536"}}) {
        const ToolRun run = run_tool("/none", words);
        EXPECT_EQ(run.exit_code, 1) << words.back();
        EXPECT_NE(run.err.find("is too large a number"), std::string::npos) << run.err;
    }
}

/* Where a name or a number may stand, and in lists. */
TEST(StrictNumbers, AreAskedForBesideNamesAndInLists) {
    for (const std::string &value : {std::string("010"), std::string("+1"), std::string("-1"),
                                     std::string(" 1"), std::string("0x")}) {
        for (const Words &words :
             {Words{"acl", "create", "--size", "5", "--direction=" + value},
              Words{"open", "--owner=" + value}, Words{"bind", "port", "--acl", "1", "--", value},
              Words{"rule", "get", "--acl", "1", "--", "3," + value}}) {
            const ToolRun run = run_tool("/none", words);
            EXPECT_EQ(run.exit_code, 1) << words.back();
            EXPECT_NE(run.err.find("'" + value + "'"), std::string::npos) << run.err;
        }
    }
}

TEST(StrictNumbers, AreMissingBesideACommaThatIsPointedAt) {
    const ToolRun run = run_tool("/none", {"bind", "port", "--acl", "1", "1,"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err,
              "aclrmctl: PORT: '1,': a logical port is missing beside a comma\n"
              "    aclrmctl bind port --acl 1 1,\n"
              "                               ^^\n"
              "  hint: 'aclrmctl bind port --help' tells more\n");
}

struct Sentence {
    Words words;
    std::string first; /* line of standard error, behind the tool's name */
    std::string hint = "";
};

/* None of them is a sentence of the parser's. */
TEST(UsageErrors, SpeakTheToolsOwnWords) {
    const std::vector<Sentence> rows{
        {{}, "'aclrmctl' needs a command"},
        {{"acl"},
         "'aclrmctl acl' needs a command",
         "  hint: create, destroy, edit or resize; 'aclrmctl acl --help' tells more\n"},
        {{"acl", "cre"}, "'aclrmctl acl' has no command 'cre'", "did you mean 'create'?"},
        {{"show", "foo"}, "'aclrmctl show' has no table 'foo'"},
        {{"--timeout"}, "--timeout: its value is missing"},
        {{"acl", "create", "--size="}, "--size: its value is missing"},
        {{"acl", "create", "--size", "5", "--size", "6"},
         "--size: given 2 times, but takes one value"},
        {{"rule", "load", "x", "--acl", "1", "--batch", "0"},
         "--batch: '0' is not between 1 and 20"},
        {{"switch", "packet", "--port", "1", "--vlan", "5000"},
         "--vlan: '5000' is not between 0 and 4095"},
        {{"switch", "packet", "--port", "1", "--frame", "0011"},
         "--frame: an Ethernet frame has 14 bytes at least"},
        {{"switch", "packet", "--port", "1", "--key", "00"},
         "--key: a key is 256 hexadecimal digits (128 bytes)"},
        {{"switch", "packet"}, "--port: exactly one of --port and --rif is needed"},
        {{"switch", "packet", "--port", "1", "--rif", "1"},
         "--port: exactly one of --port and --rif is needed"},
    };
    for (const Sentence &row : rows) {
        const ToolRun run = run_tool("/none", row.words);
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_EQ(run.err.substr(0, run.err.find('\n')), "aclrmctl: " + row.first);
        EXPECT_NE(run.err.find(row.hint), std::string::npos) << run.err;
    }
}

/* Given and empty is not the same as not given, which would make another packet. */
TEST(UsageErrors, AreEmptyValuesOfAPacket) {
    const std::vector<Sentence> rows{
        {{"--frame", ""}, "--frame: an Ethernet frame has 14 bytes at least"},
        {{"--key", ""}, "--key: a key is 256 hexadecimal digits (128 bytes)"},
        {{"--pcap", ""}, "--pcap: '' is no name of a file"},
        {{"--pcap", "", "--count", "1"}, "--pcap: '' is no name of a file"},
        {{"--src", ""}, "--src: '' is no IPv4 or IPv6 address"},
        {{"--src", "::1", "--dst", ""}, "--dst: '' is no IPv4 or IPv6 address"},
        {{"--mac-src", ""}, "--mac-src: '' is no MAC address, such as 02:00:00:00:00:01"},
    };
    for (const Sentence &row : rows) {
        Words words{"--switch-socket", "/none", "switch", "packet", "--port", "1"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const ToolRun run = run_tool("", words);
        EXPECT_EQ(run.exit_code, 1) << row.first;
        EXPECT_EQ(run.err.substr(0, run.err.find('\n')), "aclrmctl: " + row.first);
    }
}

TEST(UsageErrors, AreNumbersBeyondTheirLimits) {
    const Words load{"rule", "load", "/none", "--acl", "1"};
    const Words capture{"switch", "packet", "--port", "1", "--pcap", "/none"};
    const auto status_of = [](Words words, const std::string &option, const std::string &value) {
        words.insert(words.end(), {option, value});
        return run_tool("/none", words).exit_code;
    };
    constexpr int kWrongWord = 1;
    constexpr int kNoFile = 2; /* the number was taken */
    for (const auto &[option, lowest, beyond] : {std::array{"--batch", "1", "0"},
                                                 {"--batch", "20", "21"},
                                                 {"--in-flight", "1", "0"},
                                                 {"--in-flight", "32", "33"}}) {
        EXPECT_EQ(status_of(load, option, lowest), kNoFile) << option << " " << lowest;
        EXPECT_EQ(status_of(load, option, beyond), kWrongWord) << option << " " << beyond;
    }
    EXPECT_EQ(status_of(capture, "--count", "1"), kNoFile);
    EXPECT_EQ(status_of(capture, "--count", "4294967295"), kNoFile);
    EXPECT_EQ(status_of(capture, "--count", "0"), kWrongWord);
    EXPECT_EQ(run_tool("/none", {"dump", "--timeout", "0"}).exit_code, kWrongWord);
}

TEST(UsageErrors, LeaveVersionAndHelpAlone) {
    const ToolRun version = run_tool("", {"-j", "--version"});
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_EQ(version.out.rfind("{\"schema_version\":1,\"command\":\"--version\",\"ok\":true,"
                                "\"exit\":0,\"version\":\"",
                                0),
              0u)
        << version.out;
    EXPECT_EQ(run_tool("", {"-j", "--help"}).out, run_tool("", {"--help"}).out);
}

}  // namespace
