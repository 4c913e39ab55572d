/* The words for packets into the simulated switch: fields, a frame, a capture or a whole key. */
#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>

#include "frame.h"
#include "protocols.h"
#include "words_parts.h"

namespace aclrmctl {

namespace {

/* Options that belong to one way of saying what the packet is. */
struct PacketWords {
    PacketRequest request;
    std::string source;
    std::string destination;
    uint32_t protocol = 0;
    const ProtocolName *named_protocol = nullptr; /* null where it was given as a number */
    uint16_t source_port = 0;
    uint16_t destination_port = 0;
    uint16_t flags = 0;
    std::string mac_source = "00:00:00:00:00:00";
    std::string mac_destination = "00:00:00:00:00:00";
    uint16_t vlan = 0;
    uint16_t ethertype = 0;
    std::string key;
    std::string frame;
    std::string capture;
    uint32_t most = PcapRequest{}.most;
    CLI::Option *port = nullptr;
    CLI::Option *rif = nullptr;
    CLI::Option *key_type = nullptr;
    CLI::Option *source_option = nullptr;
    CLI::Option *destination_option = nullptr;
    CLI::Option *as_frame = nullptr;
    CLI::Option *as_capture = nullptr;
    CLI::Option *as_key = nullptr;
    CLI::Option *length = nullptr;
    CLI::Option *count = nullptr;
    std::vector<CLI::Option *> tuple; /* fields of a 5-tuple */
    std::vector<CLI::Option *> mac;   /* fields of a MAC key */
    std::vector<CLI::Option *> whole; /* --key, --frame, --pcap */
};

/* An empty value was given all the same: it must not make the packet another one. */
bool is_given(const CLI::Option *option) {
    return option->count() > 0;
}

const CLI::Option *first_given(const std::vector<CLI::Option *> &options) {
    const auto found = std::find_if(options.begin(), options.end(), is_given);
    return found == options.end() ? nullptr : *found;
}

/* At most one way is taken. */
void check_ways(const PacketWords &words) {
    const CLI::Option *given = nullptr;
    for (const auto &way : {words.tuple, words.mac}) {
        if (const CLI::Option *option = first_given(way)) {
            if (given != nullptr) {
                throw CLI::ExcludesError(option->get_name(), given->get_name());
            }
            given = option;
        }
    }
    for (const CLI::Option *option : words.whole) {
        if (option->count() > 0) {
            if (given != nullptr) {
                throw CLI::ExcludesError(option->get_name(), given->get_name());
            }
            given = option;
        }
    }
}

bool is_ipv6(const std::string &text) {
    return text.find(':') != std::string::npos;
}

uint32_t read_ipv4(const char *option, const std::string &text) {
    in_addr address{};
    if (!text.empty() && inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw CLI::ValidationError(option, "'" + text + "' is no IPv4 address");
    }
    return ntohl(address.s_addr);
}

Ipv6Address read_ipv6(const char *option, const std::string &text) {
    Ipv6Address address{};
    if (!text.empty() && inet_pton(AF_INET6, text.c_str(), address.data()) != 1) {
        throw CLI::ValidationError(option, "'" + text + "' is no IPv6 address");
    }
    return address;
}

MacAddress read_mac_word(const char *option, const std::string &text) {
    MacAddress address{};
    if (!read_mac(text, &address)) {
        throw CLI::ValidationError(option,
                                   "'" + text + "' is no MAC address, such as 02:00:00:00:00:01");
    }
    return address;
}

/* One IPv6 address makes the other one, too. */
AddressFamily version_of_addresses(const PacketWords &words) {
    if (is_ipv6(words.source) || is_ipv6(words.destination)) {
        return AddressFamily::kIpv6;
    }
    const bool has_none = words.source.empty() && words.destination.empty();
    return has_none ? AddressFamily::kAny : AddressFamily::kIpv4;
}

/* The addresses say whether it is IPv4 or IPv6, without them the protocol does; else it is IPv4. */
PacketKey tuple_key(const PacketWords &words) {
    for (const auto &[option, text] : {std::pair(words.source_option, words.source),
                                       std::pair(words.destination_option, words.destination)}) {
        demand(option->get_name(),
               is_given(option) && text.empty() ? "'' is no IPv4 or IPv6 address" : "");
    }
    const auto protocol = static_cast<uint8_t>(words.protocol);
    AddressFamily version = version_of_addresses(words);
    const bool fits =
        words.named_protocol == nullptr || take_version_of(*words.named_protocol, &version);
    /* Asked behind the addresses, which may be none. */
    const auto check_protocol = [&] {
        demand("--proto", fits ? "" : other_version(*words.named_protocol));
    };
    if (version == AddressFamily::kIpv6) {
        const Ipv6Fields fields{read_ipv6("--src", words.source),
                                read_ipv6("--dst", words.destination),
                                protocol,
                                words.source_port,
                                words.destination_port,
                                words.flags};
        check_protocol();
        return encode_ipv6(fields);
    }
    const PacketFields fields{read_ipv4("--src", words.source),
                              read_ipv4("--dst", words.destination),
                              protocol,
                              words.source_port,
                              words.destination_port,
                              words.flags};
    check_protocol();
    return {kKeyIpv4, encode_packet(fields)};
}

PacketKey mac_key(const PacketWords &words) {
    return encode_mac({read_mac_word("--mac-dst", words.mac_destination),
                       read_mac_word("--mac-src", words.mac_source), words.vlan, words.ethertype});
}

std::optional<uint32_t> asked_key_type(const PacketWords &words) {
    return words.key_type->count() > 0 ? std::optional(words.request.key_type) : std::nullopt;
}

PacketKey frame_key(const PacketWords &words, uint32_t *length) {
    std::vector<uint8_t> bytes;
    if (!read_hex_bytes(words.frame, &bytes)) {
        throw CLI::ValidationError("--frame", "'" + words.frame + "' is no bytes in hex");
    }
    *length = static_cast<uint32_t>(bytes.size());
    const PacketKeys keys = keys_of(LinkLayer::kEthernet, bytes);
    if (!keys.mac) {
        throw CLI::ValidationError("--frame", "an Ethernet frame has 14 bytes at least");
    }
    if (const auto key = pick_key(keys, asked_key_type(words))) {
        return *key;
    }
    throw CLI::ValidationError("--key-type", "the frame has no key of that type");
}

PacketKey hex_key(const PacketWords &words) {
    PacketKey packet{words.request.key_type, {}};
    if (!key_from_hex(words.key, &packet.key)) {
        throw CLI::ValidationError("--key", "a key is 256 hexadecimal digits (128 bytes)");
    }
    return packet;
}

/* A key type beside fields must be theirs. */
void check_key_type(const PacketWords &words, const PacketKey &packet) {
    if (words.key_type->count() > 0 && packet.key_type != words.request.key_type &&
        !is_given(words.as_key)) {
        throw CLI::ValidationError(
            "--key-type", "the fields make a packet of key type " + key_type_name(packet.key_type));
    }
}

void finish_packet(Words &words, PacketWords &packet) {
    PacketRequest &request = packet.request;
    if (packet.port->count() + packet.rif->count() != 1) {
        throw CLI::ValidationError("--port", "exactly one of --port and --rif is needed");
    }
    request.router_interface = packet.rif->count() > 0;
    check_ways(packet);
    if (is_given(packet.count) && !is_given(packet.as_capture)) {
        throw CLI::RequiresError("--count", "--pcap");
    }
    if (is_given(packet.as_capture)) {
        demand("--pcap", packet.capture.empty() ? "'' is no name of a file" : "");
        words.choose(PcapRequest{request, packet.capture, asked_key_type(packet), packet.most});
        return;
    }
    PacketKey key;
    uint32_t frame_bytes = request.length;
    if (is_given(packet.as_frame)) {
        key = frame_key(packet, &frame_bytes);
    } else if (is_given(packet.as_key)) {
        key = hex_key(packet);
    } else {
        key = first_given(packet.mac) != nullptr ? mac_key(packet) : tuple_key(packet);
        check_key_type(packet, key);
    }
    request.length = packet.length->count() > 0 ? request.length : frame_bytes;
    request.key_type = key.key_type;
    request.key = key.key;
    words.choose(request);
}

/* Lives as long as the parser, which keeps a reference. */
const NameList &protocol_names() {
    static const NameList names = [] {
        NameList list;
        for (const ProtocolName &each : kProtocolNames) {
            list.emplace_back(each.name, each.number);
        }
        return list;
    }();
    return names;
}

/* Notes the name before a number takes its place. */
CLI::Validator protocol_names_noted_in(PacketWords *words) {
    return CLI::Validator(
        [words](std::string &text) {
            for (const ProtocolName &each : kProtocolNames) {
                if (strcasecmp(text.c_str(), each.name) == 0) {
                    words->named_protocol = &each;
                }
            }
            return one_of(protocol_names(), 256)(text);
        },
        "");
}

void add_fields(CLI::App &command, PacketWords *words) {
    words->source_option =
        command.add_option("--src", words->source, "source address, IPv4 or IPv6")
            ->type_name("ADDRESS");
    words->destination_option =
        command.add_option("--dst", words->destination, "destination address, likewise")
            ->type_name("ADDRESS");
    words->tuple = {
        words->source_option,
        words->destination_option,
        command.add_option("--proto", words->protocol, "tcp, udp, icmp, icmp6 or a number")
            ->transform(protocol_names_noted_in(words))
            ->type_name("PROTOCOL"),
        command.add_option("--sport", words->source_port, "source port"),
        command.add_option("--dport", words->destination_port, "destination port"),
        command.add_option("--flags", words->flags, "TCP flags (0x0002 is SYN)")};
    words->mac = {
        command.add_option("--mac-src", words->mac_source, "source of a packet of key type mac")
            ->type_name("MAC"),
        command.add_option("--mac-dst", words->mac_destination, "its destination")
            ->type_name("MAC"),
        command.add_option("--vlan", words->vlan, "its VLAN id, 0 for none")
            ->check(quiet(CLI::Range(0, 4095))),
        command.add_option("--ethertype", words->ethertype, "its EtherType (0x0800 is IPv4)")};
    words->as_frame =
        command.add_option("--frame", words->frame, "an Ethernet frame in hex")->type_name("HEX");
    words->as_capture =
        command.add_option("--pcap", words->capture, "a capture: the packets of the file")
            ->type_name("FILE");
    words->as_key =
        command.add_option("--key", words->key, "all 128 key bytes in hex")->type_name("HEX");
    words->whole = {words->as_frame, words->as_capture, words->as_key};
}

}  // namespace

void add_packet_words(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("packet", "send packets through the switch");
    const auto packet = std::make_shared<PacketWords>();
    packet->port = command->add_option("--port", packet->request.ingress_point, "logical port");
    packet->rif = command->add_option("--rif", packet->request.ingress_point,
                                      "router interface (not a port)");
    command->add_option("--direction", packet->request.direction, "ingress, egress or a number")
        ->transform(direction_names())
        ->type_name("DIRECTION");
    add_fields(*command, packet.get());
    packet->key_type = command
                           ->add_option("--key-type", packet->request.key_type,
                                        "ipv4, ipv6, mac, free or a number; of a\n"
                                        "frame or capture: ipv4, ipv6, else mac")
                           ->transform(one_of(key_type_names(), uint64_t{UINT32_MAX} + 1))
                           ->type_name("TYPE");
    packet->length =
        command->add_option("--length", packet->request.length, "bytes")->capture_default_str();
    packet->count = command->add_option("--count", packet->most, "packets of a capture at most")
                        ->check(quiet(CLI::Range(1u, UINT32_MAX)))
                        ->capture_default_str();
    command->footer(
        "A packet is given by the fields of a 5-tuple (IPv4 or IPv6), by those of a MAC\n"
        "header, as an Ethernet frame, as a capture, or as the bytes of its key. Of a\n"
        "5-tuple without addresses icmp6 makes an IPv6 packet, anything else an IPv4 one.\n"
        "\nExamples:\n"
        "  aclrmctl switch packet --port 65537 --src 10.20.10.7 --dst 198.51.100.53 \\\n"
        "      --proto udp --dport 53\n"
        "  aclrmctl switch packet --port 65537 --src 2001:db8::7 --proto tcp --dport 443\n"
        "  aclrmctl switch packet --port 65537 --mac-dst 02:00:00:00:00:01 --vlan 7\n"
        "  aclrmctl switch packet --port 65537 --pcap capture.pcap\n");
    command->callback([&words, packet] { finish_packet(words, *packet); });
}

}  // namespace aclrmctl
