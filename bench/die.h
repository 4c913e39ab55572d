// How a benchmark ends when it cannot measure what it promises: a line on standard error, status 1.
#pragma once

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

namespace bench {

[[noreturn, gnu::format(printf, 1, 2)]] inline void die(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("bench: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    exit(1);
}

}  // namespace bench
