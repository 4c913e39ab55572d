#include "match_words.h"

#include "number_list.h"
#include "protocols.h"
#include "text_cursor.h"

namespace aclrmctl {

namespace {

constexpr size_t kShownPrefixes = 6; /* in an error */

std::string quoted(const std::string &text) {
    return "'" + text + "'";
}

/* A field of a rule file, alone in a word. */
template <typename Take>
bool takes_all(const std::string &text, Take take) {
    TextCursor cursor(text, false);
    return take(cursor) && cursor.at_end();
}

bool read_masked(const std::string &text, uint32_t limit, uint32_t *value, uint32_t *mask) {
    return takes_all(text, [&](TextCursor &cursor) {
        return take_masked(cursor, limit, "a number", value, mask);
    });
}

bool read_masked16(const std::string &text, uint32_t limit, uint16_t *value, uint16_t *mask) {
    uint32_t wide_value = 0;
    uint32_t wide_mask = 0;
    if (text != "any" && !read_masked(text, limit, &wide_value, &wide_mask)) {
        return false;
    }
    *value = static_cast<uint16_t>(wide_value);
    *mask = static_cast<uint16_t>(wide_mask);
    return true;
}

std::string port_run(const PortPrefix &prefix) {
    const PortRange range = port_range(prefix);
    return std::to_string(range.low) +
           (range.low == range.high ? "" : "-" + std::to_string(range.high));
}

/* " (1, 2-3, 4-7)", nothing where they are too many for a line. */
std::string shown_prefixes(const std::vector<PortPrefix> &prefixes) {
    std::string shown;
    for (const PortPrefix &prefix : prefixes) {
        shown += (shown.empty() ? " (" : ", ") + port_run(prefix);
    }
    return prefixes.size() > kShownPrefixes ? "" : shown + ")";
}

}  // namespace

std::string read_prefix(const std::string &text, ReadAddress *address) {
    const bool taken =
        takes_all(text, [&](TextCursor &cursor) { return take_address(cursor, address); });
    return taken && address->family != AddressFamily::kMac
               ? ""
               : quoted(text) + " is no IP address or prefix (10.0.0.0/8, 2001:db8::/32)";
}

std::string read_mac_prefix(const std::string &text, ReadAddress *address) {
    const bool taken =
        takes_all(text, [&](TextCursor &cursor) { return take_address(cursor, address); });
    const bool is_ip =
        address->family == AddressFamily::kIpv4 || address->family == AddressFamily::kIpv6;
    return taken && !is_ip ? ""
                           : quoted(text) + " is no MAC address or prefix (02:00:00:00:00:00/16)";
}

std::string read_port_prefix(const std::string &text, PortPrefix *prefix) {
    uint32_t low = 0;
    uint32_t high = 0xFFFF;
    if (text != "any") {
        const size_t dash = text.find('-');
        if (!read_number(text.substr(0, dash), &low) ||
            !read_number(dash == std::string::npos ? text : text.substr(dash + 1), &high) ||
            high > 0xFFFF) {
            return quoted(text) + " is neither a port nor a range of them (1024-2047)";
        }
        if (low > high) {
            return "the range " + quoted(text) + " ends before it begins";
        }
    }
    const auto prefixes =
        split_port_range({static_cast<uint16_t>(low), static_cast<uint16_t>(high)});
    if (prefixes.size() > 1) {
        return quoted(text) + " is no prefix, it needs " + std::to_string(prefixes.size()) +
               " rules" + shown_prefixes(prefixes) + "; 'rule load' makes them";
    }
    *prefix = prefixes.front();
    return "";
}

std::string read_protocol(const std::string &text, AddressFamily *version, uint8_t *protocol,
                          uint8_t *mask) {
    *protocol = *mask = 0;
    if (text == "any") {
        return "";
    }
    *mask = 0xFF;
    if (const ProtocolName *named = find_protocol(text); named != nullptr) {
        *protocol = named->number;
        return take_version_of(*named, version) ? "" : other_version(*named);
    }
    uint32_t number = 0;
    if (!takes_all(
            text, [&](TextCursor &cursor) { return cursor.number(0xFF, "a protocol", &number); })) {
        return quoted(text) + " is no protocol: tcp, udp, icmp, icmp6, any or a number up to 255";
    }
    *protocol = static_cast<uint8_t>(number);
    return "";
}

std::string read_flags(const std::string &text, uint16_t *flags, uint16_t *mask) {
    return text != "any" && read_masked16(text, 0xFFFF, flags, mask)
               ? ""
               : quoted(text) + " is no FLAGS/MASK (0x02/0x12), each up to 0xffff";
}

std::string read_vlan(const std::string &text, uint16_t *vlan, uint16_t *mask) {
    return read_masked16(text, 0xFFF, vlan, mask)
               ? ""
               : quoted(text) + " is no VLAN id: a number up to 4095, or any";
}

std::string read_ethertype(const std::string &text, uint16_t *ethertype, uint16_t *mask) {
    return read_masked16(text, 0xFFFF, ethertype, mask)
               ? ""
               : quoted(text) + " is no EtherType: a number up to 0xffff (0x86dd), or any";
}

std::string read_key_bytes(const std::string &text, KeyBytes *bytes) {
    const bool taken =
        takes_all(text, [&](TextCursor &cursor) { return take_key_bytes(cursor, "a key", bytes); });
    return taken ? "" : quoted(text) + " is not 1 to 128 bytes as pairs of hexadecimal digits";
}

}  // namespace aclrmctl
