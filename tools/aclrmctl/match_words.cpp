#include "match_words.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include "number_list.h"

namespace aclrmctl {

namespace {

constexpr size_t kShownPrefixes = 6; /* in an error */

std::string quoted(const std::string &text) {
    return "'" + text + "'";
}

/* Hexadecimal with 0x, or decimal, as in rule files. */
bool read_either(const std::string &text, uint32_t largest, uint32_t *number) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char *start = text.data() + (hex ? 2 : 0);
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(start, end, *number, hex ? 16 : 10);
    return error == std::errc() && stop == end && *number <= largest;
}

std::string port_run(const PortPrefix &prefix) {
    const uint32_t last = prefix.value | (0xFFFFu & ~prefix.mask);
    return std::to_string(prefix.value) + (last == prefix.value ? "" : "-" + std::to_string(last));
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

std::string read_prefix(const std::string &text, Prefix *prefix) {
    if (text == "any") {
        *prefix = {};
        return "";
    }
    const size_t slash = text.find('/');
    in_addr address{};
    uint32_t length = 32;
    if (inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1 ||
        (slash != std::string::npos &&
         (!read_number(text.substr(slash + 1), &length) || length > 32))) {
        return quoted(text) + " is no IPv4 address or prefix (10.0.0.0/8)";
    }
    /* A shift by 32 is undefined, hence the 64 bits. */
    const auto mask = static_cast<uint32_t>(~uint64_t{0} << (32 - length));
    *prefix = {ntohl(address.s_addr) & mask, static_cast<uint8_t>(length)};
    return "";
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

std::string read_protocol(const std::string &text, uint8_t *protocol, uint8_t *mask) {
    uint32_t number = 0;
    if (text == "any") {
        *protocol = *mask = 0;
        return "";
    }
    if (text == "tcp" || text == "udp" || text == "icmp") {
        number = text == "tcp" ? 6 : text == "udp" ? 17 : 1;
    } else if (!read_either(text, 0xFF, &number)) {
        return quoted(text) + " is no protocol: tcp, udp, icmp, any or a number up to 255";
    }
    *protocol = static_cast<uint8_t>(number);
    *mask = 0xFF;
    return "";
}

std::string read_flags(const std::string &text, uint16_t *flags, uint16_t *mask) {
    const size_t slash = text.find('/');
    uint32_t value = 0;
    uint32_t bits = 0xFFFF;
    if (!read_either(text.substr(0, slash), 0xFFFF, &value) ||
        (slash != std::string::npos && !read_either(text.substr(slash + 1), 0xFFFF, &bits))) {
        return quoted(text) + " is no FLAGS/MASK (0x02/0x12), each up to 0xffff";
    }
    *flags = static_cast<uint16_t>(value & bits);
    *mask = static_cast<uint16_t>(bits);
    return "";
}

std::string read_key_bytes(const std::string &text, KeyBytes *bytes) {
    const size_t digits = bytes->size() * 2;
    const std::string padded = text + std::string(digits - std::min(text.size(), digits), '0');
    if (text.empty() || text.size() % 2 != 0 || !key_from_hex(padded, bytes)) {
        return quoted(text) + " is not 1 to 128 bytes as pairs of hexadecimal digits";
    }
    return "";
}

}  // namespace aclrmctl
