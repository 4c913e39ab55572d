/* The words for the tool's own story. */
#include "words_parts.h"

namespace aclrmctl {

void add_demo_words(CLI::App &app, Words &words) {
    const auto [command, request] = add_command<DemoRequest>(
        app, words, "demo", "a first session, told step by step",
        "Starts a daemon on a simulated switch of its own under a temporary directory,\n"
        "and takes both away again, also on Ctrl-C. With --attach the story happens on the\n"
        "daemon that is running: it opens as the owner, who loses access to its ACLs until\n"
        "it opens again, and binds an ACL to ports 65537-65540 for some seconds.\n"
        "\nExamples:\n  aclrmctl demo\n  aclrmctl demo --fast --json\n");
    CLI::Option *attach =
        command->add_flag("--attach", request->attach, "on the daemon that is running at --socket");
    CLI::Option *owner =
        command->add_option("--owner", request->owner, "owner to open as (default open-flow)");
    owner->transform(one_of(owner_names(), owner_names().size()))->type_name("NAME");
    command->add_flag("--fast", request->fast, "no pauses between the steps on a terminal");
    command->add_option("--daemon", request->daemon, "the daemon's program, where it is not found")
        ->type_name("PROGRAM")
        ->excludes(attach);
    command->callback([&words, attach, owner, request = request] {
        if (attach->count() > 0 && owner->count() == 0) {
            throw CLI::RequiredError("--owner (which loses access to its ACLs), with --attach,");
        }
        words.choose(*request);
    });
}

}  // namespace aclrmctl
