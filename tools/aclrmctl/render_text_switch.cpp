#include <nlohmann/json.hpp>
#include <ostream>

#include "render_text.h"
#include "switch_control.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

using nlohmann::json;

/* A member of the switch's answer as text, "-" where it is missing. */
std::string cell(const json &object, const char *key) {
    const auto found = object.find(key);
    if (found == object.end()) {
        return "-";
    }
    return found->is_string() ? found->get<std::string>() : found->dump();
}

uint64_t number(const json &object, const char *key) {
    return object.value(key, uint64_t{0});
}

std::string id_list(const json &list) {
    std::vector<uint32_t> ids;
    for (const json &id : list) {
        ids.push_back(id.get<uint32_t>());
    }
    return ids.empty() ? "-" : number_runs(ids);
}

uint64_t active_rules(const json &region) {
    uint64_t active = 0;
    for (const json &rule : region.at("rules")) {
        active += number(rule, "activity") != 0 ? 1U : 0U;
    }
    return active;
}

std::string verdict_of(const json &answer) {
    const auto found = answer.find("verdict");
    if (found != answer.end() && found->is_number_unsigned()) {
        return verdict_name(static_cast<Verdict>(found->get<uint32_t>()));
    }
    return cell(answer, "verdict");
}

/* The verdict's word in a rule's action block, little-endian at byte 12. */
std::string rule_verdict(const json &rule) {
    const std::string action = rule.value("action", std::string());
    return action.size() < 26 || action[25] < '0' || action[25] > '2'
               ? "-"
               : verdict_name(static_cast<Verdict>(action[25] - '0'));
}

void print_section(std::ostream &out, const char *title, const TextTable &table) {
    if (table.empty()) {
        out << title << ": none\n";
        return;
    }
    out << title << "\n";
    table.print(out);
}

void print_acls(std::ostream &out, const json &state) {
    TextTable regions({">region", ">size", ">rules", ">hit", ">key type", ">action type"});
    for (const json &region : state.at("regions")) {
        regions.add({cell(region, "region_id"), cell(region, "region_size"),
                     std::to_string(region.at("rules").size()),
                     std::to_string(active_rules(region)), cell(region, "key_type"),
                     cell(region, "action_type")});
    }
    print_section(out, "Regions", regions);
    TextTable acls({">ACL", ">region", "direction", ">type"});
    for (const json &acl : state.at("acls")) {
        acls.add({cell(acl, "acl_id"), cell(acl, "region_id"),
                  direction_name(static_cast<uint32_t>(number(acl, "direction"))),
                  cell(acl, "acl_type")});
    }
    print_section(out, "ACLs", acls);
    TextTable groups({">group", "direction", "ACLs in order"});
    for (const json &group : state.at("groups")) {
        groups.add({cell(group, "group_id"),
                    direction_name(static_cast<uint32_t>(number(group, "direction"))),
                    id_list(group.at("acl_ids"))});
    }
    print_section(out, "Groups", groups);
}

void print_attachments(std::ostream &out, const json &state) {
    TextTable bindings({"bound to", ">number", ">group"});
    for (const json &binding : state.at("bindings")) {
        const bool port = binding.contains("log_port");
        bindings.add({port ? "logical port" : "router interface",
                      cell(binding, port ? "log_port" : "rif_id"), cell(binding, "group_id")});
    }
    print_section(out, "Bindings", bindings);
    TextTable pbs({">PBS", ">type", "ports"});
    for (const json &entry : state.at("pbs")) {
        pbs.add({cell(entry, "pbs_id"), cell(entry, "entry_type"), id_list(entry.at("ports"))});
    }
    print_section(out, "Forwarding entries", pbs);
    /* The type is what the daemon reads back; the switch counts both. */
    TextTable counters({">counter", "type", ">packets", ">bytes"});
    for (const json &counter : state.at("counters")) {
        const uint64_t type = number(counter, "counter_type");
        counters.add({cell(counter, "counter_id"),
                      type <= 1 ? counter_type_name(static_cast<CounterType>(type))
                                : cell(counter, "counter_type"),
                      counter.at("values").at(0).dump(), counter.at("values").at(1).dump()});
    }
    print_section(out, "Flow counters", counters);
}

void print_rules(std::ostream &out, const json &state, bool only_active) {
    TextTable table({">region", ">offset", "hit", "verdict", "rule"});
    for (const json &region : state.at("regions")) {
        for (const json &rule : region.at("rules")) {
            const bool active = number(rule, "activity") != 0;
            if (only_active && !active) {
                continue;
            }
            const std::string text = describe_switch_rule(rule);
            table.add({cell(region, "region_id"), cell(rule, "offset"), active ? "yes" : "no",
                       rule_verdict(rule),
                       text.empty() ? "key type " + cell(rule, "key_type") : text});
        }
    }
    print_section(out, only_active ? "Rules that were hit" : "Rules", table);
}

}  // namespace

void TextRenderer::operator()(const PacketAnswer &answer) const {
    const PacketRequest &asked = answer.asked;
    const std::string packet = asked.key_type == 0 ? describe_packet(asked.key)
                                                   : "key type " + std::to_string(asked.key_type);
    out_ << "packet  " << packet << "\n"
         << "at      " << (asked.router_interface ? "router interface " : "port ")
         << asked.ingress_point << ", " << direction_name(asked.direction) << ", " << asked.length
         << " bytes\n";
    const json &hit = *answer.json;
    if (!hit.value("matched", false)) {
        out_ << "verdict permit (no rule matched)\n";
        return;
    }
    out_ << "hit     ACL " << cell(hit, "acl_id") << ", rule at offset " << cell(hit, "offset")
         << (answer.rule.empty() ? "" : ": " + answer.rule) << "\n";
    out_ << "verdict " << verdict_of(hit);
    if (hit.value("counter_id", 0) != 0) {
        out_ << ", counted by " << cell(hit, "counter_id");
    }
    if (!hit.value("ports", json::array()).empty()) {
        out_ << ", forwarded to port " << id_list(hit["ports"]);
    }
    out_ << "\n";
}

void TextRenderer::operator()(const StateAnswer &answer) const {
    print_acls(out_, *answer.json);
    print_attachments(out_, *answer.json);
    if (answer.asked.rules || answer.asked.active) {
        print_rules(out_, *answer.json, answer.asked.active);
    }
}

void TextRenderer::operator()(const UsageAnswer &answer) const {
    TextTable table({"table", ">used", ">capacity", ">full"});
    for (const auto &[name, entry] : answer.json->at("usage").items()) {
        const auto used = static_cast<double>(number(entry, "used"));
        const auto capacity = static_cast<double>(number(entry, "capacity"));
        table.add({name, cell(entry, "used"), cell(entry, "capacity"),
                   capacity > 0 ? formatted("%.1f %%", 100 * used / capacity) : "-"});
    }
    table.print(out_);
}

void TextRenderer::operator()(const FaultsAnswer &answer) const {
    out_ << counted(number(*answer.json, "armed"), "fault") << " armed.\n";
}

}  // namespace aclrmctl
