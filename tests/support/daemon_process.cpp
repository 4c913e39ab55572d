#include "tests/support/daemon_process.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// A request that no handler sees: it is answered by the serving loop itself, hence says that
// start-up is over, and changes nothing.
#define ZV_TEST_NO_COMMAND 0

namespace zv_test {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

// Bounds a wait that only a broken daemon makes long; generous for sanitizers on a busy machine.
constexpr auto kPatience = std::chrono::seconds(60);
constexpr int kPatienceMs = 60000;
constexpr int kPollMs = 1;

// The thread sanitizer holds a signal back until the thread that got it makes its next call of the
// C library: for ever, if that thread is the one that waits for the terminator's mutex. Another
// signal goes to another thread, hence signals to its daemon are repeated. In all other builds a
// daemon that misses a signal is broken.
bool daemon_holds_signals_back() {
    return getenv("ZV_TEST_REPEAT_SIGNALS") != nullptr;
}
constexpr int kRepeatMs = 500;

std::string joined(const std::vector<LogLine> &lines) {
    std::ostringstream text;
    for (const LogLine &line : lines) {
        text << "  " << line << '\n';
    }
    return text.str();
}

// Enough of a long log to see how it ended.
std::string tail_of(const std::string &text) {
    constexpr size_t kShown = 16 * 1024;
    return text.size() <= kShown ? text : "...\n" + text.substr(text.size() - kShown);
}

}  // namespace

std::string daemon_path() {
    const char *other = getenv("ZV_TEST_DAEMON");
    return other != nullptr ? other : ZV_TEST_DAEMON_PATH;
}

DaemonOptions ending_run(std::vector<std::string> arguments, json faults) {
    DaemonOptions options;
    options.arguments = std::move(arguments);
    options.faults = std::move(faults);
    options.wait_until_serving = false;
    return options;
}

DaemonProcess::DaemonProcess(DaemonOptions options, Here here)
    : options_(std::move(options)),
      control_(root_.file("var/run/zv_switch.sock")),
      failed_before_(testing::Test::HasFailure()) {
    // A developer's own setting would also be put before the paths that the client library is
    // given.
    unsetenv("ZV_PLATFORM_ROOT");
    if (!options_.config.is_null()) {
        write_file(root_.file("config.json"), options_.config.dump());
    }
    process_ = std::make_unique<ChildProcess>(command(), environment(), root_.file("stdout"),
                                              root_.file("stderr"));
    if (options_.wait_until_serving) {
        wait_until_serving(here);
    }
}

DaemonProcess::~DaemonProcess() {
    if (running()) {
        stop();
    }
    if (!errors_allowed_) {
        expect_no_error_lines();
    }
    if (testing::Test::HasFailure() && !failed_before_) {
        std::cerr << "--- what the daemon wrote:\n" << out() << tail_of(err()) << "---\n";
    }
}

std::vector<std::string> DaemonProcess::command() const {
    std::vector<std::string> command = {options_.program.empty() ? daemon_path()
                                                                 : options_.program};
    if (options_.rpc_verbosity != 3 || options_.db_verbosity != 3) {
        command.push_back("--connector=" ZV_TEST_VERBOSITY_CONNECTOR_PATH);
    }
    command.insert(command.end(), options_.arguments.begin(), options_.arguments.end());
    return command;
}

std::map<std::string, std::string> DaemonProcess::environment() const {
    std::map<std::string, std::string> variables = {{"ZV_PLATFORM_ROOT", root_.path().string()}};
    if (options_.rpc_verbosity != 3) {
        variables["ZV_TEST_RPC_VERBOSITY"] = std::to_string(options_.rpc_verbosity);
    }
    if (options_.db_verbosity != 3) {
        variables["ZV_TEST_DB_VERBOSITY"] = std::to_string(options_.db_verbosity);
    }
    if (options_.trace) {
        variables["ZV_SIM_TRACE"] = root_.file("trace");
    }
    if (options_.control) {
        variables["ZV_SIM_CONTROL"] = "1";
    }
    if (!options_.faults.empty()) {
        variables["ZV_SIM_FAULTS"] = options_.faults.dump();
    }
    if (!options_.config.is_null()) {
        variables["ZV_SIM_CONFIG"] = root_.file("config.json");
    }
    if (!options_.library_path.empty()) {
        variables["LD_LIBRARY_PATH"] = options_.library_path;
    }
    for (const auto &[name, value] : options_.environment) {
        variables[name] = value;
    }
    return variables;
}

bool DaemonProcess::wait_until_serving(Here here) {
    const auto deadline = Clock::now() + kPatience;
    while (Clock::now() < deadline) {
        if (std::optional<RpcConnection> connection = RpcConnection::open(socket_path())) {
            if (connection->call(ZV_TEST_NO_COMMAND, {})) {
                return true;
            }
        }
        // The wait between two attempts is a wait for the process, so that its early end is seen
        // at once.
        if (const std::optional<ExitStatus> ended = process_->wait(kPollMs)) {
            ADD_FAILURE_AT(here.file, here.line) << "the daemon ended before it served: " << *ended;
            return false;
        }
    }
    ADD_FAILURE_AT(here.file, here.line) << "the daemon does not serve";
    return false;
}

void DaemonProcess::signal(int number) {
    last_signal_ = number;
    process_->signal(number);
}

ExitStatus DaemonProcess::stop(int signal_number, ExitStatus expected, Here here) {
    signal(signal_number);
    const ExitStatus status = wait_exit(here);
    if (!(status == expected)) {
        ADD_FAILURE_AT(here.file, here.line)
            << "the daemon ended with " << status << ", expected " << expected;
    }
    return status;
}

ExitStatus DaemonProcess::wait_exit(Here here) {
    std::optional<ExitStatus> status;
    for (int waited = 0; daemon_holds_signals_back() && !status && waited < kPatienceMs;
         waited += kRepeatMs) {
        status = process_->wait(kRepeatMs);
        signal(last_signal_);
    }
    if (!status) {
        status = process_->wait(kPatienceMs);
    }
    if (!status) {
        ADD_FAILURE_AT(here.file, here.line) << "the daemon does not end";
        process_->signal(SIGKILL);
        status = process_->wait(-1);
    }
    return *status;
}

RpcConnection DaemonProcess::connect(Here here) {
    std::optional<RpcConnection> connection = RpcConnection::open(socket_path());
    if (!connection) {
        ADD_FAILURE_AT(here.file, here.line) << "nobody listens on " << socket_path();
        throw std::runtime_error("no connection to the daemon");
    }
    return std::move(*connection);
}

CacheDump DaemonProcess::dump(Here here) {
    const std::string path = root_.file("dump." + std::to_string(++dumps_num_));
    const auto reply = connect(here).call(ZV_ACL_RM_API_INT_CMD_DUMP,
                                          Bytes(sizeof(zv_acl_rm_dump_params_t)), path);
    if (!reply || reply->transport != kDelivered || reply->status != ZV_ACL_RM_STATUS_SUCCESS) {
        ADD_FAILURE_AT(here.file, here.line) << "the daemon does not dump its cache";
        return {};
    }
    return parse_dump(read_file(path));
}

std::vector<LogLine> DaemonProcess::log(const std::string &module, const std::string &level) const {
    std::vector<LogLine> lines = log();
    std::erase_if(
        lines, [&](const LogLine &line) { return line.module != module || line.level != level; });
    return lines;
}

size_t DaemonProcess::count_log(const LogLine &line) const {
    const std::vector<LogLine> lines = log();
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

std::optional<size_t> DaemonProcess::find_untaken(const LogLine &line) const {
    const std::vector<LogLine> lines = log();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i] == line && !(i < taken_.size() && taken_[i])) {
            return i;
        }
    }
    return std::nullopt;
}

void DaemonProcess::expect_log(const LogLine &line, Here here) {
    const std::optional<size_t> found = find_untaken(line);
    if (!found) {
        ADD_FAILURE_AT(here.file, here.line) << "the log lacks (or has too few of)\n  " << line;
        return;
    }
    taken_.resize(std::max(taken_.size(), *found + 1));
    taken_[*found] = true;
}

void DaemonProcess::expect_no_log(const LogLine &line, Here here) {
    if (find_untaken(line)) {
        ADD_FAILURE_AT(here.file, here.line) << "the log has\n  " << line;
    }
}

// Looks again and again until it is so, the daemon has ended or patience has. After its end it
// looks once more: what is waited for may be the last thing it did.
bool DaemonProcess::wait_until(const std::function<bool()> &is_true) {
    const auto deadline = Clock::now() + kPatience;
    int rounds = 0;
    while (!is_true()) {
        if (process_->wait(kPollMs) || Clock::now() > deadline) {
            return is_true();
        }
        if (daemon_holds_signals_back() && ++rounds % kRepeatMs == 0) {
            signal(last_signal_);
        }
    }
    return true;
}

void DaemonProcess::wait_for_log(const LogLine &line, Here here) {
    wait_until([&] { return find_untaken(line).has_value(); });
    expect_log(line, here);
}

std::string DaemonProcess::wait_for_log_matching(const LogLine &line, Here here) {
    const testing::Matcher<const std::string &> is_like = testing::MatchesRegex(line.text);
    std::string found;
    const bool is_there = wait_until([&] {
        for (const LogLine &entry : log(line.module, line.level)) {
            if (is_like.Matches(entry.text) && find_untaken(entry)) {
                found = entry.text;
                return true;
            }
        }
        return false;
    });
    if (!is_there) {
        ADD_FAILURE_AT(here.file, here.line) << "the log lacks a line like\n  " << line;
        return "";
    }
    expect_log({line.module, line.level, found}, here);
    return found;
}

void DaemonProcess::expect_no_error_lines(Here here) {
    const std::vector<LogLine> lines = log();
    std::vector<LogLine> unexpected;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].level == "ERROR" && !(i < taken_.size() && taken_[i])) {
            unexpected.push_back(lines[i]);
        }
    }
    if (!unexpected.empty()) {
        ADD_FAILURE_AT(here.file, here.line) << "error lines nobody expected:\n"
                                             << joined(unexpected);
    }
}

size_t DaemonProcess::trace_mark() const {
    std::error_code missing;
    const auto size = std::filesystem::file_size(root_.file("trace"), missing);
    return missing ? 0 : size;
}

std::vector<json> DaemonProcess::trace_since(size_t mark) const {
    std::vector<json> calls;
    const std::string text = read_file(root_.file("trace"));
    std::istringstream lines(text.substr(std::min(mark, text.size())));
    for (std::string line; std::getline(lines, line);) {
        calls.push_back(json::parse(line));
    }
    return calls;
}

std::vector<json> DaemonProcess::calls(const std::string &name, size_t mark) const {
    std::vector<json> calls = trace_since(mark);
    std::erase_if(calls, [&](const json &call) { return call.at("call") != name; });
    return calls;
}

std::vector<std::string> DaemonProcess::call_names_since(size_t mark) const {
    std::vector<std::string> names;
    for (const json &call : trace_since(mark)) {
        names.push_back(call.at("call").get<std::string>());
    }
    return names;
}

}  // namespace zv_test
