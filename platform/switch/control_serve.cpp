// One thread and poll(2). Each turn of the loop does one step for each client that can go on: it
// writes what is left of an answer, or reads once, or answers one line that has arrived. So a
// client that sends many lines or reads slowly takes its turn like any other.
//
// Memory: a client's next request is not read while its answer waits, so each costs at most one
// request and one answer. Only the state of a full switch makes an answer of many megabytes; of
// those a few may wait at a time, whatever the number of clients. For one more, the client that has
// taken nothing of such an answer for longest is given up, unless all of them are still reading:
// then the newcomer is told to ask again.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <iterator>
#include <list>
#include <vector>

#include "platform/sim/report.h"
#include "platform/switch/control_commands.h"
#include "platform/switch/control_socket.h"

namespace zv_switch {
namespace {

constexpr size_t kMaxLine = 1024 * 1024;
constexpr size_t kReadBytes = 64 * 1024;
constexpr size_t kMaxClients = 64;  // more wait in the listener's queue
constexpr int kAcceptPauseMs = 100;
constexpr size_t kLargeAnswer = 1024 * 1024;
constexpr size_t kMaxLargeAnswers = 4;
// Who has taken nothing for this long counts as not reading.
constexpr std::chrono::milliseconds kStalled{1000};

using Clock = std::chrono::steady_clock;

struct Client {
    int fd = -1;
    std::string input;          // read and not answered: at most a line and a read's bytes
    std::string answer;         // to be written; nothing is read meanwhile
    size_t written_num = 0;     // of the answer
    bool last_answer = false;   // close when the answer is out
    bool at_end = false;        // the client sends no more
    bool given_up = false;      // to be closed, whatever it still wants
    Clock::time_point moved{};  // when it last took something of its answer, or asked for it
};

bool is_writing(const Client &client) {
    return !client.answer.empty();
}

bool is_large(const Client &client) {
    return client.answer.size() >= kLargeAnswer;
}

// Whether a request is there that needs no further reading.
bool has_request(const Client &client) {
    return client.input.find('\n') != std::string::npos || client.input.size() > kMaxLine ||
           (client.at_end && !client.input.empty());
}

// Takes the next request out of the input and answers it.
void answer_one(Client &client) {
    const size_t newline = client.input.find('\n');
    const size_t len = newline == std::string::npos ? client.input.size() : newline;
    if (len > kMaxLine) {
        client.answer = control_refusal("input: a line is longer than 1048576 bytes");
        client.last_answer = true;
        client.input.clear();
        return;
    }
    // The last line may lack its newline.
    const std::string request = client.input.substr(0, len);
    client.input.erase(0, newline == std::string::npos ? len : len + 1);
    client.answer = control_answer(request);
    client.written_num = 0;
    client.moved = Clock::now();
}

// Whether the client is still there.
bool write_some(Client &client) {
    const ssize_t written =
        send(client.fd, client.answer.data() + client.written_num,
             client.answer.size() - client.written_num, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    client.moved = Clock::now();
    client.written_num += static_cast<size_t>(written);
    if (client.written_num == client.answer.size()) {
        // Also gives back the memory of what may have been a large answer.
        std::string().swap(client.answer);
        client.written_num = 0;
        return !client.last_answer;
    }
    return true;
}

// Whether the client is still there.
bool read_some(Client &client) {
    const size_t before = client.input.size();
    client.input.resize(before + kReadBytes);
    const ssize_t read_num =
        recv(client.fd, client.input.data() + before, kReadBytes, MSG_DONTWAIT);
    const int error = errno;
    client.input.resize(before + static_cast<size_t>(read_num > 0 ? read_num : 0));
    client.at_end = read_num == 0;
    return read_num >= 0 || error == EAGAIN || error == EINTR;
}

// Whether the listener must be left alone for a moment: no descriptor or memory for another client.
bool accept_all(int listener, std::list<Client> &clients) {
    while (clients.size() < kMaxClients) {
        // The place first: without memory for it no descriptor must be lost.
        Client &client = clients.emplace_back();
        client.fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (client.fd >= 0) {
            continue;
        }
        const int error = errno;
        clients.pop_back();
        if (error != EINTR && error != ECONNABORTED) {
            return error != EAGAIN;
        }
    }
    return false;
}

class Server {
  public:
    explicit Server(int listener) : listener_(listener) {}

    void turn() {
        std::vector<pollfd> watched;
        const bool accepts = !paused_ && clients_.size() < kMaxClients;
        watched.push_back({accepts ? listener_ : -1, POLLIN, 0});
        bool waits = true;
        for (const Client &client : clients_) {
            const bool writing = is_writing(client);
            watched.push_back({client.fd, static_cast<short>(writing ? POLLOUT : POLLIN), 0});
            waits = waits && !client.given_up && (writing || !has_request(client));
        }
        const int longest_ms = paused_ ? kAcceptPauseMs : -1;
        if (poll(watched.data(), watched.size(), waits ? longest_ms : 0) < 0) {
            if (errno != EINTR) {
                poll(nullptr, 0, kAcceptPauseMs);
            }
            return;
        }
        serve_all(watched);
        paused_ = accept_all(listener_, clients_);
    }

  private:
    void serve_all(const std::vector<pollfd> &watched) {
        size_t index = 1;
        for (auto client = clients_.begin(); client != clients_.end(); index++) {
            const bool stays = serve_guarded(*client, watched[index].revents != 0);
            if (!stays) {
                close(client->fd);
            }
            client = stays ? std::next(client) : clients_.erase(client);
        }
    }

    bool serve_guarded(Client &client, bool ready) {
        try {
            return !client.given_up && serve(client, ready);
        } catch (...) {
            // The others go on.
            zv_sim::report("no memory for a request on the control socket; its client is given up");
            return false;
        }
    }

    // One step for one client; whether it is still there.
    bool serve(Client &client, bool ready) {
        if (is_writing(client)) {
            return !ready || write_some(client);
        }
        if (!has_request(client) && ready && !client.at_end && !read_some(client)) {
            return false;
        }
        if (has_request(client)) {
            answer_one(client);
            admit_answer(client);
            return write_some(client);
        }
        return !client.at_end;
    }

    // Keeps the number of large answers bounded that wait, now that this client has got one.
    void admit_answer(Client &client) {
        if (!is_large(client)) {
            return;
        }
        Client *laziest = nullptr;
        size_t other_num = 0;
        for (Client &other : clients_) {
            if (&other != &client && is_large(other)) {
                other_num++;
                laziest = laziest == nullptr || other.moved < laziest->moved ? &other : laziest;
            }
        }
        if (other_num < kMaxLargeAnswers) {
            return;
        }
        if (Clock::now() - laziest->moved < kStalled) {
            client.answer = control_refusal("cmd: too many large answers are under way, ask again");
            return;
        }
        // Its memory goes now, the client when its turn comes.
        std::string().swap(laziest->answer);
        laziest->given_up = true;
    }

    int listener_;
    bool paused_ = false;
    std::list<Client> clients_;
};

}  // namespace

void control_serve(int listener) {
    Server server(listener);
    for (;;) {
        try {
            server.turn();
        } catch (...) {
            // Out of memory; a later turn may find some.
            poll(nullptr, 0, kAcceptPauseMs);
        }
    }
}

}  // namespace zv_switch
