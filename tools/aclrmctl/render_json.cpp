#include <nlohmann/json.hpp>
#include <ostream>

#include "exit_codes.h"
#include "render.h"
#include "render_json_cache.h"
#include "render_text.h"
#include "terminal_text.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace aclrmctl {

namespace {

/* Raised when a member goes or changes its meaning; new members come without a raise. The schema
 * of this version is schema/aclrmctl-1.schema.json. */
constexpr int kJsonSchemaVersion = 1;

/* Members in the order written here: they are also read by people. */
using nlohmann::ordered_json;

ordered_json check_object(const RuleCheckAnswer &answer) {
    return {{"file", answer.file},
            {"lines", answer.lines_num},
            {"format", format_name(answer.format)},
            {"rules", answer.rules_num},
            {"expanded", answer.expanded_num},
            {"first_offset", answer.first_offset},
            {"last_offset", answer.last_offset},
            {"room", uint64_t{answer.last_offset} + 1},
            {"ip4", answer.kinds_num[0]},
            {"ip6", answer.kinds_num[1]},
            {"mac", answer.kinds_num[2]},
            {"raw", answer.kinds_num[3]},
            {"forwarding", answer.forwards_num},
            {"counters", answer.counters},
            {"permit", answer.verdicts_num[0]},
            {"drop", answer.verdicts_num[1]},
            {"trap", answer.verdicts_num[2]},
            {"other_verdicts", answer.other_verdicts_num},
            {"no_verdict", answer.no_verdict_num},
            {"masked", answer.masked_num},
            {"first_masked_line", answer.first_masked_line}};
}

}  // namespace

/* A number, as the switch has it, and beside it the word; forwarding as null where there is none.
 */
ordered_json rule_object(const RuleView &rule) {
    ordered_json object{{"offset", rule.offset},
                        {"valid", rule.valid},
                        {"key_type", rule.key_type},
                        {"key", key_to_hex(rule.key)},
                        {"mask", key_to_hex(rule.mask)},
                        {"rule", describe_key(rule.key_type, rule.key, rule.mask)},
                        {"verdict", rule.verdict},
                        {"verdict_name", verdict_text(rule.verdict)},
                        {"forward_port", nullptr},
                        {"forward_mc", nullptr},
                        {"counter_id", rule.targets.counter_id}};
    if (rule.targets.forward_port) {
        object["forward_port"] = *rule.targets.forward_port;
    }
    if (rule.targets.forward_mc) {
        object["forward_mc"] = *rule.targets.forward_mc;
    }
    if (rule.active) {
        object["active"] = *rule.active;
    }
    return object;
}

namespace {

ordered_json capture_object(const CaptureRow &row) {
    ordered_json object{{"number", row.number}, {"length", row.length}, {"sent", row.sent}};
    if (!row.sent) {
        return object;
    }
    object["key_type"] = row.packet.key_type;
    object["packet"] = describe_packet_key(row.packet);
    object["matched"] = row.matched;
    object["verdict"] = row.verdict;
    object["verdict_name"] = verdict_text(row.verdict);
    if (row.matched) {
        object["acl_id"] = row.acl_id;
        object["offset"] = row.offset;
        object["rule"] = row.rule;
    }
    return object;
}

/* Where packets come in. */
ordered_json where_object(const PacketRequest &where) {
    return {{where.router_interface ? "rif" : "port", where.ingress_point},
            {"direction", where.direction},
            {"direction_name", direction_name(where.direction)}};
}

ordered_json rows_object(const RuleGetAnswer &answer) {
    ordered_json rules = ordered_json::array();
    for (const RuleView &rule : answer.rules) {
        rules.push_back(rule_object(rule));
    }
    ordered_json object{{"acl_id", answer.asked.acl_id}, {"rules", rules}};
    if (answer.asked.format != RuleFormat::kAuto) {
        object["format"] = format_name(answer.asked.format);
        object["text"] = rule_file_text(answer);
    }
    return object;
}

ordered_json rows_object(const PcapAnswer &answer) {
    ordered_json packets = ordered_json::array();
    for (const CaptureRow &row : answer.rows) {
        packets.push_back(capture_object(row));
    }
    ordered_json object{{"file", answer.asked.file}};
    object.update(where_object(answer.asked.where));
    object["packets"] = packets;
    object["more_in_file"] = answer.more;
    return object;
}

/* Every rule of the file is in one of the runs. */
ordered_json load_object(const LoadOutcome &load) {
    ordered_json runs = ordered_json::array();
    for (const RuleRun &run : load.runs) {
        runs.push_back({{"state", state_name(run.state)},
                        {"rules", run.rules_num},
                        {"first_priority", run.first_priority},
                        {"last_priority", run.last_priority},
                        {"first_line", run.first_line},
                        {"last_line", run.last_line}});
    }
    return {{"cause", load.cause},
            {"undo", load.undo},
            {"rules", load.total},
            {"in_switch", count_rules(load, is_in_switch)},
            {"unknown", count_rules(load, is_unknown)},
            {"runs", runs}};
}

class JsonRenderer final : public Renderer {
  public:
    JsonRenderer(const std::string &command, std::ostream &out) : command_(command), out_(out) {}

    void operator()(const Failure &answer) const override {
        ordered_json object{{"ok", false}, {"error", answer.what}};
        if (answer.status) {
            object["status"] = *answer.status;
            object["status_name"] = zv_acl_rm_status_name(*answer.status);
            object["status_meaning"] = zv_acl_rm_status_meaning(*answer.status);
            object["why"] = answer.why;
            object["why_certain"] = answer.why_certain;
        }
        object["details"] = answer.details;
        object["hint"] = answer.hint;
        if (answer.partial) {
            object["partial"] = {{"cause", answer.partial->cause},
                                 {"what", answer.partial->done_word},
                                 {"done", answer.partial->done},
                                 {"uncertain", answer.partial->uncertain},
                                 {"not_sent", answer.partial->not_sent}};
            if (answer.partial->mc_group_id) {
                object["partial"]["mc_group_id"] = *answer.partial->mc_group_id;
            }
        }
        if (answer.finished) {
            object.update(std::visit([](const auto &rows) { return rows_object(rows); },
                                     answer.finished->rows));
        }
        if (answer.input) {
            object["input"] = {{"file", answer.input->file},
                               {"line", answer.input->error.line},
                               {"column", answer.input->error.column},
                               {"path", answer.input->error.path},
                               {"message", answer.input->error.message},
                               {"text", answer.input->error.text}};
        }
        if (answer.load) {
            object["load"] = load_object(*answer.load);
        }
        if (answer.wrong_word) {
            object["argument"] = {{"index", answer.wrong_word->index},
                                  {"word", answer.wrong_word->word}};
        }
        print(object, answer.exit_code);
    }

    void operator()(const OpenAnswer &answer) const override {
        print({{"ok", true},
               {"owner", owner_name(answer.owner)},
               {"owner_number", answer.owner},
               {"owner_name", owner_name(answer.owner)},
               {"handle", answer.handle}});
    }

    void operator()(const InitAnswer &answer) const override {
        print({{"ok", true}, {"chip", answer.chip}});
    }

    void operator()(const AclCreateAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.acl_id},
               {"region_id", answer.region_id},
               {"size", answer.asked.size},
               {"key_type", answer.asked.key_type},
               {"action_type", answer.asked.action_type},
               {"acl_type", answer.asked.acl_type},
               {"direction", answer.asked.direction},
               {"direction_name", direction_name(answer.asked.direction)}});
    }

    void operator()(const AclDestroyAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.asked.acl_id},
               {"acl_type", answer.asked.acl_type},
               {"direction", answer.asked.direction},
               {"direction_name", direction_name(answer.asked.direction)}});
    }

    void operator()(const AclEditAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.acl_id},
               {"former_acl_id", answer.asked.acl_id},
               {"direction", answer.asked.direction},
               {"direction_name", direction_name(answer.asked.direction)}});
    }

    void operator()(const AclResizeAnswer &answer) const override {
        print({{"ok", true}, {"acl_id", answer.asked.acl_id}, {"size", answer.asked.size}});
    }

    void operator()(const RuleCheckAnswer &answer) const override {
        ordered_json object{{"ok", true}};
        object.update(check_object(answer));
        print(object);
    }

    void operator()(const RuleLoadAnswer &answer) const override {
        ordered_json object{{"ok", true}};
        object.update(check_object(answer.checked));
        object["acl_id"] = answer.acl_id;
        object["first_priority"] = answer.first_priority;
        object["commands"] = answer.commands_num;
        object["seconds"] = answer.seconds;
        object["rules_per_second"] = answer.checked.expanded_num / answer.seconds;
        print(object);
    }

    void operator()(const RuleAddAnswer &answer) const override {
        ordered_json object{{"ok", true}, {"acl_id", answer.acl_id}};
        object.update(rule_object(answer.rule));
        object["masked"] = answer.masked;
        print(object);
    }

    void operator()(const RuleDeleteAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.asked.acl_id},
               {"offsets", answer.asked.offsets},
               {"commands", answer.commands_num}});
    }

    void operator()(const RuleGetAnswer &answer) const override {
        ordered_json object{{"ok", true}};
        object.update(rows_object(answer));
        print(object);
    }

    void operator()(const RuleMoveAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.asked.acl_id},
               {"from", answer.asked.from},
               {"count", answer.asked.count},
               {"to", answer.asked.to}});
    }

    void operator()(const BindAnswer &answer) const override {
        const BindRequest &asked = answer.asked;
        ordered_json object{{"ok", true}, {"acl_id", asked.acl_id}, {"bound", asked.bind}};
        if (asked.point == BindPoint::kSystem) {
            object["system"] = true;
        } else {
            object[asked.point == BindPoint::kPort ? "ports" : "rifs"] = asked.numbers;
        }
        print(object);
    }

    void operator()(const PortSetAnswer &answer) const override {
        print({{"ok", true}, {"added", answer.asked.add}, {"ports", answer.asked.ports}});
    }

    void operator()(const CounterCreateAnswer &answer) const override {
        print({{"ok", true},
               {"counter_id", answer.counter_id},
               {"type", counter_type_name(answer.type)},
               {"type_number", static_cast<uint32_t>(answer.type)}});
    }

    void operator()(const CounterDestroyAnswer &answer) const override {
        print({{"ok", true}, {"counter_id", answer.counter_id}});
    }

    void operator()(const CounterReadAnswer &answer) const override {
        const char *type = counter_type_name(answer.type);
        print({{"ok", true},
               {"counter_id", answer.counter_id},
               {"type", type},
               {"type_number", static_cast<uint32_t>(answer.type)},
               {type, answer.value}});
    }

    void operator()(const CounterClearAnswer &answer) const override {
        print({{"ok", true}, {"counter_id", answer.counter_id}});
    }

    void operator()(const McCreateAnswer &answer) const override {
        print({{"ok", true}, {"mc_group_id", answer.group_id}, {"ports", answer.ports}});
    }

    void operator()(const McPortsAnswer &answer) const override {
        print({{"ok", true},
               {"mc_group_id", answer.asked.group_id},
               {"added", answer.asked.add},
               {"ports", answer.asked.ports}});
    }

    void operator()(const McDeleteAnswer &answer) const override {
        print({{"ok", true}, {"mc_group_id", answer.group_id}});
    }

    void operator()(const McGetAnswer &answer) const override {
        print({{"ok", true},
               {"mc_group_id", answer.group_id},
               {"ports", answer.ports},
               {"may_have_more", may_have_more(answer)}});
    }

    void operator()(const DumpAnswer &answer) const override {
        if (!answer.text) {
            print({{"bytes", answer.bytes}, {"file", answer.file}});
            return;
        }
        const CacheText cache = read_cache_text(*answer.text);
        ordered_json object{{"bytes", answer.bytes}};
        object.update(cache_head(cache));
        for (const char *table : {"rules", "groups", "acls", "ports", "forwarding", "mc"}) {
            object[table] = cache_table(cache, table);
        }
        print(object);
    }

    void operator()(const ShowAnswer &answer) const override {
        ordered_json object = cache_head(answer.cache);
        object["whole"] = answer.whole;
        object.update(shown_tables(answer));
        object["notes"] = answer.notes;
        print(object, exit_status(answer));
    }

    void operator()(const PacketAnswer &answer) const override {
        ordered_json object = *answer.json;
        object["packet"] = describe_packet_key({answer.asked.key_type, answer.asked.key});
        object.update(where_object(answer.asked));
        object["key_type"] = answer.asked.key_type;
        object["length"] = answer.asked.length;
        object["rule"] = answer.rule;
        /* What nothing matches goes on. */
        const uint32_t verdict = object.value("verdict", static_cast<uint32_t>(Verdict::kPermit));
        object["verdict"] = verdict;
        object["verdict_name"] = verdict_text(verdict);
        print(object);
    }

    void operator()(const PcapAnswer &answer) const override { print(rows_object(answer)); }

    void operator()(const PortsAnswer &answer) const override {
        if (answer.set) {
            print(*answer.json);
            return;
        }
        print({{"ports", answer.json->at("ports")}});
    }

    void operator()(const StateAnswer &answer) const override { print(*answer.json); }
    void operator()(const UsageAnswer &answer) const override { print(*answer.json); }
    void operator()(const FaultsAnswer &answer) const override { print(*answer.json); }

    void operator()(const DemoAnswer &answer) const override {
        ordered_json steps = ordered_json::array();
        for (const DemoStep &step : answer.steps) {
            steps.push_back({{"title", step.title},
                             {"command", step.command},
                             {"output", step.output},
                             {"exit", step.exit_code}});
        }
        print({{"attached", answer.attached}, {"steps", steps}});
    }

  private:
    /* What every object begins with, then its own members. Text of other programs (a path, a port's
     * name) may hold bytes that are no UTF-8. */
    void print(const ordered_json &members, int exit_code = kExitOk) const {
        ordered_json object{{"schema_version", kJsonSchemaVersion},
                            {"command", command_},
                            {"ok", exit_code == kExitOk},
                            {"exit", exit_code}};
        object.update(members);
        out_ << escaped_controls(
                    object.dump(-1, ' ', false, ordered_json::error_handler_t::replace))
             << "\n";
    }

    const std::string &command_;
    std::ostream &out_;
};

}  // namespace

void render_json_version(const std::string &version, std::ostream &out) {
    out << ordered_json{{"schema_version", kJsonSchemaVersion},
                        {"command", "--version"},
                        {"ok", true},
                        {"exit", kExitOk},
                        {"version", version}}
        << "\n";
}

void render_json(const Answer &answer, const std::string &command, std::ostream &out) {
    const JsonRenderer json(command, out);
    const Renderer &renderer = json;
    std::visit(renderer, answer);
}

}  // namespace aclrmctl
