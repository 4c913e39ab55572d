/* The policy format, a rule a line in words:
 *
 *     [priority N] ACTION MATCH [count ID]
 *
 *     ACTION  permit | drop | trap | verdict N, and behind it or alone: forward port N | forward mc
 * N MATCH   [ip4|ip6] PROTOCOL from ADDRESS [port P] to ADDRESS [port P] [flags BITS/MASK] mac from
 * ADDRESS to ADDRESS [vlan N] [type N] key HEX:HEX type N
 *
 * An IP rule is of the version of its addresses. Where both are `any` the version has to be said:
 * whoever writes "drop ip from any to any" may think of both, and gets one key type. */
#include "protocols.h"
#include "rule_fields.h"

namespace aclrmctl {

namespace {

/* One line on its way to a rule. */
class PolicyLine {
  public:
    PolicyLine(std::string_view line, uint32_t number) : cursor_(line), line_(number) {}

    bool take();
    bool empty();

    FilterRule rule;
    bool masked = false;

    RuleFileError error(std::string_view line) const {
        return {line_, static_cast<uint32_t>(cursor_.error_position() + 1), cursor_.message(),
                std::string(line)};
    }

  private:
    FilePlace place() const { return {line_, static_cast<uint32_t>(cursor_.position() + 1)}; }
    bool take_priority();
    bool take_action();
    bool take_forward();
    bool take_match();
    bool take_ip();
    bool take_protocol();
    bool take_family(size_t start);
    bool take_mac();
    bool take_raw();
    bool take_end(const char *keyword, bool mac, AddressPrefix *prefix);
    bool take_port(PortRange *range);
    bool take_count();

    bool at_word(const char *wanted) const { return cursor_.peek_word() == wanted; }
    bool next_number(const char *word, uint32_t limit, const char *what, uint32_t *value);
    bool next_masked(uint32_t limit, const char *what, uint16_t *value, uint16_t *mask);
    bool ends_here(const char *what);
    bool at_option(const char *word);

    TextCursor cursor_;
    FilePlace number_at_; /* of the last next_number */
    uint32_t line_;
    AddressFamily family_ = AddressFamily::kAny;
};

bool PolicyLine::empty() {
    cursor_.skip_space();
    return cursor_.at_end();
}

/* A keyword that is next, and the number behind it. */
bool PolicyLine::next_number(const char *word, uint32_t limit, const char *what, uint32_t *value) {
    if (!at_word(word)) {
        return cursor_.fail_here(std::string("expected '") + word + "'");
    }
    cursor_.word();
    if (!cursor_.space_before(what)) {
        return false;
    }
    number_at_ = place();
    return cursor_.number(limit, what, value) && ends_here(what);
}

/* A number that goes on in letters is a slip, not the next word. */
bool PolicyLine::ends_here(const char *what) {
    return cursor_.peek_token().empty() ||
           cursor_.fail_here(std::string("unexpected text in ") + what);
}

/* The number, and possibly mask, behind the keyword that is next. */
bool PolicyLine::next_masked(uint32_t limit, const char *what, uint16_t *value, uint16_t *mask) {
    uint32_t wide_value = 0;
    uint32_t wide_mask = 0;
    cursor_.word();
    if (!cursor_.space_before(what) ||
        !take_masked(cursor_, limit, what, &wide_value, &wide_mask) || !ends_here(what)) {
        return false;
    }
    *value = static_cast<uint16_t>(wide_value);
    *mask = static_cast<uint16_t>(wide_mask);
    return true;
}

/* Whether white space and that word are next; the space is stepped over either way. */
bool PolicyLine::at_option(const char *word) {
    cursor_.skip_space();
    return at_word(word);
}

bool PolicyLine::take_priority() {
    if (!at_word("priority")) {
        return true;
    }
    uint32_t priority = 0;
    rule.priority_at = place();
    if (!next_number("priority", UINT32_MAX, "a priority", &priority) ||
        !cursor_.space_before("the action")) {
        return false;
    }
    rule.priority = priority;
    return true;
}

bool PolicyLine::take_action() {
    if (at_word("verdict")) {
        uint32_t number = 0;
        if (!next_number("verdict", UINT32_MAX, "a verdict", &number)) {
            return false;
        }
        rule.verdict = static_cast<Verdict>(number);
    } else if (at_word("forward")) {
        rule.verdict = Verdict::kPermit;
        return take_forward();
    } else {
        rule.verdict = verdict_from_name(cursor_.peek_word());
        if (!rule.verdict) {
            return cursor_.fail_here("expected an action: permit, drop, trap or forward");
        }
        cursor_.word();
    }
    if (!cursor_.space_before("what to match")) {
        return false;
    }
    return !at_word("forward") || take_forward();
}

bool PolicyLine::take_forward() {
    cursor_.word();
    if (!cursor_.space_before("'port' or 'mc'")) {
        return false;
    }
    uint32_t number = 0;
    if (at_word("mc")) {
        if (!next_number("mc", UINT32_MAX, "an MC group", &number)) {
            return false;
        }
        rule.targets.forward_mc = number;
    } else if (at_word("port")) {
        if (!next_number("port", UINT32_MAX, "a logical port", &number)) {
            return false;
        }
        rule.targets.forward_port = number;
    } else {
        return cursor_.fail_here("expected 'port' or 'mc': where to forward to");
    }
    rule.forward_at = number_at_;
    return cursor_.space_before("what to match");
}

bool PolicyLine::take_match() {
    if (at_word("mac")) {
        return take_mac();
    }
    return at_word("key") ? take_raw() : take_ip();
}

/* [ip4|ip6] and a protocol, of which one may be missing; then the two ends. */
bool PolicyLine::take_ip() {
    const size_t start = cursor_.position();
    const std::string_view first = cursor_.peek_word();
    if (first == "ip" || first == "ip4" || first == "ip6") {
        cursor_.word();
        family_ = first == "ip4"   ? AddressFamily::kIpv4
                  : first == "ip6" ? AddressFamily::kIpv6
                                   : AddressFamily::kAny;
        if (!cursor_.space_before("'from'")) {
            return false;
        }
        if (!at_word("from") && (first == "ip" || !take_protocol())) {
            return first == "ip" ? cursor_.fail_here("expected 'from'") : false;
        }
    } else if (!take_protocol()) {
        return false;
    }
    if (!take_end("from", false, &rule.source) || !take_port(&rule.source_ports) ||
        !take_end("to", false, &rule.destination) || !take_port(&rule.destination_ports) ||
        !take_family(start)) {
        return false;
    }
    return !at_option("flags") ||
           next_masked(0xFFFF, "a flags field", &rule.flags, &rule.flags_mask);
}

/* A protocol and the white space behind it. */
bool PolicyLine::take_protocol() {
    const size_t start = cursor_.position();
    const std::string_view word = cursor_.peek_word();
    if (word == "proto") {
        uint32_t value = 0;
        uint32_t mask = 0;
        cursor_.word();
        if (!cursor_.space_before("a protocol") ||
            !take_masked(cursor_, 0xFF, "a protocol", &value, &mask)) {
            return false;
        }
        rule.protocol = static_cast<uint8_t>(value);
        rule.protocol_mask = static_cast<uint8_t>(mask);
        return cursor_.space_before("'from'");
    }
    const ProtocolName *named = find_protocol(word);
    if (named == nullptr) {
        return cursor_.fail(start,
                            "expected what to match: ip, tcp, udp, icmp, icmp6, proto N, mac or "
                            "key");
    }
    if (!take_version_of(*named, &family_)) {
        return cursor_.fail(start, other_version(*named));
    }
    rule.protocol = named->number;
    rule.protocol_mask = 0xFF;
    cursor_.word();
    return cursor_.space_before("'from'");
}

/* "from" or "to" and an address of the rule's kind; the first one tells the version of IP. */
bool PolicyLine::take_end(const char *keyword, bool mac, AddressPrefix *prefix) {
    if (!at_word(keyword)) {
        return cursor_.fail_here(std::string("expected '") + keyword + "'");
    }
    cursor_.word();
    if (!cursor_.space_before("an address")) {
        return false;
    }
    const size_t start = cursor_.position();
    ReadAddress address;
    if (!take_address(cursor_, &address)) {
        return false;
    }
    const bool is_mac = address.family == AddressFamily::kMac;
    if (address.family != AddressFamily::kAny && is_mac != mac) {
        return cursor_.fail(
            start, mac ? "a 'mac' rule matches MAC addresses" : "a MAC address needs a 'mac' rule");
    }
    if (!mac && address.family != AddressFamily::kAny) {
        if (family_ != AddressFamily::kAny && family_ != address.family) {
            return cursor_.fail(start, family_ == AddressFamily::kIpv4
                                           ? "an IPv6 address in an IPv4 rule"
                                           : "an IPv4 address in an IPv6 rule");
        }
        family_ = address.family;
    }
    *prefix = address.prefix;
    masked = masked || address.masked;
    cursor_.skip_space();
    return true;
}

bool PolicyLine::take_port(PortRange *range) {
    if (!at_word("port")) {
        return true;
    }
    cursor_.word();
    if (!cursor_.space_before("a port") || !take_ports(cursor_, range) || !ends_here("a port")) {
        return false;
    }
    cursor_.skip_space();
    return true;
}

bool PolicyLine::take_family(size_t start) {
    if (family_ == AddressFamily::kAny) {
        return cursor_.fail(start, "both ends are 'any': say ip4 or ip6 before the protocol");
    }
    rule.kind = family_ == AddressFamily::kIpv4 ? RuleKind::kIpv4 : RuleKind::kIpv6;
    return true;
}

bool PolicyLine::take_mac() {
    rule.kind = RuleKind::kMac;
    cursor_.word();
    if (!cursor_.space_before("'from'") || !take_end("from", true, &rule.source) ||
        !take_end("to", true, &rule.destination)) {
        return false;
    }
    if (at_option("vlan") && !next_masked(0xFFF, "a VLAN id", &rule.vlan, &rule.vlan_mask)) {
        return false;
    }
    return !at_option("type") ||
           next_masked(0xFFFF, "an EtherType", &rule.ethertype, &rule.ethertype_mask);
}

bool PolicyLine::take_raw() {
    auto raw = std::make_shared<RawMatch>();
    rule.kind = RuleKind::kRaw;
    cursor_.word();
    if (!cursor_.space_before("key and mask") || !take_key_bytes(cursor_, "a key", &raw->key) ||
        !cursor_.character(':', "expected ':' and a mask") ||
        !take_key_bytes(cursor_, "a mask", &raw->mask) || !cursor_.space_before("'type'") ||
        !next_number("type", 3, "a key type", &raw->key_type)) {
        return false;
    }
    rule.raw = std::move(raw);
    return true;
}

bool PolicyLine::take_count() {
    if (!at_option("count")) {
        return true;
    }
    rule.counter_at = place();
    cursor_.word();
    if (!cursor_.space_before("a counter")) {
        return false;
    }
    const size_t start = cursor_.position();
    if (!cursor_.number(UINT32_MAX, "a counter", &rule.targets.counter_id) ||
        !ends_here("a counter")) {
        return false;
    }
    return rule.targets.counter_id != 0 || cursor_.fail(start, "there is no counter 0");
}

bool PolicyLine::take() {
    rule.at = place();
    if (!take_priority() || !take_action() || !take_match() || !take_count()) {
        return false;
    }
    cursor_.skip_space();
    return cursor_.at_end() || cursor_.fail_here("unexpected text after the rule");
}

}  // namespace

std::optional<RuleFileError> parse_policy_line(std::string_view line, RuleFile *file) {
    PolicyLine reader(line, file->lines_num);
    if (reader.empty()) {
        return std::nullopt;
    }
    if (!reader.take()) {
        return reader.error(line);
    }
    add_rule(std::move(reader.rule), reader.masked, file);
    return std::nullopt;
}

}  // namespace aclrmctl
