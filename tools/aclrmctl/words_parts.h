/* The command line in parts: each words_*.cpp adds the commands of one kind to the parser.
 *
 * Options are bound to the request being filled in, which lives as long as the parser, held by the
 * command's callback. That runs once all of the command's words have been accepted and makes the
 * request the one to carry out.
 */
#ifndef ACLRMCTL_WORDS_PARTS_H
#define ACLRMCTL_WORDS_PARTS_H

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "names.h"
#include "number_list.h"
#include "words.h"

namespace aclrmctl {

/* What stands beside a list of ports in a help text. */
inline constexpr const char *kPortsHelp = "ports, ranges and lists: 65537-65540,65545";

/* What has been read so far. */
struct Words {
    Invocation result;
    bool chosen = false;

    void choose(Request request) {
        result.request = std::move(request);
        chosen = true;
    }
};

/* A command in the making: its place in the parser, and what it fills in. */
template <typename SomeRequest>
struct Command {
    CLI::App *app;
    std::shared_ptr<SomeRequest> request;
};

/* Adds a command whose request is ready once its options are read; others set another callback.
 * `more` is what --help prints last: explanations and examples. */
template <typename SomeRequest>
Command<SomeRequest> add_command(CLI::App &group, Words &words, const std::string &name,
                                 const std::string &does, const std::string &more,
                                 const SomeRequest &start = {}) {
    Command<SomeRequest> command{group.add_subcommand(name, does),
                                 std::make_shared<SomeRequest>(start)};
    command.app->footer(more);
    command.app->callback([&words, request = command.request] { words.choose(*request); });
    return command;
}

/* Adds a command that only has commands of its own. */
CLI::App *add_group(CLI::App &app, const std::string &name, const std::string &does);

/* The help text says in words what is allowed; the parser's own notation for it stays out. */
CLI::Validator quiet(CLI::Validator validator);

/* Accepts a name of the list, whatever its case, or a number below the bound, and makes either the
 * number. The list must outlive the parser. */
CLI::Validator one_of(const NameList &names, uint64_t numbers_below);

/* Any number is a direction of some switch. */
CLI::Validator direction_names();

void add_acl_id(CLI::App &command, uint32_t *acl_id);

/* A positional argument that is one or more lists. *numbers lives as long as the parser. */
CLI::Option *add_numbers(CLI::App &command, const std::string &name, const std::string &help,
                         const NumberKind &kind, std::vector<uint32_t> *numbers);

/* Throws the parser's error for an option unless `error` is empty. */
void demand(const std::string &option, const std::string &error);

/* All of the commands. `words` lives as long as `app`. */
void build_parser(CLI::App &app, Words &words);

void add_demo_words(CLI::App &app, Words &words);
void add_acl_words(CLI::App &app, Words &words);
void add_rule_words(CLI::App &app, Words &words);
void add_bind_words(CLI::App &app, Words &words);
void add_counter_words(CLI::App &app, Words &words);
void add_mc_words(CLI::App &app, Words &words);
void add_show_words(CLI::App &app, Words &words);
void add_switch_words(CLI::App &app, Words &words);
void add_packet_words(CLI::App &group, Words &words);

}  // namespace aclrmctl

#endif
