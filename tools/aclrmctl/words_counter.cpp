/* The words for flow counters. */
#include "words_parts.h"

namespace aclrmctl {

namespace {

const char *const kTypeHelp =
    "The switch counts packets first and bytes second in every counter. The type says\n"
    "which of the two the daemon reads back: 'bytes' (type 0) or 'packets' (type 1).\n"
    "It reads them crosswise: the record's first flag and value stand for the\n"
    "switch's second value, the bytes; the second for its first, the packets.\n";

CounterType read_type(const std::string &word) {
    if (word == "packets" || word == "1") {
        return CounterType::kPackets;
    }
    if (word == "bytes" || word == "0") {
        return CounterType::kBytes;
    }
    throw CLI::ValidationError("--type", "'" + word + "' is neither packets nor bytes");
}

template <typename SomeRequest>
void add_id_command(CLI::App &group, Words &words, const std::string &name, const std::string &does,
                    const std::string &more) {
    const auto [command, request] = add_command<SomeRequest>(
        group, words, name, does, more + "Example:\n  aclrmctl counter " + name + " 3\n");
    command->add_option("ID", request->counter_id, "the counter")->required();
}

}  // namespace

void add_counter_words(CLI::App &app, Words &words) {
    CLI::App *counter = add_group(app, "counter", "flow counters that rules count into");
    const auto [create, request] = add_command<CounterCreateRequest>(
        *counter, words, "create", "create a counter and print its id",
        std::string(kTypeHelp) +
            "\nExamples:\n"
            "  aclrmctl counter create --type packets\n"
            "  aclrmctl rule load samples/campus-edge.rules --acl 1 --counter 1\n");
    create
        ->add_option_function<std::string>(
            "--type",
            [request = request](const std::string &word) { request->type = read_type(word); },
            "what it tells: packets or bytes (or 1 or 0)")
        ->required()
        ->type_name("TYPE");
    add_id_command<CounterDestroyRequest>(
        *counter, words, "destroy", "destroy a counter",
        "A counter that rules use stays, and goes with the last of them; any other goes\n"
        "at once.\n\n");
    add_id_command<CounterReadRequest>(*counter, words, "read", "print what a counter counted",
                                       std::string(kTypeHelp) + "\n");
    add_id_command<CounterClearRequest>(*counter, words, "clear", "set a counter to 0", "");
}

}  // namespace aclrmctl
