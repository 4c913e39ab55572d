#include "rule_print.h"

#include "rule_encode.h"
#include "rule_words.h"

namespace aclrmctl {

namespace {

std::string ip_words(const FilterRule &rule) {
    const std::string protocol = protocol_words(rule);
    std::string text = rule.kind == RuleKind::kIpv4 ? "ip4" : "ip6";
    if (!needs_version(rule)) {
        text = protocol.empty() ? "ip" : protocol;
    } else if (!protocol.empty()) {
        text += " " + protocol;
    }
    text += " from " + address_text(rule.kind, rule.source);
    text += is_any(rule.source_ports) ? "" : " port " + range_text(rule.source_ports);
    text += " to " + address_text(rule.kind, rule.destination);
    text += is_any(rule.destination_ports) ? "" : " port " + range_text(rule.destination_ports);
    return text + masked_text(" flags ", rule.flags, rule.flags_mask, 0xFFFF, 4);
}

std::string mac_words(const FilterRule &rule) {
    return "mac from " + address_text(rule.kind, rule.source) + " to " +
           address_text(rule.kind, rule.destination) +
           (rule.vlan_mask == 0 ? "" : " vlan " + vlan_text(rule)) +
           masked_text(" type ", rule.ethertype, rule.ethertype_mask, 0xFFFF, 4);
}

std::string raw_words(const RawMatch &raw) {
    const size_t digits = used_bytes(raw.key, raw.mask) * 2;
    return "key " + key_to_hex(raw.key).substr(0, digits) + ":" +
           key_to_hex(raw.mask).substr(0, digits) + " type " + std::to_string(raw.key_type);
}

std::string match_words(const FilterRule &rule) {
    switch (rule.kind) {
        case RuleKind::kMac:
            return mac_words(rule);
        case RuleKind::kRaw:
            return raw_words(*rule.raw);
        default:
            return ip_words(rule);
    }
}

std::string action_words(const FilterRule &rule) {
    const Verdict verdict = rule.verdict.value_or(Verdict::kPermit);
    const char *name = verdict_name(verdict);
    std::string word =
        name != nullptr ? name : "verdict " + std::to_string(static_cast<uint32_t>(verdict));
    std::string forward;
    if (rule.targets.forward_port) {
        forward = "forward port " + std::to_string(*rule.targets.forward_port);
    } else if (rule.targets.forward_mc) {
        forward = "forward mc " + std::to_string(*rule.targets.forward_mc);
    } else {
        return word;
    }
    return verdict == Verdict::kPermit ? forward : word + " " + forward;
}

/* Members of an object, commas between them. */
class JsonMembers {
  public:
    void text(const char *name, const std::string &value) {
        if (!value.empty()) {
            add(name, "\"" + value + "\"");
        }
    }
    /* A number stays one where it is written in digits alone. */
    void text_or_number(const char *name, const std::string &value) {
        const bool is_number =
            !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
        if (is_number) {
            add(name, value);
        } else {
            text(name, value);
        }
    }
    void add(const char *name, const std::string &value) {
        members_ += (members_.empty() ? "\"" : ", \"") + std::string(name) + "\": " + value;
    }
    std::string object() const { return "{" + members_ + "}"; }

  private:
    std::string members_;
};

std::string json_protocol(const FilterRule &rule) {
    const std::string words = protocol_words(rule);
    return words.compare(0, 6, "proto ") == 0 ? words.substr(6) : words;
}

std::string json_match(const FilterRule &rule) {
    JsonMembers match;
    if (rule.kind == RuleKind::kRaw) {
        const size_t digits = used_bytes(rule.raw->key, rule.raw->mask) * 2;
        match.text("key", key_to_hex(rule.raw->key).substr(0, digits));
        match.text("mask", key_to_hex(rule.raw->mask).substr(0, digits));
        match.add("key_type", std::to_string(rule.raw->key_type));
        return match.object();
    }
    const bool is_mac = rule.kind == RuleKind::kMac;
    match.text("family", is_mac ? "mac" : rule.kind == RuleKind::kIpv4 ? "ip4" : "ip6");
    match.text_or_number("protocol", json_protocol(rule));
    match.text("src", rule.source.length == 0 ? "" : address_text(rule.kind, rule.source));
    match.text_or_number("src_port",
                         is_any(rule.source_ports) ? "" : range_text(rule.source_ports));
    match.text("dst",
               rule.destination.length == 0 ? "" : address_text(rule.kind, rule.destination));
    match.text_or_number("dst_port",
                         is_any(rule.destination_ports) ? "" : range_text(rule.destination_ports));
    match.text("flags", masked_text("", rule.flags, rule.flags_mask, 0xFFFF, 4));
    match.text_or_number("vlan", rule.vlan_mask == 0 ? "" : vlan_text(rule));
    match.text("ethertype", masked_text("", rule.ethertype, rule.ethertype_mask, 0xFFFF, 4));
    return match.object();
}

}  // namespace

std::string policy_line(const FilterRule &rule) {
    std::string text;
    if (rule.priority) {
        text = "priority " + std::to_string(*rule.priority) + " ";
    }
    text += action_words(rule) + " " + match_words(rule);
    if (rule.targets.counter_id != 0) {
        text += " count " + std::to_string(rule.targets.counter_id);
    }
    return text;
}

std::string json_rule(const FilterRule &rule) {
    JsonMembers object;
    const Verdict verdict = rule.verdict.value_or(Verdict::kPermit);
    const char *name = verdict_name(verdict);
    if (rule.priority) {
        object.add("priority", std::to_string(*rule.priority));
    }
    object.add("action", name != nullptr ? "\"" + std::string(name) + "\""
                                         : std::to_string(static_cast<uint32_t>(verdict)));
    if (rule.targets.forward_port) {
        object.add("forward", "{\"port\": " + std::to_string(*rule.targets.forward_port) + "}");
    } else if (rule.targets.forward_mc) {
        object.add("forward", "{\"mc\": " + std::to_string(*rule.targets.forward_mc) + "}");
    }
    object.add("match", json_match(rule));
    if (rule.targets.counter_id != 0) {
        object.add("counter", std::to_string(rule.targets.counter_id));
    }
    return object.object();
}

std::string policy_text(const std::vector<FilterRule> &rules, const std::vector<bool> &invalid,
                        const std::string &title) {
    std::string text = "# " + title + "\n";
    for (size_t i = 0; i < rules.size(); i++) {
        text += (invalid[i] ? "# not valid: " : "") + policy_line(rules[i]) + "\n";
    }
    return text;
}

std::string json_text(const std::vector<FilterRule> &rules, const std::vector<bool> &invalid) {
    std::string text = "{\"rules\": [";
    const char *separator = "\n  ";
    for (size_t i = 0; i < rules.size(); i++) {
        if (!invalid[i]) {
            text += separator + json_rule(rules[i]);
            separator = ",\n  ";
        }
    }
    return text + "\n]}\n";
}

}  // namespace aclrmctl
