// The C interface of the server: environment, faults and trace; the work is Server's.
#include "zv_rpc.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/rpc/rpc_log.h"
#include "platform/rpc/server.h"
#include "platform/rpc/socket_path.h"
#include "platform/sim/call.h"
#include "platform/sim/json.h"

namespace {

using ordered_json = zv_sim::OrderedJson;
using zv_rpc_lib::kWarning;
using zv_rpc_lib::log_line;
using zv_rpc_lib::Server;
using zv_rpc_lib::ServerOptions;
using zv_rpc_lib::Status;

constexpr unsigned long kLargestMode = 0777;
constexpr unsigned long kLargestBusyPollUs = 1000000;

// A number from the environment; the default where there is none or no such number.
unsigned long number_from_environment(const char *name, int base, unsigned long largest,
                                      unsigned long default_value) {
    const char *text = getenv(name);
    if (text == nullptr || *text == '\0') {
        return default_value;
    }
    char *end = nullptr;
    errno = 0;
    unsigned long value = strtoul(text, &end, base);
    // strtoul takes a sign and leading blanks, which no number here has.
    if (errno != 0 || *end != '\0' || *text < '0' || *text > '9' || value > largest) {
        log_line(kWarning, "%s=%s is no number up to %lu and is not used.\n", name, text, largest);
        return default_value;
    }
    return value;
}

ServerOptions options_from_environment() {
    ServerOptions options;
    options.socket_mode = static_cast<mode_t>(
        number_from_environment("ZV_RPC_SOCKET_MODE", 8, kLargestMode, options.socket_mode));
    options.busy_poll_us = static_cast<uint32_t>(number_from_environment(
        "ZV_RPC_BUSY_POLL_US", 10, kLargestBusyPollUs, options.busy_poll_us));
    return options;
}

Status open_server(const char *socket_path, uint32_t max_message) {
    char path[PATH_MAX];
    if (socket_path == nullptr || *socket_path != '/' ||
        !zv_rpc_lib::rooted_path(socket_path, path, sizeof(path))) {
        return zv_rpc_lib::kBadParameter;
    }
    return Server::instance().open(path, max_message, options_from_environment());
}

}  // namespace

void zv_rpc_register_log_function(zv_log_cb_t sink) {
    zv_sim::Call call("zv_rpc_register_log_function");
    zv_rpc_lib::set_log_sink(sink);
    call.finish();
}

uint32_t zv_rpc_core_td_init(const char *socket_path, uint32_t max_message) {
    zv_sim::Call call("zv_rpc_core_td_init");
    call.args([&](ordered_json &args) {
        args["socket_path"] = socket_path == nullptr ? ordered_json() : ordered_json(socket_path);
        args["max_message"] = max_message;
    });
    if (call.fails_early()) {
        return call.finish(zv_rpc_lib::kSuccess);
    }
    return call.finish(open_server(socket_path, max_message));
}

uint32_t zv_rpc_api_rpc_command_db_init(const zv_rpc_command_t *table, uint32_t count) {
    zv_sim::Call call("zv_rpc_api_rpc_command_db_init");
    call.args([&](ordered_json &args) { args["count"] = count; });
    if (call.fails_early()) {
        return call.finish(zv_rpc_lib::kSuccess);
    }
    return call.finish(Server::instance().set_table(table, count));
}

uint32_t zv_rpc_api_rpc_command_db_deinit() {
    zv_sim::Call call("zv_rpc_api_rpc_command_db_deinit");
    if (call.fails_early()) {
        return call.finish(zv_rpc_lib::kSuccess);
    }
    return call.finish(Server::instance().close());
}

uint32_t zv_rpc_core_td_start_loop() {
    zv_sim::Call call("zv_rpc_core_td_start_loop");
    if (call.fails_early()) {
        return call.finish(zv_rpc_lib::kSuccess);
    }
    return call.finish(Server::instance().run());
}

void zv_rpc_change_main_exit_signal_state(uint32_t state) {
    zv_sim::Call call("zv_rpc_change_main_exit_signal_state");
    call.args([&](ordered_json &args) { args["state"] = state; });
    Server::instance().set_stop(state != 0);
    call.finish();
}
