/* Rules as JSON: {"rules": [{"action": "permit", "match": {...}}, ...]}.
 *
 * Each member has one row in a table; which of them a match may have depends on what it matches.
 * A value that is wrong is named by its pointer, and its place in the text shown. */
#include "json_text.h"
#include "protocols.h"
#include "rule_fields.h"

namespace aclrmctl {

namespace {

/* Lines counted once: places come in the order of the text. */
class LineCounter {
  public:
    explicit LineCounter(std::string_view text) : text_(text) {}

    FilePlace place(size_t at) {
        for (; at_ < at; at_++) {
            if (text_[at_] == '\n') {
                line_++;
                line_start_ = at_ + 1;
            }
        }
        return {line_, static_cast<uint32_t>(at - line_start_ + 1)};
    }

  private:
    std::string_view text_;
    size_t at_ = 0;
    size_t line_start_ = 0;
    uint32_t line_ = 1;
};

/* One rule on its way from its object. */
class JsonRule {
  public:
    JsonRule(const LineCounter &lines, std::string path) : lines_(lines), path_(std::move(path)) {}

    bool take(const JsonValue &value);

    FilterRule rule;
    bool masked = false;
    JsonError error{};

  private:
    using Reader = bool (JsonRule::*)(const JsonValue &value);
    enum : unsigned { kIp = 1, kMac = 2, kRaw = 4 };
    struct Member {
        const char *name;
        Reader read;
        unsigned kinds; /* of match that may have it */
    };
    static const Member kRuleMembers[];
    static const Member kForwardMembers[];
    static const Member kMatchMembers[];

    bool fail(const JsonValue &value, std::string message);
    bool fail_inside(const JsonValue &value, const TextCursor &cursor);
    template <size_t Count>
    bool take_members(const JsonValue &object, const Member (&known)[Count], unsigned kinds);
    bool is_kind(const JsonValue &value, JsonKind kind);
    template <typename Take>
    bool with_text(const JsonValue &value, Take take);
    bool number(const JsonValue &value, const char *what, uint32_t *stored);
    bool masked_number(const JsonValue &value, uint32_t limit, const char *what, uint16_t *stored,
                       uint16_t *mask);

    bool take_priority(const JsonValue &value);
    bool take_action(const JsonValue &value);
    bool take_counter(const JsonValue &value);
    bool take_forward(const JsonValue &value);
    bool take_forward_port(const JsonValue &value);
    bool take_forward_mc(const JsonValue &value);
    bool take_match(const JsonValue &value);
    bool take_family(const JsonValue &value);
    bool take_source(const JsonValue &value);
    bool take_destination(const JsonValue &value);
    bool take_address_of(const JsonValue &value, AddressPrefix *prefix);
    bool take_protocol(const JsonValue &value);
    bool take_port(const JsonValue &value, PortRange *range);
    bool take_source_port(const JsonValue &value);
    bool take_destination_port(const JsonValue &value);
    bool take_flags(const JsonValue &value);
    bool take_vlan(const JsonValue &value);
    bool take_ethertype(const JsonValue &value);
    bool take_key(const JsonValue &value);
    bool take_mask(const JsonValue &value);
    bool take_key_type(const JsonValue &value);

    LineCounter lines_; /* from the rule's first character on */
    std::string path_;
    AddressFamily family_ = AddressFamily::kAny;
    std::shared_ptr<RawMatch> raw_ = std::make_shared<RawMatch>();
    const JsonValue *action_ = nullptr;
};

const JsonRule::Member JsonRule::kRuleMembers[] = {{"priority", &JsonRule::take_priority, 0},
                                                   {"action", &JsonRule::take_action, 0},
                                                   {"forward", &JsonRule::take_forward, 0},
                                                   {"match", &JsonRule::take_match, 0},
                                                   {"counter", &JsonRule::take_counter, 0}};

const JsonRule::Member JsonRule::kForwardMembers[] = {{"port", &JsonRule::take_forward_port, 0},
                                                      {"mc", &JsonRule::take_forward_mc, 0}};

/* In the order in which they are read: the family first, so that protocol and addresses are held
 * against it. */
const JsonRule::Member JsonRule::kMatchMembers[] = {
    {"family", &JsonRule::take_family, kIp | kMac},
    {"protocol", &JsonRule::take_protocol, kIp},
    {"src", &JsonRule::take_source, kIp | kMac},
    {"src_port", &JsonRule::take_source_port, kIp},
    {"dst", &JsonRule::take_destination, kIp | kMac},
    {"dst_port", &JsonRule::take_destination_port, kIp},
    {"flags", &JsonRule::take_flags, kIp},
    {"vlan", &JsonRule::take_vlan, kMac},
    {"ethertype", &JsonRule::take_ethertype, kMac},
    {"key", &JsonRule::take_key, kRaw},
    {"mask", &JsonRule::take_mask, kRaw},
    {"key_type", &JsonRule::take_key_type, kRaw}};

bool JsonRule::fail(const JsonValue &value, std::string message) {
    error = {value.at, std::move(message), path_};
    return false;
}

/* An error within a string points at its character, where that can be found. */
bool JsonRule::fail_inside(const JsonValue &value, const TextCursor &cursor) {
    const size_t inside =
        value.kind == JsonKind::kString && !value.escaped ? 1 + cursor.error_position() : 0;
    error = {value.at + inside, cursor.message(), path_};
    return false;
}

const JsonValue *find_member(const JsonValue &object, std::string_view name) {
    for (const JsonMember &member : object.members) {
        if (member.name == name) {
            return &member.value;
        }
    }
    return nullptr;
}

template <size_t Count>
bool JsonRule::take_members(const JsonValue &object, const Member (&known)[Count], unsigned kinds) {
    const std::string path = path_;
    const auto allowed = [&](const Member &row) { return kinds == 0 || (row.kinds & kinds) != 0; };
    for (const JsonMember &member : object.members) {
        bool found = false;
        std::string names;
        for (const Member &row : known) {
            found = found || (allowed(row) && member.name == row.name);
            names += !allowed(row) ? "" : (names.empty() ? "" : ", ") + std::string(row.name);
        }
        if (!found) {
            error = {member.at, "unknown member here; there may be " + names,
                     json_path(path, member.name)};
            return false;
        }
    }
    for (const Member &row : known) {
        const JsonValue *value = find_member(object, row.name);
        if (value == nullptr) {
            continue;
        }
        path_ = json_path(path, row.name);
        if (!(this->*row.read)(*value)) {
            return false;
        }
    }
    path_ = path;
    return true;
}

bool JsonRule::is_kind(const JsonValue &value, JsonKind kind) {
    return value.kind == kind || fail(value, std::string("expected ") + json_kind_name(kind) +
                                                 ", not " + json_kind_name(value.kind));
}

/* Reads the text of a string, or of a number as it is written, to its end. */
template <typename Take>
bool JsonRule::with_text(const JsonValue &value, Take take) {
    if (value.kind != JsonKind::kString && value.kind != JsonKind::kNumber) {
        return fail(
            value, std::string("expected a string or a number, not ") + json_kind_name(value.kind));
    }
    TextCursor cursor(value.text, false);
    if (!take(cursor) || (!cursor.at_end() && !cursor.fail_here("unexpected text in the value"))) {
        return fail_inside(value, cursor);
    }
    return true;
}

bool JsonRule::number(const JsonValue &value, const char *what, uint32_t *stored) {
    return with_text(value,
                     [&](TextCursor &cursor) { return cursor.number(UINT32_MAX, what, stored); });
}

bool JsonRule::masked_number(const JsonValue &value, uint32_t limit, const char *what,
                             uint16_t *stored, uint16_t *mask) {
    uint32_t wide_value = 0;
    uint32_t wide_mask = 0;
    const bool taken = with_text(value, [&](TextCursor &cursor) {
        return aclrmctl::take_masked(cursor, limit, what, &wide_value, &wide_mask);
    });
    *stored = static_cast<uint16_t>(wide_value);
    *mask = static_cast<uint16_t>(wide_mask);
    return taken;
}

bool JsonRule::take_priority(const JsonValue &value) {
    uint32_t priority = 0;
    rule.priority_at = LineCounter(lines_).place(value.at);
    const bool taken = number(value, "a priority", &priority);
    rule.priority = priority;
    return taken;
}

bool JsonRule::take_action(const JsonValue &value) {
    if (value.kind == JsonKind::kNumber) {
        uint32_t verdict = 0;
        const bool taken = number(value, "a verdict", &verdict);
        rule.verdict = static_cast<Verdict>(verdict);
        return taken;
    }
    action_ = &value;
    rule.verdict = value.text == "forward" ? Verdict::kPermit : verdict_from_name(value.text);
    if (!is_kind(value, JsonKind::kString)) {
        return false;
    }
    return rule.verdict.has_value() ||
           fail(value, "unknown action: expected permit, drop, trap or forward");
}

bool JsonRule::take_counter(const JsonValue &value) {
    rule.counter_at = LineCounter(lines_).place(value.at);
    if (!number(value, "a counter", &rule.targets.counter_id)) {
        return false;
    }
    return rule.targets.counter_id != 0 || fail(value, "there is no counter 0");
}

bool JsonRule::take_forward(const JsonValue &value) {
    if (!is_kind(value, JsonKind::kObject)) {
        return false;
    }
    if (value.members.size() != 1) {
        return fail(value, "expected one member, port or mc");
    }
    return take_members(value, kForwardMembers, 0);
}

bool JsonRule::take_forward_port(const JsonValue &value) {
    uint32_t port = 0;
    rule.forward_at = LineCounter(lines_).place(value.at);
    const bool taken = number(value, "a logical port", &port);
    rule.targets.forward_port = port;
    return taken;
}

bool JsonRule::take_forward_mc(const JsonValue &value) {
    uint32_t group = 0;
    rule.forward_at = LineCounter(lines_).place(value.at);
    const bool taken = number(value, "an MC group", &group);
    rule.targets.forward_mc = group;
    return taken;
}

/* The family's word for MAC; a string of another shape is its reader's to complain of. */
bool is_mac_text(const JsonValue *value) {
    ReadAddress address;
    if (value == nullptr || value->kind != JsonKind::kString) {
        return false;
    }
    TextCursor cursor(value->text, false);
    return aclrmctl::take_address(cursor, &address) && address.family == AddressFamily::kMac;
}

bool names_mac(const JsonValue &match) {
    const JsonValue *family = find_member(match, "family");
    return family != nullptr ? family->text == "mac"
                             : find_member(match, "vlan") != nullptr ||
                                   find_member(match, "ethertype") != nullptr ||
                                   is_mac_text(find_member(match, "src")) ||
                                   is_mac_text(find_member(match, "dst"));
}

bool JsonRule::take_match(const JsonValue &value) {
    if (!is_kind(value, JsonKind::kObject)) {
        return false;
    }
    if (find_member(value, "key") != nullptr || find_member(value, "mask") != nullptr) {
        rule.kind = RuleKind::kRaw;
        if (!take_members(value, kMatchMembers, kRaw)) {
            return false;
        }
        for (const char *name : {"key", "mask", "key_type"}) {
            if (find_member(value, name) == nullptr) {
                return fail(value, std::string("key, mask and key_type belong together; there is "
                                               "no ") +
                                       name);
            }
        }
        rule.raw = raw_;
        return true;
    }
    if (names_mac(value)) {
        rule.kind = RuleKind::kMac;
        family_ = AddressFamily::kMac;
        return take_members(value, kMatchMembers, kMac);
    }
    if (!take_members(value, kMatchMembers, kIp)) {
        return false;
    }
    if (family_ == AddressFamily::kAny) {
        return fail(value, "neither end has an address: say \"family\": \"ip4\" or \"ip6\"");
    }
    rule.kind = family_ == AddressFamily::kIpv4 ? RuleKind::kIpv4 : RuleKind::kIpv6;
    return true;
}

bool JsonRule::take_family(const JsonValue &value) {
    if (!is_kind(value, JsonKind::kString)) {
        return false;
    }
    if (value.text == "ip4") {
        family_ = AddressFamily::kIpv4;
    } else if (value.text == "ip6") {
        family_ = AddressFamily::kIpv6;
    } else if (value.text != "mac") {
        return fail(value, "unknown family: expected ip4, ip6 or mac");
    }
    return true;
}

bool JsonRule::take_source(const JsonValue &value) {
    return take_address_of(value, &rule.source);
}

bool JsonRule::take_destination(const JsonValue &value) {
    return take_address_of(value, &rule.destination);
}

bool JsonRule::take_address_of(const JsonValue &value, AddressPrefix *prefix) {
    ReadAddress address;
    if (!is_kind(value, JsonKind::kString) || !with_text(value, [&](TextCursor &cursor) {
            return aclrmctl::take_address(cursor, &address);
        })) {
        return false;
    }
    if (address.family != AddressFamily::kAny) {
        if (family_ != AddressFamily::kAny && family_ != address.family) {
            return fail(value, "the address is of another family than the rule");
        }
        family_ = address.family;
    }
    *prefix = address.prefix;
    masked = masked || address.masked;
    return true;
}

bool JsonRule::take_protocol(const JsonValue &value) {
    const ProtocolName *named =
        value.kind == JsonKind::kString ? find_protocol(value.text) : nullptr;
    if (named != nullptr) {
        rule.protocol = named->number;
        rule.protocol_mask = 0xFF;
        return take_version_of(*named, &family_) || fail(value, other_version(*named));
    }
    uint16_t number = 0;
    uint16_t mask = 0;
    if (!masked_number(value, 0xFF, "a protocol (tcp, udp, icmp, icmp6 or a number)", &number,
                       &mask)) {
        return false;
    }
    rule.protocol = static_cast<uint8_t>(number);
    rule.protocol_mask = static_cast<uint8_t>(mask);
    return true;
}

bool JsonRule::take_port(const JsonValue &value, PortRange *range) {
    return with_text(value, [&](TextCursor &cursor) { return take_ports(cursor, range); });
}

bool JsonRule::take_source_port(const JsonValue &value) {
    return take_port(value, &rule.source_ports);
}

bool JsonRule::take_destination_port(const JsonValue &value) {
    return take_port(value, &rule.destination_ports);
}

bool JsonRule::take_flags(const JsonValue &value) {
    return masked_number(value, 0xFFFF, "a flags field", &rule.flags, &rule.flags_mask);
}

bool JsonRule::take_vlan(const JsonValue &value) {
    return masked_number(value, 0xFFF, "a VLAN id", &rule.vlan, &rule.vlan_mask);
}

bool JsonRule::take_ethertype(const JsonValue &value) {
    return masked_number(value, 0xFFFF, "an EtherType", &rule.ethertype, &rule.ethertype_mask);
}

bool JsonRule::take_key(const JsonValue &value) {
    return is_kind(value, JsonKind::kString) && with_text(value, [&](TextCursor &cursor) {
               return take_key_bytes(cursor, "a key", &raw_->key);
           });
}

bool JsonRule::take_mask(const JsonValue &value) {
    return is_kind(value, JsonKind::kString) && with_text(value, [&](TextCursor &cursor) {
               return take_key_bytes(cursor, "a mask", &raw_->mask);
           });
}

bool JsonRule::take_key_type(const JsonValue &value) {
    return with_text(
        value, [&](TextCursor &cursor) { return cursor.number(3, "a key type", &raw_->key_type); });
}

bool JsonRule::take(const JsonValue &value) {
    if (!is_kind(value, JsonKind::kObject)) {
        return false;
    }
    rule.at = LineCounter(lines_).place(value.at);
    if (!take_members(value, kRuleMembers, 0)) {
        return false;
    }
    if (find_member(value, "match") == nullptr) {
        return fail(value, "the rule has no match");
    }
    const bool forwards = rule.targets.forward_port || rule.targets.forward_mc;
    if (action_ != nullptr && action_->text == "forward" && !forwards) {
        return fail(*action_, "the action is forward, and there is no member forward");
    }
    return true;
}

std::optional<RuleFileError> told(std::string_view text, const JsonError &error) {
    RuleFileError told = error_at(text, place_of(text, error.at), error.message);
    told.path = error.path;
    return told;
}

/* The array of rules, or what the text has in its place. */
std::optional<JsonError> find_rules(const JsonValue &root, const JsonValue **rules) {
    if (root.kind != JsonKind::kObject) {
        return JsonError{root.at, "expected an object with a member rules", ""};
    }
    for (const JsonMember &member : root.members) {
        if (member.name != "rules") {
            return JsonError{member.at, "unknown member here; there may be rules",
                             json_path("", member.name)};
        }
        *rules = &member.value;
    }
    if (*rules == nullptr) {
        return JsonError{root.at, "expected an object with a member rules", ""};
    }
    if ((*rules)->kind != JsonKind::kArray) {
        return JsonError{(*rules)->at,
                         std::string("expected an array, not ") + json_kind_name((*rules)->kind),
                         "/rules"};
    }
    return std::nullopt;
}

}  // namespace

std::optional<RuleFileError> parse_json_rules(std::string_view text, RuleFile *file) {
    JsonValue root;
    file->lines_num = place_of(text, text.size()).line;
    file->lines_num -= text.empty() || text.back() == '\n' ? 1u : 0u;
    if (const auto error = parse_json_text(text, &root)) {
        return told(text, *error);
    }
    const JsonValue *rules = nullptr;
    if (const auto error = find_rules(root, &rules)) {
        return told(text, *error);
    }
    LineCounter lines(text);
    for (size_t i = 0; i < rules->items.size(); i++) {
        lines.place(rules->items[i].at);
        JsonRule reader(lines, json_path("/rules", std::to_string(i)));
        if (!reader.take(rules->items[i])) {
            return told(text, reader.error);
        }
        add_rule(std::move(reader.rule), reader.masked, file);
    }
    return std::nullopt;
}

}  // namespace aclrmctl
