// here.h - where a check was asked for, so that a failure points at the test and not at the
// harness.
//
// Functions of the harness that can fail take a `Here` as their last, defaulted argument; the
// default is evaluated at the call, hence it names the caller's line.
#ifndef ZV_TESTS_SUPPORT_HERE_H
#define ZV_TESTS_SUPPORT_HERE_H

namespace zv_test {

struct Here {
    const char *file;
    int line;
    // Built-ins and not std::source_location: one of our compilers does not have that yet.
    static constexpr Here now(const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
        return {file, line};
    }
};

}  // namespace zv_test

#endif
