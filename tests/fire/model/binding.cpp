// Commands that name ports: binding, system ACLs, multicast groups.
#include <algorithm>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr uint32_t kBindCmd = 7, kUnbindCmd = 8, kAddCmd = 9, kDeleteCmd = 10;
constexpr uint32_t kRecordPorts = 100;
constexpr uint32_t kAllPorts = 2, kHeadroom = 10;

}  // namespace

void Service::bind_ports() {
    bind_or_unbind(0, 4, 416);
}

void Service::bind_rifs() {
    bind_or_unbind(1, 2, 216);
}

void Service::bind_or_unbind(uint32_t type, size_t width, size_t count_at) {
    need_connection();
    const uint32_t cmd = word(8), count = word(count_at);
    if (cmd != kBindCmd && cmd != kUnbindCmd) {
        throw Refusal{kUnsupported};
    }
    if (count == 0) {
        throw Refusal{kOutOfRange};
    }
    const uint32_t acl = owned_acl(word(12)).id;
    if (count > kRecordPorts) {
        throw Refusal{kOutOfRange};
    }
    std::vector<BindPoint> points;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t at = 16 + i * width;
        points.push_back({type, width == 4 ? word(at) : number_at<uint16_t>(record_, at)});
    }
    if (cmd == kBindCmd) {
        bind(acl, points);
    } else {
        unbind(acl, points);
    }
}

std::vector<BindPoint> Service::front_panel_ports() {
    const Call &counted = calls_.take("zv_net_ports_get_all",
                                      {{"selector", kAllPorts}, {"buffer", false}}, {"count"});
    if (counted.status != 0) {
        throw Refusal{kError};
    }
    const uint32_t room = counted.out.at("count").get<uint32_t>() + kHeadroom;
    const Call &listed = calls_.take("zv_net_ports_get_all",
                                     {{"selector", kAllPorts}, {"buffer", true}, {"count", room}});
    if (listed.status != 0) {
        throw Refusal{kError};
    }
    std::vector<BindPoint> points;
    for (const json &port : listed.out.at("ports")) {
        if (port.at("kind") == 0) {
            points.push_back({0, port.at("log_port")});
        }
    }
    return points;
}

void Service::bind_system() {
    need_connection();
    const uint32_t cmd = word(8);
    Acl &acl = owned_acl(word(12));
    if (cmd != kBindCmd && cmd != kUnbindCmd) {
        throw Refusal{kUnsupported};
    }
    if (acl.is_system == (cmd == kBindCmd)) {
        throw Refusal{kError};
    }
    if (cmd == kBindCmd) {
        bind(acl.id, front_panel_ports());
    } else {
        unbind(acl.id, std::vector<BindPoint>(acl.points));
    }
    acl.is_system = cmd == kBindCmd;
}

void Service::port_set() {
    need_connection();
    const uint32_t cmd = word(8), count = word(412);
    if (cmd != kAddCmd && cmd != kDeleteCmd) {
        throw Refusal{kUnsupported};
    }
    for (auto &[place, row] : world_.acls) {
        if (!row.value.is_system) {
            continue;
        }
        if (count > kRecordPorts) {
            throw Refusal{kOutOfRange};
        }
        std::vector<BindPoint> points;
        for (uint32_t i = 0; i < count; ++i) {
            points.push_back({0, word(12 + i * 4)});
        }
        if (cmd == kAddCmd) {
            bind(row.value.id, points);
        } else {
            unbind(row.value.id, points);
        }
    }
}

json Service::ports_in_record(size_t at, uint32_t count) const {
    json ports = json::array();
    for (uint32_t i = 0; i < count; ++i) {
        ports.push_back(word(at + i * 4));
    }
    return ports;
}

const Call &Service::mc_call(uint32_t cmd, uint32_t pbs, uint32_t count) {
    const json entry = {
        {"entry_type", 2}, {"port_count", count}, {"ports", ports_in_record(16, count)}};
    json args = {{"cmd", cmd}, {"switch_id", 0}, {"entry", entry}};
    if (cmd == 1) {
        return calls_.take("zv_api_acl_policy_based_switching_set", args, {"pbs_id"});
    }
    args["pbs_id"] = pbs;
    return calls_.take("zv_api_acl_policy_based_switching_set", args);
}

void Service::mc_set() {
    need_connection();
    const uint32_t cmd = word(8), id = word(12), count = word(416);
    // The command's number to the switch: create, add ports, remove ports, delete.
    static const std::map<uint32_t, uint32_t> in_switch = {{1, 1}, {9, 23}, {10, 24}, {3, 3}};
    const auto found = in_switch.find(cmd);
    if (found == in_switch.end()) {
        throw Refusal{kUnsupported};
    }
    uint32_t owner = 0;
    if (cmd == 1) {
        owner = owner_by_handle(4, kNotFound);
    } else {
        owned_mc_group(id);
    }
    if (cmd != 3 && count > kRecordPorts) {
        throw Refusal{kOutOfRange};
    }
    const Call &made = mc_call(found->second, id, cmd == 3 ? 0 : count);
    if (made.status != 0) {
        throw Refusal{cmd == 1 && made.status == kSwitchFull ? kNoResources : kError};
    }
    if (cmd == 1) {
        const uint32_t pbs = made.out.at("pbs_id");
        put(record_, 12, pbs);
        if (!world_.mc_groups.insert(pbs, {pbs, owner})) {
            throw Refusal{kError};
        }
    }
    if (cmd == 3) {
        world_.mc_groups.erase(id);
    }
}

void Service::mc_get() {
    need_connection();
    const uint32_t id = word(8), room = word(412);
    owned_mc_group(id);
    if (room > kRecordPorts) {
        throw Refusal{kOutOfRange};
    }
    const json entry = {{"entry_type", 2}, {"port_count", room}, {"ports", json::array()}};
    const Call &got =
        calls_.take("zv_api_acl_policy_based_switching_get",
                    {{"cmd", 17}, {"switch_id", 0}, {"pbs_id", id}, {"entry", entry}});
    if (got.status != 0) {
        throw Refusal{kError};
    }
    const json &filled = got.out.at("entry");
    const uint32_t count = std::min(room, filled.at("port_count").get<uint32_t>());
    for (uint32_t i = 0; i < count; ++i) {
        put(record_, 12 + i * 4, filled.at("ports").at(i).get<uint32_t>());
    }
    put(record_, 412, count);
}

}  // namespace zv_model
