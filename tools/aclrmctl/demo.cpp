#include "demo.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

#include "daemon_link.h"
#include "exit_codes.h"
#include "perform.h"
#include "private_switch.h"
#include "render.h"
#include "text_table.h"
#include "words.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

namespace {

constexpr int kPauseMs = 1500;
constexpr size_t kOutputColumns = kTerminalColumns - 5; /* behind the indentation */
constexpr const char *kRuleFile = "campus-edge.rules";
constexpr const char *kPorts = "65537-65540";

/* --- signals ------------------------------------------------------------------------------------
 */

volatile std::sig_atomic_t g_signal = 0;

extern "C" void note_signal(int number) {
    g_signal = number;
}

/* Notes the signals that would end the process, so that it can clear away first. */
class SignalGuard {
  public:
    SignalGuard() {
        g_signal = 0;
        struct sigaction action {};
        action.sa_handler = note_signal;
        for (size_t i = 0; i < 3; i++) {
            sigaction(kSignals[i], &action, &former_[i]);
            if (former_[i].sa_handler == SIG_IGN) { /* nohup, or a shell's background */
                sigaction(kSignals[i], &former_[i], nullptr);
            }
        }
    }
    ~SignalGuard() {
        for (size_t i = 0; i < 3; i++) {
            sigaction(kSignals[i], &former_[i], nullptr);
        }
    }
    SignalGuard(const SignalGuard &) = delete;
    SignalGuard &operator=(const SignalGuard &) = delete;

  private:
    static constexpr int kSignals[3] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction former_[3]{};
};

/* --- the place ----------------------------------------------------------------------------------
 */

/* The working directory and the root of sockets while the story runs. */
class Place {
  public:
    explicit Place(const std::string &root) : directory_(std::filesystem::current_path()) {
        const char *former = std::getenv("ZV_PLATFORM_ROOT");
        had_root_ = former != nullptr;
        root_ = had_root_ ? former : "";
        setenv("ZV_PLATFORM_ROOT", root.c_str(), 1);
        std::filesystem::current_path(root);
    }
    ~Place() {
        std::error_code ignored;
        std::filesystem::current_path(directory_, ignored);
        if (had_root_) {
            setenv("ZV_PLATFORM_ROOT", root_.c_str(), 1);
        } else {
            unsetenv("ZV_PLATFORM_ROOT");
        }
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

  private:
    std::filesystem::path directory_;
    std::string root_;
    bool had_root_ = false;
};

/* A file in a directory of its own, for a daemon that is not ours. */
class RuleFileDirectory {
  public:
    explicit RuleFileDirectory(std::string path) : path_(std::move(path)) {
        made_ = mkdtemp(path_.data()) != nullptr;
    }
    ~RuleFileDirectory() {
        std::error_code ignored;
        if (made_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    RuleFileDirectory(const RuleFileDirectory &) = delete;
    RuleFileDirectory &operator=(const RuleFileDirectory &) = delete;
    bool made() const { return made_; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    bool made_ = false;
};

/* --- the story ----------------------------------------------------------------------------------
 */

class Story {
  public:
    Story(const Settings &settings, const DemoRequest &request, std::ostream *out)
        : settings_(settings), request_(request), out_(out) {
        answer_.attached = request.attach;
        pauses_ = out != nullptr && !request.fast && isatty(STDOUT_FILENO) != 0;
    }

    bool interrupted() const { return g_signal != 0; }

    void title(const std::string &text) {
        title_ = text;
        step_num_++;
        if (out_ != nullptr) {
            *out_ << "\n" << step_num_ << ". " << text << "\n" << std::flush;
        }
    }

    void say(const std::string &text) {
        if (out_ != nullptr) {
            *out_ << "   " << text << "\n" << std::flush;
        }
    }

    /* Carries out one command as if it had been typed. Null where it failed or where it is not
     * begun, because a signal came; the failure is kept. */
    template <typename SomeAnswer>
    const SomeAnswer *run(const std::vector<std::string> &words) {
        if (interrupted() || failure_) {
            return nullptr;
        }
        pause();
        last_ = carry_out(words);
        if (const auto *failure = std::get_if<Failure>(&last_)) {
            failure_ = *failure;
        }
        return std::get_if<SomeAnswer>(&last_);
    }

    /* Clearing away goes on after a failure or a signal. */
    void clear_away(const std::vector<std::string> &words) {
        const Answer answer = carry_out(words);
        if (const auto *failure = std::get_if<Failure>(&answer); failure != nullptr && !failure_) {
            failure_ = *failure;
        }
    }

    const Settings &settings() const { return settings_; }
    bool goes_on() const { return !failure_ && !interrupted(); }
    std::optional<Failure> &failure() { return failure_; }
    const DemoAnswer &answer() const { return answer_; }

  private:
    void pause() {
        if (pauses_) {
            poll(nullptr, 0, kPauseMs); /* a signal ends it early */
        }
    }

    Answer carry_out(const std::vector<std::string> &words);
    void show(const std::vector<std::string> &words, const std::string &output);

    const Settings &settings_;
    const DemoRequest &request_;
    std::ostream *out_;
    bool pauses_ = false;
    int step_num_ = 0;
    std::string title_;
    Answer last_;
    std::optional<Failure> failure_;
    DemoAnswer answer_{};
};

/* "$ aclrmctl ..." for a terminal of 80 columns, broken before options. */
std::string typed(const std::vector<std::string> &words) {
    std::string text;
    std::string line = "$ aclrmctl";
    for (size_t i = 0; i < words.size();) {
        std::string part = " " + words[i++];
        while (i < words.size() && words[i].rfind("--", 0) != 0) {
            part += " " + words[i++];
        }
        if (line.size() + part.size() > 74) {
            text += line + " \\\n";
            line = "     ";
        }
        line += part;
    }
    return text + line;
}

Answer Story::carry_out(const std::vector<std::string> &words) {
    std::vector<std::string> all{"aclrmctl", "--timeout", std::to_string(settings_.timeout_ms),
                                 "--handle", std::to_string(settings_.handle)};
    if (request_.attach) {
        all.insert(all.end(),
                   {"--socket", settings_.socket, "--switch-socket", settings_.switch_socket});
    }
    all.insert(all.end(), words.begin(), words.end());
    std::vector<const char *> arguments;
    arguments.reserve(all.size());
    for (const std::string &word : all) {
        arguments.push_back(word.c_str());
    }
    std::ostringstream out;
    int exit_code = kExitOk;
    Answer answer;
    const auto invocation =
        read_words(static_cast<int>(arguments.size()), arguments.data(), out, out, &exit_code);
    if (!invocation) {
        answer = Failure{exit_code, out.str(), {}, {}, ""};
    } else {
        answer = perform(invocation->settings, invocation->request, [](uint32_t, uint32_t) {});
        render_text(answer, {settings_.numeric, out_ == nullptr ? 0 : kOutputColumns}, out, out);
        exit_code = exit_status(answer);
    }
    std::string command = "aclrmctl";
    for (const std::string &word : words) {
        command += " " + word;
    }
    show(words, out.str());
    answer_.steps.push_back({title_, command, out.str(), exit_code});
    title_.clear();
    return answer;
}

void Story::show(const std::vector<std::string> &words, const std::string &output) {
    if (out_ == nullptr) {
        return;
    }
    const auto indented = [this](const std::string &text, const char *margin) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const size_t room = kTerminalColumns - std::strlen(margin);
            const size_t space = line.size() > room ? line.rfind(' ', room) : 0;
            if (space != 0 && space != std::string::npos) {
                *out_ << margin << line.substr(0, space) << "\n";
                line = "    " + line.substr(space + 1);
            }
            *out_ << (line.empty() ? "" : margin) << line << "\n";
        }
    };
    indented(typed(words), "   ");
    indented(output, "     ");
    *out_ << std::flush;
}

void send_packets(Story *story) {
    const auto send = [story](const char *port, const char *source, const char *destination,
                              const char *protocol, const std::vector<std::string> &more) {
        std::vector<std::string> words{"switch", "packet", "--port",    port,      "--src",
                                       source,   "--dst",  destination, "--proto", protocol};
        words.insert(words.end(), more.begin(), more.end());
        story->run<PacketAnswer>(words);
    };
    story->title("Send packets through the switch and see which rule each hits");
    send("65537", "10.20.10.7", "198.51.100.53", "udp", {"--sport", "40000", "--dport", "53"});
    send("65538", "203.0.113.9", "198.51.100.80", "tcp",
         {"--sport", "51515", "--dport", "443", "--flags", "0x02"});
    send("65538", "203.0.113.9", "198.51.100.80", "tcp",
         {"--sport", "51516", "--dport", "23", "--flags", "0x02"});
    send("65540", "10.20.255.1", "10.20.255.2", "89", {});
    if (story->goes_on()) {
        story->say("A port without the ACL lets everything through:");
    }
    send("65541", "192.168.1.1", "198.51.100.80", "tcp", {"--dport", "23"});
}

/* What the story has put into the daemon, to be taken out whatever happens. */
struct Made {
    std::optional<uint32_t> acl_id;
    std::optional<uint32_t> counter_id;
    bool bound = false;
};

void build(Story *story, const DemoRequest &request, Made *made) {
    story->title("Open as an owner: from here on this client's ACLs are " +
                 owner_name(request.owner) + "'s");
    story->run<OpenAnswer>({"open", "--owner", owner_name(request.owner)});
    story->title("Load the limits of the switch chip");
    story->run<InitAnswer>({"init", "--chip", "1"});
    story->title("Create an ACL");
    if (const auto *acl = story->run<AclCreateAnswer>({"acl", "create", "--size", "512"})) {
        made->acl_id = acl->acl_id;
    }
    story->title("Create a flow counter for its rules");
    if (const auto *counter =
            story->run<CounterCreateAnswer>({"counter", "create", "--type", "packets"})) {
        made->counter_id = counter->counter_id;
    }
    if (!story->goes_on()) {
        return;
    }
    const std::string acl = std::to_string(*made->acl_id);
    story->title("Load a rule file: port ranges become prefixes, its order the priorities");
    story->run<RuleLoadAnswer>(
        {"rule", "load", kRuleFile, "--acl", acl, "--counter", std::to_string(*made->counter_id)});
    story->title("Bind the ACL to four ports");
    made->bound = story->run<BindAnswer>({"bind", "port", "--acl", acl, kPorts}) != nullptr;
}

void look(Story *story, const Made &made) {
    if (!story->goes_on()) {
        return;
    }
    story->title("Look: what the daemon holds, how full the switch is, what was hit and counted");
    story->run<ShowAnswer>({"show", "acls"});
    story->run<UsageAnswer>({"switch", "usage"});
    story->run<RuleGetAnswer>(
        {"rule", "get", "--acl", std::to_string(*made.acl_id), "13,64", "--activity"});
    story->run<CounterReadAnswer>({"counter", "read", std::to_string(*made.counter_id)});
}

/* The counter goes with its last rule; without rules it must be destroyed. */
void clear_away(Story *story, const Made &made) {
    if (!made.acl_id && !made.counter_id) {
        return;
    }
    story->title("Unbind and destroy the ACL: its rules go, and with them their counter");
    if (made.counter_id && !made.bound) {
        story->clear_away({"counter", "destroy", std::to_string(*made.counter_id)});
    }
    if (made.acl_id) {
        const std::string acl = std::to_string(*made.acl_id);
        if (made.bound) {
            story->clear_away({"unbind", "port", "--acl", acl, kPorts});
        }
        story->clear_away({"acl", "destroy", "--acl", acl});
    }
}

void tell(Story *story, const DemoRequest &request) {
    Made made;
    build(story, request, &made);
    if (story->goes_on()) {
        send_packets(story);
    }
    look(story, made);
    /* A switch of our own goes as a whole. */
    if (request.attach || story->goes_on()) {
        clear_away(story, made);
    }
}

std::optional<Failure> write_rules(const std::string &directory) {
    std::ofstream file(directory + "/" + kRuleFile);
    file << kDemoRules;
    file.close();
    if (!file) {
        return Failure{
            kExitFailure, directory + "/" + kRuleFile + " cannot be written", {}, {}, ""};
    }
    return std::nullopt;
}

std::optional<Failure> on_own_switch(const DemoRequest &request, Story *story) {
    PrivateSwitch own;
    story->title("Start the daemon, on a simulated switch under a directory of its own");
    if (auto failure = own.start(request.daemon, [story] { return story->interrupted(); })) {
        return story->interrupted() ? std::nullopt : failure;
    }
    story->say("process " + std::to_string(own.pid()) + " answers on " + own.root() +
               ZV_ACL_RM_SOCKET_PATH);
    if (auto failure = write_rules(own.root())) {
        return failure;
    }
    const Place place(own.root());
    tell(story, request);
    if (story->goes_on()) {
        story->title("Stop the daemon with SIGTERM");
        story->say("it ended with exit status " + std::to_string(own.stop()));
    }
    return std::nullopt;
}

std::optional<Failure> on_running_daemon(const DemoRequest &request, Story *story) {
    /* Before the first step, which would tell it in the story and once more as the story's end. */
    if (Client client; auto failure = connect_daemon(story->settings(), &client)) {
        return failure;
    }
    const RuleFileDirectory directory("/tmp/aclrmctl-XXXXXX");
    if (!directory.made()) {
        return Failure{kExitFailure, directory.path() + " cannot be made", {}, {}, ""};
    }
    if (auto failure = write_rules(directory.path())) {
        return failure;
    }
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    tell(story, request);
    std::filesystem::current_path(before);
    return std::nullopt;
}

}  // namespace

Answer run_demo(const Settings &settings, const DemoRequest &request, std::ostream *out) {
    std::optional<Failure> failure;
    std::optional<DemoAnswer> answer;
    {
        const SignalGuard guard;
        Story story(settings, request, out);
        failure =
            request.attach ? on_running_daemon(request, &story) : on_own_switch(request, &story);
        failure = failure ? failure : story.failure();
        answer = story.answer();
    }
    if (g_signal != 0) {
        if (out != nullptr) {
            *out << "\nStopped" << (request.attach ? "" : "; switch and daemon are gone again")
                 << ".\n"
                 << std::flush;
        }
        std::raise(g_signal);
    }
    if (failure) {
        return *failure;
    }
    return *answer;
}

}  // namespace aclrmctl
