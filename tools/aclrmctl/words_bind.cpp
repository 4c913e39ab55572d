/* The words for binding, and for ports that come and go. */
#include "words_parts.h"

namespace aclrmctl {

namespace {

const char *const kRifsHelp = "router interfaces, ranges and lists: 1-4,7";

void add_bind_group(CLI::App &app, Words &words, bool bind) {
    const std::string verb = bind ? "bind" : "unbind";
    const std::string an_acl = verb + " an ACL " + (bind ? "to " : "from ");
    CLI::App *group =
        add_group(app, verb, bind ? "put ACLs to work" : "take ACLs off what they are bound to");

    const auto [port, ports] = add_command<BindRequest>(
        *group, words, "port", an_acl + "logical ports",
        "Example:\n  aclrmctl " + verb + " port --acl 1 65537-65540 65545\n",
        {bind, BindPoint::kPort, 0, {}});
    add_acl_id(*port, &ports->acl_id);
    add_numbers(*port, "PORT", kPortsHelp, kLogicalPorts, &ports->numbers)->required();

    const auto [rif, rifs] =
        add_command<BindRequest>(*group, words, "rif", an_acl + "router interfaces",
                                 "Example:\n  aclrmctl " + verb + " rif --acl 1 1-4,7\n",
                                 {bind, BindPoint::kRouterInterface, 0, {}});
    add_acl_id(*rif, &rifs->acl_id);
    add_numbers(*rif, "RIF", kRifsHelp, kRouterInterfaces, &rifs->numbers)->required();

    const auto [system, request] = add_command<BindRequest>(
        *group, words, "system",
        bind ? "bind an ACL to every front-panel port" : "unbind an ACL from every port",
        std::string(bind ? "Ports that 'port add' names later are bound, too."
                         : "Ports that the ACL was bound to one by one lose it, too.") +
            "\n\nExample:\n  aclrmctl " + verb + " system --acl 1\n",
        {bind, BindPoint::kSystem, 0, {}});
    add_acl_id(*system, &request->acl_id);
}

}  // namespace

void add_bind_words(CLI::App &app, Words &words) {
    add_bind_group(app, words, true);
    add_bind_group(app, words, false);
    CLI::App *port = add_group(app, "port", "tell the daemon of ports that came or went");
    const auto [add, added] = add_command<PortSetRequest>(
        *port, words, "add", "ports came: system-bound ACLs are bound to them",
        "The daemon does not ask who says so: this needs no owner and moves every\n"
        "owner's ACLs.\n"
        "\nExample:\n  aclrmctl port add 65569-65576\n",
        {true, {}});
    add_numbers(*add, "PORT", kPortsHelp, kLogicalPorts, &added->ports)->required();
    const auto [del, deleted] = add_command<PortSetRequest>(
        *port, words, "del", "ports went: system-bound ACLs leave them",
        "ACLs that are bound to these ports but not to the system stay on them.\n"
        "\nExample:\n  aclrmctl port del 65569-65576\n",
        {false, {}});
    add_numbers(*del, "PORT", kPortsHelp, kLogicalPorts, &deleted->ports)->required();
}

}  // namespace aclrmctl
