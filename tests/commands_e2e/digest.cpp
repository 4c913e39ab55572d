#include "tests/commands_e2e/digest.h"

#include <algorithm>

namespace zv_test {

using nlohmann::json;

namespace {

std::string number(uint32_t value) {
    return std::to_string(value);
}

// " 1 2 3"
template <typename List>
std::string spaced(const List &values) {
    std::string text;
    for (const auto &value : values) {
        text += " " + number(value);
    }
    return text;
}

// Appends one section, by number: entries come in the order of a hash table.
template <typename List, typename Number, typename Text>
void append_sorted(Digest &digest, const List &entries, Number number_of, Text text_of) {
    std::vector<std::pair<decltype(number_of(*entries.begin())), std::string>> lines;
    for (const auto &entry : entries) {
        lines.emplace_back(number_of(entry), text_of(entry));
    }
    std::sort(lines.begin(), lines.end());
    for (const auto &line : lines) {
        digest.push_back(line.second);
    }
}

std::string acl_text(const CacheDump::Acl &acl) {
    std::string text = "acl " + number(acl.acl_id) + ": owner " + std::to_string(acl.owner) +
                       ", region " + number(acl.region_id);
    text += acl.bound_to_system ? ", system" : "";
    return acl.bound_ports.empty() ? text : text + ", bound to" + spaced(acl.bound_ports);
}

std::string rule_text(const CacheDump::Rule &rule) {
    const std::string text = "rule " + rule.key + ": region " + number(rule.region_id);
    return rule.offset == rule.key_offset ? text : text + ", offset " + number(rule.offset);
}

std::string group_text(uint32_t group_id, const std::vector<uint32_t> &acl_ids) {
    return "group " + number(group_id) + (acl_ids.empty() ? ": empty" : ": acl" + spaced(acl_ids));
}

std::string point_text(bool is_rif, uint32_t point, uint32_t group_id) {
    return (is_rif ? "rif " : "port ") + number(point) + ": group " + number(group_id);
}

std::string mc_text(const CacheDump::McGroup &group) {
    const std::string text = "mc group " + number(group.mcg_id) + ": owner " + number(group.owner);
    return group.pbs_id == group.mcg_id ? text : text + ", pbs " + number(group.pbs_id);
}

uint32_t word(const json &object, const char *name) {
    return object.at(name).get<uint32_t>();
}

std::string region_text(const json &region) {
    std::vector<uint32_t> offsets;
    for (const json &rule : region.at("rules")) {
        offsets.push_back(word(rule, "offset"));
    }
    const std::string text = "region " + number(word(region, "region_id")) + ": size " +
                             number(word(region, "region_size"));
    return offsets.empty() ? text : text + ", rules" + spaced(offsets);
}

std::string pbs_text(const json &pbs) {
    const bool is_mc = word(pbs, "entry_type") == 2;
    return "pbs " + number(word(pbs, "pbs_id")) + (is_mc ? ": mc" : ": port") +
           spaced(pbs.at("ports").get<std::vector<uint32_t>>());
}

std::string binding_text(const json &binding) {
    const bool is_rif = binding.contains("rif_id");
    return point_text(is_rif, word(binding, is_rif ? "rif_id" : "log_port"),
                      word(binding, "group_id"));
}

}  // namespace

Digest digest_of(const CacheDump &dump) {
    Digest digest = {"acls " + number(dump.acl_table_cnt) + ", rules " + number(dump.rules_cnt)};
    append_sorted(
        digest, dump.acls, [](auto &acl) { return acl.acl_id; }, acl_text);
    append_sorted(
        digest, dump.rules, [](auto &rule) { return std::pair(rule.acl_id, rule.key_offset); },
        rule_text);
    append_sorted(
        digest, dump.groups, [](auto &group) { return group.group_id; },
        [](auto &group) { return group_text(group.group_id, group.acl_ids); });
    append_sorted(
        digest, dump.bind_points,
        [](auto &point) { return std::pair(point.is_rif, point.port_id); },
        [](auto &point) { return point_text(point.is_rif, point.port_id, point.group_id); });
    append_sorted(
        digest, dump.forwardings, [](auto &entry) { return entry.log_port; },
        [](auto &entry) {
            return "forward " + number(entry.log_port) + ": pbs " + number(entry.pbs_id) +
                   ", users " + number(entry.times_consumed);
        });
    append_sorted(
        digest, dump.mc_groups, [](auto &group) { return group.mcg_id; }, mc_text);
    return digest;
}

Digest digest_of(const json &state) {
    Digest digest;
    const auto id = [](const char *name) {
        return [name](const json &object) { return word(object, name); };
    };
    append_sorted(digest, state.at("regions"), id("region_id"), region_text);
    append_sorted(digest, state.at("acls"), id("acl_id"), [](const json &acl) {
        return "acl " + number(word(acl, "acl_id")) + ": region " + number(word(acl, "region_id")) +
               ", direction " + number(word(acl, "direction"));
    });
    append_sorted(digest, state.at("groups"), id("group_id"), [](const json &group) {
        return group_text(word(group, "group_id"),
                          group.at("acl_ids").get<std::vector<uint32_t>>());
    });
    append_sorted(
        digest, state.at("bindings"),
        [](const json &binding) {
            const bool is_rif = binding.contains("rif_id");
            return std::pair(is_rif, word(binding, is_rif ? "rif_id" : "log_port"));
        },
        binding_text);
    append_sorted(digest, state.at("pbs"), id("pbs_id"), pbs_text);
    append_sorted(digest, state.at("counters"), id("counter_id"), [](const json &counter) {
        return "counter " + number(word(counter, "counter_id")) + ": type " +
               number(word(counter, "counter_type"));
    });
    return digest;
}

Digest operator+(Digest first, const Digest &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Digest cache_digest(DaemonProcess &daemon, Here here) {
    return digest_of(daemon.dump(here));
}

Digest switch_digest(DaemonProcess &daemon, Here here) {
    return digest_of(daemon.control().state(here));
}

}  // namespace zv_test
