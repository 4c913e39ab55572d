// The log's two writers, and opening and closing.
//
// The difficulty is the close: when it returns, no thread may be inside the sink and none may still
// enter it, but the writers must take no lock, since a signal handler may interrupt one and write a
// line itself. So every writer counts itself in before it looks whether the log is open, and close
// first closes and then waits until everybody has left. A thread also counts its own visits, which
// close must not wait for when it is called from the sink or from a handler that interrupted a
// writer.
#include "zv_log.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/log/trace_ring.h"
#include "platform/sim/call.h"

namespace {

using zv_log_lib::kMaxText;
using zv_log_lib::TraceRing;

enum Status : uint32_t { kSuccess = 0, kWrongState = 1 };
enum class Phase : uint32_t { kClosed, kOpening, kOpen };

// Lines up to this length are formatted once, in a small frame.
constexpr size_t kSmallLine = 1024;
// What of a module's name goes before a line on standard error.
constexpr int kMaxModule = 200;

// All of it constant-initialised and without destructors: writers may run before main and at exit.
std::atomic<Phase> g_phase{Phase::kClosed};
std::atomic<zv_log_cb_t> g_sink{nullptr};
std::atomic<uint32_t> g_visitors{0};
TraceRing g_memory_ring;
std::atomic<TraceRing *> g_ring{&g_memory_ring};
// Standard error ends in the middle of a line, so that the next one has to begin a line of its own.
std::atomic<bool> g_line_is_torn{false};

// initial-exec: the other models may allocate when a thread touches the variable for the first
// time.
[[gnu::tls_model("initial-exec")]] thread_local uint32_t t_own_visits = 0;

// The own count goes up first and down last: whatever a handler sees between the two steps, it
// never waits for the thread it runs on.
class Visit {
  public:
    Visit() {
        t_own_visits = t_own_visits + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        g_visitors.fetch_add(1, std::memory_order_seq_cst);
    }
    ~Visit() {
        g_visitors.fetch_sub(1, std::memory_order_seq_cst);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        t_own_visits = t_own_visits - 1;
        errno = saved_errno_;
    }
    Visit(const Visit &) = delete;
    Visit &operator=(const Visit &) = delete;

    static bool is_open() { return g_phase.load(std::memory_order_seq_cst) == Phase::kOpen; }

  private:
    int saved_errno_ = errno;
};

void wait_for_other_visitors() {
    while (g_visitors.load(std::memory_order_seq_cst) > t_own_visits) {
        timespec pause = {0, 100 * 1000};
        nanosleep(&pause, nullptr);
    }
}

// Where a formatted line goes, and what it needs on the way.
struct Target {
    enum class Kind { kSink, kStderr, kRing } kind;
    uint32_t severity_mask = 0;
    const char *module = "";
    zv_log_cb_t sink = nullptr;
};

const char *level_name(uint32_t severity_mask) {
    static const char *const kNames[] = {"NONE   ", "ERROR  ", "WARN   ", "NOTICE ", "INFO   ",
                                         "DEBUG  ", "FUNCS  ", "FRAMES ", "ALL    "};
    auto level = static_cast<size_t>(__builtin_ctzll(static_cast<uint64_t>(severity_mask) + 1));
    return level < std::size(kNames) ? kNames[level] : "UNKNOWN";
}

size_t format_prefix(const Target &target, char *line, size_t size) {
    if (target.kind != Target::Kind::kStderr) {
        return 0;
    }
    int len = snprintf(line, size, "[%-20.*s][%s] : ", kMaxModule, target.module,
                       level_name(target.severity_mask));
    return len < 0 ? 0 : static_cast<size_t>(len);
}

size_t without_newlines(const char *text, size_t len) {
    while (len > 0 && text[len - 1] == '\n') {
        len--;
    }
    return len;
}

// Ends a torn line and begins the new one with one call, as long as the newline is not out.
ssize_t write_part(bool ends_torn_line, const char *line, size_t len) {
    if (!ends_torn_line) {
        return write(STDERR_FILENO, line, len);
    }
    char newline = '\n';
    // writev reads only, but its record is shared with readv and knows no const.
    const iovec parts[] = {{&newline, 1}, {const_cast<char *>(line), len}};
    return writev(STDERR_FILENO, parts, static_cast<int>(std::size(parts)));
}

// One write, so that lines of several threads and processes do not mix. Only where the kernel takes
// a part (a full disk, a signal in the middle of a long line) does another one follow. A torn line
// counts as torn until its newline is out: a line that another thread, or a signal handler on this
// one, writes before brings its own, and then an empty line may be left.
void write_stderr(const char *line, size_t len) {
    bool ends_torn_line = g_line_is_torn.load();
    const char *const end = line + len;
    const char *rest = line;
    while (rest < end) {
        ssize_t written = write_part(ends_torn_line, rest, static_cast<size_t>(end - rest));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;
        }
        rest += written;
        if (ends_torn_line) {
            rest--;
            ends_torn_line = false;
            g_line_is_torn.store(false);
        }
    }
    if (rest > line && rest < end) {
        g_line_is_torn.store(true);
    }
}

// line: prefix, text and one more byte of room.
void emit(const Target &target, char *line, size_t prefix_len, size_t text_len) {
    char *text = line + prefix_len;
    switch (target.kind) {
        case Target::Kind::kSink:
            target.sink(target.severity_mask, target.module, text);
            break;
        case Target::Kind::kStderr:
            text_len = without_newlines(text, text_len);
            text[text_len] = '\n';
            write_stderr(line, prefix_len + text_len + 1);
            break;
        case Target::Kind::kRing:
            zv_log_lib::ring_write(*g_ring.load(std::memory_order_acquire), text,
                                   static_cast<uint32_t>(without_newlines(text, text_len)));
            break;
    }
}

// Apart and never inlined, so that only a long line costs its stack.
[[gnu::noinline]] void write_long(const Target &target, size_t text_len, const char *format,
                                  va_list arguments) {
    text_len = std::min<size_t>(text_len, kMaxText);
    const size_t size = kSmallLine + text_len + 1;
    auto *line = static_cast<char *>(__builtin_alloca(size));
    size_t prefix_len = format_prefix(target, line, kSmallLine);
    int len = vsnprintf(line + prefix_len, text_len + 1, format, arguments);
    if (len >= 0) {
        emit(target, line, prefix_len, std::min(static_cast<size_t>(len), text_len));
    }
}

void write_line(const Target &target, const char *format, va_list arguments) {
    char line[kSmallLine];
    size_t prefix_len = format_prefix(target, line, sizeof(line));
    va_list again;
    va_copy(again, arguments);
    int len = vsnprintf(line + prefix_len, sizeof(line) - prefix_len, format, arguments);
    if (len >= 0 && prefix_len + static_cast<size_t>(len) < sizeof(line)) {
        emit(target, line, prefix_len, static_cast<size_t>(len));
    } else if (len >= 0) {
        write_long(target, static_cast<size_t>(len), format, again);
    }
    va_end(again);
}

// The new ring is in place before the old one goes, and nobody is inside either then.
bool open_trace_file(const char *path) {
    TraceRing *ring = zv_log_lib::ring_file_create(path);
    if (ring == nullptr) {
        return false;
    }
    TraceRing *old = g_ring.exchange(ring, std::memory_order_seq_cst);
    wait_for_other_visitors();
    if (old != &g_memory_ring) {
        zv_log_lib::ring_file_unmap(old);
    }
    return true;
}

}  // namespace

uint32_t zv_log_init(uint32_t arg0, uint32_t arg1, zv_log_cb_t sink) {
    (void)arg0;
    (void)arg1;
    zv_sim::Call call("zv_log_init");
    if (call.fails_early()) {
        return call.finish(kSuccess);
    }
    Phase expected = Phase::kClosed;
    if (!g_phase.compare_exchange_strong(expected, Phase::kOpening)) {
        return call.finish(kWrongState);
    }
    const char *path = getenv("ZV_TRACE_FILE");
    bool wanted = path != nullptr && *path != '\0';
    bool failed = wanted && !open_trace_file(path);
    const char *reason = failed ? strerror(errno) : "";
    g_sink.store(sink, std::memory_order_relaxed);
    g_phase.store(Phase::kOpen, std::memory_order_seq_cst);
    if (failed) {
        zv_log(3, "ZV_LOG", "The trace stays in memory, cannot make the file %s: %s.\n", path,
               reason);
    }
    return call.finish(kSuccess);
}

uint32_t zv_log_close() {
    zv_sim::Call call("zv_log_close");
    if (call.fails_early()) {
        return call.finish(kSuccess);
    }
    Phase expected = Phase::kOpen;
    bool was_open = g_phase.compare_exchange_strong(expected, Phase::kClosed);
    wait_for_other_visitors();
    return call.finish(was_open ? kSuccess : kWrongState);
}

void zv_log(uint32_t severity_mask, const char *module, const char *format, ...) {
    // A look before the visit, so that writers that go on after a close do not keep it waiting.
    if (format == nullptr || !Visit::is_open()) {
        return;
    }
    Visit visit;
    if (!Visit::is_open()) {
        return;
    }
    Target target{Target::Kind::kStderr, severity_mask, module == nullptr ? "" : module,
                  g_sink.load(std::memory_order_relaxed)};
    if (target.sink != nullptr) {
        target.kind = Target::Kind::kSink;
    }
    va_list arguments;
    va_start(arguments, format);
    write_line(target, format, arguments);
    va_end(arguments);
}

void zv_trace_cbuff_log(const char *format, ...) {
    if (format == nullptr || !Visit::is_open()) {
        return;
    }
    Visit visit;
    if (!Visit::is_open()) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    write_line(Target{Target::Kind::kRing}, format, arguments);
    va_end(arguments);
}

uint32_t zv_trace_cbuff_read(char *buffer, uint32_t size, uint32_t max_lines) {
    Visit visit;
    return zv_log_lib::ring_read(*g_ring.load(std::memory_order_seq_cst), buffer, size, max_lines);
}
