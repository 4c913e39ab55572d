/* The words for the simulated switch. */
#include <arpa/inet.h>

#include <map>

#include "words_parts.h"

namespace aclrmctl {

namespace {

uint32_t read_address(const char *option, const std::string &text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw CLI::ValidationError(option, "'" + text + "' is no IPv4 address");
    }
    return ntohl(address.s_addr);
}

/* A packet's words: the fields of a 5-tuple, or the whole key. */
struct PacketWords {
    PacketRequest request;
    PacketFields fields;
    std::string source = "0.0.0.0";
    std::string destination = "0.0.0.0";
    uint32_t protocol = 0;
    std::string key_hex;
};

void finish_packet(Words &words, PacketWords &packet, const CLI::Option &port,
                   const CLI::Option &rif) {
    if (port.count() + rif.count() != 1) {
        throw CLI::ValidationError("--port", "exactly one of --port and --rif is needed");
    }
    packet.request.router_interface = rif.count() > 0;
    packet.fields.source = read_address("--src", packet.source);
    packet.fields.destination = read_address("--dst", packet.destination);
    packet.fields.protocol = static_cast<uint8_t>(packet.protocol);
    packet.request.key = encode_packet(packet.fields);
    if (!packet.key_hex.empty() && !key_from_hex(packet.key_hex, &packet.request.key)) {
        throw CLI::ValidationError("--key", "a key is 256 hexadecimal digits (128 bytes)");
    }
    words.choose(packet.request);
}

void add_packet(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("packet", "send one packet through the switch");
    const auto packet = std::make_shared<PacketWords>();
    CLI::Option *port =
        command->add_option("--port", packet->request.ingress_point, "logical port");
    CLI::Option *rif = command->add_option("--rif", packet->request.ingress_point,
                                           "router interface (not a port)");
    command->add_option("--src", packet->source, "source address")->capture_default_str();
    command->add_option("--dst", packet->destination, "destination address")->capture_default_str();
    command->add_option("--proto", packet->protocol, "tcp, udp, icmp or a number")
        ->transform(quiet(CLI::Transformer(
            std::map<std::string, std::string>{{"tcp", "6"}, {"udp", "17"}, {"icmp", "1"}},
            CLI::ignore_case)))
        ->check(quiet(CLI::Range(0, 255)))
        ->type_name("PROTOCOL");
    command->add_option("--sport", packet->fields.source_port, "source port");
    command->add_option("--dport", packet->fields.destination_port, "destination port");
    command->add_option("--flags", packet->fields.flags, "TCP flags (0x0002 is SYN)");
    command->add_option("--length", packet->request.length, "bytes")->capture_default_str();
    command->add_option("--direction", packet->request.direction, "ingress, egress or a number")
        ->transform(direction_names())
        ->type_name("DIRECTION");
    command->add_option("--key-type", packet->request.key_type, "key type")->capture_default_str();
    command->add_option("--key", packet->key_hex,
                        "all 128 key bytes in hex, in place of the fields");
    command->footer(
        "Example:\n"
        "  aclrmctl switch packet --port 65537 --src 10.20.10.7 --dst 198.51.100.53 \\\n"
        "      --proto udp --dport 53\n");
    command->callback([&words, packet, port, rif] { finish_packet(words, *packet, *port, *rif); });
}

struct FaultWords {
    std::string set;
    bool clear = false;
};

void add_faults(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("faults", "arm or clear faults of the switch");
    const auto faults = std::make_shared<FaultWords>();
    CLI::Option *set =
        command->add_option("--set", faults->set, "JSON list of {call, nth, status, times, late}");
    CLI::Option *clear =
        command->add_flag("--clear", faults->clear, "disarm all faults")->excludes(set);
    command->footer(
        "Examples:\n"
        "  aclrmctl switch faults --set '[{\"call\":\"zv_api_acl_rules_set\",\"status\":5}]'\n"
        "  aclrmctl switch faults --clear\n");
    command->callback([&words, faults, set, clear] {
        if (set->count() + clear->count() == 0) {
            throw CLI::RequiredError("--set or --clear");
        }
        words.choose(FaultsRequest{set->count() > 0 ? faults->set : "[]"});
    });
}

}  // namespace

void add_switch_words(CLI::App &app, Words &words) {
    CLI::App *group = add_group(app, "switch", "the simulated switch, by its control socket");
    add_packet(*group, words);
    const auto [state, request] =
        add_command<StateRequest>(*group, words, "state", "what is configured in the switch",
                                  "Example:\n  aclrmctl switch state --active\n");
    CLI::Option *all = state->add_flag("--rules", request->rules, "show every rule");
    state->add_flag("--active", request->active, "show the rules that were hit")->excludes(all);
    add_command<UsageRequest>(*group, words, "usage", "how full the switch's tables are",
                              "Example:\n  aclrmctl switch usage\n");
    add_faults(*group, words);
}

}  // namespace aclrmctl
