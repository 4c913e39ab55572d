#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <vector>

#include "tests/platform/switch/control_client.h"

namespace {

using zv_test::ControlClient;
using zv_test::is_ok;
using zv_test::kUsage;
using zv_test::refusal;

constexpr size_t kMaxLine = 1024 * 1024;

class ControlSocket : public zv_test::ControlTest {
  protected:
    // The switch still answers, and its program ends well.
    ~ControlSocket() override {
        ControlClient other(socket_path());
        EXPECT_TRUE(is_ok(other.ask(kUsage)));
        EXPECT_EQ(host_->wait(), 0);
    }
};

TEST_F(ControlSocket, BelongsToItsUserAlone) {
    struct stat status = {};
    ASSERT_EQ(stat(socket_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0600});
}

TEST_F(ControlSocket, BadInputNamesWhatIsWrong) {
    EXPECT_EQ(ask(""), refusal("input: not valid JSON"));
    EXPECT_EQ(ask("nonsense"), refusal("input: not valid JSON"));
    EXPECT_EQ(ask("{\"cmd\":\"usage\"} x"), refusal("input: not valid JSON"));
    EXPECT_EQ(ask("\xff\xfe"), refusal("input: not valid JSON"));
    EXPECT_EQ(ask("[]"), refusal("input: must be an object"));
    EXPECT_EQ(ask("{}"), refusal("cmd: missing"));
    EXPECT_EQ(ask(R"({"cmd":1})"), refusal("cmd: must be a text"));
    EXPECT_EQ(ask(R"({"cmd":"reboot"})"), refusal("cmd: there is no such command"));
    EXPECT_EQ(ask(R"({"cmd":"usage","why":1})"), refusal("why: unknown field"));
    EXPECT_EQ(ask(R"({"cmd":"state","why":1})"), refusal("why: unknown field"));
    EXPECT_EQ(ask(R"({"cmd":"faults"})"), refusal("set: missing"));
    EXPECT_EQ(ask(R"({"cmd":"ports","set":{}})"), refusal("set: must be a list"));
    EXPECT_EQ(ask(R"({"cmd":"trace"})"), refusal("lines: missing"));
    EXPECT_EQ(ask(R"({"cmd":"trace","lines":1e999})"), refusal("input: not valid JSON"));
    EXPECT_EQ(ask(R"({"cmd":"corrupt","region_id":-1,"offset":0})"),
              refusal("region_id: must be an integer from 0 to 4294967295"));
}

TEST_F(ControlSocket, DeepNestingIsJustBadInput) {
    EXPECT_EQ(ask(std::string(500000, '[')), refusal("input: not valid JSON"));
    EXPECT_EQ(ask(std::string(500000, '[') + std::string(500000, ']')),
              refusal("input: must be an object"));
}

TEST_F(ControlSocket, RandomBytesDoNoHarm) {
    std::mt19937 random(4711);
    const std::string start = R"({"cmd":"packet","log_port":1,"key":"00","set":[{"call":"*"}]})";
    for (int i = 0; i < 300; i++) {
        std::string line = start;
        for (int j = 0; j < 4; j++) {
            line[random() % line.size()] = static_cast<char>(random() % 256);
        }
        std::erase(line, '\n');
        EXPECT_EQ(ask(line).rfind(R"({"ok":false)", 0), 0u) << line;
    }
}

TEST_F(ControlSocket, ALineMayBeAMebibyteLongAndNoLonger) {
    const std::string longest = kUsage + std::string(kMaxLine - std::strlen(kUsage), ' ');
    EXPECT_TRUE(is_ok(ask(longest)));
    client_->send_bytes(longest + " \n");
    EXPECT_EQ(client_->line(), refusal("input: a line is longer than 1048576 bytes"));
    EXPECT_EQ(client_->line(), "");
}

TEST_F(ControlSocket, AnEndlessLineIsRefusedWithoutItsEnd) {
    client_->send_bytes(std::string(2 * kMaxLine, 'x'));
    EXPECT_EQ(client_->line(), refusal("input: a line is longer than 1048576 bytes"));
    EXPECT_EQ(client_->line(), "");
}

TEST_F(ControlSocket, SeveralRequestsInOnePieceAreAnsweredInOrder) {
    client_->send_bytes("{\"cmd\":\"usage\"}\n{}\n{\"cmd\":\"usage\"}\n");
    EXPECT_TRUE(is_ok(client_->line()));
    EXPECT_EQ(client_->line(), refusal("cmd: missing"));
    EXPECT_TRUE(is_ok(client_->line()));
}

TEST_F(ControlSocket, ARequestMayComeInPieces) {
    client_->send_bytes(R"({"cmd":)");
    ControlClient other(socket_path());
    EXPECT_TRUE(is_ok(other.ask(kUsage)));
    client_->send_bytes("\"usage\"}\n");
    EXPECT_TRUE(is_ok(client_->line()));
}

TEST_F(ControlSocket, TheLastRequestNeedsNoNewline) {
    client_->send_bytes(kUsage);
    client_->end_sending();
    EXPECT_TRUE(is_ok(client_->line()));
    EXPECT_EQ(client_->line(), "");
}

TEST_F(ControlSocket, AClientThatGoesAwayDisturbsNobody) {
    {
        ControlClient half_a_line(socket_path());
        half_a_line.send_bytes("{\"cmd\":");
    }
    {
        ControlClient unread_answer(socket_path());
        unread_answer.send_bytes("{\"cmd\":\"state\"}\n");
    }
    EXPECT_TRUE(is_ok(ask(kUsage)));
}

TEST_F(ControlSocket, AClientThatDoesNotReadHoldsNobodyUp) {
    ASSERT_EQ(call("fill"), "0");
    ControlClient lazy(socket_path());
    // Megabytes of answers, of which the socket takes a part.
    for (int i = 0; i < 20; i++) {
        lazy.send_without_waiting("{\"cmd\":\"state\"}\n");
    }
    EXPECT_TRUE(is_ok(ask(kUsage)));
    EXPECT_EQ(call("counter"), "0");
    EXPECT_TRUE(is_ok(lazy.line()));
}

TEST_F(ControlSocket, ManyClientsAreServed) {
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 60; i++) {
        clients.push_back(std::make_unique<ControlClient>(socket_path()));
    }
    for (auto &client : clients) {
        EXPECT_TRUE(is_ok(client->ask(kUsage)));
    }
}

TEST_F(ControlSocket, ClientsBeyondTheLimitWaitForAPlace) {
    // The fixture's client and these take all 64 places.
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 63; i++) {
        clients.push_back(std::make_unique<ControlClient>(socket_path()));
        ASSERT_TRUE(is_ok(clients.back()->ask(kUsage)));
    }
    ControlClient waiting(socket_path());
    waiting.send_bytes(std::string(kUsage) + "\n");
    EXPECT_TRUE(is_ok(ask(kUsage)));
    clients.pop_back();
    EXPECT_TRUE(is_ok(waiting.line()));
}

TEST_F(ControlSocket, ASecondProcessDoesNotTakeTheSocket) {
    auto second = start();
    EXPECT_EQ(second->wait(), 0);
    EXPECT_EQ(second->errors(), "zv_sim: ZV_SIM_CONTROL: " + socket_path() +
                                    ".lock: another process serves the control socket; there is "
                                    "no control socket\n");
    // Its exit has not removed the file either: the next client gets through.
    EXPECT_TRUE(ControlClient(socket_path()).connected());
}

// The kernel prefers the main thread for a signal as long as that one can take it, so where signals
// arrive proves nothing; the thread's mask does.
TEST_F(ControlSocket, ItsThreadTakesNoSignal) {
    const std::string tasks = "/proc/" + std::to_string(host_->pid()) + "/task";
    // The thread has its name once it serves.
    ASSERT_TRUE(is_ok(ask(kUsage)));
    std::vector<uint64_t> blocked_masks;
    for (const auto &task : std::filesystem::directory_iterator(tasks)) {
        const std::string path = task.path().string();
        if (zv_test::read_file(path + "/comm") == "zvSwitchCtl\n") {
            const std::string status = zv_test::read_file(path + "/status");
            const size_t mask = status.find("SigBlk:") + std::strlen("SigBlk:");
            blocked_masks.push_back(std::stoull(status.substr(mask, 17), nullptr, 16));
        }
    }
    ASSERT_EQ(blocked_masks.size(), 1u);
    for (const int signal : {SIGHUP, SIGINT, SIGABRT, SIGUSR1, SIGPIPE, SIGTERM}) {
        EXPECT_NE(blocked_masks[0] & (uint64_t{1} << (signal - 1)), 0u) << signal;
    }
}

class ControlLife : public zv_test::ControlTest {};

TEST_F(ControlLife, TheFileGoesWithItsProcess) {
    EXPECT_EQ(host_->wait(), 0);
    EXPECT_NE(access(socket_path().c_str(), F_OK), 0);
}

TEST_F(ControlLife, AFileThatADeadProcessLeftIsReplaced) {
    ASSERT_EQ(kill(host_->pid(), SIGKILL), 0);
    EXPECT_EQ(host_->wait(), -SIGKILL);
    EXPECT_EQ(access(socket_path().c_str(), F_OK), 0);
    auto next = start();
    EXPECT_EQ(next->read_line(), "0");
    EXPECT_EQ(next->read_line(), "ready");
    ControlClient client(socket_path());
    EXPECT_TRUE(is_ok(client.ask(kUsage)));
    EXPECT_EQ(next->wait(), 0);
    EXPECT_EQ(next->errors(), "");
}

TEST_F(ControlLife, AnOldSocketThatCannotBeRemovedIsReportedAndTheProgramRuns) {
    ASSERT_EQ(kill(host_->pid(), SIGKILL), 0);
    EXPECT_EQ(host_->wait(), -SIGKILL);
    auto next = start({{"ZV_TEST_UNLINK_FAILS", "1"}});
    EXPECT_EQ(next->read_line(), "0");
    EXPECT_EQ(next->read_line(), "ready");
    EXPECT_EQ(next->wait(), 0);
    EXPECT_EQ(next->errors(), "zv_sim: ZV_SIM_CONTROL: " + socket_path() +
                                  ": Permission denied; there is no control socket\n");
}

TEST_F(ControlLife, WithoutTheVariableThereIsNoSocket) {
    const zv_test::TempDir elsewhere;
    auto quiet = start({{"ZV_SIM_CONTROL", "0"}, {"ZV_PLATFORM_ROOT", elsewhere.path()}});
    EXPECT_EQ(quiet->read_line(), "0");
    EXPECT_NE(access(elsewhere.file("var").c_str(), F_OK), 0);
    EXPECT_EQ(quiet->wait(), 0);
}

TEST_F(ControlLife, APathTooLongForASocketIsReportedAndTheProgramRuns) {
    const std::string root = dir_.file(std::string(120, 'd'));
    auto other = start({{"ZV_PLATFORM_ROOT", root}});
    EXPECT_EQ(other->read_line(), "0");
    EXPECT_EQ(other->wait(), 0);
    EXPECT_EQ(other->errors(), "zv_sim: ZV_SIM_CONTROL: " + root +
                                   "/var/run/zv_switch.sock: longer than a socket's path can be; "
                                   "there is no control socket\n");
}

TEST_F(ControlLife, FaultsOfTheEnvironmentHoldBeforeTheFirstCall) {
    const zv_test::TempDir elsewhere;
    auto other = start({{"ZV_PLATFORM_ROOT", elsewhere.path()},
                        {"ZV_SIM_FAULTS", R"([{"call":"zv_api_open","status":5}])"}});
    EXPECT_EQ(other->read_line(), "5");
    EXPECT_EQ(other->wait(), 0);
}

}  // namespace
