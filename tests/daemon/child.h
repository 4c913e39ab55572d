// child.h - a function that ends its process, run in a child process.
#ifndef ZV_TESTS_DAEMON_CHILD_H
#define ZV_TESTS_DAEMON_CHILD_H

#include <functional>
#include <string>

namespace zv_unit {

struct ChildResult {
    int exit_status;  // -1: ended by a signal
    std::string out;
    std::string err;
};

// What `work` says and how it ends; a work that returns ends with status 99.
inline constexpr int CHILD_RETURNED = 99;
ChildResult run_in_child(const std::function<void()> &work);

}  // namespace zv_unit

#endif
