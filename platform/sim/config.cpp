#include "platform/sim/config.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <unordered_set>
#include <utility>

#include "platform/sim/fields.h"
#include "platform/sim/json.h"
#include "platform/sim/report.h"

namespace zv_sim {
namespace {

// A port record has 24 bytes for the name and its NUL.
constexpr size_t kMaxNameLen = 23;

constexpr uint32_t kFirstPort = 65537;
constexpr uint32_t kFrontPortNum = 32;
constexpr uint32_t kCpuPort = 65600;

std::vector<Port> default_ports() {
    std::vector<Port> list;
    for (uint32_t i = 0; i < kFrontPortNum; i++) {
        list.push_back({kFirstPort + i, 0, std::string("p").append(std::to_string(i + 1))});
    }
    list.push_back({kCpuPort, 1, "cpu"});
    return list;
}

Config default_config() {
    Config defaults;
    defaults.ports = default_ports();
    return defaults;
}

// The complaint, or an empty text.
std::string read_file(const char *path, Config *read) {
    std::ifstream file(path);
    if (!file) {
        return "cannot be read";
    }
    Json object;
    try {
        object = Json::parse(file, nullptr, false);
    } catch (const std::ios_base::failure &) {
        // A directory, for one, can be opened and not read.
        return "cannot be read";
    }
    return object.is_discarded() ? "not valid JSON" : config_parse(object, read);
}

Config load() {
    Config loaded = default_config();
    const char *path = std::getenv("ZV_SIM_CONFIG");
    if (path == nullptr || *path == '\0') {
        return loaded;
    }
    const std::string error = read_file(path, &loaded);
    if (!error.empty()) {
        report(std::string("ZV_SIM_CONFIG: ") + path + ": " + error + "; the defaults are used");
    }
    return loaded;
}

struct CurrentPorts {
    std::mutex mutex;
    std::vector<Port> list = config().ports;
};

CurrentPorts &current_ports() {
    static CurrentPorts &current = *new CurrentPorts;
    return current;
}

std::string parse_port(const Json &item, const std::string &path, Port *port) {
    Fields fields(item, path);
    port->log_port = fields.u32("log_port");
    port->kind = fields.u32("kind", 0);
    port->name = fields.text("name", "");
    if (port->name.size() > kMaxNameLen || port->name.find('\0') != std::string::npos) {
        fields.complain("name",
                        "must be at most " + std::to_string(kMaxNameLen) + " bytes without a NUL");
    }
    return fields.finish();
}

}  // namespace

const Config &config() {
    static const Config &loaded = *new Config(load());
    return loaded;
}

std::string config_parse(const Json &object, Config *read) {
    Config parsed = default_config();
    Fields fields(object, "");
    const std::pair<const char *, uint32_t Config::*> capacities[] = {
        {"tcam_entries", &Config::tcam_entries},
        {"regions", &Config::regions},
        {"acls", &Config::acls},
        {"groups", &Config::groups},
        {"bindings", &Config::bindings},
        {"pbs_entries", &Config::pbs_entries},
        {"counters", &Config::counters},
    };
    for (const auto &[name, member] : capacities) {
        parsed.*member = fields.u32(name, parsed.*member);
    }
    parsed.acl_destroy_in_use = fields.flag("acl_destroy_in_use", false);
    if (fields.has("ports")) {
        std::string error = ports_parse(fields.list("ports"), "ports", &parsed.ports);
        if (fields.ok() && !error.empty()) {
            return error;
        }
    }
    std::string error = fields.finish();
    if (error.empty()) {
        *read = std::move(parsed);
    }
    return error;
}

std::vector<Port> ports() {
    CurrentPorts &current = current_ports();
    const std::lock_guard lock(current.mutex);
    return current.list;
}

void ports_replace(std::vector<Port> replacement) {
    CurrentPorts &current = current_ports();
    const std::lock_guard lock(current.mutex);
    current.list = std::move(replacement);
}

std::string ports_parse(const Json &list, const std::string &path, std::vector<Port> *read) {
    if (!list.is_array()) {
        return path + ": must be a list";
    }
    std::vector<Port> parsed;
    std::unordered_set<uint32_t> numbers;
    for (size_t i = 0; i < list.size(); i++) {
        const std::string item_path = path + "[" + std::to_string(i) + "]";
        Port port{};
        std::string error = parse_port(list[i], item_path, &port);
        if (!error.empty()) {
            return error;
        }
        if (!numbers.insert(port.log_port).second) {
            return item_path + ".log_port: stands in the list twice";
        }
        parsed.push_back(std::move(port));
    }
    *read = std::move(parsed);
    return "";
}

OrderedJson ports_json(const std::vector<Port> &list) {
    OrderedJson written = OrderedJson::array();
    for (const Port &port : list) {
        written.push_back(zv_sim::object_of(
            {{"log_port", port.log_port}, {"kind", port.kind}, {"name", port.name}}));
    }
    return written;
}

}  // namespace zv_sim
