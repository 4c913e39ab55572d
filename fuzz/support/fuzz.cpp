#include "fuzz/support/fuzz.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace zv_fuzz {
namespace {

std::string &scratch_path() {
    static std::string &path = *new std::string;
    return path;
}

void remove_scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(scratch_path(), ignored);
}

}  // namespace

void fail(const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int len = vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    // Past the streams, which a fuzz program may have turned away.
    dprintf(STDERR_FILENO, "fuzz: %s%s\n", text,
            len >= static_cast<int>(sizeof(text)) ? " ..." : "");
    abort();
}

const std::string &scratch_dir() {
    if (scratch_path().empty()) {
        const char *parent = getenv("TMPDIR");
        std::string path = std::string(parent == nullptr ? "/tmp" : parent) + "/zv_fuzz.XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            fail("there is no place for files below %s", path.c_str());
        }
        scratch_path() = path;
        atexit(remove_scratch);
    }
    return scratch_path();
}

}  // namespace zv_fuzz

extern "C" {

// Finds of the sanitizers end the process like any other; memory that runs out is an answer.
const char *__asan_default_options() {
    return "abort_on_error=1:allocator_may_return_null=1:handle_abort=1";
}

const char *__ubsan_default_options() {
    return "print_stacktrace=1";
}
}
