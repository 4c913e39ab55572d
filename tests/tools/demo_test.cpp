/* The tool's own story: told to its end, stopped in its middle, and never leaving anything. */
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <sstream>

#include "tests/support/cache_check.h"
#include "tests/tools/tool_session.h"

extern char **environ;

namespace {

using nlohmann::json;
using zv_test::ToolRun;

/* A run of the demo with a temporary directory of its own, which must be empty afterwards. */
class DemoRun {
  public:
    explicit DemoRun(std::vector<std::string> words) {
        int out[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDERR_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGINT);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        std::string tool = zv_test::tool_path();
        words.insert(words.begin(), tool);
        std::string temporary = "TMPDIR=" + directory_.path().string();
        std::vector<char *> environment{temporary.data()};
        for (char **variable = environ; *variable != nullptr; variable++) {
            if (std::strncmp(*variable, "TMPDIR=", 7) != 0) {
                environment.push_back(*variable);
            }
        }
        environment.push_back(nullptr);
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&pid_, tool.c_str(), &actions, &attributes, arguments.data(),
                              environment.data()),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        close(out[1]);
        out_ = out[0];
    }
    ~DemoRun() { close(out_); }
    DemoRun(const DemoRun &) = delete;
    DemoRun &operator=(const DemoRun &) = delete;

    /* Reads until `part` was printed, or the end. */
    bool read_until(const std::string &part) {
        char c = 0;
        while (text_.find(part) == std::string::npos) {
            if (read(out_, &c, 1) != 1) {
                return false;
            }
            text_ += c;
        }
        return true;
    }
    int wait() {
        char buffer[4096];
        ssize_t bytes = 0;
        while ((bytes = read(out_, buffer, sizeof(buffer))) > 0) {
            text_.append(buffer, static_cast<size_t>(bytes));
        }
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return status;
    }
    void signal(int number) const { kill(pid_, number); }
    const std::string &text() const { return text_; }
    bool left_nothing() const { return std::filesystem::is_empty(directory_.path()); }
    /* The daemon that the demo says it started. */
    pid_t daemon() const {
        const size_t at = text_.find("process ");
        return at == std::string::npos ? -1 : std::stoi(text_.substr(at + 8));
    }

  private:
    zv_test::TempDir directory_;
    pid_t pid_ = -1;
    int out_ = -1;
    std::string text_;
};

const std::vector<std::string> kDemo{"demo", "--daemon", zv_test::daemon_path()};

void expect_gone(const DemoRun &run) {
    EXPECT_TRUE(run.left_nothing());
    ASSERT_GT(run.daemon(), 0);
    EXPECT_EQ(kill(run.daemon(), 0), -1) << "the daemon is still there";
    EXPECT_EQ(errno, ESRCH);
}

TEST(Demo, TellsTheWholeStoryAndLeavesNothing) {
    DemoRun run(kDemo);
    const int status = run.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << run.text();
    for (const char *part :
         {"$ aclrmctl acl create --size 512\n     ACL 1 created: ingress, room for 512 rules",
          "314 rules became 345 in ACL 1", "hit     ACL 1, rule at offset 64: udp",
          "hit     ACL 1, rule at offset 13: tcp", "verdict drop, counted by 1",
          "verdict trap, counted by 1", "verdict permit (no rule matched)", "Counter 1: 4 packets.",
          "ACL 1 destroyed, with its rules and bindings.", "it ended with exit status 0"}) {
        EXPECT_NE(run.text().find(part), std::string::npos) << part << "\n" << run.text();
    }
    std::istringstream lines(run.text());
    for (std::string line; std::getline(lines, line);) {
        if (line.find("answers on") == std::string::npos) { /* as long as the directory's name */
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
    expect_gone(run);
}

TEST(Demo, IsOneObjectInJson) {
    const ToolRun run = zv_test::run_tool("", {"demo", "-j", "--daemon", zv_test::daemon_path()});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    const json object = zv_test::own_members(run.out);
    EXPECT_EQ(object.at("attached"), false);
    EXPECT_EQ(object.at("steps").size(), 17u);
    for (const json &step : object.at("steps")) {
        EXPECT_EQ(step.at("exit"), 0) << step;
        EXPECT_EQ(step.at("command").get<std::string>().rfind("aclrmctl ", 0), 0u);
    }
}

TEST(Demo, ClearsAwayOnASignalAndEndsByIt) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        for (const char *moment : {"\n2. ", "\n6. ", "\n8. "}) {
            DemoRun run(kDemo);
            ASSERT_TRUE(run.read_until(moment)) << run.text();
            run.signal(number);
            const int status = run.wait();
            if (WIFSIGNALED(status)) { /* else it was done before the signal came */
                EXPECT_EQ(WTERMSIG(status), number);
            }
            expect_gone(run);
        }
    }
}

TEST(Demo, TakesItsDaemonWithItWhenItIsKilled) {
    DemoRun run(kDemo);
    ASSERT_TRUE(run.read_until("answers on"));
    const pid_t daemon = run.daemon();
    run.signal(SIGSTOP);
    run.signal(SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(run.wait()));
    /* The kernel sends the daemon its SIGTERM; it is nobody's child here, so it is asked for. */
    for (int tries = 0; tries < 1000 && kill(daemon, 0) == 0; tries++) {
        usleep(10000);
    }
    EXPECT_EQ(kill(daemon, 0), -1);
}

TEST(Demo, SaysWhyTheDaemonDidNotStart) {
    const ToolRun missing = zv_test::run_tool("", {"demo", "--daemon", "/nonexistent/daemon"});
    EXPECT_EQ(missing.exit_code, 7);
    EXPECT_NE(missing.err.find("/nonexistent/daemon ended while it was starting\n"
                               "  /nonexistent/daemon: No such file or directory\n"),
              std::string::npos)
        << missing.err;
}

TEST(Demo, SaysThatTheTemporaryDirectoryHasTooLongAName) {
    const zv_test::TempDir directory;
    const std::string name = directory.file(std::string(100, 'x'));
    ASSERT_TRUE(std::filesystem::create_directory(name));
    setenv("TMPDIR", name.c_str(), 1);
    const ToolRun run = zv_test::run_tool("", {"demo", "--daemon", zv_test::daemon_path()});
    unsetenv("TMPDIR");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_NE(run.err.find("a socket's path has room for 107 bytes"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("hint: name a shorter directory by TMPDIR"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty(name));
}

TEST(DemoAttached, SaysOnceThatThereIsNoDaemon) {
    const ToolRun run = zv_test::run_tool("/none", {"demo", "--attach", "--owner", "PRA"});
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("aclrmctl: no daemon at /none/var/run/zv_acl_rm.sock", 0), 0u);
}

TEST(DemoAttached, NeedsAnOwnerToBeNamed) {
    const ToolRun run = zv_test::run_tool("", {"demo", "--attach"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(run.err.find("--owner"), std::string::npos);
}

TEST(DemoAttached, LeavesARunningDaemonAsItWas) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"acl", "create", "--size", "8"});
    session.text({"bind", "port", "--acl", "1", "65537"});
    const json before = session.object({"switch", "state"});
    const ToolRun run = session.run({"demo", "--attach", "--owner", "PRA"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_NE(run.out.find("ACL 2 destroyed"), std::string::npos) << run.out;
    EXPECT_EQ(session.object({"switch", "state"}), before);
    session.daemon().allow_error_lines();
    zv_test::check_cache(session.daemon());
}

TEST(DemoAttached, ClearsAwayAfterAFault) {
    zv_test::ToolSession session;
    session.text(
        {"switch", "faults", "--call", "zv_api_acl_rules_set", "--status", "5", "--nth", "3"});
    const ToolRun run = session.run({"demo", "--attach", "--owner", "PRA"});
    EXPECT_NE(run.exit_code, 0);
    const json state = session.object({"switch", "state"});
    EXPECT_EQ(state.at("acls"), json::array());
    EXPECT_EQ(state.at("counters"), json::array());
    EXPECT_EQ(state.at("bindings"), json::array());
    session.daemon().allow_error_lines();
}

}  // namespace
