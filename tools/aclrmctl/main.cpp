/* aclrmctl: words -> request -> answer -> renderer. */
#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>

#include "complete.h"
#include "demo.h"
#include "exit_codes.h"
#include "perform.h"
#include "render.h"
#include "rule_progress.h"
#include "text_table.h"
#include "words.h"

namespace {

using namespace aclrmctl;

/* Whole, or none of it: an answer that cannot be rendered is a failure of its own. Only the
 * switch's answers can have another shape than this version's. */
void render(const Invocation &invocation, Answer &answer) {
    const Settings &settings = invocation.settings;
    std::ostringstream out;
    std::ostringstream err;
    const auto write = [&] {
        if (settings.json) {
            render_json(answer, invocation.command, out);
        } else {
            render_text(answer, {settings.numeric, output_columns()}, out, err);
        }
    };
    try {
        write();
    } catch (const std::exception &error) {
        out.str("");
        err.str("");
        answer = Failure{kExitFailure, error.what(), {}, {}, ""};
        write();
    }
    std::cout << out.str() << std::flush;
    std::cerr << err.str() << std::flush;
}

Answer carry_out(const Invocation &invocation) {
    try {
        if (const auto *demo = std::get_if<DemoRequest>(&invocation.request)) {
            return run_demo(invocation.settings, *demo,
                            invocation.settings.json ? nullptr : &std::cout);
        }
        return perform(invocation.settings, invocation.request,
                       terminal_progress(invocation.settings));
    } catch (const std::exception &error) {
        return Failure{kExitFailure, error.what(), {}, {}, ""};
    }
}

int run(int argc, const char *const *argv) {
    const std::vector<std::string> words(argv + 1, argv + std::max(argc, 1));
    if (words.size() > 1 && words[0] == "__complete" && words[1] == "--") {
        complete({words.begin() + 2, words.end()}, std::cout);
        return kExitOk;
    }
    if (words.size() == 1 && words[0] == "__options") {
        list_options(std::cout);
        return kExitOk;
    }
    int exit_code = kExitOk;
    const auto invocation =
        read_words(argc, argv, std::cout, std::cerr, &exit_code, output_columns());
    Answer answer;
    if (invocation) {
        answer = carry_out(*invocation);
        render(*invocation, answer);
        exit_code = exit_status(answer);
    }
    std::cout << std::flush;
    if (!std::cout) {
        std::cerr << "aclrmctl: standard output cannot be written\n";
        return kExitFailure;
    }
    return exit_code;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) { /* memory */
        std::cerr << "aclrmctl: " << error.what() << "\n";
        return kExitFailure;
    }
}
