/* Loads that are interrupted at every place there is: what the tool says of each rule is held
 * against what the switch holds. */
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <set>
#include <thread>

#include "tests/support/test_client.h"
#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::DaemonProcess;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

constexpr uint32_t kRules = 60; /* three commands of 20 */

/* Rules that need a counter and forwarding entries as well. */
std::string policy() {
    std::string text = "# sixty rules\n";
    for (uint32_t i = 0; i < kRules; i++) {
        const std::string action =
            i % 20 == 3 ? "forward port " + std::to_string(65537 + i / 20) : "permit";
        text += action + " tcp from 10.0." + std::to_string(i) + ".0/24 to any port 443" +
                (i % 20 == 5 ? " count 1" : "") + "\n";
    }
    return text;
}

class Interrupted {
  public:
    Interrupted() {
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"counter", "create", "--type", "packets"});
        file_ = session_.daemon().root().file("sixty.policy");
        zv_test::write_file(file_, policy());
        session_.daemon().allow_error_lines();
    }

    uint32_t new_acl(uint32_t size = 100) {
        return session_.object({"acl", "create", "--size", std::to_string(size)}).at("acl_id");
    }

    /* A counter goes with the last rule that it counts, unless another ACL has one. */
    void keep_counter() {
        const std::string acl = std::to_string(new_acl(1));
        session_.text({"rule", "add", "--acl", acl, "--priority", "0", "--counter", "1"});
    }

    json load(uint32_t acl_id, const Words &more, ToolRun *run = nullptr) {
        Words words{"--json", "rule", "load", file_, "--acl", std::to_string(acl_id)};
        words.insert(words.end(), more.begin(), more.end());
        const ToolRun result = session_.run(words);
        if (run != nullptr) {
            *run = result;
        }
        return json::parse(result.out);
    }

    /* The offsets of an ACL that hold rules, from behind the daemon's back. */
    std::set<uint32_t> held(uint32_t acl_id) {
        session_.daemon().control().clear_faults();
        const json state = session_.daemon().control().state();
        std::set<uint32_t> offsets;
        for (const json &acl : state.at("acls")) {
            for (const json &region : state.at("regions")) {
                if (acl.at("acl_id") == acl_id && acl.at("region_id") == region.at("region_id")) {
                    for (const json &rule : region.at("rules")) {
                        offsets.insert(rule.at("offset").get<uint32_t>());
                    }
                }
            }
        }
        return offsets;
    }

    DaemonProcess &daemon() { return session_.daemon(); }
    zv_test::ToolSession &session() { return session_; }
    const std::string &file() const { return file_; }
    /* Loads that failed with an account of their rules. */
    void count_told() { told_num_++; }
    int told_num() const { return told_num_; }

  private:
    zv_test::ToolSession session_;
    int told_num_ = 0;
    std::string file_;
};

const std::set<std::string> kPresent{"in_switch", "in_switch_unrecorded"};
const std::set<std::string> kUnknown{"unknown_no_record", "unknown_unread", "unknown_gone"};

/* Each rule's state, by priority; every rule has exactly one. */
std::map<uint32_t, std::string> states(const json &answer) {
    std::map<uint32_t, std::string> found;
    for (const json &run : answer.at("load").at("runs")) {
        for (uint32_t i = run.at("first_priority"); i <= run.at("last_priority"); i++) {
            EXPECT_TRUE(found.emplace(i, run.at("state")).second) << "rule " << i << " twice";
        }
    }
    EXPECT_EQ(found.size(), kRules);
    return found;
}

/* The tool may not know; what it says it knows has to be so. */
void expect_truth(const json &answer, const std::set<uint32_t> &held, const std::string &where) {
    uint32_t in_num = 0;
    for (const auto &[priority, state] : states(answer)) {
        const bool is_there = held.count(priority) != 0;
        in_num += kPresent.count(state) != 0 ? 1u : 0u;
        if (kPresent.count(state) != 0) {
            EXPECT_TRUE(is_there) << where << ": rule " << priority << " is said to be " << state;
        } else if (kUnknown.count(state) == 0) {
            EXPECT_FALSE(is_there) << where << ": rule " << priority << " is said to be " << state;
        }
    }
    EXPECT_EQ(answer.at("load").at("in_switch"), in_num) << where;
    EXPECT_EQ(answer.at("exit") == 8, in_num > 0) << where;
}

bool says_unknown(const json &answer) {
    for (const auto &[priority, state] : states(answer)) {
        if (kUnknown.count(state) != 0) {
            return true;
        }
    }
    return false;
}

struct FaultCase {
    const char *name;
    const char *call;
    bool late;
    int times;
    const char *in_flight = "1";
};

void PrintTo(const FaultCase &each, std::ostream *out) {
    *out << each.name;
}

class FaultAtEachCall : public testing::TestWithParam<FaultCase> {};

/* One load with the fault at its nth call; false where the load had fewer calls. */
bool load_with_fault(Interrupted *load, const FaultCase &each, int nth, bool undo) {
    const std::string where =
        std::string(each.name) + ", call " + std::to_string(nth) + (undo ? ", undo" : "");
    const uint32_t acl_id = load->new_acl();
    load->daemon().control().fail(each.call, 5, nth, each.times, each.late);
    const size_t mark = load->daemon().trace_mark();
    Words words{"--in-flight", each.in_flight};
    if (undo) {
        words.emplace_back("--undo");
    }
    const json answer = load->load(acl_id, words);
    const bool is_any = std::string(each.call) == "*";
    const size_t calls_num = is_any ? load->daemon().trace_since(mark).size()
                                    : load->daemon().calls(each.call, mark).size();
    const bool was_hit = calls_num >= static_cast<size_t>(nth);
    const std::set<uint32_t> held = load->held(acl_id);
    if (answer.at("ok").get<bool>()) {
        EXPECT_EQ(held.size(), kRules) << where;
        load->session().text({"rule", "del", "--acl", std::to_string(acl_id), "0-59"});
        return was_hit;
    }
    EXPECT_TRUE(was_hit) << where << " " << answer.dump();
    if (!answer.contains("load")) {
        EXPECT_TRUE(held.empty()) << where << ": nothing was said to be sent";
        return was_hit;
    }
    load->count_told();
    expect_truth(answer, held, where);
    EXPECT_FALSE(says_unknown(answer)) << where << " " << answer.dump();
    if (undo && each.times == 1) {
        EXPECT_TRUE(held.empty()) << where << " " << answer.dump();
        EXPECT_EQ(answer.at("exit"), 4) << where;
    }
    return was_hit;
}

/* A fault at the first call, the second, and so on until one comes after the load. Calls that a
 * load can do without, as those that look for the ACL's room, are among them. */
TEST_P(FaultAtEachCall, LeavesTheSwitchAsTheToolSays) {
    for (const bool undo : {false, true}) {
        Interrupted load;
        load.keep_counter();
        int nth = 1;
        while (nth < 100 && load_with_fault(&load, GetParam(), nth, undo)) {
            nth++;
        }
        EXPECT_LT(nth, 100) << "every load was hit";
        EXPECT_GT(load.told_num(), 0) << "no load had sent rules before it failed";
    }
}

const FaultCase kFaultCases[] = {
    {"WritesEarly", "zv_api_acl_rules_set", false, 1},
    {"WritesLate", "zv_api_acl_rules_set", true, 1},
    {"WritesEarlyForGood", "zv_api_acl_rules_set", false, -1},
    {"WritesLateForGood", "zv_api_acl_rules_set", true, -1},
    {"ForwardingEarly", "zv_api_acl_policy_based_switching_set", false, 1},
    {"ForwardingLate", "zv_api_acl_policy_based_switching_set", true, 1},
    {"AnyEarly", "*", false, 1},
    {"AnyLate", "*", true, 1},
    {"AnyEarlyForGood", "*", false, -1},
    {"WritesEarlySeveralUnderWay", "zv_api_acl_rules_set", false, 1, "8"},
    {"WritesLateSeveralUnderWay", "zv_api_acl_rules_set", true, 1, "8"},
    {"ForwardingEarlySeveralUnderWay", "zv_api_acl_policy_based_switching_set", false, 1, "8"},
    {"ForwardingLateSeveralUnderWay", "zv_api_acl_policy_based_switching_set", true, 1, "8"},
    {"AnyEarlySeveralUnderWay", "*", false, 1, "8"},
    {"AnyLateSeveralUnderWay", "*", true, 1, "8"},
};

INSTANTIATE_TEST_SUITE_P(RuleLoad, FaultAtEachCall, testing::ValuesIn(kFaultCases),
                         [](const auto &each) { return each.param.name; });

/* As on a switch that has no control socket. */
TEST(LoadWithoutTheControlSocket, SaysNothingThatIsNotSo) {
    Interrupted load;
    for (const bool late : {false, true}) {
        for (int nth = 1; nth <= 3; nth++) {
            const std::string where = "write " + std::to_string(nth) + (late ? " late" : " early");
            const uint32_t acl_id = load.new_acl();
            load.daemon().control().fail("zv_api_acl_rules_set", 5, nth, 1, late);
            const json answer =
                load.load(acl_id, {"--in-flight", "1", "--switch-socket", "/nonexistent"});
            expect_truth(answer, load.held(acl_id), where);
            const auto said = states(answer);
            const uint32_t first = static_cast<uint32_t>(nth - 1) * 20;
            for (uint32_t i = 0; i < kRules; i++) {
                EXPECT_EQ(said.at(i), i < first        ? "in_switch"
                                      : i < first + 20 ? "unknown_no_record"
                                                       : "not_sent")
                    << where << " rule " << i;
            }
        }
    }
}

TEST(LoadWithoutTheControlSocket, IsTakenBackWholeAllTheSame) {
    for (const bool late : {false, true}) {
        Interrupted load;
        const uint32_t acl_id = load.new_acl();
        load.daemon().control().fail("zv_api_acl_rules_set", 5, 2, 1, late);
        const json answer =
            load.load(acl_id, {"--in-flight", "1", "--undo", "--switch-socket", "/nonexistent"});
        EXPECT_EQ(answer.at("exit"), 4);
        EXPECT_TRUE(load.held(acl_id).empty()) << answer.dump();
        for (const auto &[priority, state] : states(answer)) {
            EXPECT_EQ(state, priority < 40 ? "taken_back" : "not_sent");
        }
    }
}

/* In the order that keeps rules from matching what those before them were to catch. */
TEST(InterruptedLoad, IsTakenBackFromItsLastRuleOn) {
    Interrupted load;
    const uint32_t acl_id = load.new_acl();
    load.daemon().control().fail("zv_api_acl_rules_set", 5, 3);
    const size_t mark = load.daemon().trace_mark();
    const json answer = load.load(acl_id, {"--in-flight", "1", "--undo"});
    EXPECT_EQ(answer.at("exit"), 4);
    std::vector<uint32_t> deleted;
    for (const json &call : load.daemon().calls("zv_api_acl_rules_set", mark)) {
        if (call.at("args").at("cmd") == ZV_ACL_RM_ACCESS_CMD_DELETE) {
            for (const json &rule : call.at("args").at("rules")) {
                deleted.push_back(rule.at("offset"));
            }
        }
    }
    EXPECT_EQ(deleted.size(), 40u);
    EXPECT_TRUE(std::is_sorted(deleted.rbegin(), deleted.rend())) << json(deleted).dump();
}

TEST(InterruptedLoad, CountsTheCommandsUnderWayBehindTheRefusedOne) {
    Interrupted load;
    const uint32_t acl_id = load.new_acl();
    load.daemon().control().fail("zv_api_acl_rules_set", 5, 1);
    const json answer = load.load(acl_id, {"--in-flight", "8"});
    EXPECT_EQ(answer.at("exit"), 8);
    expect_truth(answer, load.held(acl_id), "three under way");
    const auto said = states(answer);
    EXPECT_EQ(said.at(0), "not_in_switch");
    EXPECT_EQ(said.at(20), "in_switch");
    EXPECT_EQ(said.at(59), "in_switch");
    EXPECT_NE(answer.at("hint").get<std::string>().find(
                  "commands that were under way behind the failed one were carried out: with "
                  "--in-flight 1"),
              std::string::npos)
        << answer.at("hint");
}

/* Another client fills the daemon's table to ten rules short of full. */
TEST(FullTable, IsToldRuleByRuleAndTakenBack) {
    for (const bool undo : {false, true}) {
        Interrupted load;
        zv_test::TestClient other(load.daemon(), ZV_ACL_RM_OWNER_TARN_OS, 1);
        const acl_rm_acl filler = other.make_acl(6400);
        for (uint32_t first = 0; first < 6390; first += 10) {
            ASSERT_EQ(other.write_rules(filler.acl_id, zv_test::make_rules(first, 10)), 0u);
        }
        const uint32_t acl_id = load.new_acl();
        const Words words = undo ? Words{"--in-flight", "1", "--undo"} : Words{"--in-flight", "1"};
        const json refused = load.load(acl_id, words);
        EXPECT_EQ(refused.at("exit"), 4);
        EXPECT_FALSE(refused.contains("load")) << "the dump tells that there is no room";
        EXPECT_TRUE(load.held(acl_id).empty());
        const zv_test::WithoutDump none; /* as if the rules came while the load was under way */
        const json answer = load.load(acl_id, words);
        const std::set<uint32_t> held = load.held(acl_id);
        expect_truth(answer, held, "full table");
        if (undo) {
            EXPECT_TRUE(held.empty()) << answer.dump();
            EXPECT_EQ(answer.at("exit"), 4);
            continue;
        }
        EXPECT_EQ(answer.at("hint"),
                  "'rule load --undo' takes back what a failed load has put there; now 'aclrmctl "
                  "rule del' does, but a rule without a record can be deleted only after 'aclrmctl "
                  "rule add' has written another one at its priority");
        EXPECT_EQ(answer.at("why").dump().find("belongs to"), std::string::npos);
        const auto said = states(answer);
        EXPECT_EQ(said.at(9), "in_switch");
        EXPECT_EQ(said.at(10), "in_switch_unrecorded");
        EXPECT_EQ(said.at(19), "in_switch_unrecorded");
        EXPECT_EQ(said.at(20), "not_sent");
    }
}

/* Passes packets on between the tool and the daemon, one at a time, and kills the daemon around the
 * nth request, or interrupts the tool before it. */
class Relay {
  public:
    enum class Kill { kBefore, kAfterWithoutAnswer, kAfterAnswer, kInterruptTool };

    Relay(DaemonProcess &daemon, int nth, Kill kill)
        : daemon_(daemon), nth_(nth), kill_(kill), pid_(daemon.pid()) {
        listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const sockaddr_un address = at(daemon.root().file("var/run/relay.sock"));
        EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)),
                  0);
        EXPECT_EQ(listen(listener_, 8), 0);
        EXPECT_EQ(pipe(stop_), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~Relay() {
        close(stop_[1]);
        thread_.join();
        for (std::thread &each : connections_) {
            each.join();
        }
        close(stop_[0]);
        close(listener_);
    }
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;

    bool killed() const { return killed_; }

  private:
    static sockaddr_un at(const std::string &path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        return address;
    }

    /* Waits for the socket; false when the test is over. */
    bool wait_for(int fd) {
        pollfd entries[] = {{fd, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        return poll(entries, 2, -1) > 0 && entries[1].revents == 0;
    }

    void serve() {
        while (wait_for(listener_)) {
            const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            connections_.emplace_back([this, client] { relay(client); });
        }
    }

    void relay(int client) {
        const int server = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const sockaddr_un address = at(daemon_.socket_path());
        if (connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0) {
            while (wait_for(client) && pass(client, server)) {
            }
        }
        close(client);
        close(server);
    }

    static pid_t peer_of(int client) {
        ucred peer{};
        socklen_t size = sizeof(peer);
        EXPECT_EQ(getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size), 0);
        return peer.pid;
    }

    void kill_daemon() {
        // Known before it is done: what it does may be seen, and asked about, at once.
        killed_ = true;
        ::kill(pid_, SIGKILL);
    }

    bool pass(int client, int server) {
        char packet[65536];
        const ssize_t asked = recv(client, packet, sizeof(packet), 0);
        if (asked <= 0) {
            return false;
        }
        const bool is_it = ++seen_ == nth_;
        if (is_it && kill_ == Kill::kBefore) {
            kill_daemon();
            return false;
        }
        if (is_it && kill_ == Kill::kInterruptTool) {
            killed_ = true;
            ::kill(peer_of(client), SIGINT);
        }
        if (send(server, packet, static_cast<size_t>(asked), MSG_NOSIGNAL) != asked) {
            return false;
        }
        const ssize_t answered = recv(server, packet, sizeof(packet), 0);
        if (is_it && kill_ != Kill::kInterruptTool) {
            kill_daemon();
        }
        if (answered <= 0 || (is_it && kill_ == Kill::kAfterWithoutAnswer)) {
            return false;
        }
        return send(client, packet, static_cast<size_t>(answered), MSG_NOSIGNAL) == answered;
    }

    DaemonProcess &daemon_;
    int nth_;
    Kill kill_;
    pid_t pid_;
    int listener_ = -1;
    int stop_[2] = {-1, -1};
    std::atomic<int> seen_ = 0;
    std::atomic<bool> killed_ = false;
    std::vector<std::thread> connections_; /* of thread_ until it is joined */
    std::thread thread_;
};

const char *name_of(Relay::Kill kill) {
    switch (kill) {
        case Relay::Kill::kBefore:
            return "Before";
        case Relay::Kill::kAfterAnswer:
            return "AfterItsAnswer";
        case Relay::Kill::kAfterWithoutAnswer:
            return "AfterItWithoutAnAnswer";
        case Relay::Kill::kInterruptTool:
            break;
    }
    return "TheTool";
}

void PrintTo(Relay::Kill kill, std::ostream *out) {
    *out << name_of(kill);
}

class DaemonKilled : public testing::TestWithParam<Relay::Kill> {};

TEST_P(DaemonKilled, AtEachRequestLeavesNoRuleThatIsSaidToBeInTheSwitch) {
    bool completed = false;
    for (int nth = 1; !completed; nth++) {
        Interrupted load;
        const uint32_t acl_id = load.new_acl();
        ToolRun run;
        json answer;
        bool killed = false;
        {
            Relay relay(load.daemon(), nth, GetParam());
            answer = load.load(acl_id, {"--socket", "/var/run/relay.sock", "--undo"}, &run);
            killed = relay.killed();
        }
        completed = run.exit_code == 0;
        if (killed) {
            EXPECT_EQ(load.daemon().wait_exit(), zv_test::ExitStatus::killed(SIGKILL));
        }
        if (completed) {
            EXPECT_GT(nth, 6) << "fewer requests than a load has";
            continue;
        }
        EXPECT_EQ(run.exit_code, 3) << "request " << nth << ": " << run.out;
        ASSERT_TRUE(killed) << "request " << nth << ": " << run.out;
        if (answer.contains("load")) {
            for (const auto &[priority, state] : states(answer)) {
                EXPECT_TRUE(state == "unknown_gone" || state == "not_sent")
                    << "request " << nth << ": rule " << priority << " is said to be " << state;
            }
        }
        ASSERT_LT(nth, 40);
    }
}

INSTANTIATE_TEST_SUITE_P(RuleLoad, DaemonKilled,
                         testing::Values(Relay::Kill::kBefore, Relay::Kill::kAfterWithoutAnswer,
                                         Relay::Kill::kAfterAnswer),
                         [](const auto &each) { return std::string(name_of(each.param)); });

/* Before the first rule is sent the tool simply ends; from then on it tells. */
TEST(ToolInterrupted, AtEachRequestLeavesTheSwitchAsItSays) {
    for (const bool undo : {false, true}) {
        int told_num = 0;
        bool interrupted = true;
        for (int nth = 1; interrupted; nth++) {
            const std::string where =
                "request " + std::to_string(nth) + (undo ? " with --undo" : "");
            Interrupted load;
            const uint32_t acl_id = load.new_acl();
            ToolRun run;
            {
                Words words{"--json",      "rule",
                            "load",        load.file(),
                            "--acl",       std::to_string(acl_id),
                            "--socket",    "/var/run/relay.sock",
                            "--batch",     "5",
                            "--in-flight", "1"};
                if (undo) {
                    words.emplace_back("--undo");
                }
                Relay relay(load.daemon(), nth, Relay::Kill::kInterruptTool);
                run = load.session().run(words);
                interrupted = relay.killed();
            }
            const std::set<uint32_t> held = load.held(acl_id);
            if (run.out.empty()) {
                EXPECT_TRUE(held.empty()) << where;
                continue;
            }
            const json answer = json::parse(run.out);
            if (answer.at("ok").get<bool>()) {
                EXPECT_EQ(held.size(), kRules) << where;
                continue;
            }
            told_num++;
            EXPECT_EQ(answer.at("error"), "loading " + load.file() + " was stopped by SIGINT")
                << where;
            expect_truth(answer, held, where);
            EXPECT_EQ(held.empty(), undo) << where;
            EXPECT_EQ(answer.at("exit"), undo ? 7 : 8) << where;
            ASSERT_LT(nth, 80);
        }
        EXPECT_EQ(told_num, 11) << "twelve commands, of which the last is the end of the load";
    }
}

}  // namespace
