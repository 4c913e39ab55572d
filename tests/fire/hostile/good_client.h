// good_client.h - a client that does its work, over and over, whatever goes on beside it.
#ifndef ZV_TESTS_FIRE_HOSTILE_GOOD_CLIENT_H
#define ZV_TESTS_FIRE_HOSTILE_GOOD_CLIENT_H

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "tests/fire/hostile/kinds.h"
#include "tests/fire/support/fire_report.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_fire {

class GoodClient {
  public:
    // Works from now on until stop(), on a thread of its own.
    GoodClient(zv_test::DaemonProcess &daemon, Battlefield &field, Report &report);
    ~GoodClient() { stop(); }
    void stop();

    // Requests that begin from now on are timed apart; returns the times of those before.
    Times begin_slice();
    uint64_t cycles() const { return cycles_; }

  private:
    void run();
    void cycle();
    void write_and_read(uint32_t acl_id, uint32_t counter_id, uint32_t group);
    template <typename Request>
    void timed(const char *what, const Request &request);

    Battlefield &field_;
    Report &report_;
    zv_test::TestClient client_;
    std::atomic<bool> stops_{false};
    std::atomic<uint64_t> cycles_{0};
    std::mutex mutex_;
    Times times_;         // of this slice
    uint32_t slice_ = 0;  // its number
    std::thread thread_;
};

}  // namespace zv_fire

#endif
