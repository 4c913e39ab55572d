#include "tests/fire/story/daemon_run.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "tests/support/temp_dir.h"

namespace zv_fire {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

// Bounds a wait that only a broken daemon makes long.
constexpr auto kPatience = std::chrono::seconds(30);
constexpr uint32_t kNoCommand = 0;
constexpr uint32_t kDumpCommand = 17;

std::map<std::string, std::string> environment_of(const Place &place, const json &config,
                                                  const json &faults) {
    std::map<std::string, std::string> variables = {{"ZV_PLATFORM_ROOT", place.file("")},
                                                    {"ZV_SIM_TRACE", place.file("trace")},
                                                    {"ZV_SIM_CONTROL", "1"}};
    if (!config.is_null()) {
        variables["ZV_SIM_CONFIG"] = place.file("config.json");
    }
    if (!faults.is_null() && !faults.empty()) {
        variables["ZV_SIM_FAULTS"] = faults.dump();
    }
    return variables;
}

}  // namespace

Place::Place() {
    // Memory where there is such a file system: nothing here outlives a run.
    std::string pattern =
        std::filesystem::exists("/dev/shm") ? "/dev/shm/zv_fire.XXXXXX" : "/tmp/zv_fire.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory like " + pattern);
    }
    path_ = pattern;
}

Place::~Place() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Tail::~Tail() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

std::string Tail::read_on(const std::string &path) {
    if (fd_ < 0) {
        fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    std::string text;
    char part[32768];
    ssize_t length;
    while (fd_ >= 0 && (length = read(fd_, part, sizeof(part))) > 0) {
        text.append(part, static_cast<size_t>(length));
    }
    return text;
}

DaemonRun::DaemonRun(Place &place, const std::string &program, const json &config,
                     const json &faults)
    : place_(place), control_(place.file("var/run/zv_switch.sock")) {
    for (const char *name : {"trace", "stderr", "stdout", "config.json", "dump", "dumped"}) {
        unlink(place.file(name).c_str());
    }
    if (!config.is_null()) {
        zv_test::write_file(place.file("config.json"), config.dump());
    }
    process_ = std::make_unique<zv_test::ChildProcess>(std::vector<std::string>{program},
                                                       environment_of(place, config, faults),
                                                       place.file("stdout"), place.file("stderr"));
}

bool DaemonRun::wait_until_serving() {
    const auto deadline = Clock::now() + kPatience;
    while (Clock::now() < deadline) {
        auto found = zv_test::RpcConnection::open(place_.file("var/run/zv_acl_rm.sock"));
        if (found) {
            if (!found->call(kNoCommand, {})) {
                return false;
            }
            connections_.insert_or_assign(kDumper, std::move(*found));
            return true;
        }
        // The wait between two attempts is a wait for the process, so that its end is seen at once.
        if (process_->wait(1)) {
            return false;
        }
    }
    return false;
}

zv_test::RpcConnection *DaemonRun::connection(unsigned number) {
    const auto found = connections_.find(number);
    if (found != connections_.end()) {
        return &found->second;
    }
    auto fresh = zv_test::RpcConnection::open(place_.file("var/run/zv_acl_rm.sock"));
    if (!fresh) {
        return nullptr;
    }
    return &connections_.emplace(number, std::move(*fresh)).first->second;
}

std::optional<zv_test::RpcReply> DaemonRun::call(const Step &step) {
    zv_test::RpcConnection *client = connection(step.connection);
    if (client == nullptr) {
        return std::nullopt;
    }
    std::optional<std::string> attachment = step.path;
    if (attachment == "@") {
        attachment = place_.file("dumped");
    }
    return client->call(step.command, body_of(step), attachment);
}

std::optional<std::string> DaemonRun::dump() {
    zv_test::RpcConnection *client = connection(kDumper);
    const std::string path = place_.file("dump");
    const auto reply =
        client != nullptr ? client->call(kDumpCommand, Bytes(16), path) : std::nullopt;
    if (!reply || reply->transport != zv_test::kDelivered || reply->status != 0) {
        return std::nullopt;
    }
    return Tail().read_on(path);
}

std::vector<json> DaemonRun::new_calls() {
    const std::string text = trace_.read_on(place_.file("trace"));
    std::vector<json> calls;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        calls.push_back(json::parse(std::string_view(text).substr(begin, end - begin)));
        begin = end + 1;
    }
    return calls;
}

std::string DaemonRun::output() const {
    return zv_test::read_file(place_.file("stdout"));
}

}  // namespace zv_fire
