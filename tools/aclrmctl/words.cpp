#include "words.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <ostream>
#include <unordered_set>

#include "exit_codes.h"
#include "names.h"
#include "render.h"
#include "usage_error.h"
#include "words_parts.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

namespace {

constexpr const char *kDescription =
    "aclrmctl - talks to zv_acl_rm, the ACL resource manager daemon\n"
    "\n"
    "No command but 'open' opens the tool as an owner, because opening takes the\n"
    "owner over from whichever client holds it now.\n";

constexpr const char *kFooter =
    "A first session on the simulated switch:\n"
    "  aclrmctl open --owner open-flow\n"
    "  aclrmctl init --chip 1\n"
    "  aclrmctl acl create --size 512\n"
    "  aclrmctl rule load samples/campus-edge.rules --acl 1\n"
    "  aclrmctl bind port --acl 1 65537-65540\n"
    "  aclrmctl switch packet --port 65537 --src 10.20.10.7 --dst 198.51.100.53 \\\n"
    "      --proto udp --dport 53\n"
    "\nExit status:\n"
    "  0  done\n"
    "  1  the command line is wrong; nothing was sent\n"
    "  2  an input file is unreadable or wrong; nothing was sent\n"
    "  3  no daemon (or switch) that takes connections, or it went away\n"
    "  4  refused by the daemon (its status is printed) or by the tool beforehand\n"
    "  5  no answer in time; whether the command was carried out is unknown\n"
    "  6  the switch's control socket refused\n"
    "  7  anything else (output, memory, an answer of another version)\n"
    "  8  a part is done and the rest failed; the report says which part\n"
    "\nEnvironment:\n"
    "  ZV_PLATFORM_ROOT=DIR  is put before the path of either socket\n";

/* "5s", "500ms", "500": the last as milliseconds, which the option took first. */
std::string read_duration_ms(const std::string &text, int *ms) {
    size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
        digits++;
    }
    const std::string unit = text.substr(digits);
    if (digits == 0 || (!unit.empty() && unit != "ms" && unit != "s")) {
        return "'" + text + "' is no time: 5s, 500ms or 500";
    }
    constexpr int64_t kLargestMs = 3600000;
    const int64_t number = digits > 7 ? kLargestMs + 1 : std::stoll(text.substr(0, digits));
    const int64_t found = unit == "s" ? number * 1000 : number;
    if (found < 1 || found > kLargestMs) {
        return "'" + text + "' is not between 1 ms and an hour";
    }
    *ms = static_cast<int>(found);
    return "";
}

void add_settings(CLI::App &app, Settings &settings) {
    app.add_option("--socket", settings.socket, "the daemon's socket")->capture_default_str();
    app.add_option("--switch-socket", settings.switch_socket,
                   "the simulated switch's control socket")
        ->capture_default_str();
    app.add_option("--handle", settings.handle,
                   "the number the daemon knows this client by; the\n"
                   "same in every invocation makes them one client\n"
                   "(default 0xac1)");
    app.add_option_function<std::string>(
           "--timeout",
           [&settings](const std::string &text) {
               demand("--timeout", read_duration_ms(text, &settings.timeout_ms));
           },
           "time for an answer: 5s, 500ms or a number\n"
           "of milliseconds, up to an hour (default 5s)")
        ->type_name("TIME");
    app.add_flag("-j,--json", settings.json, "print one JSON object instead of text");
    app.add_flag("-n,--numeric", settings.numeric,
                 "print numbers, not names: owners, directions,\n"
                 "verdicts, types, statuses");
}

void add_open(CLI::App &app, Words &words) {
    const auto [command, request] = add_command<OpenRequest>(
        app, words, "open", "become an owner's client, in place of the former",
        "Whoever was the owner's client loses access to its ACLs.\n"
        "\nExample:\n  aclrmctl open --owner open-flow\n");
    command->add_option("--owner", request->owner, "open-flow, tarn-os, PRA or OF13")
        ->required()
        ->transform(one_of(owner_names(), owner_names().size()))
        ->type_name("NAME");
}

void add_init(CLI::App &app, Words &words) {
    const auto [command, request] =
        add_command<InitRequest>(app, words, "init", "load the resource limits of a switch chip",
                                 "Example:\n  aclrmctl init --chip 1\n");
    command->add_option("--chip", request->chip, "chip type: 1, 3, 5, 6, 7, 8, 9, 10 or 11")
        ->capture_default_str();
}

void add_dump(CLI::App &app, Words &words) {
    const auto [command, request] = add_command<DumpRequest>(
        app, words, "dump", "print the daemon's cache, or have it in a file",
        "The daemon opens the file itself, with its own rights, on its own host.\n"
        "\nExamples:\n  aclrmctl dump\n  aclrmctl dump /tmp/acl-rm.txt\n");
    command->add_option("FILE", request->file, "file the daemon writes; without it: print");
}

/* What the parser makes a number by itself may have a sign or blanks, be octal, be nothing at all,
 * or be cut to the largest there is. The empty description keeps it out of the help. */
CLI::Validator strict_number(bool may_be_negative) {
    return CLI::Validator(
        [may_be_negative](std::string &text) -> std::string {
            const bool negative = may_be_negative && text.rfind('-', 0) == 0;
            const std::string digits = text.substr(negative ? 1 : 0);
            const bool is_decimal = !digits.empty() &&
                                    digits.find_first_not_of("0123456789") == std::string::npos &&
                                    (digits.size() == 1 || digits[0] != '0');
            uint64_t number = 0;
            if (read_number64(digits, &number)) {
                text = (negative ? "-" : "") + std::to_string(number);
                return "";
            }
            const char *wrong = is_decimal ? "' is too large a number"
                                : digits.size() > 1 && digits[0] == '0' && std::isdigit(digits[1])
                                    ? "' is no number: a leading zero might mean octal"
                                    : "' is no number, decimal or hexadecimal behind 0x";
            return "'" + text + wrong;
        },
        "");
}

/* Before the checks of a range, which read the number once more. */
void read_numbers_strictly(CLI::App &app) {
    for (CLI::Option *option : app.get_options()) {
        const std::string type = option->get_type_name();
        if (type.rfind("UINT", 0) == 0 || type.rfind("INT", 0) == 0) {
            option->transform(strict_number(type[0] == 'I'));
        }
    }
    for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; })) {
        read_numbers_strictly(*command);
    }
}

/* The order stays: it is that of the requests. */
void drop_repeated(std::vector<uint32_t> *numbers) {
    std::unordered_set<uint32_t> seen;
    std::erase_if(*numbers, [&](uint32_t number) { return !seen.insert(number).second; });
}

/* "-j", "-qj", "--json", "--json=true" */
bool is_json_option(const std::string &word) {
    const std::string name = word.substr(0, word.find('='));
    if (name.rfind("--", 0) == 0) {
        const std::string value = name == word ? "true" : word.substr(name.size() + 1);
        return name == "--json" && value != "false" && value != "off" && value != "no" &&
               value != "disable" && value != "0";
    }
    return name.size() > 1 && name[0] == '-' && name.find('j') != std::string::npos &&
           std::all_of(name.begin() + 1, name.end(),
                       [](unsigned char letter) { return std::isalpha(letter) != 0; });
}

/* Looked for by itself: the parser may have given up before it came to the option. */
bool asks_for_json(const std::vector<std::string> &words) {
    return std::any_of(words.begin(), words.end(), is_json_option);
}

}  // namespace

CLI::App *add_group(CLI::App &app, const std::string &name, const std::string &does) {
    CLI::App *group = app.add_subcommand(name, does);
    group->footer("'aclrmctl " + name + " COMMAND --help' tells more, with an example.\n");
    return group;
}

CLI::Validator quiet(CLI::Validator validator) {
    return validator.description("");
}

CLI::Validator one_of(const NameList &names, uint64_t numbers_below) {
    return CLI::Validator(
        [&names, numbers_below](std::string &text) -> std::string {
            std::string list;
            for (const auto &[name, number] : names) {
                if (strcasecmp(text.c_str(), name) == 0) {
                    text = std::to_string(number);
                    return "";
                }
                list += (list.empty() ? "" : ", ") + std::string(name);
            }
            uint32_t number = 0;
            if (read_number(text, &number) && number < numbers_below) {
                text = std::to_string(number);
                return "";
            }
            return "'" + text + "' is none of " + list +
                   (numbers_below > names.size() ? ", and no number" : "");
        },
        "");
}

CLI::Validator direction_names() {
    return one_of(direction_name_list(), uint64_t{UINT32_MAX} + 1);
}

void add_acl_id(CLI::App &command, uint32_t *acl_id) {
    command.add_option("--acl", *acl_id, "id of the ACL")->required();
}

CLI::Option *add_numbers(CLI::App &command, const std::string &name, const std::string &help,
                         const NumberKind &kind, std::vector<uint32_t> *numbers) {
    return command
        .add_option_function<std::vector<std::string>>(
            name,
            [name, kind, numbers](const std::vector<std::string> &lists) {
                for (const std::string &list : lists) {
                    demand(name, read_number_list(kind, list, numbers));
                }
                if (kind.once) {
                    drop_repeated(numbers);
                }
            },
            help)
        ->type_name("");
}

void demand(const std::string &option, const std::string &error) {
    if (!error.empty()) {
        throw CLI::ValidationError(option, error);
    }
}

void build_parser(CLI::App &app, Words &words) {
    app.description(kDescription);
    app.name("aclrmctl");
    words.result.settings.socket = ZV_ACL_RM_SOCKET_PATH;
    words.result.settings.switch_socket = "/var/run/zv_switch.sock";
    app.footer(kFooter);
    app.fallthrough(); /* settings may stand behind the command, too */
    app.set_version_flag("--version", "aclrmctl " ZV_ACLRMCTL_VERSION);
    add_settings(app, words.result.settings);
    add_open(app, words);
    add_init(app, words);
    add_acl_words(app, words);
    add_rule_words(app, words);
    add_bind_words(app, words);
    add_counter_words(app, words);
    add_mc_words(app, words);
    add_dump(app, words);
    add_show_words(app, words);
    add_switch_words(app, words);
    add_demo_words(app, words);
    read_numbers_strictly(app);
}

std::optional<Invocation> read_words(int argc, const char *const *argv, std::ostream &out,
                                     std::ostream &err, int *exit_code, size_t columns) {
    CLI::App app;
    Words words;
    const std::vector<std::string> given(argv + 1, argv + argc);
    build_parser(app, words);
    try {
        app.parse(argc, argv);
        /* Asked for here and not of the parser, which would complain of a missing command where
         * a misspelt one stands, without naming it. */
        if (!words.chosen) {
            throw CLI::RequiredError("A command");
        }
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) { /* help or version, which the parser prints */
            *exit_code = kExitOk;
            const bool is_version = dynamic_cast<const CLI::CallForVersion *>(&error) != nullptr;
            if (is_version && asks_for_json(given)) {
                render_json_version(ZV_ACLRMCTL_VERSION, out);
            } else {
                app.exit(error, out, err);
            }
            return std::nullopt;
        }
        const Failure failure = usage_failure(app, given, error);
        if (asks_for_json(given)) {
            render_json(failure, command_read(app), out);
        } else {
            render_text(failure, {false, columns}, out, err);
        }
        *exit_code = kExitUsage;
        return std::nullopt;
    }
    *exit_code = kExitOk;
    words.result.command = command_read(app);
    return words.result;
}

}  // namespace aclrmctl
