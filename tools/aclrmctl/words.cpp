/* One function adds the words of one command. Options are bound to the request being filled in; the
 * command's callback, run once all of its words have been accepted, makes it the one to carry out.
 */
#include "words.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>
#include <map>
#include <ostream>

#include "exit_codes.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

namespace {

constexpr const char *kDescription =
    "aclrmctl - talks to zv_acl_rm, the ACL resource manager daemon\n"
    "\n"
    "No command but 'open' opens the tool as an owner, because opening takes the owner over\n"
    "from whichever client holds it now.\n";

constexpr const char *kFooter =
    "\nA first session on the simulated switch:\n"
    "  aclrmctl open --owner open-flow\n"
    "  aclrmctl init --chip 1\n"
    "  aclrmctl acl create --size 512\n"
    "  aclrmctl rule load samples/campus-edge.rules --acl 1\n"
    "  aclrmctl bind port --acl 1 65537-65540\n"
    "  aclrmctl switch packet --port 65537 --src 10.20.1.7 --dst 192.0.2.53 --proto udp --dport "
    "53\n"
    "\nExit status:\n"
    "  0  done\n"
    "  1  the command line is wrong; nothing was sent\n"
    "  2  an input file is unreadable or wrong; nothing was sent\n"
    "  3  no daemon (or no switch) at its socket, or it went away\n"
    "  4  the daemon refused; its status is printed\n"
    "  5  no answer in time; whether the command was carried out is unknown\n"
    "  6  the switch's control socket refused\n"
    "  7  anything else (output, memory, an answer of another version)\n"
    "\nEnvironment:\n"
    "  ZV_PLATFORM_ROOT=DIR  is put before the path of either socket\n";

/* The words being read: every command's request is here, the chosen one is copied out. */
struct Words {
    Invocation result;
    bool chosen = false;

    OpenRequest open;
    InitRequest init;
    AclCreateRequest acl_create;
    RuleCheckRequest rule_check;
    RuleLoadRequest rule_load;
    bool check_only = false;
    std::string verdict = "permit";
    uint32_t forward_port = 0;
    BindPortRequest bind_port;
    std::vector<std::string> port_words;
    DumpRequest dump;
    PacketRequest packet;
    std::string source = "0.0.0.0";
    std::string destination = "0.0.0.0";
    uint32_t protocol = 0;
    PacketFields fields;
    std::string key_hex;
    StateRequest state;
    std::string faults_set;
    bool faults_clear = false;

    void choose(Request request) {
        result.request = std::move(request);
        chosen = true;
    }
};

/* The help text says in words what is allowed; the parser's own notation for it stays out. */
CLI::Validator quiet(CLI::Validator validator) {
    return validator.description("");
}

CLI::Validator direction_names() {
    return quiet(CLI::Transformer(
        std::map<std::string, std::string>{{"ingress", "0"}, {"egress", "1"}}, CLI::ignore_case));
}

void add_settings(CLI::App &app, Settings &settings) {
    app.add_option("--socket", settings.socket, "the daemon's socket")->capture_default_str();
    app.add_option("--switch-socket", settings.switch_socket,
                   "the simulated switch's control socket")
        ->capture_default_str();
    app.add_option("--handle", settings.handle,
                   "the number the daemon knows this client by; the same in every invocation\n"
                   "makes them one client (default 0xac1)");
    app.add_option("--timeout", settings.timeout_ms, "time for an answer, in ms, up to an hour")
        ->check(quiet(CLI::Range(1, 3600000)))
        ->capture_default_str();
    app.add_flag("--json", settings.json, "print one JSON object instead of text");
}

void add_open(CLI::App &app, Words &words) {
    CLI::App *command = app.add_subcommand(
        "open", "become the client of an owner; whoever held it loses access to its ACLs");
    const std::map<std::string, uint32_t> owners{{"open-flow", ZV_ACL_RM_OWNER_OPEN_FLOW},
                                                 {"tarn-os", ZV_ACL_RM_OWNER_TARN_OS},
                                                 {"PRA", ZV_ACL_RM_OWNER_PRA},
                                                 {"OF13", ZV_ACL_RM_OWNER_OF13}};
    command->add_option("--owner", words.open.owner, "open-flow, tarn-os, PRA or OF13")
        ->required()
        ->transform(quiet(CLI::CheckedTransformer(owners, CLI::ignore_case)))
        ->type_name("NAME");
    command->footer("\nExample:\n  aclrmctl open --owner open-flow\n");
    command->callback([&words] { words.choose(words.open); });
}

void add_init(CLI::App &app, Words &words) {
    CLI::App *command = app.add_subcommand("init", "load the resource limits of a switch chip");
    command->add_option("--chip", words.init.chip, "chip type: 1, 3, 5, 6, 7, 8, 9, 10 or 11")
        ->capture_default_str();
    command->footer("\nExample:\n  aclrmctl init --chip 1\n");
    command->callback([&words] { words.choose(words.init); });
}

void add_acl(CLI::App &app, Words &words) {
    CLI::App *acl = app.add_subcommand("acl", "ACLs");
    CLI::App *command = acl->add_subcommand("create", "create an ACL and the region it lives in");
    AclCreateRequest &request = words.acl_create;
    command->add_option("--size", request.size, "rules the ACL has room for")->required();
    command->add_option("--key-type", request.key_type, "key type")->capture_default_str();
    command->add_option("--action-type", request.action_type, "action type")->capture_default_str();
    command->add_option("--acl-type", request.acl_type, "ACL type")->capture_default_str();
    command->add_option("--direction", request.direction, "ingress, egress or the switch's number")
        ->transform(direction_names())
        ->type_name("DIRECTION");
    command->footer("\nExample:\n  aclrmctl acl create --size 512 --direction ingress\n");
    command->callback([&words] { words.choose(words.acl_create); });
}

void add_rule_load(CLI::App &rule, Words &words) {
    CLI::App *command = rule.add_subcommand("load", "load a rule file into an ACL");
    RuleLoadRequest &request = words.rule_load;
    command->add_option("FILE", request.file, "rules, one a line")->required();
    CLI::Option *acl = command->add_option("--acl", request.acl_id, "id of the ACL");
    command
        ->add_option("--first-priority", request.options.first_priority,
                     "priority (= offset) of the first rule")
        ->capture_default_str();
    command->add_option("--batch", request.batch, "rules in a command, 1 to 20")
        ->check(quiet(CLI::Range(1u, ZV_ACL_RM_RULES_PER_RECORD)))
        ->capture_default_str();
    command->add_option("--in-flight", request.in_flight, "commands under way at once, 1 to 32")
        ->check(quiet(CLI::Range(1, 32)))
        ->capture_default_str();
    command->add_option("--counter", request.options.counter_id, "flow counter of every rule");
    CLI::Option *forward = command->add_option("--forward-port", words.forward_port,
                                               "logical port every rule forwards to");
    command
        ->add_option("--verdict", words.verdict,
                     "permit, drop or trap, for rules whose line does not say")
        ->check(quiet(CLI::IsMember({"permit", "drop", "trap"})))
        ->capture_default_str();
    command->add_flag("--check", words.check_only, "only check the file, as 'rule check' does");
    command->footer(
        "\nPort ranges become prefixes; the rules get the priorities from --first-priority on, in\n"
        "the file's order. Nothing is sent when a line of the file is bad.\n"
        "\nExamples:\n"
        "  aclrmctl rule load samples/campus-edge.rules --acl 1\n"
        "  aclrmctl rule load deny.rules --acl 1 --first-priority 400 --verdict drop\n");
    command->callback([&words, acl, forward] {
        if (words.check_only) {
            words.choose(RuleCheckRequest{words.rule_load.file});
            return;
        }
        if (acl->count() == 0) {
            throw CLI::RequiredError("--acl");
        }
        words.rule_load.options.verdict = *verdict_from_name(words.verdict);
        if (forward->count() > 0) {
            words.rule_load.options.forward_port = words.forward_port;
        }
        words.choose(words.rule_load);
    });
}

void add_rule(CLI::App &app, Words &words) {
    CLI::App *rule = app.add_subcommand("rule", "rules of an ACL");
    add_rule_load(*rule, words);
    CLI::App *check = rule->add_subcommand("check", "check a rule file; needs no daemon");
    check->add_option("FILE", words.rule_check.file, "rules, one a line")->required();
    check->footer("\nExample:\n  aclrmctl rule check samples/campus-edge.rules\n");
    check->callback([&words] { words.choose(words.rule_check); });
}

void add_bind(CLI::App &app, Words &words) {
    CLI::App *bind = app.add_subcommand("bind", "put ACLs to work");
    CLI::App *command = bind->add_subcommand("port", "bind an ACL to logical ports");
    command->add_option("--acl", words.bind_port.acl_id, "id of the ACL")->required();
    command->add_option("PORT", words.port_words, "ports, ranges and lists: 65537-65540,65545")
        ->required();
    command->footer("\nExample:\n  aclrmctl bind port --acl 1 65537-65540 65545\n");
    command->callback([&words] {
        for (const std::string &word : words.port_words) {
            const std::string error = read_port_list(word, &words.bind_port.ports);
            if (!error.empty()) {
                throw CLI::ValidationError("PORT", error);
            }
        }
        words.choose(words.bind_port);
    });
}

void add_dump(CLI::App &app, Words &words) {
    CLI::App *command =
        app.add_subcommand("dump", "print the daemon's cache, or have it in a file");
    command->add_option("FILE", words.dump.file, "file the daemon writes; without it: print");
    command->footer(
        "\nThe daemon opens the file itself, with its own rights, on its own host.\n"
        "\nExamples:\n  aclrmctl dump\n  aclrmctl dump /tmp/acl-rm.txt\n");
    command->callback([&words] { words.choose(words.dump); });
}

uint32_t read_address(const char *option, const std::string &text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw CLI::ValidationError(option, "'" + text + "' is no IPv4 address");
    }
    return ntohl(address.s_addr);
}

void finish_packet(Words &words, const CLI::Option &port, const CLI::Option &rif) {
    if (port.count() + rif.count() != 1) {
        throw CLI::ValidationError("--port", "exactly one of --port and --rif is needed");
    }
    words.packet.router_interface = rif.count() > 0;
    words.fields.source = read_address("--src", words.source);
    words.fields.destination = read_address("--dst", words.destination);
    words.fields.protocol = static_cast<uint8_t>(words.protocol);
    words.packet.key = encode_packet(words.fields);
    if (!words.key_hex.empty() && !key_from_hex(words.key_hex, &words.packet.key)) {
        throw CLI::ValidationError("--key", "a key is 256 hexadecimal digits (128 bytes)");
    }
    words.choose(words.packet);
}

void add_packet(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("packet", "send one packet through the switch");
    CLI::Option *port = command->add_option("--port", words.packet.ingress_point, "logical port");
    CLI::Option *rif =
        command->add_option("--rif", words.packet.ingress_point, "router interface (not a port)");
    command->add_option("--src", words.source, "source address")->capture_default_str();
    command->add_option("--dst", words.destination, "destination address")->capture_default_str();
    command->add_option("--proto", words.protocol, "tcp, udp, icmp or a number")
        ->transform(quiet(CLI::Transformer(
            std::map<std::string, std::string>{{"tcp", "6"}, {"udp", "17"}, {"icmp", "1"}},
            CLI::ignore_case)))
        ->check(quiet(CLI::Range(0, 255)))
        ->type_name("PROTOCOL");
    command->add_option("--sport", words.fields.source_port, "source port");
    command->add_option("--dport", words.fields.destination_port, "destination port");
    command->add_option("--flags", words.fields.flags, "TCP flags (0x0002 is SYN)");
    command->add_option("--length", words.packet.length, "bytes")->capture_default_str();
    command->add_option("--direction", words.packet.direction, "ingress, egress or a number")
        ->transform(direction_names())
        ->type_name("DIRECTION");
    command->add_option("--key-type", words.packet.key_type, "key type")->capture_default_str();
    command->add_option("--key", words.key_hex, "all 128 key bytes in hex, in place of the fields");
    command->footer(
        "\nExample:\n  aclrmctl switch packet --port 65537 --src 10.20.1.7 --dst 192.0.2.53 "
        "--proto udp --dport 53\n");
    command->callback([&words, port, rif] { finish_packet(words, *port, *rif); });
}

void add_faults(CLI::App &group, Words &words) {
    CLI::App *command = group.add_subcommand("faults", "arm or clear faults of the switch");
    CLI::Option *set = command->add_option(
        "--set", words.faults_set, "JSON list of {call, nth, status, times, late}; replaces all");
    CLI::Option *clear =
        command->add_flag("--clear", words.faults_clear, "disarm all faults")->excludes(set);
    command->footer(
        "\nExamples:\n"
        "  aclrmctl switch faults --set '[{\"call\":\"zv_api_acl_rules_set\",\"status\":5}]'\n"
        "  aclrmctl switch faults --clear\n");
    command->callback([&words, set, clear] {
        if (set->count() + clear->count() == 0) {
            throw CLI::RequiredError("--set or --clear");
        }
        words.choose(FaultsRequest{set->count() > 0 ? words.faults_set : "[]"});
    });
}

void add_switch(CLI::App &app, Words &words) {
    CLI::App *group = app.add_subcommand("switch", "the simulated switch, by its control socket");
    add_packet(*group, words);
    CLI::App *state = group->add_subcommand("state", "what is configured in the switch");
    CLI::Option *all = state->add_flag("--rules", words.state.rules, "show every rule");
    state->add_flag("--active", words.state.active, "show the rules that were hit")->excludes(all);
    state->footer("\nExample:\n  aclrmctl switch state --active\n");
    state->callback([&words] { words.choose(words.state); });
    CLI::App *usage = group->add_subcommand("usage", "how full the switch's tables are");
    usage->footer("\nExample:\n  aclrmctl switch usage\n");
    usage->callback([&words] { words.choose(UsageRequest{}); });
    add_faults(*group, words);
}

}  // namespace

std::optional<Invocation> read_words(int argc, const char *const *argv, std::ostream &out,
                                     std::ostream &err, int *exit_code) {
    CLI::App app(kDescription, "aclrmctl");
    Words words;
    words.result.settings.socket = ZV_ACL_RM_SOCKET_PATH;
    words.result.settings.switch_socket = "/var/run/zv_switch.sock";
    app.footer(kFooter);
    app.fallthrough(); /* settings may stand behind the command, too */
    add_settings(app, words.result.settings);
    add_open(app, words);
    add_init(app, words);
    add_acl(app, words);
    add_rule(app, words);
    add_bind(app, words);
    add_dump(app, words);
    add_switch(app, words);
    try {
        app.parse(argc, argv);
        /* Asked for here and not of the parser, which would complain of a missing command where
         * a misspelt one stands, without naming it. */
        if (!words.chosen) {
            throw CLI::RequiredError("A command");
        }
    } catch (const CLI::ParseError &error) {
        *exit_code = app.exit(error, out, err) == 0 ? kExitOk : kExitUsage;
        return std::nullopt;
    }
    *exit_code = kExitOk;
    return words.result;
}

}  // namespace aclrmctl
