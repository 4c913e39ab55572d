// The command line: what each option prints, loads and exits with.
#include <gtest/gtest.h>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"

namespace zv_test {
namespace {

using Arguments = std::vector<std::string>;

const char kBadParameters[] = "Bad parameter(s). Use --help to get parameters summary\n";

// The irregular spacing is the text's own.
const char kUsage[] =
    "\tACL RM Process.\n"
    "\t================================\n"
    "\tUsage: zv_acl_rm [options]\n"
    "\n"
    "\tOptions:\n"
    "\t(-v<level>|--verbose=<level>)\tSet Verbosity (dependent) level (default = 3):\n"
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

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Runs to the end with the arguments and demands exit status 1 and no call of the platform.
struct Refusal {
    std::string out;
    std::string err;

    explicit Refusal(const Arguments &arguments) {
        DaemonProcess daemon(ending_run(arguments));
        EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1));
        EXPECT_TRUE(daemon.trace().empty());
        out = daemon.out();
        err = daemon.err();
    }
};

// Serves with the arguments; the platform is told the verbosity, so it can be read there.
uint32_t verbosity_with(const Arguments &arguments) {
    DaemonOptions options;
    options.arguments = arguments;
    DaemonProcess daemon(options);
    const auto calls = daemon.calls("zv_net_init");
    EXPECT_EQ(calls.size(), 1u);
    return calls.empty() ? 0 : calls[0].at("args").at("verbosity").get<uint32_t>();
}

TEST(CommandLine, VersionIsPrintedBeforeAnyLibraryIsOpened) {
    DaemonProcess daemon(ending_run({"--version"}));
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(daemon.out(), "ZV ACL RM 4.4.1908\n");
    EXPECT_EQ(daemon.err(), "");
    EXPECT_TRUE(daemon.trace().empty());
}

TEST(CommandLine, HelpPrintsTheUsageByteForByte) {
    for (const char *option : {"-h", "--help"}) {
        DaemonProcess daemon(ending_run({option}));
        EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0)) << option;
        EXPECT_EQ(daemon.out(), kUsage) << option;
        EXPECT_EQ(daemon.err(), "") << option;
        EXPECT_TRUE(daemon.trace().empty()) << option;
    }
}

TEST(CommandLine, VerbosityIsThreeByDefault) {
    EXPECT_EQ(verbosity_with({}), 3u);
}

TEST(CommandLine, VerbosityIsTakenInAllItsSpellings) {
    EXPECT_EQ(verbosity_with({"-v4"}), 4u);
    EXPECT_EQ(verbosity_with({"-v", "2"}), 2u);
    EXPECT_EQ(verbosity_with({"--verbose=5"}), 5u);
    EXPECT_EQ(verbosity_with({"--verbose", "1"}), 1u);
    EXPECT_EQ(verbosity_with({"-v", "0"}), 0u);
}

TEST(CommandLine, VerbosityHasNoRange) {
    EXPECT_EQ(verbosity_with({"-v", "9"}), 9u);
    EXPECT_EQ(verbosity_with({"-v", "4294967295"}), 4294967295u);
}

TEST(CommandLine, TheLastVerbosityCounts) {
    EXPECT_EQ(verbosity_with({"-v1", "-v", "4"}), 4u);
}

TEST(CommandLine, VerbosityThatIsNoNumberIsRefused) {
    for (const Arguments &arguments : {Arguments{"-v", "abc"}, Arguments{"-vabc"},
                                       Arguments{"--verbose=abc"}, Arguments{"-v", ""}}) {
        const Refusal run(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, kBadParameters) << arguments.back();
    }
}

TEST(CommandLine, LeftOverArgumentsAreNamed) {
    const Refusal one({"extra"});
    EXPECT_EQ(one.out, "");
    EXPECT_EQ(one.err, std::string("Non-option ARGV-elements: extra \n") + kBadParameters);
    const Refusal two({"extra", "-v4", "more"});
    EXPECT_EQ(two.err, std::string("Non-option ARGV-elements: extra more \n") + kBadParameters);
}

TEST(CommandLine, UnknownOptionsAndMissingArgumentsAreRefused) {
    for (const Arguments &arguments :
         {Arguments{"-x"}, Arguments{"--unknown"}, Arguments{"-v"}, Arguments{"--verbose"},
          Arguments{"--logger"}, Arguments{"--connector"}, Arguments{"--version=1"}}) {
        const Refusal run(arguments);
        EXPECT_EQ(run.out, "") << arguments[0];
        // Before it stands the option parser's own message.
        EXPECT_TRUE(ends_with(run.err, kBadParameters)) << run.err;
    }
}

TEST(CommandLine, OptionsTakeEffectInTheirOrder) {
    DaemonProcess version_first(ending_run({"--version", "-v", "abc"}));
    EXPECT_EQ(version_first.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(version_first.out(), "ZV ACL RM 4.4.1908\n");

    const Refusal number_first({"-v", "abc", "--version"});
    EXPECT_EQ(number_first.out, "");
    EXPECT_EQ(number_first.err, kBadParameters);
}

TEST(CommandLine, HelpAfterAFailingLoggerIsNeverReached) {
    const Refusal logger_first({"--logger=/nonexistent/logger.so", "--help"});
    EXPECT_EQ(logger_first.out, "");

    DaemonProcess help_first(ending_run({"--help", "--logger=/nonexistent/logger.so"}));
    EXPECT_EQ(help_first.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(help_first.out(), kUsage);
    EXPECT_EQ(help_first.err(), "");
}

TEST(CommandLine, LeftOverArgumentsAreFoundAfterAllOptionsTookEffect) {
    DaemonProcess daemon(ending_run({"extra", "--version"}));
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(daemon.out(), "ZV ACL RM 4.4.1908\n");
    EXPECT_EQ(daemon.err(), "");
}

}  // namespace
}  // namespace zv_test
