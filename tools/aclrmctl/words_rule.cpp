/* The words for rules: files of them, and single ones. */
#include "match_words.h"
#include "words_parts.h"

namespace aclrmctl {

namespace {

/* Words that more than one option reads before they become a request. */
struct TargetWords {
    std::string verdict = "permit";
    CLI::Option *counter = nullptr;
    CLI::Option *forward_port = nullptr;
    CLI::Option *forward_mc = nullptr;
    uint32_t port = 0;
    uint32_t group = 0;
};

void add_targets(CLI::App &command, RuleTargets *targets, TargetWords *words,
                 const std::string &whose) {
    words->counter = command.add_option("--counter", targets->counter_id, "flow counter" + whose);
    words->forward_port =
        command.add_option("--forward-port", words->port, "logical port to forward to");
    words->forward_mc = command.add_option("--forward-mc", words->group,
                                           "MC group to forward to, in place of a port");
}

void add_verdict(CLI::App &command, TargetWords *words, const std::string &help) {
    command.add_option("--verdict", words->verdict, help)
        ->check(quiet(CLI::IsMember({"permit", "drop", "trap"})))
        ->capture_default_str();
}

void finish_targets(const TargetWords &words, RuleTargets *targets) {
    const bool names_none = words.counter->count() > 0 && targets->counter_id == 0;
    demand("--counter", names_none ? "there is no counter 0" : "");
    if (words.forward_port->count() > 0 && words.forward_mc->count() > 0) {
        throw CLI::ExcludesError("--forward-mc", "--forward-port");
    }
    if (words.forward_port->count() > 0) {
        targets->forward_port = words.port;
    }
    if (words.forward_mc->count() > 0) {
        targets->forward_mc = words.group;
    }
}

/* How a file is written; without the option its first character tells. */
CLI::Option *add_format(CLI::App &command, RuleFormat *format, const std::string &names,
                        const std::string &help) {
    return command
        .add_option_function<std::string>(
            "--format",
            [format, names](const std::string &name) {
                const auto found = format_from_name(name);
                if (!found || (", " + names + ",").find(" " + name + ",") == std::string::npos) {
                    throw CLI::ValidationError("--format", "'" + name + "' is no format: " + names);
                }
                *format = *found;
            },
            help)
        ->type_name("FORMAT");
}

const char *const kFileFormats = "auto, classic, policy, json";

const char *const kFileHelp = "rules; - is standard input";

struct LoadWords {
    RuleLoadRequest request;
    TargetWords targets;
    bool check_only = false;
};

void finish_load(Words &words, LoadWords &load, const CLI::Option &acl) {
    if (load.check_only) {
        words.choose(RuleCheckRequest{load.request.file, load.request.format,
                                      load.request.options.first_priority});
        return;
    }
    if (acl.count() == 0) {
        throw CLI::RequiredError("--acl");
    }
    load.request.options.verdict = *verdict_from_name(load.targets.verdict);
    finish_targets(load.targets, &load.request.options.targets);
    words.choose(load.request);
}

void add_load(CLI::App &rule, Words &words) {
    CLI::App *command = rule.add_subcommand("load", "load a rule file into an ACL");
    const auto load = std::make_shared<LoadWords>();
    RuleLoadRequest &request = load->request;
    command->add_option("FILE", request.file, kFileHelp)->required();
    CLI::Option *acl = command->add_option("--acl", request.acl_id, "id of the ACL");
    command
        ->add_option("--first-priority", request.options.first_priority,
                     "added to every rule's priority (= offset)")
        ->capture_default_str();
    add_format(*command, &request.format, kFileFormats,
               "classic, policy, json; auto looks at the file");
    command->add_option("--batch", request.batch, "rules in a command, 1 to 20")
        ->check(quiet(CLI::Range(1u, ZV_ACL_RM_RULES_PER_RECORD)))
        ->capture_default_str();
    command->add_option("--in-flight", request.in_flight, "commands under way at once, 1 to 32")
        ->check(quiet(CLI::Range(1, 32)))
        ->capture_default_str();
    add_targets(*command, &request.options.targets, &load->targets,
                " of every rule that names none");
    add_verdict(*command, &load->targets, "permit, drop or trap, for rules without one");
    command->add_flag("--undo", request.undo, "if the load fails, delete what it has put there");
    command->add_flag("-q,--quiet", request.quiet, "no progress bar");
    command->add_flag("--check", load->check_only, "only check the file, as 'rule check' does");
    command->footer(
        "Port ranges become prefixes; the rules get the priorities from --first-priority\n"
        "on, in the file's order. Nothing is sent when the file is bad, a counter or an\n"
        "MC group is missing, ACL or daemon have no room, or an offset holds a rule.\n"
        "\nA load that fails on the way, or is stopped by Ctrl-C, says for every rule\n"
        "whether the switch has it. Commands that were under way behind a failed one are\n"
        "carried out: where no gap may be met, load before the ACL is bound, or with\n"
        "--in-flight 1.\n"
        "\nExamples:\n"
        "  aclrmctl rule load samples/campus-edge.rules --acl 1\n"
        "  aclrmctl rule load samples/branch-office.policy --acl 1 --undo\n"
        "  aclrmctl rule load deny.rules --acl 1 --first-priority 400 --verdict drop\n");
    command->callback([&words, load, acl] { finish_load(words, *load, *acl); });
}

/* A single rule's words: the fields of an IP or a MAC rule, or key and mask. */
struct AddWords {
    RuleAddRequest request;
    TargetWords targets;
    std::string source = "any";
    std::string destination = "any";
    std::string protocol = "any";
    std::string source_port = "any";
    std::string destination_port = "any";
    std::string flags = "0/0";
    std::string mac_source = "any";
    std::string mac_destination = "any";
    std::string vlan = "any";
    std::string ethertype = "any";
    std::string key;
    std::string mask;
    CLI::Option *key_option = nullptr;
    CLI::Option *mask_option = nullptr;
    CLI::Option *key_type = nullptr;
    std::vector<CLI::Option *> ip_fields;
    std::vector<CLI::Option *> mac_fields;
};

/* The first option of the command line among these, null for none. */
const CLI::Option *given(const std::vector<CLI::Option *> &options) {
    for (const CLI::Option *option : options) {
        if (option->count() > 0) {
            return option;
        }
    }
    return nullptr;
}

/* Checked here and not by the parser, whose help would repeat it at every option. */
void check_match(const AddWords &words) {
    if (words.key_option->count() != words.mask_option->count()) {
        throw CLI::ValidationError("--key", "--key and --mask belong together");
    }
    if (words.key_option->count() == 0 && words.key_type->count() > 0) {
        throw CLI::RequiresError("--key-type", "--key");
    }
    const CLI::Option *ip = given(words.ip_fields);
    const CLI::Option *mac = given(words.mac_fields);
    const CLI::Option *field = ip != nullptr ? ip : mac;
    if (words.key_option->count() > 0 && field != nullptr) {
        throw CLI::ExcludesError("--key", field->get_name());
    }
    if (ip != nullptr && mac != nullptr) {
        throw CLI::ExcludesError(ip->get_name(), mac->get_name());
    }
}

/* Notes an option whose address goes on behind its prefix. */
void note_masked(const char *option, const ReadAddress &address, RuleAddRequest *request) {
    if (address.masked) {
        request->masked.emplace_back(option);
    }
}

/* One address tells the version of IP for both, with neither the protocol does; else it is IPv4. */
void read_ip_fields(const AddWords &words, RuleAddRequest *request, FilterRule *fields) {
    ReadAddress source;
    ReadAddress destination;
    demand("--src", read_prefix(words.source, &source));
    demand("--dst", read_prefix(words.destination, &destination));
    const bool differ = source.family != AddressFamily::kAny &&
                        destination.family != AddressFamily::kAny &&
                        source.family != destination.family;
    demand("--dst",
           differ ? "'" + words.destination + "' is of another version of IP than --src" : "");
    AddressFamily version =
        source.family == AddressFamily::kAny ? destination.family : source.family;
    demand("--proto",
           read_protocol(words.protocol, &version, &fields->protocol, &fields->protocol_mask));
    fields->kind = version == AddressFamily::kIpv6 ? RuleKind::kIpv6 : RuleKind::kIpv4;
    fields->source = source.prefix;
    fields->destination = destination.prefix;
    demand("--flags", read_flags(words.flags, &fields->flags, &fields->flags_mask));
    note_masked("--src", source, request);
    note_masked("--dst", destination, request);
}

void read_mac_fields(const AddWords &words, RuleAddRequest *request, FilterRule *fields) {
    ReadAddress address;
    fields->kind = RuleKind::kMac;
    demand("--mac-src", read_mac_prefix(words.mac_source, &address));
    fields->source = address.prefix;
    note_masked("--mac-src", address, request);
    demand("--mac-dst", read_mac_prefix(words.mac_destination, &address));
    fields->destination = address.prefix;
    note_masked("--mac-dst", address, request);
    demand("--vlan", read_vlan(words.vlan, &fields->vlan, &fields->vlan_mask));
    demand("--ethertype",
           read_ethertype(words.ethertype, &fields->ethertype, &fields->ethertype_mask));
}

void finish_match(const AddWords &words, RuleAddRequest *request) {
    WholeRule *rule = &request->rule;
    check_match(words);
    if (words.key_option->count() > 0) {
        demand("--key", read_key_bytes(words.key, &rule->key));
        demand("--mask", read_key_bytes(words.mask, &rule->mask));
        return;
    }
    FilterRule fields;
    ExpandedRule ports{};
    if (given(words.mac_fields) != nullptr) {
        read_mac_fields(words, request, &fields);
    } else {
        read_ip_fields(words, request, &fields);
        demand("--sport", read_port_prefix(words.source_port, &ports.source_port));
        demand("--dport", read_port_prefix(words.destination_port, &ports.destination_port));
    }
    rule->key_type = key_type_of(fields);
    encode_match(fields, ports, &rule->key, &rule->mask);
}

/* The three ways to say what a rule matches; they exclude each other. */
void add_match(CLI::App &command, AddWords *words) {
    const auto field = [&](std::vector<CLI::Option *> *group, const char *name, std::string *text,
                           const char *type, const char *help) {
        group->push_back(
            command.add_option(name, *text, help)->type_name(type)->capture_default_str());
    };
    std::vector<CLI::Option *> *ip = &words->ip_fields;
    std::vector<CLI::Option *> *mac = &words->mac_fields;
    field(ip, "--src", &words->source, "PREFIX",
          "source: 10.0.0.0/8, 10.0.0.1, 2001:db8::/32 or any");
    field(ip, "--dst", &words->destination, "PREFIX", "destination, likewise");
    field(ip, "--proto", &words->protocol, "PROTOCOL", "tcp, udp, icmp, icmp6, any or a number");
    field(ip, "--sport", &words->source_port, "PORT", "source port: 443, 1024-2047 or any");
    field(ip, "--dport", &words->destination_port, "PORT", "destination port, likewise");
    field(ip, "--flags", &words->flags, "BITS/MASK", "TCP flags: 0x02/0x12 is SYN without ACK");
    field(mac, "--mac-src", &words->mac_source, "MAC", "source: 02:00:00:00:00:00/16 or any");
    field(mac, "--mac-dst", &words->mac_destination, "MAC", "destination, likewise");
    field(mac, "--vlan", &words->vlan, "VLAN", "VLAN id: 0 to 4095 or any");
    field(mac, "--ethertype", &words->ethertype, "TYPE", "EtherType: 0x86dd or any");
    words->key_option =
        command.add_option("--key", words->key, "key in hex, in place of the fields")
            ->type_name("HEX");
    words->mask_option =
        command.add_option("--mask", words->mask, "mask of --key; bits at 0 do not matter")
            ->type_name("HEX");
    words->key_type =
        command.add_option("--key-type", words->request.rule.key_type, "key type of --key, 0 to 3")
            ->capture_default_str();
}

void add_add(CLI::App &rule, Words &words) {
    CLI::App *command = rule.add_subcommand("add", "write one rule into an ACL");
    const auto add = std::make_shared<AddWords>();
    add_acl_id(*command, &add->request.acl_id);
    command
        ->add_option("--priority", add->request.rule.priority,
                     "the rule's offset; lower ones match first")
        ->required();
    add_match(*command, add.get());
    add_verdict(*command, &add->targets, "permit, drop or trap");
    add_targets(*command, &add->request.rule.targets, &add->targets, " of the rule");
    command->footer(
        "Fields left out match anything. The addresses tell the version of IP, without\n"
        "them icmp6 does; else the rule is an IPv4 one. A range of ports must be a prefix\n"
        "(1024-2047), for others see 'rule load'. Key and mask have up to 128 bytes each,\n"
        "the rest is 0. An offset that holds a rule is refused.\n"
        "\nExamples:\n"
        "  aclrmctl rule add --acl 1 --priority 7 --proto tcp --dst 192.0.2.0/24 \\\n"
        "      --dport 23 --verdict drop --counter 1\n"
        "  aclrmctl rule add --acl 1 --priority 8 --dst 192.0.2.80 --forward-port 65540\n"
        "  aclrmctl rule add --acl 1 --priority 9 --src 2001:db8::/32 --verdict drop\n"
        "  aclrmctl rule add --acl 2 --priority 0 --mac-src 02:00:00:00:00:00/16 \\\n"
        "      --ethertype 0x86dd --verdict trap\n"
        "  aclrmctl rule add --acl 2 --priority 1 --key-type 2 --key 0a00 --mask ff00\n");
    command->callback([&words, add] {
        finish_match(*add, &add->request);
        add->request.rule.verdict = *verdict_from_name(add->targets.verdict);
        finish_targets(add->targets, &add->request.rule.targets);
        words.choose(add->request);
    });
}

const char *const kOffsetsHelp = "offsets, ranges and lists: 0-19,40";

void add_del(CLI::App &rule, Words &words) {
    const auto [command, request] = add_command<RuleDeleteRequest>(
        rule, words, "del", "delete rules by their offsets",
        "They are deleted in commands of 20; a command one of whose offsets holds no rule\n"
        "is refused as a whole, and none is sent after it.\n"
        "\nExample:\n  aclrmctl rule del --acl 1 0-19 40\n");
    add_acl_id(*command, &request->acl_id);
    add_numbers(*command, "OFFSET", kOffsetsHelp, kOffsetsToDelete, &request->offsets)->required();
}

void add_get(CLI::App &rule, Words &words) {
    const auto [command, request] = add_command<RuleGetRequest>(
        rule, words, "get", "read rules back from the switch",
        "Every offset must hold a rule. Any client may read any ACL; only\n"
        "--clear-activity is the owner's alone. With --format the output is a rule file\n"
        "that 'rule load' reads.\n"
        "\nExamples:\n"
        "  aclrmctl rule get --acl 1 0-19\n"
        "  aclrmctl rule get --acl 1 64 --activity\n"
        "  aclrmctl rule get --acl 1 --all --format policy > saved.policy\n");
    add_acl_id(*command, &request->acl_id);
    CLI::Option *offsets =
        add_numbers(*command, "OFFSET", kOffsetsHelp, kOffsets, &request->offsets);
    CLI::Option *all =
        command->add_flag("--all", request->all, "every rule of the ACL, in place of OFFSET");
    CLI::Option *format = add_format(*command, &request->format, "policy, json",
                                     "a rule file in place of the table: policy or json");
    CLI::Option *read = command->add_flag_callback(
        "--activity", [request = request] { request->activity = Activity::kRead; },
        "also whether a packet hit the rule");
    command
        ->add_flag_callback(
            "--clear-activity",
            [request = request] { request->activity = Activity::kReadAndClear; },
            "the same, and forget it in the switch")
        ->excludes(read)
        ->excludes(format);
    read->excludes(format);
    command->callback([&words, request = request, offsets, all] {
        if (offsets->count() + all->count() == 0) {
            throw CLI::RequiredError("OFFSET or --all");
        }
        if (offsets->count() > 0 && all->count() > 0) {
            throw CLI::ExcludesError("--all", "OFFSET");
        }
        words.choose(*request);
    });
}

void add_move(CLI::App &rule, Words &words) {
    const auto [command, request] = add_command<RuleMoveRequest>(
        rule, words, "move", "move a block of rules to other offsets",
        "Rules that lie where the block goes are overwritten; the places it leaves are\n"
        "empty.\n"
        "\nExample:\n  aclrmctl rule move --acl 1 --from 0 --count 4 --to 100\n");
    add_acl_id(*command, &request->acl_id);
    command->add_option("--from", request->from, "offset of the block's first rule")->required();
    command->add_option("--count", request->count, "offsets in the block")->required();
    command->add_option("--to", request->to, "offset the first rule gets")->required();
}

}  // namespace

void add_rule_words(CLI::App &app, Words &words) {
    CLI::App *rule = add_group(app, "rule", "load, check, add, delete, read and move rules");
    add_load(*rule, words);
    const auto [check, request] = add_command<RuleCheckRequest>(
        *rule, words, "check", "check a rule file; needs no daemon",
        "Parses, expands and counts: the rules of the switch that the file makes, and the\n"
        "room that an ACL needs for them.\n"
        "\nExamples:\n  aclrmctl rule check samples/campus-edge.rules\n"
        "  aclrmctl rule check --format json rules.txt\n");
    check->add_option("FILE", request->file, kFileHelp)->required();
    check
        ->add_option("--first-priority", request->first_priority,
                     "added to every rule's priority (= offset)")
        ->capture_default_str();
    add_format(*check, &request->format, kFileFormats,
               "classic, policy, json; auto looks at the file");
    add_add(*rule, words);
    add_del(*rule, words);
    add_get(*rule, words);
    add_move(*rule, words);
}

}  // namespace aclrmctl
