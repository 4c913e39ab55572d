// Starts the control socket when the library is loaded, so that faults can be set before the first
// call, and removes its file when the process exits.

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/sim/report.h"
#include "platform/switch/control_socket.h"

namespace {

constexpr char kSocketPath[] = "/var/run/zv_switch.sock";

// What the exit function needs, in plain memory: it runs when objects may be gone already.
char g_path[128];
pid_t g_server_pid = 0;

void *serve(void *listener) {
    pthread_setname_np(pthread_self(), "zvSwitchCtl");
    zv_switch::control_serve(static_cast<int>(reinterpret_cast<intptr_t>(listener)));
}

// With every signal blocked in the new thread: the process's signals are for the program's own.
bool start_thread(int listener) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    void *argument = reinterpret_cast<void *>(static_cast<intptr_t>(listener));
    const int error = pthread_create(&thread, &attributes, serve, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error == 0;
}

void start() {
    const char *wanted = std::getenv("ZV_SIM_CONTROL");
    if (wanted == nullptr || std::strcmp(wanted, "1") != 0) {
        return;
    }
    const char *root = std::getenv("ZV_PLATFORM_ROOT");
    const std::string path = std::string(root == nullptr ? "" : root) + kSocketPath;
    std::string error;
    const int listener = zv_switch::control_listen(path, &error);
    if (listener < 0) {
        zv_sim::report("ZV_SIM_CONTROL: " + error + "; there is no control socket");
        return;
    }
    if (!start_thread(listener)) {
        // Clients find no socket then, instead of one that nobody answers. The lock stays for as
        // long as the process does.
        close(listener);
        (void)unlink(path.c_str());
        zv_sim::report("ZV_SIM_CONTROL: no thread for the control socket; there is none");
        return;
    }
    // The listener's path fits a socket address, which is shorter than this.
    std::memcpy(g_path, path.c_str(), path.size() + 1);
    g_server_pid = getpid();
}

[[gnu::constructor]] void start_when_loaded() {
    try {
        start();
    } catch (...) {
        // No memory at load time: the program runs without a control socket.
    }
}

// A forked child exits with its parent's memory; the file is the parent's.
[[gnu::destructor]] void remove_at_exit() {
    if (g_server_pid != 0 && g_server_pid == getpid()) {
        (void)unlink(g_path);
    }
}

}  // namespace
