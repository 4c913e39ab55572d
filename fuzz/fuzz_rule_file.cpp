// A text against the reader of rule files: it is taken or refused with a place that exists, and
// what was taken, written down again, is read as the same rules.
#include <algorithm>
#include <cstdio>

#include "fuzz/support/fuzz.h"
#include "port_prefixes.h"
#include "rule_encode.h"
#include "rule_file.h"

namespace {

using namespace aclrmctl;
using zv_fuzz::fail;

constexpr uint64_t kMaxExpanded = 4096;

void check_rule(const FilterRule &rule, uint32_t lines_num) {
    const auto mask = [](const Prefix &prefix) {
        return static_cast<uint32_t>(~uint64_t{0} << (32 - prefix.length));
    };
    if (rule.line == 0 || rule.line > lines_num || rule.source.length > 32 ||
        rule.destination.length > 32 || (rule.source.address & ~mask(rule.source)) != 0 ||
        (rule.destination.address & ~mask(rule.destination)) != 0 ||
        rule.source_ports.low > rule.source_ports.high ||
        rule.destination_ports.low > rule.destination_ports.high ||
        (rule.protocol & ~rule.protocol_mask) != 0 || (rule.flags & ~rule.flags_mask) != 0) {
        fail("the rule of line %u breaks its promises", rule.line);
    }
}

std::string line_of(const FilterRule &rule) {
    char text[200];
    snprintf(text, sizeof(text), "@%s/%u\t%s/%u %u:%u  %u : %u 0x%02x/0x%02X\t%u/0x%x%s%s\n",
             dotted(rule.source.address).c_str(), rule.source.length,
             dotted(rule.destination.address).c_str(), rule.destination.length,
             rule.source_ports.low, rule.source_ports.high, rule.destination_ports.low,
             rule.destination_ports.high, rule.protocol, rule.protocol_mask, rule.flags,
             rule.flags_mask, rule.verdict ? " " : "",
             rule.verdict ? verdict_name(*rule.verdict) : "");
    return text;
}

bool same(const PortRange &a, const PortRange &b) {
    return a.low == b.low && a.high == b.high;
}

bool same(const Prefix &a, const Prefix &b) {
    return a.address == b.address && a.length == b.length;
}

void check_round_trip(const FilterRule &rule) {
    const std::string text = line_of(rule);
    RuleFile again;
    if (parse_rule_text(text, &again) || again.rules.size() != 1) {
        fail("a rule written down is not read: %s", text.c_str());
    }
    const FilterRule &read = again.rules[0];
    if (!same(read.source, rule.source) || !same(read.destination, rule.destination) ||
        !same(read.source_ports, rule.source_ports) ||
        !same(read.destination_ports, rule.destination_ports) || read.protocol != rule.protocol ||
        read.protocol_mask != rule.protocol_mask || read.flags != rule.flags ||
        read.flags_mask != rule.flags_mask || read.verdict != rule.verdict ||
        again.masked_num != 0) {
        fail("a rule written down is read as another one: %s", text.c_str());
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

void check_expansion(const RuleFile &file) {
    const uint64_t wanted = expansion_of(file);
    if (wanted > kMaxExpanded) {
        return;
    }
    std::vector<ExpandedRule> expanded;
    if (!expand_rules(file, &expanded) || expanded.size() != wanted) {
        fail("%zu rules instead of %lu", expanded.size(), wanted);
    }
    for (const ExpandedRule &one : expanded) {
        KeyBytes key;
        KeyBytes mask;
        key.fill(0xAA);
        mask.fill(0x55);
        acl_rm_rule record;
        encode_match(file.rules[one.rule_index], one, &key, &mask);
        encode_rule(file.rules[one.rule_index], one, 1, {}, &record);
        for (size_t i = 0; i < key.size(); i++) {
            if ((key[i] & ~mask[i]) != 0 || record.key.data[i] != key[i]) {
                fail("byte %zu of a key is outside its mask", i);
            }
        }
        if (describe_match(key, mask).empty() || !is_five_tuple(0, key, mask)) {
            fail("an encoded rule is no rule");
        }
    }
}

void check_error(std::string_view text, const RuleFile &file, const RuleFileError &error) {
    const auto newlines = static_cast<uint32_t>(std::count(text.begin(), text.end(), '\n'));
    if (error.line != file.lines_num || error.line > newlines + 1 || error.column == 0 ||
        error.column > error.text.size() + 1 || error.message.empty()) {
        fail("the error's place does not exist: %u:%u", error.line, error.column);
    }
    const std::string told = describe_rule_error("FILE", error);
    if (std::count(told.begin(), told.end(), '\n') != 3 || told.back() != '\n') {
        fail("an error is told in other than three lines: %s", told.c_str());
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    RuleFile file;
    if (const auto error = parse_rule_text(text, &file)) {
        check_error(text, file, *error);
    }
    for (const FilterRule &rule : file.rules) {
        check_rule(rule, file.lines_num);
        check_round_trip(rule);
        check_split(rule.source_ports);
        check_split(rule.destination_ports);
    }
    check_expansion(file);
    return 0;
}
