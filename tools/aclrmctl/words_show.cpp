/* The words for looking at what the daemon holds. */
#include "words_parts.h"

namespace aclrmctl {

namespace {

struct TableWords {
    const char *name;
    Table table;
    const char *does;
};

constexpr TableWords kTables[] = {
    {"acls", Table::kAcls, "ACLs with their owners, rules and ports"},
    {"rules", Table::kRules, "rules in words, as the switch has them"},
    {"groups", Table::kGroups, "groups of ACLs, in the order packets meet them"},
    {"counters", Table::kCounters, "flow counters that rules use, with their values"},
    {"ports", Table::kPorts, "ports and router interfaces, with their ACLs"},
    {"owners", Table::kOwners, "what belongs to whom"},
    {"mc", Table::kMc, "MC groups"},
    {"forwarding", Table::kForwarding, "ports that rules forward to"},
};

}  // namespace

void add_show_words(CLI::App &app, Words &words) {
    CLI::App *show = app.add_subcommand("show", "what the daemon holds, in tables");
    show->footer(
        "Without a table: all of them but groups and rules. Needs no owner, and changes\n"
        "nothing.\n"
        "The tables are made from a dump, which holds 65535 characters (about 1300\n"
        "rules); what is missing from a longer one is said, and the exit status is 8.\n"
        "\nExamples:\n  aclrmctl show\n  aclrmctl show acls --json\n");
    show->require_subcommand(0, 1);
    show->callback([show, &words] {
        if (show->get_subcommands().empty()) {
            words.choose(ShowRequest{});
        }
    });
    for (const TableWords &row : kTables) {
        const std::string example = std::string("Example:\n  aclrmctl show ") + row.name + "\n";
        const auto [command, request] =
            add_command<ShowRequest>(*show, words, row.name, row.does, example, {row.table, {}});
        if (row.table == Table::kRules) {
            command->add_option("--acl", request->acl_id, "only the rules of this ACL")
                ->type_name("UINT");
        }
    }
}

}  // namespace aclrmctl
