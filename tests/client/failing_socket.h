/* The system's calls for a socket, made to fail in the thread of a test. What links
 * failing_socket.cpp has them in the place of the C library's, for the libraries it loads as well.
 */
#ifndef ZV_TESTS_CLIENT_FAILING_SOCKET_H
#define ZV_TESTS_CLIENT_FAILING_SOCKET_H

namespace zv_test {

enum class SocketCall { connect, send, receive };

/* While one exists, every such call of its thread fails with `error`. */
class FailingSocket {
  public:
    FailingSocket(SocketCall call, int error);
    ~FailingSocket();
    FailingSocket(const FailingSocket &) = delete;
    FailingSocket &operator=(const FailingSocket &) = delete;
};

}  // namespace zv_test

#endif
