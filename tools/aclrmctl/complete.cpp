#include "complete.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <ostream>

#include "daemon_link.h"
#include "perform_parts.h"
#include "protocols.h"
#include "switch_control.h"
#include "text_table.h"
#include "words_parts.h"

namespace aclrmctl {

namespace {

constexpr int kLiveTimeoutMs = 250;     /* in all: a shell that waits longer seems to hang */
constexpr size_t kMostRulesRead = 2000; /* to find counters by; more would take too long */

constexpr uint32_t kMostMisses = 16; /* each is a line in the daemon's log */

using Candidates = std::vector<std::string>;

/* The command line up to the cursor. */
struct Line {
    const CLI::App *command = nullptr;
    const CLI::Option *wants_value = nullptr; /* the option just before the cursor */
    size_t positionals_num = 0;               /* before the cursor */
    Settings settings;
    std::vector<std::string> words; /* before the cursor */
    std::string current;

    std::string value_of(const std::string &option) const {
        for (size_t i = 0; i < words.size(); i++) {
            if (words[i] == option && i + 1 < words.size()) {
                return words[i + 1];
            }
            if (words[i].rfind(option + "=", 0) == 0) {
                return words[i].substr(option.size() + 1);
            }
        }
        return "";
    }
};

const CLI::Option *find_option(const CLI::App *command, const std::string &name) {
    for (; command != nullptr; command = command->get_parent()) {
        for (const CLI::Option *option : command->get_options()) {
            if (!option->get_positional() && option->check_name(name)) {
                return option;
            }
        }
    }
    return nullptr;
}

const CLI::App *find_command(const CLI::App *command, const std::string &name) {
    for (const CLI::App *entry : command->get_subcommands([](const CLI::App *) { return true; })) {
        if (entry->get_name() == name) {
            return entry;
        }
    }
    return nullptr;
}

Line read_line(const CLI::App &app, const Settings &settings,
               const std::vector<std::string> &words) {
    Line line;
    line.command = &app;
    line.settings = settings;
    line.settings.timeout_ms = kLiveTimeoutMs;
    line.settings.deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kLiveTimeoutMs);
    line.current = words.empty() ? "" : words.back();
    for (size_t i = 0; i + 1 < words.size(); i++) {
        const std::string &word = words[i];
        line.words.push_back(word);
        if (line.wants_value != nullptr) {
            line.wants_value = nullptr;
        } else if (word.size() > 1 && word[0] == '-') {
            const CLI::Option *option = find_option(line.command, word);
            line.wants_value =
                option != nullptr && option->get_expected_min() > 0 ? option : nullptr;
        } else if (const CLI::App *command = find_command(line.command, word)) {
            line.command = command;
        } else {
            line.positionals_num++;
        }
    }
    for (const auto &[option, setting] : {std::pair("--socket", &line.settings.socket),
                                          {"--switch-socket", &line.settings.switch_socket}}) {
        const std::string given = line.value_of(option);
        *setting = given.empty() ? *setting : given;
    }
    return line;
}

/* --- ids that are there now ------------------------------------------------------------------- */

template <typename Records, typename Get>
Candidates ids_of(const Records &records, Get get) {
    std::vector<uint32_t> ids;
    ids.reserve(records.size());
    for (const auto &record : records) {
        ids.push_back(get(record));
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    Candidates texts;
    for (const uint32_t id : ids) {
        texts.push_back(std::to_string(id));
    }
    return texts;
}

/* Of a dump that was cut before its ACLs: the daemon is asked for one after the other, with a read
 * of no rules. It counts them, and hands their ids out in order. */
Candidates acls_by_asking(const Line &line, const CacheText &cache) {
    Client client;
    if (connect_daemon(line.settings, &client)) {
        return {};
    }
    zv_acl_rm_acl_rule_get_params_t params{};
    std::vector<uint32_t> found;
    for (uint32_t misses = 0; misses < kMostMisses && found.size() < cache.acls_num;) {
        zv_acl_rm_status_t status = 0;
        if (zv_acl_rm_api_acl_rule_get(client.get(), &params, &status) != 0 ||
            std::chrono::steady_clock::now() > line.settings.deadline) {
            break;
        }
        misses += status == ZV_ACL_RM_STATUS_SUCCESS ? 0 : 1;
        if (status == ZV_ACL_RM_STATUS_SUCCESS) {
            found.push_back(params.acl_id);
        }
        params.acl_id++;
    }
    return ids_of(found, [](uint32_t acl_id) { return acl_id; });
}

Candidates live_acls(const Line &line) {
    CacheText cache;
    if (read_cache(line.settings, &cache)) {
        return {};
    }
    if (!has_all(cache, "acls")) {
        return acls_by_asking(line, cache);
    }
    return ids_of(cache.acls, [](const CachedAcl &acl) { return acl.acl_id; });
}

Candidates live_mc_groups(const Line &line) {
    CacheText cache;
    if (read_cache(line.settings, &cache)) {
        return {};
    }
    return ids_of(cache.mc_groups, [](const CachedMcGroup &group) { return group.mc_group_id; });
}

Candidates live_counters(const Line &line) {
    CacheText cache;
    if (read_cache(line.settings, &cache) || cache.rules.size() > kMostRulesRead) {
        return {};
    }
    const Answer answer = perform_show(line.settings, {Table::kCounters, {}});
    const auto *shown = std::get_if<ShowAnswer>(&answer);
    return shown == nullptr
               ? Candidates{}
               : ids_of(shown->counters, [](const ShownCounter &c) { return c.counter_id; });
}

Candidates bind_points(const Line &line, bool router_interfaces) {
    CacheText cache;
    if (read_cache(line.settings, &cache)) {
        return {};
    }
    std::vector<CachedBindPoint> points;
    std::copy_if(cache.bind_points.begin(), cache.bind_points.end(), std::back_inserter(points),
                 [&](const CachedBindPoint &p) { return p.router_interface == router_interfaces; });
    return ids_of(points, [](const CachedBindPoint &point) { return point.number; });
}

/* The switch commands mean the switch at its socket, all others that of the daemon. */
bool is_state_read(const Line &line, const CLI::App *group, nlohmann::json *state) {
    if (group != nullptr && group->get_name() == "switch") {
        return !ask_switch(line.settings, {{"cmd", "state"}}, state);
    }
    Client client;
    return !connect_daemon(line.settings, &client) &&
           ask_state_of(zv_acl_rm_client_fd(client.get()), line.settings, state);
}

/* The ports that something is bound to and, where the switch is the simulated one, all others. */
Candidates live_ports(const Line &line) {
    Candidates ports = bind_points(line, false);
    nlohmann::json state;
    const CLI::App *group = line.command->get_parent();
    if (group != nullptr && group->get_name() == "unbind") {
        return ports;
    }
    if (is_state_read(line, group, &state)) {
        for (const auto &port : state.value("ports", nlohmann::json::array())) {
            if (port.value("kind", 1) == 0) {
                ports.push_back(std::to_string(port.value("log_port", 0u)));
            }
        }
    }
    std::sort(ports.begin(), ports.end());
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
    return ports;
}

Candidates live_rifs(const Line &line) {
    return bind_points(line, true);
}

/* Of the ACL that the line names; as runs, since an ACL has hundreds, until a digit tells which are
 * meant. */
Candidates live_offsets(const Line &line) {
    CacheText cache;
    const std::string acl = line.value_of("--acl");
    if (acl.empty() || read_cache(line.settings, &cache)) {
        return {};
    }
    std::vector<uint32_t> offsets;
    for (const CachedRule &rule : cache.rules) {
        if (std::to_string(rule.acl_id) == acl) {
            offsets.push_back(rule.offset);
        }
    }
    if (!line.current.empty() && std::isdigit(line.current.back()) != 0) {
        return ids_of(offsets, [](uint32_t offset) { return offset; });
    }
    Candidates runs;
    const std::string text = number_runs(offsets);
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(", ", at), text.size());
        runs.push_back(text.substr(at, end - at));
        at = end + 2;
    }
    return runs;
}

/* --- words ------------------------------------------------------------------------------------ */

Candidates names_of(const NameList &names) {
    Candidates texts;
    for (const auto &[name, number] : names) {
        texts.emplace_back(name);
    }
    return texts;
}

/* Those by which protocols are shown: second names are read, not offered. */
Candidates protocol_candidates() {
    Candidates texts;
    for (const ProtocolName &each : kProtocolNames) {
        const std::string_view shown = name_of_protocol(each.number, each.family);
        if (shown == each.name) {
            texts.emplace_back(shown);
        }
    }
    return texts;
}

/* What a fault of the simulated switch can be armed for, of the calls that a command makes. */
Candidates switch_calls(const Line &) {
    return {"*",
            "zv_api_acl_group_set",
            "zv_api_acl_policy_based_switching_get",
            "zv_api_acl_policy_based_switching_set",
            "zv_api_acl_port_bind_set",
            "zv_api_acl_region_set",
            "zv_api_acl_rif_bind_set",
            "zv_api_acl_rule_activity_get",
            "zv_api_acl_rule_block_move_set",
            "zv_api_acl_rules_get",
            "zv_api_acl_rules_set",
            "zv_api_acl_set",
            "zv_api_close",
            "zv_api_flow_counter_clear_set",
            "zv_api_flow_counter_get",
            "zv_api_flow_counter_set",
            "zv_api_open",
            "zv_net_ports_get_all"};
}

Candidates files(const Line &) {
    return {":files"};
}

/* Every value by the option or positional it is for; `group` where only one group has it so. */
struct ValueRow {
    const char *group;
    const char *name;
    Candidates (*values)(const Line &line);
};

constexpr ValueRow kValues[] = {
    {nullptr, "--acl", live_acls},
    {nullptr, "--counter", live_counters},
    {nullptr, "--forward-mc", live_mc_groups},
    {nullptr, "--forward-port", live_ports},
    {nullptr, "--port", live_ports},
    {nullptr, "--rif", live_rifs},
    {nullptr, "PORT", live_ports},
    {nullptr, "RIF", live_rifs},
    {nullptr, "OFFSET", live_offsets},
    {"counter", "ID", live_counters},
    {"mc", "ID", live_mc_groups},
    {nullptr, "--call", switch_calls},
    {nullptr, "FILE", files},
    {nullptr, "--pcap", files},
    {nullptr, "--socket", files},
    {nullptr, "--switch-socket", files},
    {nullptr, "--daemon", files},
    {nullptr, "--owner", [](const Line &) { return names_of(owner_names()); }},
    {nullptr, "--direction", [](const Line &) { return names_of(direction_name_list()); }},
    {"switch", "--key-type", [](const Line &) { return names_of(key_type_names()); }},
    {nullptr, "--key-type",
     [](const Line &) {
         return Candidates{"0", "1", "2", "3"};
     }},
    {nullptr, "--verdict",
     [](const Line &) {
         return Candidates{"permit", "drop", "trap"};
     }},
    {nullptr, "--type",
     [](const Line &) {
         return Candidates{"packets", "bytes"};
     }},
    {nullptr, "--format",
     [](const Line &line) {
         return line.command->get_name() == "get" ? Candidates{"json", "policy"}
                                                  : Candidates{"auto", "classic", "json", "policy"};
     }},
    {nullptr, "--proto", [](const Line &) { return protocol_candidates(); }},
    {nullptr, "--timeout",
     [](const Line &) {
         return Candidates{"500ms", "1s", "5s", "30s"};
     }},
    {nullptr, "--chip",
     [](const Line &) { return Candidates{"1", "3", "5", "6", "7", "8", "9", "10", "11"}; }},
};

Candidates values_for(const Line &line, const CLI::Option &option) {
    const std::string name =
        option.get_positional() ? option.get_name(true) : option.get_name(false);
    const CLI::App *parent = line.command->get_parent();
    for (const ValueRow &row : kValues) {
        if (name == row.name &&
            (row.group == nullptr || (parent != nullptr && parent->get_name() == row.group))) {
            return row.values(line);
        }
    }
    return {};
}

Candidates options_of(const Line &line) {
    Candidates names;
    for (const CLI::App *at = line.command; at != nullptr; at = at->get_parent()) {
        for (const CLI::Option *option : at->get_options()) {
            const bool given =
                std::any_of(line.words.begin(), line.words.end(), [&](const std::string &word) {
                    return option->check_name(word.substr(0, word.find('=')));
                });
            for (const std::string &name : option->get_lnames()) {
                const std::string dashed = "--" + name;
                if (!given && std::find(names.begin(), names.end(), dashed) == names.end()) {
                    names.push_back(dashed);
                }
            }
        }
    }
    return names;
}

Candidates commands_and_positionals(const Line &line) {
    Candidates texts;
    for (const CLI::App *entry :
         line.command->get_subcommands([](const CLI::App *) { return true; })) {
        texts.push_back(entry->get_name());
    }
    size_t place = 0;
    for (const CLI::Option *option : line.command->get_options()) {
        if (!option->get_positional()) {
            continue;
        }
        /* One that takes any number of words takes all the rest. */
        if (place == line.positionals_num || option->get_items_expected_max() > 1) {
            const Candidates values = values_for(line, *option);
            texts.insert(texts.end(), values.begin(), values.end());
            break;
        }
        place++;
    }
    return texts;
}

/* A list of numbers goes on behind its last comma. */
std::string list_lead(const std::string &current) {
    const size_t comma = current.rfind(',');
    return comma == std::string::npos ? "" : current.substr(0, comma + 1);
}

std::string words_of(const CLI::App *command) {
    std::string words;
    for (; command->get_parent() != nullptr; command = command->get_parent()) {
        words.insert(0, words.empty() ? command->get_name() : command->get_name() + " ");
    }
    return words;
}

void list_options_of(const CLI::App &command, std::ostream &out) {
    for (const CLI::Option *option : command.get_options()) {
        out << words_of(&command) << "\t" << option->get_name(true, true) << "\t"
            << (option->get_expected_min() > 0 && option->get_type_size() > 0
                    ? (option->get_type_name().empty() ? "VALUE" : option->get_type_name())
                    : "-")
            << "\t" << (option->get_required() ? "required" : "optional") << "\n";
    }
    for (const CLI::App *entry : command.get_subcommands([](const CLI::App *) { return true; })) {
        list_options_of(*entry, out);
    }
}

}  // namespace

void complete(const std::vector<std::string> &words, std::ostream &out) {
    CLI::App app;
    Words parsed;
    build_parser(app, parsed);
    Line line = read_line(app, parsed.result.settings, words);
    std::string lead;
    Candidates candidates;
    const size_t equals = line.current.find('=');
    if (line.wants_value == nullptr && line.current.rfind("--", 0) == 0 &&
        equals != std::string::npos) {
        lead = line.current.substr(0, equals + 1);
        line.wants_value = find_option(line.command, line.current.substr(0, equals));
        candidates =
            line.wants_value == nullptr ? Candidates{} : values_for(line, *line.wants_value);
    } else if (line.wants_value != nullptr) {
        candidates = values_for(line, *line.wants_value);
    } else if (!line.current.empty() && line.current[0] == '-') {
        candidates = options_of(line);
    } else {
        lead = list_lead(line.current);
        candidates = commands_and_positionals(line);
    }
    for (const std::string &candidate : candidates) {
        if (("," + lead).find("," + candidate + ",") != std::string::npos) {
            continue; /* a number of a list once */
        }
        const std::string whole = candidate == ":files" ? candidate : lead + candidate;
        if (candidate == ":files" || whole.rfind(line.current, 0) == 0) {
            out << whole << "\n";
        }
    }
}

void list_options(std::ostream &out) {
    CLI::App app;
    Words words;
    build_parser(app, words);
    list_options_of(app, out);
}

}  // namespace aclrmctl
