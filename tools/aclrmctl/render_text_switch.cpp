#include <nlohmann/json.hpp>
#include <ostream>

#include "render_text.h"
#include "rule_encode.h"
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

std::string rule_verdict(const Names &names, const json &rule) {
    const auto verdict = verdict_of_action_text(rule.value("action", std::string()));
    return verdict ? names.verdict(*verdict) : "-";
}

/* Where and how an answer is printed. */
struct Page {
    std::ostream &out;
    const Names &names;
    size_t columns;
};

void print_section(const Page &page, const char *title, const TextTable &table) {
    if (table.empty()) {
        page.out << title << ": none\n";
        return;
    }
    page.out << title << "\n";
    table.print(page.out, page.columns);
}

void print_acls(const Page &page, const json &state) {
    TextTable regions({">region", ">size", ">rules", ">hit", ">key type", ">action type"});
    for (const json &region : state.at("regions")) {
        regions.add({cell(region, "region_id"), cell(region, "region_size"),
                     std::to_string(region.at("rules").size()),
                     std::to_string(active_rules(region)), cell(region, "key_type"),
                     cell(region, "action_type")});
    }
    print_section(page, "Regions", regions);
    TextTable acls({">ACL", ">region", "direction", ">type"});
    for (const json &acl : state.at("acls")) {
        acls.add({cell(acl, "acl_id"), cell(acl, "region_id"),
                  page.names.direction(static_cast<uint32_t>(number(acl, "direction"))),
                  cell(acl, "acl_type")});
    }
    print_section(page, "ACLs", acls);
    TextTable groups({">group", "direction", "ACLs in order"});
    for (const json &group : state.at("groups")) {
        groups.add({cell(group, "group_id"),
                    page.names.direction(static_cast<uint32_t>(number(group, "direction"))),
                    id_list(group.at("acl_ids"))});
    }
    print_section(page, "Groups", groups);
}

void print_attachments(const Page &page, const json &state) {
    TextTable bindings({"bound to", ">number", ">group"});
    for (const json &binding : state.at("bindings")) {
        const bool port = binding.contains("log_port");
        bindings.add({port ? "logical port" : "router interface",
                      cell(binding, port ? "log_port" : "rif_id"), cell(binding, "group_id")});
    }
    print_section(page, "Bindings", bindings);
    TextTable pbs({">PBS", "takes", "ports"});
    for (const json &entry : state.at("pbs")) {
        pbs.add({cell(entry, "pbs_id"),
                 page.names.forward_type(static_cast<uint32_t>(number(entry, "entry_type"))),
                 id_list(entry.at("ports"))});
    }
    print_section(page, "Forwarding entries", pbs);
    /* The type is what the daemon reads back; the switch counts both. */
    TextTable counters({">counter", "type", ">packets", ">bytes"});
    for (const json &counter : state.at("counters")) {
        counters.add(
            {cell(counter, "counter_id"),
             page.names.counter_type(static_cast<uint32_t>(number(counter, "counter_type"))),
             counter.at("values").at(0).dump(), counter.at("values").at(1).dump()});
    }
    print_section(page, "Flow counters", counters);
}

void print_rules(const Page &page, const json &state, bool only_active) {
    TextTable table({">region", ">offset", "hit", "verdict", "rule"});
    for (const json &region : state.at("regions")) {
        for (const json &rule : region.at("rules")) {
            const bool active = number(rule, "activity") != 0;
            if (only_active && !active) {
                continue;
            }
            const std::string text = describe_switch_rule(rule);
            table.add({cell(region, "region_id"), cell(rule, "offset"), active ? "yes" : "no",
                       rule_verdict(page.names, rule),
                       text.empty() ? "key type " + cell(rule, "key_type") : text});
        }
    }
    print_section(page, only_active ? "Rules that were hit" : "Rules", table);
}

}  // namespace

void TextRenderer::operator()(const StateAnswer &answer) const {
    const Page page{out_, names_, columns_};
    print_acls(page, *answer.json);
    print_attachments(page, *answer.json);
    if (answer.asked.rules || answer.asked.active) {
        print_rules(page, *answer.json, answer.asked.active);
    }
}

void TextRenderer::operator()(const PortsAnswer &answer) const {
    if (answer.set) {
        out_ << "The switch has " << counted(number(*answer.json, "count"), "port") << " now.\n";
        return;
    }
    TextTable table({">port", "kind", "name"});
    for (const json &port : answer.json->at("ports")) {
        const uint64_t kind = number(port, "kind");
        table.add({cell(port, "log_port"),
                   names_.numeric() ? std::to_string(kind)
                   : kind == 0      ? "front panel"
                                    : "kind " + std::to_string(kind),
                   cell(port, "name")});
    }
    if (table.empty()) {
        out_ << "Ports: none\n";
        return;
    }
    table.print(out_, columns_);
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
