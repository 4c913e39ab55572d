/* aclrmctl: words -> request -> answer -> renderer. */
#include <unistd.h>

#include <exception>
#include <iostream>

#include "exit_codes.h"
#include "perform.h"
#include "render.h"
#include "words.h"

namespace {

using namespace aclrmctl;

/* On a terminal only: in a log a line that rewrites itself is noise. */
Progress terminal_progress(const Settings &settings) {
    if (settings.json || isatty(STDERR_FILENO) == 0) {
        return [](uint32_t, uint32_t) {};
    }
    return [](uint32_t done, uint32_t total) {
        std::cerr << "\r" << done << " of " << total << " rules"
                  << (done == total ? "\r\033[K" : "") << std::flush;
    };
}

int run(int argc, const char *const *argv) {
    int exit_code = kExitOk;
    const auto invocation = read_words(argc, argv, std::cout, std::cerr, &exit_code);
    if (!invocation) {
        return exit_code;
    }
    const Settings &settings = invocation->settings;
    const Answer answer = perform(settings, invocation->request, terminal_progress(settings));
    if (settings.json) {
        render_json(answer, std::cout);
    } else {
        render_text(answer, std::cout, std::cerr);
    }
    const auto *failure = std::get_if<Failure>(&answer);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "aclrmctl: standard output cannot be written\n";
        return kExitFailure;
    }
    return failure == nullptr ? kExitOk : failure->exit_code;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        /* Memory, or an answer of the switch that has not the shape of this version's. */
        std::cerr << "aclrmctl: " << error.what() << "\n";
        return kExitFailure;
    }
}
