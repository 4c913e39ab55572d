// Argument vectors: the daemon's options and aclrmctl's words.
//
// Input: one byte (even: the daemon, odd: the tool), then the arguments, one a line. The daemon's
// exit and its loader of plug-ins are replaced by the functions below; the tool's words are read
// and never carried out.
#include <getopt.h>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "daemon/cli_settings.h"
#include "fuzz/support/fuzz.h"
#include "words.h"

namespace {

using zv_fuzz::fail;

jmp_buf g_at_exit;
int g_exit_code = -1;
const char *g_loader_error = nullptr;
int g_good_library;
int g_bad_library;
int g_open_num;  // libraries that are open

using Arguments = std::vector<std::string>;

Arguments split(std::string_view text) {
    Arguments arguments;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        // An argument ends at its NUL, whatever follows.
        arguments.emplace_back(line.substr(0, line.find('\0')));
        start = end + 1;
    }
    return arguments;
}

std::vector<char *> vector_of(const char *program, Arguments &arguments) {
    arguments.insert(arguments.begin(), program);
    std::vector<char *> argv;
    for (std::string &argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return argv;
}

void check_settings(const cli_settings_t &settings) {
    const bool has_logger = settings.logger_lib_handle != nullptr;
    const bool has_connector = settings.connector_lib_handle != nullptr;
    if (has_logger != (settings.log_cb != nullptr) ||
        has_connector != (settings.aclrmd_init != nullptr) ||
        has_connector != (settings.aclrmd_deinit != nullptr)) {
        fail("a plug-in without its functions was accepted");
    }
}

void try_daemon(Arguments arguments) {
    // Before the jump: what is made here is released on both ways.
    const std::vector<char *> argv = vector_of("zv_acl_rm", arguments);
    static cli_settings_t settings;
    optind = 0;
    g_exit_code = -1;
    g_loader_error = nullptr;
    g_open_num = 0;
    if (setjmp(g_at_exit) == 0) {
        parse_command_line(static_cast<int>(arguments.size()), argv.data(), &settings);
        check_settings(settings);
    } else if (g_exit_code != 0 && g_exit_code != 1) {
        fail("the daemon ends with %d", g_exit_code);
    }
}

void try_tool(Arguments arguments) {
    const std::vector<char *> argv = vector_of("aclrmctl", arguments);
    std::ostringstream out;
    std::ostringstream err;
    int exit_code = -1;
    const auto invocation =
        aclrmctl::read_words(static_cast<int>(arguments.size()), argv.data(), out, err, &exit_code);
    if (invocation) {
        const int timeout_ms = invocation->settings.timeout_ms;
        if (exit_code != 0 || timeout_ms < 1 || timeout_ms > 3600000 || !err.str().empty()) {
            fail("accepted with exit status %d, time limit %d: %s", exit_code, timeout_ms,
                 err.str().c_str());
        }
        return;
    }
    /* Help goes to standard output; a wrong word to standard error, as an object to the former. */
    const bool is_object = out.str().rfind("{", 0) == 0;
    const bool is_help = exit_code == 0 && !out.str().empty();
    const bool is_reason = exit_code == 1 && (is_object || !err.str().empty());
    if (!is_help && !is_reason) {
        fail("refused with exit status %d, without a word", exit_code);
    }
}

}  // namespace

extern "C" {

[[noreturn]] void fuzz_exit(int code) {
    g_exit_code = code;
    longjmp(g_at_exit, 1);
}

// "good" opens and has every symbol, "bad" opens and has none; nothing else opens.
void *fuzz_dlopen(const char *path, int /*mode*/) {
    g_loader_error = nullptr;
    if (strcmp(path, "good") == 0 || strcmp(path, "bad") == 0) {
        g_open_num++;
        return *path == 'g' ? &g_good_library : &g_bad_library;
    }
    g_loader_error = "cannot open shared object file";
    return nullptr;
}

void *fuzz_dlsym(void *library, const char * /*name*/) {
    g_loader_error = library == &g_good_library ? nullptr : "undefined symbol";
    return library == &g_good_library ? reinterpret_cast<void *>(&fuzz_exit) : nullptr;
}

int fuzz_dlclose(void * /*library*/) {
    if (g_open_num-- == 0) {
        fail("a library is closed that is not open");
    }
    return 0;
}

char *fuzz_dlerror() {
    char *text = const_cast<char *>(g_loader_error);
    g_loader_error = nullptr;
    return text;
}
}

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    // Every refused command line prints; the engine holds the streams that it writes to itself.
    stdout = stderr = fopen("/dev/null", "w");
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zv_fuzz::Input input(data, size);
    const bool is_tool = (input.u8() & 1) != 0;
    if (is_tool) {
        try_tool(split(input.text()));
    } else {
        try_daemon(split(input.text()));
    }
    return 0;
}
