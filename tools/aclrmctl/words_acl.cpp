/* The words for ACLs. */
#include "words_parts.h"

namespace aclrmctl {

namespace {

CLI::Option *add_direction(CLI::App &command, uint32_t *direction, const std::string &help) {
    return command.add_option("--direction", *direction, help)
        ->transform(direction_names())
        ->type_name("DIRECTION");
}

void add_create(CLI::App &acl, Words &words) {
    const auto [command, request] = add_command<AclCreateRequest>(
        acl, words, "create", "create an ACL and the region it lives in",
        "Example:\n  aclrmctl acl create --size 512 --direction ingress\n");
    command->add_option("--size", request->size, "rules the ACL has room for; 0: see 'acl resize'")
        ->required();
    command->add_option("--key-type", request->key_type, "key type")->capture_default_str();
    command->add_option("--action-type", request->action_type, "action type")
        ->capture_default_str();
    command->add_option("--acl-type", request->acl_type, "ACL type")->capture_default_str();
    add_direction(*command, &request->direction, "ingress, egress or the switch's number");
}

void add_destroy(CLI::App &acl, Words &words) {
    const auto [command, request] = add_command<AclDestroyRequest>(
        acl, words, "destroy", "destroy an ACL with its rules, and unbind it",
        "The daemon hands type and direction to the switch as given here, not as it\n"
        "remembers them. The defaults are those of 'acl create'; an ACL created with\n"
        "others wants the same words here, on a switch that looks at them. The simulated\n"
        "one does not.\n"
        "\nExamples:\n"
        "  aclrmctl acl destroy --acl 1\n"
        "  aclrmctl acl destroy --acl 2 --acl-type 4 --direction egress\n");
    add_acl_id(*command, &request->acl_id);
    command->add_option("--acl-type", request->acl_type, "ACL type, as at its creation")
        ->capture_default_str();
    add_direction(*command, &request->direction,
                  "as at its creation or last edit (default ingress)");
}

void add_edit(CLI::App &acl, Words &words) {
    const auto [command, request] = add_command<AclEditRequest>(
        acl, words, "edit", "give an ACL another direction and so another id",
        "The switch destroys the ACL and makes it anew over the same region; the new id\n"
        "is printed. Rules, groups and ports keep the former id in the daemon's records,\n"
        "so edit an ACL before it is loaded and bound: one with rules or bindings is\n"
        "refused, and so is any where that cannot be told, but with --force.\n"
        "\nExample:\n  aclrmctl acl edit --acl 1 --direction egress\n");
    add_acl_id(*command, &request->acl_id);
    add_direction(*command, &request->direction, "the new one: ingress, egress or a number")
        ->required();
    command->add_flag("--force", request->force,
                      "also an ACL with rules or bindings, which are lost\n"
                      "to the daemon");
}

void add_resize(CLI::App &acl, Words &words) {
    const auto [command, request] = add_command<AclResizeRequest>(
        acl, words, "resize", "give an ACL room for more or fewer rules",
        "Only an ACL created with --size 0 can change its size; for any other its present\n"
        "size is the only one allowed. Room that holds a rule is not given up.\n"
        "\nExample:\n  aclrmctl acl create --size 0\n  aclrmctl acl resize --acl 1 --size 512\n");
    add_acl_id(*command, &request->acl_id);
    command->add_option("--size", request->size, "rules the ACL is to have room for")->required();
}

}  // namespace

void add_acl_words(CLI::App &app, Words &words) {
    CLI::App *acl = add_group(app, "acl", "create, destroy, edit and resize ACLs");
    add_create(*acl, words);
    add_destroy(*acl, words);
    add_edit(*acl, words);
    add_resize(*acl, words);
}

}  // namespace aclrmctl
