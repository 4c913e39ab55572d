#include "daemon/cli_settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/daemon/child.h"

namespace {

using zv_unit::ChildResult;
using zv_unit::run_in_child;

constexpr char bad_parameters[] = "Bad parameter(s). Use --help to get parameters summary\n";

// getopt keeps its place in the arguments, so a process parses one command line only.
void parse(std::vector<std::string> words, cli_settings_t *settings) {
    words.insert(words.begin(), "zv_acl_rm");
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    parse_command_line(static_cast<int>(words.size()), argv.data(), settings);
}

uint32_t verbosity_of(const std::vector<std::string> &words) {
    cli_settings_t settings;
    parse(words, &settings);
    return settings.verbosity_level;
}

ChildResult parse_in_child(const std::vector<std::string> &words) {
    return run_in_child([&] {
        cli_settings_t settings;
        parse(words, &settings);
    });
}

TEST(CommandLine, EmptyOneLeavesTheDefaults) {
    cli_settings_t settings;
    memset(&settings, 0xff, sizeof(settings));
    parse({}, &settings);
    EXPECT_EQ(settings.verbosity_level, 3u);
    EXPECT_EQ(settings.logger_lib_handle, nullptr);
    EXPECT_EQ(settings.log_cb, nullptr);
    EXPECT_EQ(settings.connector_lib_handle, nullptr);
    EXPECT_EQ(settings.aclrmd_init, nullptr);
    EXPECT_EQ(settings.aclrmd_deinit, nullptr);
}

TEST(CommandLine, TakesTheVerbosityAttached) {
    EXPECT_EQ(verbosity_of({"-v0"}), 0u);
}

TEST(CommandLine, TakesTheVerbosityApart) {
    EXPECT_EQ(verbosity_of({"-v", "5"}), 5u);
}

TEST(CommandLine, TakesTheLongVerbosity) {
    EXPECT_EQ(verbosity_of({"--verbose=4"}), 4u);
}

TEST(CommandLine, DoesNotCheckTheVerbositysRange) {
    EXPECT_EQ(verbosity_of({"-v", "9"}), 9u);
}

TEST(CommandLine, TakesTheNumberAtTheVerbositysStart) {
    EXPECT_EQ(verbosity_of({"-v", "2x"}), 2u);
}

TEST(CommandLine, LastVerbosityCounts) {
    EXPECT_EQ(verbosity_of({"-v1", "--verbose=5", "-v2"}), 2u);
}

class RefusedCommandLine : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(RefusedCommandLine, EndsWithOneAndTheBadParametersLine) {
    const ChildResult result = parse_in_child(GetParam());
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_TRUE(result.err.ends_with(bad_parameters)) << result.err;
    EXPECT_EQ(result.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    EachWay, RefusedCommandLine,
    testing::Values(std::vector<std::string>{"-v", "abc"}, std::vector<std::string>{"--verbose="},
                    std::vector<std::string>{"-x"}, std::vector<std::string>{"--unknown"},
                    std::vector<std::string>{"-v"}, std::vector<std::string>{"--logger"},
                    std::vector<std::string>{"--connector"},
                    std::vector<std::string>{"--version=1"}));

TEST(CommandLine, NamesLeftOverArguments) {
    const ChildResult result = parse_in_child({"extra", "-v3", "more"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, std::string("Non-option ARGV-elements: extra more \n") + bad_parameters);
}

TEST(CommandLine, VersionIsPrintedAndEndsWithZero) {
    const ChildResult result = parse_in_child({"--version"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "ZV ACL RM 4.4.1908\n");
    EXPECT_EQ(result.err, "");
}

constexpr char usage[] =
    "\tACL RM Process.\n\t================================\n\tUsage: zv_acl_rm [options]\n\n"
    "\tOptions:\n\t(-v<level>|--verbose=<level>)\tSet Verbosity (dependent) level (default = 3):\n"
    "\t                                  0 = None.\n"
    "\t                                  1 = Error messages only.\n"
    "\t                                  2 = Error & Warning messages.\n"
    "\t                                  3 = Error, Warning & Info messages.\n"
    "\t                                  4 = Error, Warning, Info & Verbose messages.\n"
    "\t                                  5 = Error, Warning, Info, Verbose & Debug messages.\n"
    "\t--version                         Report version & exit normally.\n"
    "\t--logger=<library path>\t\tSet logger library.\n"
    "\t--connector=<library path>           Set connector library.\n"
    "\t(-h|--help)                       Show this help message & exit normally.\n";

TEST(CommandLine, BothHelpOptionsPrintTheUsageAndEndWithZero) {
    for (const char *option : {"-h", "--help"}) {
        const ChildResult result = parse_in_child({option});
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_EQ(result.out, usage);
        EXPECT_EQ(result.err, "");
    }
}

TEST(CommandLine, OptionsTakeEffectInTheirOrder) {
    const ChildResult result = parse_in_child({"--logger=/nonexistent/logger.so", "--help"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.out, "");
    const ChildResult version = parse_in_child({"--version", "--logger=/nonexistent/logger.so"});
    EXPECT_EQ(version.exit_status, 0);
}

TEST(PlugIns, MissingLoggerLibraryEndsWithTheLoadersMessage) {
    const ChildResult result = parse_in_child({"--logger=/nonexistent/logger.so"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_TRUE(
        result.err.starts_with("Could not load ZV ACL RM logger library: "
                               "/nonexistent/logger.so: "))
        << result.err;
    EXPECT_TRUE(result.err.ends_with(".\n")) << result.err;
}

TEST(PlugIns, MissingConnectorLibraryEndsWithTheLoadersMessage) {
    const ChildResult result = parse_in_child({"--connector=/nonexistent/connector.so"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_TRUE(
        result.err.starts_with("Could not load ZV ACL RM connector library: "
                               "/nonexistent/connector.so: "))
        << result.err;
}

// The C library is there wherever this runs, and has none of the symbols.
constexpr char any_library[] = "libc.so.6";

TEST(PlugIns, LoggerWithoutItsSymbolIsRefusedWithItsHandleStored) {
    cli_settings_t settings = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(load_logger_library(&settings, any_library), 1);
    const std::string error = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(error.starts_with("Could not find symbol log_cb: ")) << error;
    EXPECT_TRUE(error.ends_with("undefined symbol: log_cb.\n")) << error;
    EXPECT_NE(settings.logger_lib_handle, nullptr);
    EXPECT_EQ(settings.log_cb, nullptr);
}

TEST(PlugIns, ConnectorWithoutItsFirstSymbolIsRefusedWithItsHandleStored) {
    cli_settings_t settings = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(load_connector_library(&settings, any_library), 1);
    const std::string error = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(error.starts_with("Could not find symbol aclrmd_init: ")) << error;
    EXPECT_NE(settings.connector_lib_handle, nullptr);
    EXPECT_EQ(settings.aclrmd_init, nullptr);
    EXPECT_EQ(settings.aclrmd_deinit, nullptr);
}

}  // namespace
