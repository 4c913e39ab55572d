// The sample in three languages against the real daemon, the Python module's methods there, and
// three owners in three languages at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/cache_check.h"
#include "tests/support/child_process.h"
#include "tests/support/daemon_process.h"
#include "tests/support/temp_dir.h"

namespace zv_test {
namespace {

using Command = std::vector<std::string>;

constexpr int kPatienceMs = 120000;

const char kSampleText[] =
    "ACL 1 created in region 1\n"
    "3 rules written\n"
    "bound to ports 65537 and 65538\n"
    "offset 0: protocol 6/255, drop\n"
    "offset 1: protocol 89/255, trap\n"
    "offset 2: protocol 0/0, permit\n"
    "unbound from ports 65537 and 65538\n"
    "ACL 1 destroyed\n";

Command python(const std::string &script) {
    return {ZV_TEST_PYTHON, "-W", "error", script};
}

// A client program, run beside the daemon until it ends or the test does.
class ClientProgram {
  public:
    ClientProgram(DaemonProcess &daemon, const Command &command)
        : process_(command,
                   {{"ZV_PLATFORM_ROOT", daemon.root().path().string()},
                    {"PYTHONPATH", ZV_TEST_PYTHON_PATH},
                    {"PYTHONDONTWRITEBYTECODE", "1"}},
                   files_.file("out"), files_.file("err")) {}
    std::optional<ExitStatus> wait() { return process_.wait(kPatienceMs); }
    std::string out() const { return read_file(files_.file("out")); }
    std::string err() const { return read_file(files_.file("err")); }

  private:
    TempDir files_;
    ChildProcess process_;
};

void expect_nothing_left(DaemonProcess &daemon) {
    const CacheDump dump = daemon.dump();
    EXPECT_TRUE(dump.complete);
    EXPECT_EQ(dump.acl_table_cnt, 0u);
    EXPECT_EQ(dump.rules_cnt, 0u);
    EXPECT_TRUE(dump.acls.empty() && dump.rules.empty() && dump.groups.empty());
    EXPECT_TRUE(dump.bind_points.empty() && dump.forwardings.empty() && dump.mc_groups.empty());
    for (const char *capacity : {"acls", "regions", "tcam_entries", "bindings", "counters"}) {
        EXPECT_EQ(daemon.control().used(capacity), 0u) << capacity;
    }
    check_cache(daemon);
}

struct Language {
    const char *name;
    Command sample;
};

// Else a case is listed with the addresses in its record, which differ from run to run.
void PrintTo(const Language &each, std::ostream *out) {
    *out << each.name;
}

class Sample : public testing::TestWithParam<Language> {};

TEST_P(Sample, PrintsTheSameTextInEveryLanguageAndLeavesNothing) {
    DaemonProcess daemon;
    ClientProgram program(daemon, GetParam().sample);
    EXPECT_EQ(program.wait(), ExitStatus::exit(0));
    EXPECT_EQ(program.out(), kSampleText);
    EXPECT_EQ(program.err(), "");
    expect_nothing_left(daemon);
}

TEST_P(Sample, SaysWhatFailedAndDestroysItsAcl) {
    DaemonProcess daemon;
    daemon.control().fail("zv_api_acl_rules_set", 5);
    ClientProgram program(daemon, GetParam().sample);
    EXPECT_EQ(program.wait(), ExitStatus::exit(1));
    EXPECT_EQ(program.out(), "ACL 1 created in region 1\nACL 1 destroyed\n");
    EXPECT_NE(program.err().find("the switch refused it"), std::string::npos) << program.err();
    daemon.allow_error_lines();
    EXPECT_EQ(daemon.dump().acl_table_cnt, 0u);
}

TEST_P(Sample, SaysThatThereIsNoDaemon) {
    DaemonProcess daemon;
    daemon.stop();
    ClientProgram program(daemon, GetParam().sample);
    EXPECT_EQ(program.wait(), ExitStatus::exit(1));
    EXPECT_EQ(program.out(), "");
    EXPECT_EQ(program.err(), "no daemon at " + daemon.root().path().string() +
                                 "/var/run/zv_acl_rm.sock: No such file or directory\n");
}

INSTANTIATE_TEST_SUITE_P(
    In, Sample,
    testing::Values(Language{"C", {ZV_TEST_FIRST_ACL_C}}, Language{"Cpp", {ZV_TEST_FIRST_ACL_CPP}},
                    Language{"Python", python(ZV_TEST_SAMPLES_DIR "/first_acl.py")}),
    [](const auto &each) { return std::string(each.param.name); });

std::string languages_page() {
    return read_file(ZV_TEST_DOCS_DIR "/languages.md");
}

TEST(LanguagesPage, ShowsWhatTheSamplePrints) {
    EXPECT_NE(languages_page().find("```\n" + std::string(kSampleText) + "```\n"),
              std::string::npos);
}

TEST(LanguagesPage, ShowsPythonThatRuns) {
    const std::string page = languages_page();
    const std::string opening = "```python\n";
    const size_t start = page.find(opening);
    ASSERT_NE(start, std::string::npos);
    const size_t first = start + opening.size();
    DaemonProcess daemon;
    const std::string script = daemon.root().file("shown.py");
    write_file(script, page.substr(first, page.find("```", first) - first));
    ClientProgram program(daemon, python(script));
    EXPECT_EQ(program.wait(), ExitStatus::exit(0)) << program.err();
    EXPECT_EQ(daemon.dump().rules_cnt, 640u);
}

TEST(PythonModule, HasEveryMethodRightAgainstTheDaemon) {
    DaemonProcess daemon;
    ClientProgram program(daemon, python(ZV_TEST_LANGUAGES_DIR "/python/daemon_checks.py"));
    EXPECT_EQ(program.wait(), ExitStatus::exit(0)) << program.err();
    daemon.allow_error_lines();  // refusals are among the checks
    expect_nothing_left(daemon);
}

// Two FIFOs by which programs that run at once are started together, and told to end when all of
// them have done their share.
class Barrier {
  public:
    Barrier() : arrived_(make("arrived")), go_(make("go")) {}
    ~Barrier() {
        close(arrived_);
        close(go_);
    }
    Barrier(const Barrier &) = delete;
    Barrier &operator=(const Barrier &) = delete;
    std::string file(const char *name) const { return files_.file(name); }

    // False when they do not all arrive.
    bool wait_for(size_t programs_num) {
        for (size_t i = 0; i < programs_num; i++) {
            pollfd waited = {arrived_, POLLIN, 0};
            char byte = 0;
            if (poll(&waited, 1, kPatienceMs) != 1 || read(arrived_, &byte, 1) != 1) {
                return false;
            }
        }
        return true;
    }
    void let_go(size_t bytes_num) {
        const std::string bytes(bytes_num, 'x');
        EXPECT_EQ(write(go_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes_num));
    }

  private:
    // Open at both ends, so that nobody waits for another to open it.
    int make(const char *name) {
        const std::string path = files_.file(name);
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return open(path.c_str(), O_RDWR | O_CLOEXEC);
    }
    TempDir files_;
    int arrived_, go_;
};

TEST(ThreeLanguages, ServeThreeOwnersAtOnceAndLeaveNothing) {
    const std::string rounds = "150";
    DaemonOptions options;
    options.trace = false;  // thousands of requests; nobody looks at the calls they made
    DaemonProcess daemon(options);
    Barrier barrier;
    const std::vector<Command> commands = {{ZV_TEST_BUSY_OWNER_C},
                                           {ZV_TEST_BUSY_OWNER_CPP},
                                           python(ZV_TEST_LANGUAGES_DIR "/busy_owner.py")};
    std::vector<std::unique_ptr<ClientProgram>> programs;
    for (Command command : commands) {
        command.insert(command.end(), {barrier.file("arrived"), barrier.file("go"), rounds});
        programs.push_back(std::make_unique<ClientProgram>(daemon, command));
    }
    bool all_worked = barrier.wait_for(programs.size());
    if (all_worked) {
        barrier.let_go(programs.size());
        all_worked = barrier.wait_for(programs.size());
    }
    EXPECT_TRUE(all_worked) << "a program ended before its rounds were done";
    barrier.let_go(1);
    for (const auto &program : programs) {
        if (all_worked) {
            EXPECT_EQ(program->wait(), ExitStatus::exit(0));
            EXPECT_GE(std::stoi("0" + program->out()), std::stoi(rounds));
            std::cout << program->out();
        }
        EXPECT_EQ(program->err(), "");
    }
    expect_nothing_left(daemon);
}

}  // namespace
}  // namespace zv_test
