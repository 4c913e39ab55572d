// A text against the readers of rule files: it is taken or refused with a place that exists, and
// what was taken, written down again in every format, is read as the same rules.
#include <algorithm>
#include <cstdio>

#include "fuzz/support/fuzz.h"
#include "port_prefixes.h"
#include "rule_encode.h"
#include "rule_fields.h"
#include "rule_file.h"
#include "rule_print.h"

namespace {

using namespace aclrmctl;
using zv_fuzz::fail;

constexpr uint64_t kMaxExpanded = 4096;

bool has_host_bits(const AddressPrefix &prefix) {
    AddressPrefix cleared = prefix;
    return clear_host_bits(&cleared);
}

void check_rule(const FilterRule &rule, uint32_t lines_num) {
    constexpr uint8_t kBits[] = {32, 128, 48, 0};
    const uint8_t bits = kBits[static_cast<uint32_t>(rule.kind)];
    if (rule.at.line == 0 || rule.at.line > lines_num + 1 || rule.at.column == 0 ||
        rule.source.length > bits || rule.destination.length > bits || has_host_bits(rule.source) ||
        has_host_bits(rule.destination) || rule.source_ports.low > rule.source_ports.high ||
        rule.destination_ports.low > rule.destination_ports.high ||
        (rule.protocol & ~rule.protocol_mask) != 0 || (rule.flags & ~rule.flags_mask) != 0 ||
        (rule.vlan & ~rule.vlan_mask) != 0 || (rule.ethertype & ~rule.ethertype_mask) != 0 ||
        (rule.kind == RuleKind::kRaw) != (rule.raw != nullptr)) {
        fail("the rule of line %u breaks its promises", rule.at.line);
    }
}

// A rule of one address, protocol and range, as an IPv4 rule of the classic lines has it.
std::string classic_line(const FilterRule &rule) {
    const auto address = [](const AddressPrefix &prefix) {
        return std::to_string(prefix.bytes[0]) + "." + std::to_string(prefix.bytes[1]) + "." +
               std::to_string(prefix.bytes[2]) + "." + std::to_string(prefix.bytes[3]);
    };
    char text[200];
    snprintf(text, sizeof(text), "@%s/%u\t%s/%u %u:%u  %u : %u 0x%02x/0x%02X\t%u/0x%x%s%s\n",
             address(rule.source).c_str(), rule.source.length, address(rule.destination).c_str(),
             rule.destination.length, rule.source_ports.low, rule.source_ports.high,
             rule.destination_ports.low, rule.destination_ports.high, rule.protocol,
             rule.protocol_mask, rule.flags, rule.flags_mask, rule.verdict ? " " : "",
             rule.verdict ? verdict_name(*rule.verdict) : "");
    return text;
}

bool same_match(const FilterRule &a, const FilterRule &b) {
    if (a.kind == RuleKind::kRaw && b.kind == RuleKind::kRaw) {
        return a.raw->key_type == b.raw->key_type && a.raw->key == b.raw->key &&
               a.raw->mask == b.raw->mask;
    }
    return a.kind == b.kind && a.source == b.source && a.destination == b.destination &&
           a.source_ports == b.source_ports && a.destination_ports == b.destination_ports &&
           a.protocol == b.protocol && a.protocol_mask == b.protocol_mask && a.flags == b.flags &&
           a.flags_mask == b.flags_mask && a.vlan == b.vlan && a.vlan_mask == b.vlan_mask &&
           a.ethertype == b.ethertype && a.ethertype_mask == b.ethertype_mask;
}

// Written down in a format, a rule is read as the same one.
void check_written(const FilterRule &rule, RuleFormat format, const std::string &text) {
    RuleFile again;
    if (parse_rule_text(text, format, &again) || again.rules.size() != 1) {
        fail("a rule written down is not read: %s", text.c_str());
    }
    const FilterRule &read = again.rules[0];
    const bool same_rest =
        format == RuleFormat::kClassic ||
        (read.targets == rule.targets && read.priority == rule.priority &&
         read.verdict.value_or(Verdict::kPermit) == rule.verdict.value_or(Verdict::kPermit));
    if (!same_match(read, rule) || !same_rest || again.masked_num != 0) {
        fail("a rule written down is read as another one: %s", text.c_str());
    }
}

void check_round_trip(const FilterRule &rule) {
    check_written(rule, RuleFormat::kPolicy, policy_line(rule));
    check_written(rule, RuleFormat::kJson, "{\"rules\": [" + json_rule(rule) + "]}");
    const bool has_classic_words = !rule.verdict || verdict_name(*rule.verdict) != nullptr;
    if (rule.kind == RuleKind::kIpv4 && has_classic_words) {
        check_written(rule, RuleFormat::kClassic, classic_line(rule));
    }
}

// The blocks lie one after the other and cover the range.
void check_split(const PortRange &range) {
    const std::vector<PortPrefix> blocks = split_port_range(range);
    uint32_t next = range.low;
    for (const PortPrefix &block : blocks) {
        if (block.value != next || (block.value & ~block.mask) != 0) {
            fail("range %u-%u: a block begins at %u instead of %u", range.low, range.high,
                 block.value, next);
        }
        next += 0x10000u - block.mask;
    }
    if (next != range.high + 1u || blocks.size() > kLargestPortSplit) {
        fail("range %u-%u: %zu blocks end at %u", range.low, range.high, blocks.size(), next);
    }
}

uint64_t expansion_of(const RuleFile &file) {
    uint64_t sum = 0;
    for (const FilterRule &rule : file.rules) {
        sum += uint64_t{split_port_range(rule.source_ports).size()} *
               split_port_range(rule.destination_ports).size();
    }
    return sum;
}

// What the switch holds of a rule, put into words and read again, is the same to the byte.
void check_decoding(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask) {
    const FilterRule decoded = decode_match(key_type, key, mask);
    const std::string line = policy_line(decoded);
    RuleFile again;
    std::vector<ExpandedRule> expanded;
    if (parse_rule_text(line, RuleFormat::kPolicy, &again) || again.rules.size() != 1 ||
        expand_rules(again, &expanded) || expanded.size() != 1) {
        fail("a decoded rule is not read as one: %s", line.c_str());
    }
    KeyBytes key_again;
    KeyBytes mask_again;
    encode_match(again.rules[0], expanded[0], &key_again, &mask_again);
    if (key_type_of(again.rules[0]) != key_type || key_again != key || mask_again != mask ||
        describe_key(key_type, key, mask).empty()) {
        fail("a decoded rule has other bytes: %s", line.c_str());
    }
}

void check_expansion(const RuleFile &file) {
    const uint64_t wanted = expansion_of(file);
    if (wanted > kMaxExpanded) {
        return;
    }
    std::vector<ExpandedRule> expanded;
    const auto error = expand_rules(file, &expanded);
    if (error && (error->rule_index >= file.rules.size() || error->message.empty())) {
        fail("the rules are not laid out for no reason");
    }
    if (!error && expanded.size() != wanted) {
        fail("%zu rules instead of %lu", expanded.size(), wanted);
    }
    for (const ExpandedRule &one : expanded) {
        const FilterRule &rule = file.rules[one.rule_index];
        const WholeRule whole = whole_rule(rule, one, {});
        KeyBytes key;
        KeyBytes mask;
        key.fill(0xAA);
        mask.fill(0x55);
        acl_rm_rule record;
        encode_match(rule, one, &key, &mask);
        encode_whole_rule(whole, &record);
        for (size_t i = 0; i < key.size(); i++) {
            if (rule.kind != RuleKind::kRaw && (key[i] & ~mask[i]) != 0) {
                fail("byte %zu of a key is outside its mask", i);
            }
            if (record.key.data[i] != key[i] || record.mask.data[i] != mask[i]) {
                fail("byte %zu of a record is not the key's", i);
            }
        }
        check_decoding(key_type_of(rule), key, mask);
    }
}

void check_error(std::string_view text, const RuleFileError &error) {
    const auto newlines = static_cast<uint32_t>(std::count(text.begin(), text.end(), '\n'));
    if (error.line == 0 || error.line > newlines + 1 || error.column == 0 ||
        error.column > error.text.size() + 2 || error.message.empty()) {
        fail("the error's place does not exist: %u:%u", error.line, error.column);
    }
    if (!error.path.empty() && error.path.front() != '/') {
        fail("the pointer does not begin at the root: %s", error.path.c_str());
    }
    const auto picture = picture_of(error);
    if (picture[0].find('\n') != std::string::npos || picture[1].back() != '^' ||
        describe_place("FILE", error).find("FILE:") != 0) {
        fail("an error is not shown in its place: %s", picture[0].c_str());
    }
}

void check_text(std::string_view text, RuleFormat format) {
    RuleFile file;
    if (const auto error = parse_rule_text(text, format, &file)) {
        check_error(text, *error);
    }
    for (const FilterRule &rule : file.rules) {
        check_rule(rule, file.lines_num);
        check_round_trip(rule);
        check_split(rule.source_ports);
        check_split(rule.destination_ports);
    }
    check_expansion(file);
}

}  // namespace

// Each text is read as what its first character says, and as the line format that it is not.
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    check_text(text, RuleFormat::kAuto);
    check_text(text, detect_format(text) == RuleFormat::kClassic ? RuleFormat::kPolicy
                                                                 : RuleFormat::kClassic);
    return 0;
}
