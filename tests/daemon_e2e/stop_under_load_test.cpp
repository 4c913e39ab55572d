// Stops at moments nobody chose: while clients flood the daemon, and while it starts up.
//
// Every stop is repeatable as far as the machine allows: what it does follows from its seed, which
// a failure names. The waits are spent spinning, because the moment is what is tested.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <thread>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

// The thread sanitizer takes an ABRT for the thread's own fault and runs its handler at once, also
// where the thread holds the sanitizer's own locks, and then hangs. The others it holds back.
#if defined(__SANITIZE_THREAD__)
constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};
#else
constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGABRT, SIGHUP};
#endif
constexpr int kRoundsPerCase = 20;

void spin_for(microseconds time) {
    const auto end = Clock::now() + time;
    while (Clock::now() < end) {
    }
}

template <typename Record>
Bytes bytes_of(const Record &record) {
    Bytes bytes(sizeof(record));
    std::memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

// --- clients that never wait longer than they must

// One client: an owner with one ACL and its own ports, so that nothing it does is refused however
// the clients interleave. Each step sends a few requests at once and takes their replies.
class Flooder {
  public:
    Flooder(const std::string &socket_path, const std::string &dump_path, uint32_t owner)
        : dump_path_(dump_path), owner_(owner), connection_(RpcConnection::open(socket_path)) {}

    // Floods until the daemon does not answer any more.
    void run() {
        if (!connection_ || !set_up()) {
            return;
        }
        while (write_rules() && bind_ports() && dump()) {
        }
    }

    // Replies that came, but with a failure: there must be none.
    uint32_t refused_num() const { return refused_num_; }

  private:
    uint64_t handle() const { return 0x1000 + owner_; }

    // Sends all, then receives all; false once the daemon is going away.
    bool exchange(const std::vector<Bytes> &packets) {
        size_t sent = 0;
        while (sent < packets.size() && connection_->send(packets[sent])) {
            ++sent;
        }
        for (size_t i = 0; i < sent; ++i) {
            last_ = connection_->receive();
            if (!last_ || last_->transport == kShuttingDown) {
                return false;
            }
            refused_num_ += last_->transport != kDelivered || last_->status != 0;
        }
        return sent == packets.size();
    }

    bool set_up() {
        zv_acl_rm_open_params_t open = {handle(), owner_, 0};
        zv_acl_rm_init_params_t init = {handle(), 3, 0};
        zv_acl_rm_acl_set_params_t create = {handle(), ZV_ACL_RM_ACCESS_CMD_CREATE,
                                             acl_of_size(kRules), 0};
        if (!exchange({make_request(ZV_ACL_RM_API_INT_CMD_OPEN, bytes_of(open)),
                       make_request(ZV_ACL_RM_API_INT_CMD_INIT, bytes_of(init)),
                       make_request(ZV_ACL_RM_API_INT_CMD_ACL_SET, bytes_of(create))}) ||
            last_->body.size() != sizeof(acl_rm_acl)) {
            return false;
        }
        std::memcpy(&acl_id_, last_->body.data(), sizeof(acl_id_));
        return true;
    }

    // The next rules of the ACL, half of them forwarding, two records at once. Stops short of what
    // four clients may write together.
    bool write_rules() {
        std::vector<Bytes> packets;
        while (packets.size() < 2 && next_offset_ < kRules) {
            zv_acl_rm_acl_rule_set_params_t params = {};
            params.client_handle = handle();
            params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
            params.acl_id = acl_id_;
            params.rules_num = ZV_ACL_RM_RULES_PER_RECORD;
            for (acl_rm_rule &rule : params.rules) {
                rule = make_rule(next_offset_++);
                rule = next_offset_ % 2 == 0 ? forward_to_port(rule, port(0)) : rule;
            }
            packets.push_back(make_request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, bytes_of(params)));
        }
        return exchange(packets);
    }

    // Two ports at a time, over and over: what is bound already is bound again without effect.
    bool bind_ports() {
        zv_acl_rm_acl_port_bind_params_t params = {};
        params.client_handle = handle();
        params.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
        params.acl_id = acl_id_;
        params.log_ports[0] = port(next_port_++);
        params.log_ports[1] = port(next_port_++);
        params.ports_num = 2;
        return exchange({make_request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, bytes_of(params))});
    }

    bool dump() {
        const zv_acl_rm_dump_params_t params = {handle(), 0};
        return exchange({make_request(ZV_ACL_RM_API_INT_CMD_DUMP, bytes_of(params), dump_path_)});
    }

    uint32_t port(uint32_t index) const { return 65537 + owner_ * kPorts + index % kPorts; }

    static constexpr uint32_t kRules = 1500;
    static constexpr uint32_t kPorts = 8;

    std::string dump_path_;
    uint32_t owner_;
    uint32_t acl_id_ = 0;
    uint32_t next_offset_ = 0;
    uint32_t next_port_ = 0;
    uint32_t refused_num_ = 0;
    std::optional<RpcConnection> connection_;
    std::optional<RpcReply> last_;
};

// One flooder for each owner, each on its own thread, for as long as the object lives; the daemon
// must be stopped before that.
class Flood {
  public:
    explicit Flood(DaemonProcess &daemon) {
        for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; ++owner) {
            // Two dump into files, two into the log.
            const std::string path = daemon.root().file(
                (owner % 2 == 0 ? "dump" : "no/such/directory/") + std::to_string(owner));
            flooders_.push_back(std::make_unique<Flooder>(daemon.socket_path(), path, owner));
        }
        for (auto &flooder : flooders_) {
            threads_.emplace_back([&flooder] { flooder->run(); });
        }
    }
    void join() {
        for (std::thread &thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }
    uint32_t refused_num() const {
        uint32_t sum = 0;
        for (const auto &flooder : flooders_) {
            sum += flooder->refused_num();
        }
        return sum;
    }

  private:
    std::vector<std::unique_ptr<Flooder>> flooders_;
    std::vector<std::thread> threads_;
};

// --- what must hold after every stop

struct PluginFiles {
    TempDir dir;
    std::string log = dir.file("log");
    std::string hooks = dir.file("hooks");

    DaemonOptions options(bool loaded) const {
        DaemonOptions options;
        if (loaded) {
            options.arguments = {"--logger=" + file_logger_path(),
                                 "--connector=" + connector_path()};
            options.environment = {{"ZV_ACL_RM_LOG_FILE", log},
                                   {"ZV_ACL_RM_CONNECTOR_FILE", hooks}};
        }
        return options;
    }
};

// The platform calls from the end of serving on: nothing of a command may be among them, and each
// step of the tear-down is there once.
void expect_orderly_end(DaemonProcess &daemon) {
    std::vector<std::string> names = daemon.call_names_since(0);
    const auto end_of_serving =
        std::find(names.begin(), names.end(), "zv_rpc_api_rpc_command_db_deinit");
    ASSERT_NE(end_of_serving, names.end());
    const bool was_open = std::find(names.begin(), end_of_serving, "zv_api_open") != end_of_serving;
    std::vector<std::string> rest(end_of_serving + 1, names.end());
    std::erase(rest, "cl_free");  // one for each ACL there was
    std::vector<std::string> wanted;
    if (was_open) {
        wanted.push_back("zv_api_close");
    }
    wanted.push_back("zv_net_deinit");
    EXPECT_EQ(rest, wanted);
    EXPECT_FALSE(std::filesystem::exists(daemon.socket_path()));
}

void expect_clean_plugins(const PluginFiles &files) {
    EXPECT_EQ(read_file(files.hooks), "aclrmd_init\naclrmd_deinit\n");
    const std::string text = read_file(files.log);
    EXPECT_EQ(text.empty() ? '\n' : text.back(), '\n') << "a line was cut";
    size_t stops = 0;
    for (const LogLine &line : parse_log(text)) {
        EXPECT_NE(line.level, "ERROR") << line;
        stops += line.text == "starting zv_acl_rm termination...";
    }
    EXPECT_EQ(stops, 1u);
}

struct StopUnderLoad : testing::TestWithParam<uint32_t> {};

TEST_P(StopUnderLoad, IsAlwaysCleanAndComplete) {
    for (uint32_t round = 0; round < kRoundsPerCase && !HasFailure(); ++round) {
        const uint32_t seed = GetParam() * 1000 + round;
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const bool with_plugins = random() % 2 == 0;
        const int signal_number = kStopSignals[random() % std::size(kStopSignals)];
        const microseconds moment(random() % 10000);

        const PluginFiles files;
        DaemonProcess daemon(files.options(with_plugins));
        Flood flood(daemon);
        spin_for(moment);
        daemon.stop(signal_number, ExitStatus::exit(0));
        flood.join();
        EXPECT_EQ(flood.refused_num(), 0u);
        expect_orderly_end(daemon);
        if (with_plugins) {
            expect_clean_plugins(files);
        }
    }
}

// Several signals while everything runs: one tear-down all the same.
TEST_P(StopUnderLoad, TakesManySignalsForOne) {
    std::mt19937 random(GetParam());
    SCOPED_TRACE("seed " + std::to_string(GetParam()));
    const PluginFiles files;
    DaemonProcess daemon(files.options(true));
    Flood flood(daemon);
    for (int i = 0; i < 50; ++i) {
        daemon.signal(SIGUSR1);
        spin_for(microseconds(random() % 100));
    }
    for (int i = 0; i < 10; ++i) {
        daemon.signal(kStopSignals[random() % std::size(kStopSignals)]);
    }
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0));
    flood.join();
    expect_orderly_end(daemon);
    expect_clean_plugins(files);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StopUnderLoad, testing::Range(1u, 11u));

// --- stops while the daemon starts

// Before the signals are armed a stop signal does what it does to any process: it kills. The first
// call of the platform after that is the one that makes the counter pool, so from the moment it is
// on record, dying of the signal is a failure.
bool signals_were_armed(DaemonProcess &daemon) {
    const std::vector<std::string> names = daemon.call_names_since(0);
    return std::find(names.begin(), names.end(), "cl_qpool_init") != names.end();
}

microseconds time_to_serve() {
    const auto start = Clock::now();
    DaemonProcess daemon;
    return std::chrono::duration_cast<microseconds>(Clock::now() - start);
}

struct StopDuringStartup : testing::TestWithParam<uint32_t> {};

TEST_P(StopDuringStartup, IsADeathBeforeTheSignalsAreArmedAndCleanAfterwards) {
    const auto longest = static_cast<uint32_t>(time_to_serve().count() * 5 / 4);
    for (uint32_t round = 0; round < kRoundsPerCase && !HasFailure(); ++round) {
        const uint32_t seed = GetParam() * 1000 + round;
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int signal_number = kStopSignals[random() % std::size(kStopSignals)];

        const PluginFiles files;
        DaemonOptions options = files.options(true);
        options.wait_until_serving = false;
        DaemonProcess daemon(options);
        // Most of the time passes before main. Hence half of the rounds wait for the first call of
        // the platform, which comes just before the signals are armed.
        const bool from_first_call = round % 2 == 0;
        while (from_first_call && daemon.trace_mark() == 0 && daemon.running()) {
        }
        spin_for(microseconds(random() % (from_first_call ? longest / 8 : longest)));
        daemon.signal(signal_number);
        const ExitStatus end = daemon.wait_exit();
        if (signals_were_armed(daemon) || end.exited) {
            EXPECT_EQ(end, ExitStatus::exit(0));
            expect_orderly_end(daemon);
            expect_clean_plugins(files);
        } else {
            EXPECT_EQ(end, ExitStatus::killed(signal_number));
            EXPECT_EQ(read_file(files.hooks), "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, StopDuringStartup, testing::Range(1u, 4u));

}  // namespace
}  // namespace zv_test
