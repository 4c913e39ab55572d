#include "tests/fire/stops/stop_round.h"

#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "tests/support/log_lines.h"
#include "tests/support/test_client.h"

namespace zv_fire {

using namespace zv_test;
using std::chrono::microseconds;

namespace {

constexpr uint64_t kHandle = 0x600d;
constexpr uint32_t kChipType = 3;
constexpr uint32_t kAclSize = 64;
constexpr uint32_t kPacketsPerConnection = 200;
// An end is to come in a second; one that does not come at all is waited for this long.
constexpr double kLongestEndMs = 1000;
constexpr int kPatienceMs = 20000;
constexpr const char *kLinger = "2000";  // of the slow connector's hooks, in microseconds

template <typename Record>
Bytes bytes_of(const Record &record) {
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    return Bytes(first, first + sizeof(record));
}

template <typename Record>
Bytes request(uint32_t command, const Record &record, uint32_t sequence = 1) {
    return make_request(command, bytes_of(record), std::nullopt, sequence);
}

zv_acl_rm_acl_rule_set_params_t twenty_rules(uint32_t acl_id) {
    zv_acl_rm_acl_rule_set_params_t params = {};
    params.client_handle = kHandle;
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = acl_id;
    params.rules_num = ZV_ACL_RM_RULES_PER_RECORD;
    for (uint32_t i = 0; i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        params.rules[i] = forward_to_port(make_rule(i + 20), kPort + i);
    }
    return params;
}

zv_acl_rm_acl_rule_get_params_t read_of_ten(uint32_t acl_id) {
    zv_acl_rm_acl_rule_get_params_t params = {};
    params.client_handle = kHandle;
    params.acl_id = acl_id;
    params.rules_num = 10;
    for (uint32_t i = 0; i < params.rules_num; ++i) {
        params.rules[i].offset = i;
    }
    return params;
}

zv_acl_rm_acl_port_bind_params_t bind_of_ports(uint32_t acl_id, uint32_t num) {
    zv_acl_rm_acl_port_bind_params_t params = {};
    params.client_handle = kHandle;
    params.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    params.acl_id = acl_id;
    params.ports_num = num;
    for (uint32_t i = 0; i < num; ++i) {
        params.log_ports[i] = kPort + i;
    }
    return params;
}

// One request of the kind that `variant` names. Those that need an open switch are refused without
// one, which is a way through the daemon too.
Bytes command_packet(uint32_t variant, uint32_t acl_id) {
    const zv_acl_rm_open_params_t open = {kHandle, ZV_ACL_RM_OWNER_OPEN_FLOW, 0};
    const zv_acl_rm_init_params_t init = {kHandle, kChipType, 0};
    acl_rm_acl named = acl_of_size(kAclSize);
    named.acl_id = acl_id;
    const zv_acl_rm_acl_set_params_t create = {kHandle, ZV_ACL_RM_ACCESS_CMD_CREATE,
                                               acl_of_size(kAclSize), 0};
    const zv_acl_rm_acl_set_params_t destroy = {kHandle, ZV_ACL_RM_ACCESS_CMD_DESTROY, named, 0};
    const zv_acl_rm_acl_set_params_t edit = {kHandle, ZV_ACL_RM_ACCESS_CMD_EDIT, named, 0};
    const zv_acl_rm_acl_system_bind_params_t system = {kHandle, ZV_ACL_RM_ACCESS_CMD_BIND, acl_id};
    const zv_acl_rm_counter_set_params_t counter = {
        kHandle, ZV_ACL_RM_ACCESS_CMD_CREATE, {1, 0}, 0};
    const zv_acl_rm_acl_rule_move_block_params_t move = {kHandle, acl_id, 0, 10, 5};
    const Bytes packets[] = {
        request(ZV_ACL_RM_API_INT_CMD_OPEN, open),
        request(ZV_ACL_RM_API_INT_CMD_INIT, init),
        request(ZV_ACL_RM_API_INT_CMD_ACL_SET, create),
        request(ZV_ACL_RM_API_INT_CMD_ACL_SET, destroy),
        request(ZV_ACL_RM_API_INT_CMD_ACL_SET, edit),
        request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, twenty_rules(acl_id)),
        request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, read_of_ten(acl_id)),
        request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, move),
        request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, bind_of_ports(acl_id, 32)),
        request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, system),
        request(ZV_ACL_RM_API_INT_CMD_COUNTER_SET, counter),
    };
    return packets[variant % std::size(packets)];
}

// Whether the daemon had come so far that it catches signals: this call is the first after that.
bool catches_signals(const FreeDaemon &daemon) {
    return daemon.has_called("cl_qpool_init");
}

std::string text_of(const ExitStatus &status) {
    std::ostringstream text;
    text << status;
    return text.str();
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

}  // namespace

void spin_for(microseconds time) {
    const auto end = Clock::now() + time;
    while (Clock::now() < end) {
    }
}

Launch Subject::with_plugins(const Launch &launch, const Plan &plan, const std::string &hooks,
                             const std::string &log) {
    Launch loaded = launch;
    if (plan.with_plugins) {
        loaded.arguments.push_back("--logger=" ZV_FIRE_FILE_LOGGER);
        loaded.arguments.push_back("--connector=" ZV_FIRE_SLOW_CONNECTOR);
        loaded.environment["ZV_ACL_RM_LOG_FILE"] = log;
        loaded.environment["ZV_FIRE_CONNECTOR_FILE"] = hooks;
        loaded.environment["ZV_FIRE_CONNECTOR_US"] = kLinger;
    }
    return loaded;
}

Subject::Subject(const TempDir &place, const Launch &launch, const Plan &plan,
                 const std::string &name)
    : place_(place),
      plan_(plan),
      name_(name),
      hooks_path_(place.file(name + ".hooks")),
      log_path_(place.file(name + ".log")),
      daemon_(place, with_plugins(launch, plan, hooks_path_, log_path_), name) {}

// --- to the moment

bool Subject::open_switch() {
    std::optional<RpcConnection> connection = RpcConnection::open(socket_path(place_));
    if (!connection) {
        return false;
    }
    const auto succeeds = [&connection](const Bytes &packet) {
        const auto reply = connection->send(packet) ? connection->receive() : std::nullopt;
        return reply && reply->transport == kDelivered && reply->status == 0 ? reply : std::nullopt;
    };
    if (!succeeds(command_packet(0, 0)) || !succeeds(command_packet(1, 0))) {
        return false;
    }
    const auto created = succeeds(command_packet(2, 0));
    if (!created || created->body.size() != sizeof(acl_rm_acl)) {
        return false;
    }
    std::memcpy(&acl_id_, created->body.data(), sizeof(acl_id_));
    zv_acl_rm_acl_rule_set_params_t rules = twenty_rules(acl_id_);
    for (uint32_t i = 0; i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        rules.rules[i] = make_rule(i);
    }
    return succeeds(request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, rules)).has_value();
}

bool Subject::works() {
    if (!open_switch()) {
        return false;
    }
    std::optional<RpcConnection> connection = RpcConnection::open(socket_path(place_));
    const auto reply = connection && connection->send(command_packet(3, acl_id_))
                           ? connection->receive()
                           : std::nullopt;
    return reply && reply->transport == kDelivered && reply->status == 0;
}

bool Subject::send_command() {
    auto connection = RpcConnection::open(socket_path(place_));
    if (!connection || !connection->send(command_packet(plan_.variant, acl_id_))) {
        return false;
    }
    connections_.push_back(std::move(*connection));
    return true;
}

bool Subject::send_dump() {
    auto connection = RpcConnection::open(socket_path(place_));
    const zv_acl_rm_dump_params_t params = {kHandle, 0};
    // Every third one goes to the log, because its file cannot be made.
    const std::string path =
        place_.file(plan_.variant % 3 == 0 ? "no/such/directory/dump" : name_ + ".dump");
    if (!connection ||
        !connection->send(make_request(ZV_ACL_RM_API_INT_CMD_DUMP, bytes_of(params), path))) {
        return false;
    }
    connections_.push_back(std::move(*connection));
    return true;
}

bool Subject::send_flood() {
    for (uint32_t i = 0; i < plan_.connections; ++i) {
        auto connection = RpcConnection::open(socket_path(place_));
        if (!connection) {
            return false;
        }
        for (uint32_t n = 0; n < kPacketsPerConnection; ++n) {
            Bytes packet = command_packet(plan_.variant + i + n % 3, acl_id_);
            RpcHeader header;
            std::memcpy(&header, packet.data(), sizeof(header));
            header.sequence = n + 1;
            std::memcpy(packet.data(), &header, sizeof(header));
            if (::send(connection->fd(), packet.data(), packet.size(),
                       MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
                break;  // as much as fits
            }
        }
        connections_.push_back(std::move(*connection));
    }
    return true;
}

bool Subject::bring_to_moment(Outcome &outcome) {
    const auto until = [this](const auto &is_true) {
        const auto deadline = Clock::now() + std::chrono::seconds(60);
        while (!is_true() && !daemon_.wait(0) && Clock::now() < deadline) {
        }
        return is_true();
    };
    bool is_there = true;
    switch (plan_.moment) {
        case Moment::kStart:
            // Most of a start passes before main. Hence half of the rounds wait for the first call
            // of the platform, just before the signals are caught.
            if (plan_.variant % 2 == 0) {
                is_there = until([this] { return daemon_.has_called_any(); });
                plan_.delay /= 8;
            }
            break;
        case Moment::kPluginLoad:
            is_there = until([this] { return !hooks().empty(); });
            break;
        case Moment::kPluginStart:
            is_there = until([this] { return hooks().find("init") != std::string::npos; });
            break;
        default:
            is_there = daemon_.wait_until_serving() && (!plan_.opened || open_switch());
    }
    const bool is_busy = plan_.moment == Moment::kCommand ? is_there && send_command()
                         : plan_.moment == Moment::kDump  ? is_there && send_dump()
                         : plan_.moment == Moment::kFlood ? is_there && send_flood()
                                                          : is_there;
    if (!is_busy) {
        outcome.failures.push_back("daemon " + name_ + " does not get to the moment");
    }
    return is_busy;
}

// --- the end

void Subject::signal_and_wait(Outcome &outcome) {
    spin_for(plan_.delay);
    const auto signalled = Clock::now();
    daemon_.signal(plan_.signals[0]);
    if (plan_.signals.size() > 1) {
        spin_for(plan_.gap);
        daemon_.signal(plan_.signals[1]);
    }
    wait_for_end(outcome, signalled);
}

void Subject::wait_for_end(Outcome &outcome, Clock::time_point signalled) {
    end_ = daemon_.wait(kPatienceMs);
    outcome.end_ms = std::chrono::duration<double, std::milli>(Clock::now() - signalled).count();
    if (!end_) {
        outcome.failures.push_back("daemon " + name_ + " does not end");
        daemon_.signal(SIGKILL);
        end_ = daemon_.wait(-1);
    } else if (outcome.end_ms > kLongestEndMs) {
        outcome.failures.push_back("daemon " + name_ + " took " + std::to_string(outcome.end_ms) +
                                   " ms to end");
    }
}

void Subject::stop(Outcome &outcome) {
    const auto signalled = Clock::now();
    daemon_.signal(SIGTERM);
    wait_for_end(outcome, signalled);
    check_end(outcome);
}

void Subject::check_end(Outcome &outcome, bool socket_is_gone) {
    const bool is_of_plan =
        std::find(plan_.signals.begin(), plan_.signals.end(), end_->signal) != plan_.signals.end();
    check_logs(outcome);
    if (socket_is_gone && std::filesystem::exists(socket_path(place_))) {
        outcome.failures.push_back("daemon " + name_ + " left its socket");
    }
    if (!end_->exited && is_of_plan && !catches_signals(daemon_)) {
        outcome.before_signals_were_caught = true;
        if (plan_.with_plugins && hooks() != "" && hooks() != "loaded\n") {
            outcome.failures.push_back("hooks of a daemon that never started: " + hooks());
        }
        return;
    }
    if (!(*end_ == ExitStatus::exit(0))) {
        outcome.failures.push_back("daemon " + name_ + " ended with " + text_of(*end_));
        return;
    }
    check_no_errors(outcome);
    check_calls(outcome);
    take_replies(outcome);
    if (plan_.with_plugins && hooks() != "loaded\naclrmd_init\naclrmd_deinit\n") {
        outcome.failures.push_back("the connector of daemon " + name_ + " saw: " + hooks());
    }
}

void Subject::check_refused(Outcome &outcome) {
    const bool is_of_plan =
        std::find(plan_.signals.begin(), plan_.signals.end(), end_->signal) != plan_.signals.end();
    check_logs(outcome);
    if (!end_->exited && is_of_plan && !catches_signals(daemon_)) {
        outcome.before_signals_were_caught = true;
        return;
    }
    if (!end_->exited || end_->code < 1 || end_->code > 8) {
        outcome.failures.push_back("a daemon without a place ended with " + text_of(*end_));
    } else if (plan_.with_plugins && hooks() != "loaded\naclrmd_deinit\n") {
        outcome.failures.push_back("the connector of a daemon without a place saw: " + hooks());
    }
}

void Subject::check_logs(Outcome &outcome) {
    const std::string err = daemon_.err();
    if (err.find("Sanitizer") != std::string::npos ||
        err.find("runtime error:") != std::string::npos) {
        outcome.failures.push_back("a sanitizer's report of daemon " + name_ + ":\n" + err);
    }
    // A line that was cut is a write to a log that was closed under it.
    const std::string log = plan_.with_plugins ? read_file(log_path_) : err;
    if (!log.empty() && log.back() != '\n' && end_->exited) {
        outcome.failures.push_back("the last line of the log is cut: " +
                                   log.substr(log.rfind('\n') + 1));
    }
}

// Errors are logged of refused requests alone.
void Subject::check_no_errors(Outcome &outcome) {
    const std::string log = plan_.with_plugins ? read_file(log_path_) : daemon_.err();
    const bool is_quiet = plan_.moment == Moment::kStart || plan_.moment == Moment::kIdle ||
                          plan_.moment == Moment::kDump || plan_.moment == Moment::kPluginStart;
    for (const LogLine &line : parse_log(log)) {
        if (is_quiet && line.level == "ERROR") {
            outcome.failures.push_back("an error line of daemon " + name_ + ": " + line.text);
        }
    }
}

// From the end of serving on nothing of a command may be called, and each step of the tear-down is
// there once.
void Subject::check_calls(Outcome &outcome) {
    const std::vector<std::string> names = daemon_.calls();
    const auto end_of_serving =
        std::find(names.begin(), names.end(), "zv_rpc_api_rpc_command_db_deinit");
    if (end_of_serving == names.end()) {
        outcome.failures.push_back("the end of serving is not on record");
        return;
    }
    const bool was_open = std::find(names.begin(), end_of_serving, "zv_api_open") != end_of_serving;
    std::vector<std::string> rest(end_of_serving + 1, names.end());
    std::erase(rest, "cl_free");  // one for each ACL there was
    std::vector<std::string> wanted;
    if (was_open) {
        wanted.push_back("zv_api_close");
    }
    wanted.push_back("zv_net_deinit");
    if (rest != wanted) {
        outcome.failures.push_back("the tear-down called: " + joined(rest) +
                                   "; it should have: " + joined(wanted));
    }
}

// What was answered was answered in order, and each reply is whole.
void Subject::take_replies(Outcome &outcome) {
    for (RpcConnection &connection : connections_) {
        uint32_t expected = 1;
        bool is_shutting_down = false;
        // The daemon is gone: the first wait that finds nothing is the end.
        while (const auto reply = connection.receive(0)) {
            ++outcome.replies;
            outcome.refusals += reply->transport == kShuttingDown;
            if (reply->sequence != expected++ ||
                (reply->transport != kDelivered && reply->transport != kShuttingDown) ||
                (is_shutting_down && reply->transport == kDelivered)) {
                outcome.failures.push_back("reply " + std::to_string(expected - 1) +
                                           " has sequence " + std::to_string(reply->sequence) +
                                           " and transport " + std::to_string(reply->transport));
            }
            is_shutting_down = reply->transport == kShuttingDown;
        }
    }
}

// --- rounds

Outcome stop_round(const Launch &launch, const Plan &plan) {
    Outcome outcome;
    const TempDir place;
    Subject subject(place, launch, plan, "a");
    if (subject.bring_to_moment(outcome)) {
        subject.signal_and_wait(outcome);
        subject.check_end(outcome);
    }
    return outcome;
}

Outcome kill_round(const Launch &launch, const Plan &plan) {
    Outcome outcome;
    const TempDir place;
    Plan killing = plan;
    killing.signals = {SIGKILL};
    Subject killed(place, launch, killing, "a");
    if (!killed.bring_to_moment(outcome)) {
        return outcome;
    }
    killed.signal_and_wait(outcome);
    Plan plain = plan;
    plain.moment = Moment::kIdle;
    Subject next(place, launch, plain, "b");
    if (!next.daemon().wait_until_serving() || !next.works()) {
        outcome.failures.push_back("the next daemon does not serve:\n" + next.daemon().err());
    } else {
        next.stop(outcome);
    }
    return outcome;
}

}  // namespace zv_fire
