/* The words for MC groups. */
#include "words_parts.h"

namespace aclrmctl {

namespace {

void add_ports_command(CLI::App &group, Words &words, const std::string &name,
                       const std::string &does, bool add) {
    const auto [command, request] = add_command<McPortsRequest>(
        group, words, name, does, "Example:\n  aclrmctl mc " + name + " 1 65541,65545-65548\n",
        {add, 0, {}});
    command->add_option("ID", request->group_id, "the group")->required();
    add_numbers(*command, "PORT", kPortsHelp, kLogicalPorts, &request->ports)->required();
}

}  // namespace

void add_mc_words(CLI::App &app, Words &words) {
    CLI::App *mc = add_group(app, "mc", "MC groups: lists of ports that rules forward to");
    const auto [create, request] = add_command<McCreateRequest>(
        *mc, words, "create", "create a group and print its id",
        "A client that opened as OF13 can create groups and do nothing else with them.\n"
        "\nExamples:\n"
        "  aclrmctl mc create 65537-65540\n"
        "  aclrmctl rule add --acl 1 --priority 0 --dst 239.1.0.0/16 --forward-mc 1\n");
    add_numbers(*create, "PORT", kPortsHelp, kLogicalPorts, &request->ports);
    add_ports_command(*mc, words, "add", "add ports to a group", true);
    add_ports_command(*mc, words, "del", "remove ports from a group", false);
    const auto [remove, removed] =
        add_command<McDeleteRequest>(*mc, words, "delete", "delete a group",
                                     "Rules that forward to it stay, and forward to nothing.\n"
                                     "\nExample:\n  aclrmctl mc delete 1\n");
    remove->add_option("ID", removed->group_id, "the group")->required();
    const auto [get, got] = add_command<McGetRequest>(*mc, words, "get", "print a group's ports",
                                                      "At most 100 ports are read.\n"
                                                      "\nExample:\n  aclrmctl mc get 1\n");
    get->add_option("ID", got->group_id, "the group")->required();
}

}  // namespace aclrmctl
