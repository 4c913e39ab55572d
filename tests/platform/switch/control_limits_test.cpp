// Where the control socket ends: at files that are not its own, at its bounds of memory and places,
// and at every field that a command lacks or cannot use.

#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <vector>

#include "tests/platform/switch/control_client.h"

namespace {

using nlohmann::json;
using zv_test::ControlClient;
using zv_test::is_ok;
using zv_test::kUsage;

constexpr const char *kState = R"({"cmd":"state"})";
constexpr const char *kStart = R"({"ok":true,)";
constexpr const char *kAskAgain =
    R"({"ok":false,"error":"cmd: too many large answers are under way, ask again"})";

class ControlFields : public zv_test::ControlTest {
  protected:
    // The request is refused with a complaint about that field.
    void expect_named(const std::string &request, const std::string &field) {
        const std::string start = R"({"ok":false,"error":")" + field + ": ";
        EXPECT_EQ(ask(request).substr(0, start.size()), start) << request;
    }

    // A packet with one field replaced, or left out where the value is null.
    std::string packet_with(const std::string &field, const json &value) {
        json packet = {{"cmd", "packet"},
                       {"log_port", 65537},
                       {"direction", 0},
                       {"key_type", 1},
                       {"key", std::string(256, 'a')},
                       {"length", 60}};
        packet[field] = value;
        if (value.is_null()) {
            packet.erase(field);
        }
        return packet.dump();
    }
};

TEST_F(ControlFields, WhatIsNoObjectIsTheInputsFault) {
    for (const char *line : {"7", "null", "true", "\"usage\"", R"([{"cmd":"usage"}])"}) {
        expect_named(line, "input");
    }
    for (const char *line : {"{", "{\"cmd\":\"usage\"", "{cmd:\"usage\"}", "{'cmd':'usage'}"}) {
        expect_named(line, "input");
    }
}

TEST_F(ControlFields, EachFieldOfAPacketIsNamedWhenItIsMissing) {
    ASSERT_TRUE(is_ok(ask(packet_with("length", 60))));
    for (const char *field : {"log_port", "direction", "key_type", "key", "length"}) {
        expect_named(packet_with(field, nullptr), field);
    }
}

TEST_F(ControlFields, EachFieldOfAPacketIsNamedWhenItHasTheWrongType) {
    for (const char *field : {"log_port", "direction", "key_type", "length"}) {
        for (const json &value : {json("1"), json(1.5), json(-1), json(4294967296), json(true)}) {
            expect_named(packet_with(field, value), field);
        }
        EXPECT_TRUE(is_ok(ask(packet_with(field, 4294967295)))) << field;
    }
    expect_named(packet_with("key", 1), "key");
    expect_named(packet_with("key", json::array()), "key");
    expect_named(packet_with("rif_id", 1), "rif_id");
}

TEST_F(ControlFields, AKeyIsExactly256HexadecimalDigits) {
    for (const size_t digit_num : {0u, 254u, 255u, 257u, 258u}) {
        expect_named(packet_with("key", std::string(digit_num, 'a')), "key");
    }
    for (const size_t place : {0u, 1u, 255u}) {
        for (const char odd : {'g', ' ', '/', ':', '@', 'G', '`', '-'}) {
            std::string key(256, '0');
            key[place] = odd;
            expect_named(packet_with("key", key), "key");
        }
    }
    EXPECT_TRUE(is_ok(ask(packet_with("key", std::string(128, '9') + std::string(128, 'F')))));
}

TEST_F(ControlFields, FaultsAndPortsNameTheItem) {
    expect_named(R"({"cmd":"faults","set":{}})", "set");
    expect_named(R"({"cmd":"faults","set":[1]})", "set[0]");
    expect_named(R"({"cmd":"faults","set":[{"status":1}]})", "set[0].call");
    expect_named(R"({"cmd":"faults","set":[{"call":"nonsense","status":1}]})", "set[0].call");
    expect_named(R"({"cmd":"faults","set":[{"call":"*","status":"1"}]})", "set[0].status");
    expect_named(R"({"cmd":"faults","set":[{"call":"*","status":1,"nth":0}]})", "set[0].nth");
    expect_named(R"({"cmd":"faults","set":[{"call":"*","status":1,"times":0}]})", "set[0].times");
    expect_named(R"({"cmd":"faults","set":[{"call":"*","status":1,"late":1}]})", "set[0].late");
    expect_named(R"({"cmd":"ports"})", "set");
    expect_named(R"({"cmd":"ports","set":[7]})", "set[0]");
    expect_named(R"({"cmd":"ports","set":[{"log_port":"7"}]})", "set[0].log_port");
    expect_named(R"({"cmd":"ports","set":[{"log_port":1,"name":1}]})", "set[0].name");
    expect_named(R"({"cmd":"ports","set":[{"log_port":1,"kind":-1}]})", "set[0].kind");
    EXPECT_EQ(call("counter"), "0");
    EXPECT_EQ(call("ports"), "33");
}

TEST_F(ControlFields, CorruptAndTraceNameTheField) {
    expect_named(R"({"cmd":"corrupt","offset":2})", "region_id");
    expect_named(R"({"cmd":"corrupt","region_id":1})", "offset");
    expect_named(R"({"cmd":"corrupt","region_id":"1","offset":2})", "region_id");
    expect_named(R"({"cmd":"corrupt","region_id":1,"offset":[2]})", "offset");
    expect_named(R"({"cmd":"corrupt","region_id":1,"offset":2,"now":true})", "now");
    expect_named(R"({"cmd":"trace","lines":"1"})", "lines");
    expect_named(R"({"cmd":"trace","lines":65537})", "lines");
    EXPECT_TRUE(is_ok(ask(R"({"cmd":"trace","lines":65536})")));
    const json rules = json::parse(ask(kState))["regions"][0]["rules"];
    EXPECT_EQ(rules.size(), 2u);
}

class ControlTrace : public zv_test::ControlTest {
  protected:
    json lines(uint32_t num) {
        return json::parse(ask(R"({"cmd":"trace","lines":)" + std::to_string(num) + "}"))["lines"];
    }
};

TEST_F(ControlTrace, PartsOfALineThatHoldsNewlinesCountEach) {
    call("before");
    call("a\tb\tc");
    EXPECT_EQ(lines(1), json::array({"c"}));
    EXPECT_EQ(lines(2), json::array({"b", "c"}));
    EXPECT_EQ(lines(3), json::array({"a", "b", "c"}));
    EXPECT_EQ(lines(4), json::array({"before", "a", "b", "c"}));
}

TEST_F(ControlTrace, OneLineOfManyPartsIsNotMoreThanWasAskedFor) {
    std::string many;
    for (int i = 0; i < 5000; i++) {
        many += "x\t";
    }
    call(many + "last");
    EXPECT_EQ(lines(1), json::array({"last"}));
    EXPECT_EQ(lines(5000).size(), 5000u);
    EXPECT_EQ(lines(65536).size(), 5001u);
}

TEST_F(ControlTrace, EmptyLinesAreLines) {
    call("text");
    call("");
    EXPECT_EQ(lines(2), json::array({"text", ""}));
}

TEST_F(ControlTrace, AnEmptyRingHasNoLines) {
    EXPECT_EQ(lines(1), json::array());
}

class ControlAnswers : public zv_test::ControlTest {
  protected:
    // Asks for the state, of which the socket takes a part, and reads its first byte.
    std::unique_ptr<ControlClient> lazy_client() {
        auto lazy = std::make_unique<ControlClient>(socket_path());
        EXPECT_TRUE(lazy->send_bytes(std::string(kState) + "\n"));
        EXPECT_EQ(lazy->byte(), '{');
        return lazy;
    }
};

TEST_F(ControlAnswers, AtMostFourLargeOnesWaitAndTheLaziestIsGivenUp) {
    ASSERT_EQ(call("fill"), "0");
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<ControlClient>> lazy;
    for (int i = 0; i < 4; i++) {
        lazy.push_back(lazy_client());
    }
    std::string answer = ask(kState);
    // Nobody has been idle for a second yet.
    if (std::chrono::steady_clock::now() - begin < std::chrono::seconds(1)) {
        EXPECT_EQ(answer, kAskAgain);
    }
    EXPECT_TRUE(is_ok(ask(kUsage)));
    while (answer == kAskAgain &&
           std::chrono::steady_clock::now() - begin < std::chrono::seconds(60)) {
        answer = ask(kState);
    }
    EXPECT_TRUE(is_ok(answer));
    EXPECT_EQ(lazy[0]->line(), "");
    for (int i = 1; i < 4; i++) {
        EXPECT_TRUE(json::accept("{" + lazy[static_cast<size_t>(i)]->line())) << i;
    }
}

TEST_F(ControlAnswers, ALargeOneThatWasReadGivesItsPlaceBack) {
    ASSERT_EQ(call("fill"), "0");
    for (int i = 0; i < 10; i++) {
        EXPECT_TRUE(is_ok(ask(kState)));
    }
}

TEST_F(ControlAnswers, ALargeOneWhoseClientDiedGivesItsPlaceBack) {
    ASSERT_EQ(call("fill"), "0");
    for (int i = 0; i < 10; i++) {
        lazy_client();
        // Answered after the end of the one before has been noticed.
        EXPECT_TRUE(is_ok(ask(kUsage)));
    }
    EXPECT_TRUE(is_ok(ask(kState)));
}

TEST_F(ControlAnswers, ManySmallOnesMayWait) {
    std::vector<std::unique_ptr<ControlClient>> lazy;
    for (int i = 0; i < 20; i++) {
        lazy.push_back(lazy_client());
    }
    for (auto &client : lazy) {
        EXPECT_TRUE(json::accept("{" + client->line()));
    }
}

class ControlPlaces : public zv_test::ControlTest {};

TEST_F(ControlPlaces, TheSixtyFifthClientIsNotServedBeforeOneLeaves) {
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 63; i++) {
        clients.push_back(std::make_unique<ControlClient>(socket_path()));
        ASSERT_TRUE(is_ok(clients.back()->ask(kUsage)));
    }
    ControlClient waiting(socket_path());
    waiting.send_bytes(std::string(kUsage) + "\n");
    // Several turns of the server, in which it would have been answered.
    for (auto &client : clients) {
        ASSERT_TRUE(is_ok(client->ask(kUsage)));
    }
    EXPECT_TRUE(waiting.is_silent());
    clients.pop_back();
    EXPECT_TRUE(is_ok(waiting.line()));
}

// The kernel lets one more wait than the queue's length.
TEST_F(ControlPlaces, SeventeenMoreWaitAndOneMoreIsRefusedAtOnce) {
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 63; i++) {
        clients.push_back(std::make_unique<ControlClient>(socket_path()));
        ASSERT_TRUE(is_ok(clients.back()->ask(kUsage)));
    }
    for (int i = 0; i < 17; i++) {
        clients.push_back(std::make_unique<ControlClient>(socket_path(), SOCK_NONBLOCK));
        EXPECT_TRUE(clients.back()->connected()) << i;
    }
    const ControlClient refused(socket_path(), SOCK_NONBLOCK);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_FALSE(refused.connected());
}

// Programs started one by one, below roots of their own.
class ControlFile : public testing::Test {
  protected:
    std::unique_ptr<zv_test::ChildProcess> start() const {
        auto host = std::make_unique<zv_test::ChildProcess>(
            std::vector<std::string>{HOST_PATH},
            std::map<std::string, std::string>{{"ZV_SIM_CONTROL", "1"},
                                               {"ZV_PLATFORM_ROOT", root_.path()}});
        EXPECT_EQ(host->read_line(), "0");
        EXPECT_EQ(host->read_line(), "ready");
        return host;
    }
    void make_directory() const { std::filesystem::create_directories(root_.file("var/run")); }

    // The program runs without the socket and says why.
    void expect_refused(const std::string &why) const {
        auto host = start();
        EXPECT_EQ(host->wait(), 0);
        EXPECT_EQ(host->errors(),
                  "zv_sim: ZV_SIM_CONTROL: " + why + "; there is no control socket\n");
    }

    zv_test::TempDir root_;
    std::string path_ = root_.file("var/run/zv_switch.sock");
};

TEST_F(ControlFile, ItsDirectoriesAreMade) {
    ASSERT_FALSE(std::filesystem::exists(root_.file("var")));
    auto host = start();
    EXPECT_TRUE(is_ok(ControlClient(path_).ask(kUsage)));
}

TEST_F(ControlFile, AUmaskThatAllowsEverythingDoesNotWidenIt) {
    const mode_t before = umask(0);
    auto host = start();
    umask(before);
    struct stat status = {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0600});
}

TEST_F(ControlFile, APlainFileInItsPlaceStays) {
    make_directory();
    zv_test::write_file(path_, "precious");
    expect_refused(path_ + ": is there and is not a socket");
    EXPECT_EQ(zv_test::read_file(path_), "precious");
}

TEST_F(ControlFile, ADirectoryInItsPlaceStays) {
    std::filesystem::create_directories(path_);
    expect_refused(path_ + ": is there and is not a socket");
    EXPECT_TRUE(std::filesystem::is_directory(path_));
}

TEST_F(ControlFile, ALinkInItsPlaceStaysWhereverItLeads) {
    make_directory();
    std::filesystem::create_symlink("/nowhere", path_);
    expect_refused(path_ + ": is there and is not a socket");
    EXPECT_TRUE(std::filesystem::is_symlink(path_));
}

TEST_F(ControlFile, AProcessThatWasRefusedLeavesThePlaceToTheNext) {
    make_directory();
    zv_test::write_file(path_, "precious");
    auto refused = start();
    std::filesystem::remove(path_);
    auto next = start();
    EXPECT_TRUE(is_ok(ControlClient(path_).ask(kUsage)));
    EXPECT_EQ(refused->wait(), 0);
    EXPECT_TRUE(is_ok(ControlClient(path_).ask(kUsage)));
}

// A sanitizer's runtime needs the address space that the stack's limit takes here.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ControlFile, WithoutAThreadThereIsNoSocketThatNobodyServes) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_STACK, &before), 0);
    // A new thread's stack is as large as this and cannot be had.
    const rlimit enormous = {rlim_t{1} << 46, before.rlim_max};
    if (before.rlim_max < enormous.rlim_cur || setrlimit(RLIMIT_STACK, &enormous) != 0) {
        GTEST_SKIP() << "the stack's limit cannot be raised here";
    }
    auto host = start();
    ASSERT_EQ(setrlimit(RLIMIT_STACK, &before), 0);
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_EQ(host->wait(), 0);
    EXPECT_EQ(host->errors(),
              "zv_sim: ZV_SIM_CONTROL: no thread for the control socket; there is none\n");
}
#endif

}  // namespace
