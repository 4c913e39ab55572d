/* The classic filter-set lines:
 *
 *     @source/len  destination/len  low : high  low : high  protocol/mask  flags/mask  [verdict]
 *
 * the two port ranges being source and destination. Protocol and flags are hexadecimal with 0x, or
 * decimal. The optional last word (permit, drop, trap) is this tool's extension: files without it
 * mean what they mean everywhere. */
#include "rule_fields.h"

namespace aclrmctl {

namespace {

bool take_prefix(TextCursor &cursor, AddressPrefix *prefix, bool *masked) {
    ReadAddress address;
    if (!take_ipv4_prefix(cursor, true, &address)) {
        return false;
    }
    *prefix = address.prefix;
    *masked = *masked || address.masked;
    return true;
}

bool take_port_range(TextCursor &cursor, PortRange *range) {
    const size_t start = cursor.position();
    uint32_t low = 0;
    uint32_t high = 0;
    if (!cursor.decimal(0xFFFF, "a port", &low)) {
        return false;
    }
    cursor.skip_space();
    if (!cursor.character(':', "expected ':' between the two ends of a port range")) {
        return false;
    }
    cursor.skip_space();
    if (!cursor.decimal(0xFFFF, "a port", &high)) {
        return false;
    }
    if (low > high) {
        return cursor.fail(start, "the port range begins at " + std::to_string(low) +
                                      ", above its end " + std::to_string(high));
    }
    *range = {static_cast<uint16_t>(low), static_cast<uint16_t>(high)};
    return true;
}

/* Here the mask must be there, and has a name of its own in errors. */
bool take_field(TextCursor &cursor, uint32_t limit, const char *what, const char *mask_what,
                uint32_t *value, uint32_t *mask) {
    if (!cursor.number(limit, what, value) || !cursor.character('/', "expected '/' and a mask") ||
        !cursor.number(limit, mask_what, mask)) {
        return false;
    }
    *value &= *mask;
    return true;
}

bool take_protocol_and_flags(TextCursor &cursor, FilterRule *rule) {
    uint32_t value = 0;
    uint32_t mask = 0;
    if (!cursor.space_before("the protocol") ||
        !take_field(cursor, 0xFF, "a protocol", "a protocol mask", &value, &mask)) {
        return false;
    }
    rule->protocol = static_cast<uint8_t>(value);
    rule->protocol_mask = static_cast<uint8_t>(mask);
    if (!cursor.space_before("the flags") ||
        !take_field(cursor, 0xFFFF, "a flags field", "a flags mask", &value, &mask)) {
        return false;
    }
    rule->flags = static_cast<uint16_t>(value);
    rule->flags_mask = static_cast<uint16_t>(mask);
    return true;
}

/* What may follow the six fields: nothing, a verdict, a comment. */
bool take_rest(TextCursor &cursor, FilterRule *rule) {
    const size_t after_flags = cursor.position();
    cursor.skip_space();
    if (cursor.at_end()) {
        return true;
    }
    const size_t start = cursor.position();
    if (start == after_flags) {
        return cursor.fail(start, "unexpected text in the flags mask");
    }
    rule->verdict = verdict_from_name(cursor.word());
    if (!rule->verdict) {
        return cursor.fail(start, "unknown verdict: expected permit, drop or trap");
    }
    cursor.skip_space();
    return cursor.at_end() || cursor.fail_here("unexpected text after the rule");
}

bool take_rule(TextCursor &cursor, FilterRule *rule, bool *masked) {
    if (!cursor.character('@', "a rule begins with '@'")) {
        return false;
    }
    cursor.skip_space();
    return take_prefix(cursor, &rule->source, masked) && cursor.space_before("the destination") &&
           take_prefix(cursor, &rule->destination, masked) &&
           cursor.space_before("the source ports") &&
           take_port_range(cursor, &rule->source_ports) &&
           cursor.space_before("the destination ports") &&
           take_port_range(cursor, &rule->destination_ports) &&
           take_protocol_and_flags(cursor, rule) && take_rest(cursor, rule);
}

}  // namespace

std::optional<RuleFileError> parse_classic_line(std::string_view line, RuleFile *file) {
    TextCursor cursor(line);
    cursor.allow_leading_zeros(); /* generators of such files pad numbers to a width */
    cursor.skip_space();
    if (cursor.at_end()) {
        return std::nullopt;
    }
    FilterRule rule;
    rule.at = {file->lines_num, static_cast<uint32_t>(cursor.position() + 1)};
    bool masked = false;
    if (!take_rule(cursor, &rule, &masked)) {
        return RuleFileError{file->lines_num, static_cast<uint32_t>(cursor.error_position() + 1),
                             cursor.message(), std::string(line)};
    }
    add_rule(std::move(rule), masked, file);
    return std::nullopt;
}

}  // namespace aclrmctl
