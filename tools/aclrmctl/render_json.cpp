#include <nlohmann/json.hpp>
#include <ostream>

#include "render.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace aclrmctl {

namespace {

/* Members in the order written here: they are also read by people. */
using nlohmann::ordered_json;

ordered_json check_object(const RuleCheckAnswer &answer) {
    return {{"file", answer.file},
            {"lines", answer.lines_num},
            {"rules", answer.rules_num},
            {"expanded", answer.expanded_num},
            {"permit", answer.verdicts_num[0]},
            {"drop", answer.verdicts_num[1]},
            {"trap", answer.verdicts_num[2]},
            {"no_verdict", answer.no_verdict_num},
            {"masked", answer.masked_num},
            {"first_masked_line", answer.first_masked_line}};
}

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

class JsonRenderer final : public Renderer {
  public:
    explicit JsonRenderer(std::ostream &out) : out_(out) {}

    void operator()(const Failure &answer) const override {
        ordered_json object{{"ok", false}, {"exit", answer.exit_code}, {"error", answer.what}};
        if (answer.status) {
            object["status"] = *answer.status;
            object["status_name"] = zv_acl_rm_status_name(*answer.status);
            object["status_meaning"] = zv_acl_rm_status_meaning(*answer.status);
        }
        object["details"] = answer.details;
        object["hint"] = answer.hint;
        print(object);
    }

    void operator()(const OpenAnswer &answer) const override {
        print({{"ok", true}, {"owner", owner_name(answer.owner)}, {"handle", answer.handle}});
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
               {"direction", answer.asked.direction}});
    }

    void operator()(const AclDestroyAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.asked.acl_id},
               {"acl_type", answer.asked.acl_type},
               {"direction", answer.asked.direction}});
    }

    void operator()(const AclEditAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.acl_id},
               {"former_acl_id", answer.asked.acl_id},
               {"direction", answer.asked.direction}});
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
        print(object);
    }

    void operator()(const RuleDeleteAnswer &answer) const override {
        print({{"ok", true},
               {"acl_id", answer.asked.acl_id},
               {"offsets", answer.asked.offsets},
               {"commands", answer.commands_num}});
    }

    void operator()(const RuleGetAnswer &answer) const override {
        ordered_json rules = ordered_json::array();
        for (const RuleView &rule : answer.rules) {
            rules.push_back(rule_object(rule));
        }
        print({{"ok", true}, {"acl_id", answer.asked.acl_id}, {"rules", rules}});
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
               {"type", counter_type_name(answer.type)}});
    }

    void operator()(const CounterDestroyAnswer &answer) const override {
        print({{"ok", true}, {"counter_id", answer.counter_id}});
    }

    void operator()(const CounterReadAnswer &answer) const override {
        const char *type = counter_type_name(answer.type);
        print({{"ok", true},
               {"counter_id", answer.counter_id},
               {"type", type},
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
        print({{"ok", true}, {"mc_group_id", answer.group_id}, {"ports", answer.ports}});
    }

    void operator()(const DumpAnswer &answer) const override {
        ordered_json object{{"ok", true}, {"bytes", answer.bytes}};
        if (answer.text) {
            object["text"] = *answer.text;
        } else {
            object["file"] = answer.file;
        }
        print(object);
    }

    void operator()(const PacketAnswer &answer) const override {
        ordered_json object = *answer.json;
        object["rule"] = answer.rule;
        print(object);
    }

    void operator()(const StateAnswer &answer) const override { print(*answer.json); }
    void operator()(const UsageAnswer &answer) const override { print(*answer.json); }
    void operator()(const FaultsAnswer &answer) const override { print(*answer.json); }

  private:
    /* Text of other programs (a path, a port's name) may hold bytes that are no UTF-8. */
    void print(const ordered_json &object) const {
        out_ << object.dump(-1, ' ', false, ordered_json::error_handler_t::replace) << "\n";
    }

    std::ostream &out_;
};

}  // namespace

void render_json(const Answer &answer, std::ostream &out) {
    const JsonRenderer json(out);
    const Renderer &renderer = json;
    std::visit(renderer, answer);
}

}  // namespace aclrmctl
