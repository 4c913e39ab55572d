#include "tests/fire/support/free_daemon.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "tests/support/rpc_connection.h"

namespace zv_fire {

using namespace zv_test;

namespace {

// No handler sees it: the serving loop itself answers.
constexpr uint32_t kNoCommand = 0;
constexpr auto kPatience = std::chrono::seconds(60);

std::vector<std::string> command_of(const Launch &launch) {
    std::vector<std::string> command = {launch.program};
    command.insert(command.end(), launch.arguments.begin(), launch.arguments.end());
    return command;
}

}  // namespace

std::string socket_path(const TempDir &place) {
    return place.file("var/run/zv_acl_rm.sock");
}

FreeDaemon::FreeDaemon(const TempDir &place, const Launch &launch, const std::string &name)
    : place_(place),
      prefix_(place.file(name + ".")),
      process_(command_of(launch), environment(place, launch, file("trace")), file("out"),
               file("err")) {}

std::map<std::string, std::string> FreeDaemon::environment(const TempDir &place,
                                                           const Launch &launch,
                                                           const std::string &trace) {
    std::map<std::string, std::string> variables = launch.environment;
    variables["ZV_PLATFORM_ROOT"] = place.path().string();
    variables["ZV_SIM_TRACE"] = trace;
    if (!launch.library_path.empty()) {
        variables["LD_LIBRARY_PATH"] = launch.library_path;
    }
    return variables;
}

bool somebody_serves(const TempDir &place) {
    std::optional<RpcConnection> connection = RpcConnection::open(socket_path(place));
    return connection && connection->call(kNoCommand, {}).has_value();
}

bool FreeDaemon::wait_until_serving() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!somebody_serves(place_)) {
        if (wait(1) || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> FreeDaemon::calls() const {
    static const std::string kField = "\"call\":\"";
    const std::string text = read_file(file("trace"));
    std::vector<std::string> names;
    // Picked out and not parsed: a flood leaves thousands of lines, of which only the names count.
    for (size_t line = 0; line < text.size(); line = text.find('\n', line) + 1) {
        const size_t start = text.find(kField, line);
        if (start == std::string::npos) {
            break;
        }
        const size_t name = start + kField.size();
        names.push_back(text.substr(name, text.find('"', name) - name));
        if (text.find('\n', line) == std::string::npos) {
            break;
        }
    }
    return names;
}

bool FreeDaemon::has_called(const std::string &name) const {
    const std::vector<std::string> names = calls();
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool FreeDaemon::has_called_any() const {
    std::error_code missing;
    const auto size = std::filesystem::file_size(file("trace"), missing);
    return !missing && size > 0;
}

}  // namespace zv_fire
