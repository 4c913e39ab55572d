#include "rule_fields.h"

#include <arpa/inet.h>

#include <algorithm>

namespace aclrmctl {

namespace {

bool take_octets(TextCursor &cursor, AddressPrefix *prefix) {
    for (size_t octet = 0; octet < 4; octet++) {
        uint32_t value = 0;
        if ((octet > 0 && !cursor.character('.', "expected '.': an address has four octets")) ||
            !cursor.decimal(255, "an octet of an address", &value)) {
            return false;
        }
        prefix->bytes[octet] = static_cast<uint8_t>(value);
    }
    return true;
}

/* The length behind the slash that is next; without one the whole address counts. */
bool take_length(TextCursor &cursor, uint32_t bits, ReadAddress *address) {
    uint32_t length = bits;
    if (cursor.skip('/') && !cursor.decimal(bits, "a prefix length", &length)) {
        return false;
    }
    address->prefix.length = static_cast<uint8_t>(length);
    address->masked = clear_host_bits(&address->prefix);
    return true;
}

bool take_ipv6_prefix(TextCursor &cursor, ReadAddress *address) {
    const size_t start = cursor.position();
    const std::string_view token = cursor.peek_token();
    const std::string text(token.substr(0, token.find('/')));
    /* A NUL would end the text early for the C library, not for the reader of the file. */
    if (text.find('\0') != std::string::npos ||
        inet_pton(AF_INET6, text.c_str(), address->prefix.bytes.data()) != 1) {
        return cursor.fail(start, "expected an IPv6 address, such as 2001:db8::/32");
    }
    for (size_t i = 0; i < text.size(); i++) {
        cursor.skip(text[i]);
    }
    address->family = AddressFamily::kIpv6;
    return take_length(cursor, 128, address);
}

bool take_mac_prefix(TextCursor &cursor, ReadAddress *address) {
    for (size_t i = 0; i < 6; i++) {
        uint32_t value = 0;
        size_t digits_num = 0;
        if (i > 0 && !cursor.character(':', "expected ':': a MAC address has six bytes")) {
            return false;
        }
        for (; digits_num < 2 && !cursor.at_end(); digits_num++) {
            const char c = cursor.rest().front();
            if (digit_value(c, 16) < 0) {
                break;
            }
            value = value * 16 + static_cast<uint32_t>(digit_value(c, 16));
            cursor.skip(c);
        }
        if (digits_num == 0) {
            return cursor.fail_here(
                "expected a byte of a MAC address, as one or two hexadecimal "
                "digits");
        }
        address->prefix.bytes[i] = static_cast<uint8_t>(value);
    }
    address->family = AddressFamily::kMac;
    return take_length(cursor, 48, address);
}

/* The end of an address is that of its word; what hangs on it is a slip. */
bool ends_here(TextCursor &cursor) {
    return cursor.peek_token().empty() || cursor.fail_here("unexpected text in an address");
}

}  // namespace

bool clear_host_bits(AddressPrefix *prefix) {
    bool had_any = false;
    for (size_t i = 0; i < prefix->bytes.size(); i++) {
        const size_t kept =
            std::min<size_t>(8, prefix->length > i * 8 ? prefix->length - i * 8 : 0);
        const auto mask = static_cast<uint8_t>(0xFF00 >> kept);
        had_any = had_any || (prefix->bytes[i] & ~mask) != 0;
        prefix->bytes[i] &= mask;
    }
    return had_any;
}

bool take_ipv4_prefix(TextCursor &cursor, bool needs_length, ReadAddress *address) {
    address->family = AddressFamily::kIpv4;
    if (!take_octets(cursor, &address->prefix)) {
        return false;
    }
    if (needs_length && (cursor.at_end() || cursor.rest().front() != '/')) {
        return cursor.fail_here("expected '/' and a prefix length");
    }
    return take_length(cursor, 32, address);
}

bool take_address(TextCursor &cursor, ReadAddress *address) {
    *address = {};
    if (cursor.peek_token() == "any") {
        cursor.token();
        return true;
    }
    const std::string_view token = cursor.peek_token();
    const std::string_view text = token.substr(0, token.find('/'));
    const auto colons = std::count(text.begin(), text.end(), ':');
    bool taken = false;
    if (colons == 5 && text.find("::") == std::string_view::npos) {
        taken = take_mac_prefix(cursor, address);
    } else if (colons > 0) {
        taken = take_ipv6_prefix(cursor, address);
    } else if (!text.empty() && digit_value(text.front(), 10) >= 0) {
        taken = take_ipv4_prefix(cursor, false, address);
    } else {
        return cursor.fail_here("expected an address, a prefix or any");
    }
    return taken && ends_here(cursor);
}

bool take_ports(TextCursor &cursor, PortRange *range) {
    const size_t start = cursor.position();
    uint32_t low = 0;
    if (!cursor.decimal(0xFFFF, "a port", &low)) {
        return false;
    }
    uint32_t high = low;
    if (cursor.skip('-') && !cursor.decimal(0xFFFF, "a port", &high)) {
        return false;
    }
    if (low > high) {
        return cursor.fail(start, "the port range begins at " + std::to_string(low) +
                                      ", above its end " + std::to_string(high));
    }
    *range = {static_cast<uint16_t>(low), static_cast<uint16_t>(high)};
    return true;
}

bool take_masked(TextCursor &cursor, uint32_t limit, const char *what, uint32_t *value,
                 uint32_t *mask) {
    *mask = limit;
    if (!cursor.number(limit, what, value)) {
        return false;
    }
    if (cursor.skip('/') && !cursor.number(limit, "a mask", mask)) {
        return false;
    }
    *value &= *mask;
    return true;
}

bool take_key_bytes(TextCursor &cursor, const char *what, KeyBytes *bytes) {
    bytes->fill(0);
    const size_t start = cursor.position();
    size_t digits_num = 0;
    for (; !cursor.at_end(); digits_num++) {
        const char c = cursor.rest().front();
        const int digit = digit_value(c, 16);
        if (digit < 0) {
            break;
        }
        if (digits_num == bytes->size() * 2) {
            return cursor.fail_here(std::string(what) + " has at most 128 bytes");
        }
        uint8_t &byte = (*bytes)[digits_num / 2];
        byte = static_cast<uint8_t>(byte | digit << (digits_num % 2 == 0 ? 4 : 0));
        cursor.skip(c);
    }
    if (digits_num == 0) {
        return cursor.fail(start,
                           std::string("expected ") + what + " in hexadecimal digits, two a byte");
    }
    return digits_num % 2 == 0 ||
           cursor.fail_here(std::string("the last byte of ") + what + " has one digit");
}

}  // namespace aclrmctl
