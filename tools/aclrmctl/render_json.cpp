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

    void operator()(const BindPortAnswer &answer) const override {
        print({{"ok", true}, {"acl_id", answer.acl_id}, {"ports", answer.ports}});
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
