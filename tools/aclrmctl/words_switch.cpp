/* The words for the simulated switch. */
#include <nlohmann/json.hpp>

#include "words_parts.h"

namespace aclrmctl {

namespace {

/* A fault in words, or a list of them in JSON. */
struct FaultWords {
    std::string set;
    bool clear = false;
    std::string call;
    uint32_t status = 1;
    uint32_t nth = 1;
    int32_t times = 1;
    bool late = false;
};

std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (const char c : text) {
        result += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return result + "\"";
}

/* The members of a list are the switch's to check. */
bool is_json_list(const std::string &text) {
    return nlohmann::json::parse(text, nullptr, false).is_array();
}

void demand_list(const std::string &text, const std::string &of) {
    demand("--set", is_json_list(text) ? "" : "'" + text + "' is no JSON list of " + of);
}

std::string fault_list(const FaultWords &words) {
    return "[{\"call\":" + quoted(words.call) + ",\"nth\":" + std::to_string(words.nth) +
           ",\"status\":" + std::to_string(words.status) +
           ",\"times\":" + std::to_string(words.times) +
           ",\"late\":" + (words.late ? "true" : "false") + "}]";
}

/* As the switch takes it: the one that --call names, those of --set, or none. */
std::string list_of_faults(const FaultWords &words, const CLI::Option &call,
                           const CLI::Option &set) {
    if (call.count() > 0) {
        std::string list = fault_list(words);
        demand("--call", is_json_list(list) ? "" : "'" + words.call + "' is no name of a call");
        return list;
    }
    if (set.count() > 0) {
        demand_list(words.set, "{call, nth, status, times, late}");
        return words.set;
    }
    return "[]";
}

void add_faults(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("faults", "arm or clear faults of the switch");
    const auto faults = std::make_shared<FaultWords>();
    CLI::Option *call =
        command->add_option("--call", faults->call, "the call that is to fail; '*' is any")
            ->type_name("NAME");
    std::vector<CLI::Option *> more{
        command->add_option("--status", faults->status, "what it returns")->capture_default_str(),
        command->add_option("--nth", faults->nth, "which of the calls from now on")
            ->capture_default_str(),
        command->add_option("--times", faults->times, "how many in a row; -1: all")
            ->capture_default_str(),
        command->add_flag("--late", faults->late, "after its work is done, not before")};
    CLI::Option *set = command
                           ->add_option("--set", faults->set,
                                        "several, as a JSON list of {call, nth, status,\n"
                                        "times, late}")
                           ->type_name("JSON");
    CLI::Option *clear = command->add_flag("--clear", faults->clear, "disarm all faults");
    command->footer(
        "Each of --call, --set and --clear replaces all faults armed before.\n"
        "\nExamples:\n"
        "  aclrmctl switch faults --call zv_api_acl_rules_set --status 5 --nth 2\n"
        "  aclrmctl switch faults --set '[{\"call\":\"*\",\"status\":1,\"times\":-1}]'\n"
        "  aclrmctl switch faults --clear\n");
    command->callback([&words, faults, call, set, clear, more] {
        if (call->count() + set->count() + clear->count() == 0) {
            throw CLI::RequiredError("--call, --set or --clear");
        }
        if (call->count() + set->count() + clear->count() > 1) {
            throw CLI::ValidationError("--clear", "only one of --call, --set and --clear");
        }
        for (const CLI::Option *option : more) {
            if (option->count() > 0 && call->count() == 0) {
                throw CLI::RequiresError(option->get_name(), "--call");
            }
        }
        words.choose(FaultsRequest{list_of_faults(*faults, *call, *set)});
    });
}

void add_ports(CLI::App &group, Words &words) {
    const auto [command, request] = add_command<PortsRequest>(
        group, words, "ports", "the ports that the switch has, or other ones",
        "The daemon asks for the ports when an ACL is bound to the system; of changes it\n"
        "is told by 'port add' and 'port del'. Kind 0 is a front-panel port.\n"
        "\nExamples:\n"
        "  aclrmctl switch ports\n"
        "  aclrmctl switch ports --set '[{\"log_port\":65537,\"kind\":0,\"name\":\"p1\"}]'\n");
    CLI::Option *set =
        command->add_option("--set", request->set, "JSON list of {log_port, kind, name}")
            ->type_name("JSON");
    command->callback([&words, request = request, set] {
        if (set->count() > 0) {
            demand_list(request->set, "{log_port, kind, name}");
        }
        words.choose(*request);
    });
}

}  // namespace

void add_switch_words(CLI::App &app, Words &words) {
    CLI::App *group = add_group(app, "switch", "the simulated switch, by its control socket");
    add_packet_words(*group, words);
    const auto [state, request] =
        add_command<StateRequest>(*group, words, "state", "what is configured in the switch",
                                  "Example:\n  aclrmctl switch state --active\n");
    CLI::Option *all = state->add_flag("--rules", request->rules, "show every rule");
    state->add_flag("--active", request->active, "show the rules that were hit")->excludes(all);
    add_command<UsageRequest>(*group, words, "usage", "how full the switch's tables are",
                              "Example:\n  aclrmctl switch usage\n");
    add_ports(*group, words);
    add_faults(*group, words);
}

}  // namespace aclrmctl
