#include "platform/switch/control_commands.h"

#include <array>
#include <string_view>

#include "platform/log/trace_ring.h"
#include "platform/sim/config.h"
#include "platform/sim/faults.h"
#include "platform/sim/fields.h"
#include "platform/sim/json.h"
#include "platform/switch/control_state.h"
#include "platform/switch/packet.h"
#include "platform/switch/render.h"

namespace zv_switch {
namespace {

constexpr uint32_t kMaxTraceLines = 65536;
constexpr uint32_t kTraceBytes = 4 * 1024 * 1024;  // more than the ring holds
constexpr uint32_t kMaxRif = 65535;

using zv_sim::Fields;
using zv_sim::Json;

// A command reads its fields, ends the reading with fields.finish() before it changes anything, and
// adds to the answer's members. The complaint is returned, empty when all went well.
using Command = std::string (*)(Fields &fields, OrderedJson &answer);

void add_usage(OrderedJson &usage, const char *name, uint64_t used, uint32_t capacity) {
    usage[name] = zv_sim::object_of({{"used", used}, {"capacity", capacity}});
}

std::string usage(Fields &fields, OrderedJson &answer) {
    const std::string &error = fields.finish();
    if (!error.empty()) {
        return error;
    }
    Switch &sw = the_switch();
    const std::lock_guard lock(sw.mutex);
    OrderedJson &shown = answer["usage"] = OrderedJson::object();
    add_usage(shown, "tcam_entries", sw.entry_num, sw.config.tcam_entries);
    add_usage(shown, "regions", sw.regions.size(), sw.config.regions);
    add_usage(shown, "acls", sw.acls.size(), sw.config.acls);
    add_usage(shown, "groups", sw.groups.size(), sw.config.groups);
    add_usage(shown, "bindings", sw.bindings.size(), sw.config.bindings);
    add_usage(shown, "pbs_entries", sw.pbs.size(), sw.config.pbs_entries);
    add_usage(shown, "counters", sw.counters.size(), sw.config.counters);
    return "";
}

std::string faults(Fields &fields, OrderedJson &answer) {
    const Json &set = fields.list("set");
    std::string error = fields.finish();
    std::vector<zv_sim::Fault> parsed;
    if (error.empty()) {
        error = zv_sim::faults_parse(set, "set", &parsed);
    }
    if (!error.empty()) {
        return error;
    }
    answer["armed"] = parsed.size();
    zv_sim::faults_arm(std::move(parsed));
    return "";
}

BindPoint read_point(Fields &fields) {
    if (!fields.has("rif_id")) {
        return {false, fields.u32("log_port")};
    }
    if (fields.has("log_port")) {
        fields.complain("rif_id", "cannot stand beside log_port");
    }
    return {true, static_cast<uint32_t>(fields.integer("rif_id", 0, kMaxRif))};
}

std::string packet(Fields &fields, OrderedJson &answer) {
    Packet sent{};
    sent.point = read_point(fields);
    sent.direction = fields.u32("direction");
    sent.key_type = fields.u32("key_type");
    const std::string key = fields.text("key");
    sent.length = fields.u32("length");
    if (fields.ok() && !unhex(key, sent.key.data(), sent.key.size())) {
        fields.complain("key", "must be the 256 hexadecimal digits of 128 bytes");
    }
    const std::string &error = fields.finish();
    if (!error.empty()) {
        return error;
    }
    Switch &sw = the_switch();
    const std::lock_guard lock(sw.mutex);
    const Verdict result = packet_send(sw, sent);
    answer["matched"] = result.matched;
    if (result.matched) {
        answer["acl_id"] = result.acl_id;
        answer["offset"] = result.offset;
        answer["verdict"] = result.verdict;
        answer["counter_id"] = result.counter_id;
        answer["ports"] = result.ports;
    }
    return "";
}

std::string ports(Fields &fields, OrderedJson &answer) {
    const Json &set = fields.list("set");
    std::string error = fields.finish();
    std::vector<zv_sim::Port> parsed;
    if (error.empty()) {
        error = zv_sim::ports_parse(set, "set", &parsed);
    }
    if (!error.empty()) {
        return error;
    }
    answer["count"] = parsed.size();
    zv_sim::ports_replace(std::move(parsed));
    return "";
}

std::string corrupt(Fields &fields, OrderedJson & /*answer*/) {
    const uint32_t region_id = fields.u32("region_id");
    const uint32_t offset = fields.u32("offset");
    const std::string &error = fields.finish();
    if (!error.empty()) {
        return error;
    }
    Switch &sw = the_switch();
    const std::lock_guard lock(sw.mutex);
    Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return "region_id: there is no such region";
    }
    if (!region->rules.contains(offset)) {
        return "offset: there is no rule";
    }
    region->rules.erase(offset);
    return "";
}

// Where the last line_num lines of a text start. The ring counts a line that holds newlines as one,
// while the answer has an element for each of its parts.
size_t newest_lines(const std::string &text, uint32_t line_num) {
    uint32_t seen_num = 0;
    for (size_t end = text.size(); end > 0; end--) {
        if (text[end - 1] == '\n' && ++seen_num == line_num) {
            return end;
        }
    }
    return 0;
}

std::string trace(Fields &fields, OrderedJson &answer) {
    const auto line_num = static_cast<uint32_t>(fields.integer("lines", 1, kMaxTraceLines));
    const std::string &error = fields.finish();
    if (!error.empty()) {
        return error;
    }
    std::string text(kTraceBytes, '\0');
    text.resize(zv_trace_cbuff_read(text.data(), kTraceBytes, line_num));
    OrderedJson &lines = answer["lines"] = OrderedJson::array();
    if (text.empty()) {
        return "";
    }
    for (size_t start = newest_lines(text, line_num); start <= text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return "";
}

struct NamedCommand {
    std::string_view name;
    Command run;
};

constexpr std::array<NamedCommand, 6> kCommands = {{
    {"usage", usage},
    {"faults", faults},
    {"packet", packet},
    {"ports", ports},
    {"corrupt", corrupt},
    {"trace", trace},
}};

// Lines of the trace ring may hold any bytes.
std::string to_line(const OrderedJson &answer) {
    return answer.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

std::string state_answer(Fields &fields) {
    const std::string &error = fields.finish();
    return error.empty() ? "{\"ok\":true," + state_members() + "}\n" : control_refusal(error);
}

}  // namespace

std::string control_refusal(const std::string &error) {
    return to_line(zv_sim::object_of({{"ok", false}, {"error", error}}));
}

std::string control_answer(const std::string &request) {
    const Json object = Json::parse(request, nullptr, false);
    if (object.is_discarded()) {
        return control_refusal("input: not valid JSON");
    }
    Fields fields(object, "");
    const std::string name = fields.text("cmd");
    if (!fields.ok()) {
        return control_refusal(fields.finish());
    }
    // Apart from the others, since its answer is too large to be built as a tree.
    if (name == "state") {
        return state_answer(fields);
    }
    for (const NamedCommand &command : kCommands) {
        if (command.name == name) {
            OrderedJson answer = zv_sim::object_of({{"ok", true}});
            const std::string error = command.run(fields, answer);
            return error.empty() ? to_line(answer) : control_refusal(error);
        }
    }
    return control_refusal("cmd: there is no such command");
}

}  // namespace zv_switch
