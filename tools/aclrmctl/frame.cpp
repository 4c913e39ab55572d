#include "frame.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace aclrmctl {

namespace {

constexpr size_t kEthernetBytes = 14;
constexpr size_t kVlanBytes = 4;
constexpr uint16_t kEtherVlan = 0x8100;
constexpr uint16_t kEtherServiceVlan = 0x88a8;
constexpr uint16_t kEtherIpv4 = 0x0800;
constexpr uint16_t kEtherIpv6 = 0x86dd;
constexpr uint16_t kVlanIdMask = 0x0fff;

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kSctp = 132;

/* A part of a packet that knows where it ends. */
struct Span {
    const uint8_t *data;
    size_t size;

    bool has(size_t bytes) const { return size >= bytes; }
    uint16_t u16(size_t at) const { return static_cast<uint16_t>(data[at] << 8 | data[at + 1]); }
    uint32_t u32(size_t at) const { return static_cast<uint32_t>(u16(at)) << 16 | u16(at + 2); }
    Span from(size_t at) const { return {data + std::min(at, size), size - std::min(at, size)}; }
};

void put_u16(KeyBytes *key, size_t at, uint16_t value) {
    (*key)[at] = static_cast<uint8_t>(value >> 8);
    (*key)[at + 1] = static_cast<uint8_t>(value);
}

/* Ports and flags, of a first fragment or a whole packet. */
struct Transport {
    uint16_t source_port = 0;
    uint16_t destination_port = 0;
    uint16_t flags = 0;
};

Transport read_transport(uint8_t protocol, const Span &part) {
    Transport transport;
    if ((protocol == kTcp || protocol == kUdp || protocol == kSctp) && part.has(4)) {
        transport.source_port = part.u16(0);
        transport.destination_port = part.u16(2);
    }
    if (protocol == kTcp && part.has(14)) {
        transport.flags = part.u16(12) & 0x0fff; /* the other four bits are the header's length */
    }
    return transport;
}

std::optional<PacketKey> ipv4_key(const Span &part) {
    if (!part.has(20) || part.data[0] >> 4 != 4) {
        return std::nullopt;
    }
    const size_t header_bytes = size_t{part.data[0] & 0x0fU} * 4;
    if (header_bytes < 20 || !part.has(header_bytes)) {
        return std::nullopt;
    }
    const uint8_t protocol = part.data[9];
    const bool first = (part.u16(6) & 0x1fff) == 0;
    const Transport transport =
        first ? read_transport(protocol, part.from(header_bytes)) : Transport{};
    return PacketKey{kKeyIpv4,
                     encode_packet({part.u32(12), part.u32(16), protocol, transport.source_port,
                                    transport.destination_port, transport.flags})};
}

/* Extension headers that may stand before the transport's. */
bool is_extension(uint8_t header) {
    constexpr uint8_t kHopByHop = 0;
    constexpr uint8_t kRouting = 43;
    constexpr uint8_t kDestination = 60;
    return header == kHopByHop || header == kRouting || header == kDestination;
}

std::optional<PacketKey> ipv6_key(const Span &part) {
    constexpr uint8_t kFragment = 44;
    if (!part.has(40) || part.data[0] >> 4 != 6) {
        return std::nullopt;
    }
    Ipv6Fields fields;
    std::copy_n(part.data + 8, 16, fields.source.begin());
    std::copy_n(part.data + 24, 16, fields.destination.begin());
    uint8_t header = part.data[6];
    Span rest = part.from(40);
    bool first = true;
    while ((is_extension(header) || header == kFragment) && rest.has(8)) {
        const bool fragment = header == kFragment;
        first = first && (!fragment || (rest.u16(2) & 0xfff8) == 0);
        header = rest.data[0];
        rest = rest.from(fragment ? 8 : size_t{rest.data[1]} * 8 + 8);
    }
    fields.protocol = header;
    if (first) {
        const Transport transport = read_transport(header, rest);
        fields.source_port = transport.source_port;
        fields.destination_port = transport.destination_port;
        fields.flags = transport.flags;
    }
    return encode_ipv6(fields);
}

std::string mac_text(const uint8_t *bytes) {
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return text;
}

std::string ipv6_text(const uint8_t *bytes) {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, bytes, text, sizeof(text));
}

std::string hex16(uint16_t number) {
    char text[8];
    std::snprintf(text, sizeof(text), "0x%04x", number);
    return text;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const int letter = c | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace

PacketKey encode_ipv6(const Ipv6Fields &fields) {
    PacketKey packet{kKeyIpv6, {}};
    std::copy(fields.source.begin(), fields.source.end(), packet.key.begin());
    std::copy(fields.destination.begin(), fields.destination.end(), packet.key.begin() + 16);
    packet.key[32] = fields.protocol;
    put_u16(&packet.key, 34, fields.source_port);
    put_u16(&packet.key, 36, fields.destination_port);
    put_u16(&packet.key, 38, fields.flags);
    return packet;
}

PacketKey encode_mac(const MacFields &fields) {
    PacketKey packet{kKeyMac, {}};
    std::copy(fields.destination.begin(), fields.destination.end(), packet.key.begin());
    std::copy(fields.source.begin(), fields.source.end(), packet.key.begin() + 6);
    put_u16(&packet.key, 12, fields.vlan);
    put_u16(&packet.key, 14, fields.ethertype);
    return packet;
}

std::string describe_packet_key(const PacketKey &packet) {
    const Span key{packet.key.data(), packet.key.size()};
    switch (packet.key_type) {
        case kKeyIpv4:
            return describe_packet(packet.key);
        case kKeyIpv6: {
            const bool ports = shows_ports(key.data[32], key.u16(34), key.u16(36));
            const auto end = [&](const uint8_t *address, uint16_t port) {
                return ports ? "[" + ipv6_text(address) + "]:" + std::to_string(port)
                             : ipv6_text(address);
            };
            return protocol_name(key.data[32], AddressFamily::kIpv6) + " " +
                   end(key.data, key.u16(34)) + " > " + end(key.data + 16, key.u16(36)) +
                   (key.u16(38) == 0 ? "" : " flags " + hex16(key.u16(38)));
        }
        case kKeyMac:
            return "mac " + mac_text(key.data + 6) + " > " + mac_text(key.data) +
                   (key.u16(12) == 0 ? "" : " vlan " + std::to_string(key.u16(12))) + " type " +
                   hex16(key.u16(14));
        default:
            return "key type " + std::to_string(packet.key_type);
    }
}

bool read_mac(const std::string &text, MacAddress *address) {
    std::vector<uint8_t> bytes;
    if (text.size() != 17 || !read_hex_bytes(text, &bytes) || bytes.size() != address->size()) {
        return false;
    }
    for (size_t i = 2; i < text.size(); i += 3) {
        if (text[i] != ':') {
            return false;
        }
    }
    std::copy(bytes.begin(), bytes.end(), address->begin());
    return true;
}

PacketKeys keys_of(LinkLayer layer, const std::vector<uint8_t> &bytes) {
    PacketKeys keys;
    Span rest{bytes.data(), bytes.size()};
    if (layer == LinkLayer::kIp) {
        keys.ip = rest.has(1) && rest.data[0] >> 4 == 6 ? ipv6_key(rest) : ipv4_key(rest);
        return keys;
    }
    if (!rest.has(kEthernetBytes)) {
        return keys;
    }
    MacFields fields;
    std::copy_n(rest.data, 6, fields.destination.begin());
    std::copy_n(rest.data + 6, 6, fields.source.begin());
    fields.ethertype = rest.u16(12);
    rest = rest.from(kEthernetBytes);
    /* Of several tags the outermost is the one a switch port sorts by. */
    for (bool outer = true;
         (fields.ethertype == kEtherVlan || fields.ethertype == kEtherServiceVlan) &&
         rest.has(kVlanBytes);
         outer = false) {
        fields.vlan = outer ? rest.u16(0) & kVlanIdMask : fields.vlan;
        fields.ethertype = rest.u16(2);
        rest = rest.from(kVlanBytes);
    }
    keys.mac = encode_mac(fields);
    if (fields.ethertype == kEtherIpv4) {
        keys.ip = ipv4_key(rest);
    } else if (fields.ethertype == kEtherIpv6) {
        keys.ip = ipv6_key(rest);
    }
    return keys;
}

std::optional<PacketKey> pick_key(const PacketKeys &keys, std::optional<uint32_t> key_type) {
    if (!key_type) {
        return keys.ip ? keys.ip : keys.mac;
    }
    for (const auto &key : {keys.ip, keys.mac}) {
        if (key && key->key_type == *key_type) {
            return key;
        }
    }
    return std::nullopt;
}

bool read_hex_bytes(const std::string &text, std::vector<uint8_t> *bytes) {
    bytes->clear();
    for (size_t i = 0; i < text.size();) {
        if (text[i] == ' ' || text[i] == ':') {
            i++;
            continue;
        }
        const int high = hex_digit(text[i]);
        const int low = i + 1 < text.size() ? hex_digit(text[i + 1]) : -1;
        if (high < 0 || low < 0) {
            return false;
        }
        bytes->push_back(static_cast<uint8_t>(high << 4 | low));
        i += 2;
    }
    return true;
}

}  // namespace aclrmctl
