// The server: one loop over one listening socket and up to 512 connections, and its life cycle,
// which other threads may end.
//
// Threads: open, set_table and run are the serving program's main thread's; stop and close may come
// from any other. The mutex guards the life cycle only. While the loop runs, everything it works on
// is its own: close waits for it to have ended before it touches any of that.
#ifndef PLATFORM_RPC_SERVER_H
#define PLATFORM_RPC_SERVER_H

#include <sys/epoll.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "platform/rpc/connection.h"
#include "platform/rpc/dispatch.h"
#include "platform/rpc/listener.h"

namespace zv_rpc_lib {

constexpr uint32_t kMaxConnections = 512;
constexpr uint32_t kLargestMaxMessage = 65536;

struct ServerOptions {
    mode_t socket_mode = 0660;
    uint32_t busy_poll_us = 0;
};

class Server {
  public:
    // The process's only one. Never destroyed: the loop's thread may be parked in it at exit.
    static Server &instance();

    // The functions of zv_rpc.h, with its statuses. path has ZV_PLATFORM_ROOT before it already.
    Status open(const char *path, uint32_t max_message, const ServerOptions &options);
    Status set_table(const zv_rpc_command_t *table, uint32_t count);
    Status run();
    void set_stop(bool stop);
    Status close();

  private:
    enum class Loop { kNotStarted, kRunning, kEnded };
    using Events = std::array<epoll_event, kMaxConnections + 2>;

    Status open_poll();
    void close_files();

    // Serves until stopping is asked for (true) or the server cannot go on (false).
    bool serve();
    int wait(Events *events);
    bool handle_round(const Events &events, int count);
    void serve_connection(Connection *connection, uint32_t events);
    void send_reply(Connection *connection, uint32_t len);
    void watch(Connection *connection, int operation);
    void give_up(Connection *connection);
    void close_connection(Connection *connection);

    void accept_round();
    void admit(int fd);
    void pause_accepting(int error);
    void resume_accepting();

    // The end of the loop: answers what has been received, closes all connections.
    void shut_down();
    void drain(Connection *connection);

    std::mutex mutex_;
    std::condition_variable loop_ended_;
    bool is_open_ = false;
    Loop loop_ = Loop::kNotStarted;
    std::thread::id loop_thread_;

    std::atomic<bool> stop_{false};
    // Wakes the loop. Made once and kept, since set_stop may be about to write to it at any time.
    std::atomic<int> wake_fd_{-1};

    ServerOptions options_;
    Listener listener_;
    Dispatcher dispatcher_;
    int poll_fd_ = -1;
    std::array<Connection, kMaxConnections> connections_;
    uint32_t connection_num_ = 0;
    // When to try to accept again, 0 while accepting; milliseconds of the monotonic clock.
    int64_t accept_again_ms_ = 0;
};

}  // namespace zv_rpc_lib

#endif
