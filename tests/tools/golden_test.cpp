/* Every command against the real daemon on the simulated switch, in text and in JSON, compared with
 * what stands in golden/. ZV_UPDATE_GOLDEN=1 in the environment writes the files anew; read the
 * difference before it is committed. */
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "tests/tools/capture_file.h"
#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

const std::string kGolden = ZV_TEST_GOLDEN_DIR;

/* A command of a scenario, and what is done before it. */
struct Step {
    Words words;
    void (*before)(zv_test::ToolSession &session) = nullptr;
};

struct Scenario {
    std::string name;
    std::vector<Step> steps;
    std::string columns = ""; /* of the terminal; "" for none */
};

/* What stands beside the name of a failed test. */
void PrintTo(const Scenario &scenario, std::ostream *out) {
    *out << scenario.name;
}

std::vector<Step> steps_of(const std::vector<std::string> &lines) {
    std::vector<Step> steps;
    for (const std::string &line : lines) {
        std::istringstream stream(line);
        Words words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        steps.push_back({words});
    }
    return steps;
}

/* A small world that the tables have something to show of. */
const std::vector<std::string> kWorld{
    "open --owner open-flow",
    "init",
    "acl create --size 64",
    "acl create --size 16 --direction egress",
    "counter create --type packets",
    "counter create --type bytes",
    "mc create 65545-65547",
    "rule add --acl 1 --priority 7 --proto tcp --dst 198.51.100.0/24 --dport 23 --verdict drop "
    "--counter 1",
    "rule add --acl 1 --priority 8 --dst 198.51.100.80 --forward-port 65540",
    "rule add --acl 1 --priority 9 --src 2001:db8::/32 --verdict trap --counter 2",
    "rule add --acl 1 --priority 10 --forward-mc 1",
    "bind port --acl 1 65537-65538,65541",
    "bind rif --acl 2 3",
    "--handle 7 open --owner PRA",
    "--handle 7 acl create --size 8",
    "--handle 7 bind system --acl 3",
};

std::vector<Step> in_the_world(const std::vector<std::string> &lines) {
    std::vector<std::string> all = kWorld;
    all.insert(all.end(), lines.begin(), lines.end());
    return steps_of(all);
}

void stop_daemon(zv_test::ToolSession &session) {
    session.daemon().signal(SIGSTOP);
}

void go_on(zv_test::ToolSession &session) {
    session.daemon().signal(SIGCONT);
}

/* Beside fields, a frame and a capture: a Telnet packet, and one that is no IP. */
constexpr const char *kTelnetFrame =
    "02000000000202000000000108004500002800004000400600000a000001c63364010400001700000000"
    "000000005002ffff00000000";
constexpr const char *kArpFrame = "02000000000202000000000108060001080006040001";

void write_capture(zv_test::ToolSession &session) {
    zv_test::Capture capture(1);
    capture.add(kTelnetFrame);
    capture.add(kArpFrame, 60);
    std::ofstream(session.daemon().root().file("two.pcap"), std::ios::binary) << capture.text();
}

Scenario captures() {
    Scenario scenario{
        "capture", in_the_world({"switch packet --port 65537 --pcap ROOT/two.pcap",
                                 "switch packet --port 65537 --pcap ROOT/two.pcap --count 1",
                                 "switch packet --port 65537 --pcap ROOT/two.pcap --key-type mac",
                                 "switch packet --port 65537 --pcap ROOT/none.pcap"})};
    scenario.steps[kWorld.size()].before = write_capture;
    return scenario;
}

/* Words that are wrong, each in its sentence and, but for what is missing, pointed at. */
Scenario errors() {
    const std::string packet = "switch packet --port 1 ";
    const std::string add = "rule add --acl 1 --priority 0 ";
    return {
        "errors",
        steps_of({packet + "--frame 0x00", packet + "--frame " + kArpFrame + " --key-type ipv4",
                  packet + "--src 10.0.0.1 --key-type ipv6",
                  packet + "--proto icmp6 --src 10.0.0.1", packet + "--proto icmp --dst ::1",
                  packet + "--proto tpc", add + "--src 10.0.0.1 --dst ::1", add + "--proto tpc",
                  add + "--proto icmp6 --src 10.0.0.1", add + "--proto icmp --dst 2001:db8::/32",
                  "rule get --acl 1", "rule get --acl 1 --all 5", "--timeout 5m init",
                  "init --timeout 0", "init --timeout=3601s", "acl create --size 010",
                  "switch faults --set foo", "switch ports --set {}"})};
}

Scenario exit_codes() {
    Scenario scenario{"exit-codes", in_the_world({})};
    const auto add = [&](const std::string &line,
                         void (*before)(zv_test::ToolSession &) = nullptr) {
        Step step = steps_of({line}).front();
        step.before = before;
        scenario.steps.push_back(step);
    };
    add("acl create --size many");
    add("acl crate");
    add("acl create --siez 5");
    add("rule check /nonexistent.rules");
    add("--socket /nonexistent.sock init");
    add("--switch-socket /nonexistent.sock switch usage");
    add("acl destroy --acl 99");
    add("-n acl destroy --acl 99");
    add("bind port --acl 3 65537");
    add("init --timeout 50ms", stop_daemon);
    add("switch faults --set [{}]", go_on);
    add("dump /nonexistent/dump.txt");
    add("rule del --acl 1 7-10,400");
    add("--handle 7 unbind system --acl 3");
    add("bind rif --acl 2 100-300");
    add("mc add 9 65537");
    add("rule add --acl 1 --priority 99");
    add("acl edit --acl 1 --direction egress");
    add("init --chip 99");
    add("bind port --acl 99 65537-65540");
    return scenario;
}

/* The same on a terminal of 80 columns. Samples are named from where they lie, as the place of the
 * tree would decide where a line breaks. */
Scenario at_80_columns(Scenario scenario) {
    scenario.name += "-80-columns";
    scenario.columns = "80";
    for (Step &step : scenario.steps) {
        for (std::string &word : step.words) {
            word = std::regex_replace(word, std::regex("^SAMPLES/"), "");
        }
    }
    return scenario;
}

std::vector<Scenario> scenarios_without_a_terminal() {
    return {
        {"acl", steps_of({"open --owner open-flow", "init --chip 3", "acl create --size 64",
                          "acl create --size 0 --direction egress --acl-type 4",
                          "acl edit --acl 1 --direction egress", "acl resize --acl 2 --size 16",
                          "acl destroy --acl 2 --acl-type 4 --direction egress",
                          "-n acl create --size 1", "-n open --owner PRA"})},
        {"rule", in_the_world({"rule get --acl 1 7-10 --activity", "-n rule get --acl 1 7-8",
                               "rule move --acl 1 --from 7 --count 2 --to 20",
                               "rule get --acl 1 20,21 --clear-activity", "rule del --acl 1 20-21",
                               "rule check SAMPLES/campus-edge.rules",
                               "rule check SAMPLES/branch-office.policy",
                               "rule check SAMPLES/branch-office.json --first-priority 7",
                               "rule add --acl 1 --priority 30 --src 10.1.2.3/8"})},
        {"rule-file",
         in_the_world(
             {"rule get --acl 1 --all", "rule get --acl 2 --all",
              "rule get --acl 1 --all --format policy", "rule get --acl 1 --all --format json",
              "rule get --acl 1 8,10 --format policy", "rule get --acl 2 --all --format policy"})},
        {"rule-load",
         steps_of({"open --owner open-flow", "init", "acl create --size 1024",
                   "counter create --type packets",
                   "rule load SAMPLES/campus-edge.rules --acl 1 --counter 1",
                   "rule load SAMPLES/branch-office.policy --acl 1",
                   "rule load SAMPLES/branch-office.policy --acl 1 --first-priority 400 --check",
                   "rule load SAMPLES/branch-office.policy --acl 1 --first-priority 400",
                   "switch faults --call zv_api_acl_rules_set --status 5 --nth 2",
                   "rule load SAMPLES/branch-office.json --acl 1 --first-priority 500 --batch 10 "
                   "--in-flight 1",
                   "switch faults --call zv_api_acl_rules_set --status 5 --nth 2",
                   "rule load SAMPLES/branch-office.policy --acl 1 --first-priority 600 --batch 10 "
                   "--in-flight 1 --undo",
                   "rule load SAMPLES/branch-office.policy --acl 1 --first-priority 1000",
                   "acl create --size 0", "rule load SAMPLES/branch-office.policy --acl 2"})},
        {"bind", in_the_world({"unbind port --acl 1 65541", "bind port --acl 2 65545",
                               "unbind rif --acl 2 3", "port add 65600", "port del 65600",
                               "--handle 7 unbind system --acl 3"})},
        {"counter", in_the_world({"switch packet --port 65537 --dst 198.51.100.1 --proto tcp "
                                  "--dport 23 --length 100",
                                  "counter read 1", "counter read 2", "counter clear 1",
                                  "counter read 1", "counter destroy 1"})},
        {"mc", in_the_world({"mc create", "mc add 3 65537,65538", "mc del 3 65537", "mc get 3",
                             "mc get 1", "mc delete 3", "mc get 3"})},
        {"show", in_the_world({"show", "show acls", "show rules", "show rules --acl 1",
                               "show groups", "show counters", "show ports", "show owners",
                               "show mc", "show forwarding", "-n show acls", "-n show rules",
                               "show rules --acl 99", "dump", "dump ROOT/dump.txt"})},
        {"show-empty", steps_of({"show", "show acls", "show rules", "dump"})},
        {"switch",
         in_the_world(
             {"switch packet --port 65537 --dst 198.51.100.1 --proto tcp --dport 23 --flags 2",
              "switch packet --port 65537 --src 2001:db8::7 --dst 2001:db8:1::9 --proto udp "
              "--sport 5 --dport 53",
              "switch packet --port 65537 --dst 198.51.100.80",
              "switch packet --rif 3 --direction egress",
              "switch packet --port 65537 --mac-src 02:00:00:00:00:01 --mac-dst "
              "02:00:00:00:00:02 --vlan 7 --ethertype 0x0806",
              std::string("switch packet --port 65537 --frame ") + kTelnetFrame,
              "-n switch packet --port 65537 --dst 198.51.100.80",
              "switch packet --port 65537 --proto icmp6",
              "switch packet --port 65537 --key 00000000c6336450" + std::string(240, '0'),
              "switch state", "switch state --active", "-n switch state", "switch usage",
              "switch ports", "switch faults --call zv_api_acl_rules_set --status 5",
              "rule add --acl 1 --priority 30", "switch faults --clear",
              "switch ports --set [{\"log_port\":65537,\"kind\":0,\"name\":\"p1\"}]",
              "switch ports"})},
        captures(),
        errors(),
        exit_codes(),
    };
}

/* Sentences that say more than a line holds: lists, addresses, a rule's words. */
Scenario long_sentences() {
    const std::string addresses =
        " --src 2001:db8:1111:2222:3333:4444:5555:6666 --dst "
        "2001:db8:aaaa:bbbb:cccc:dddd:eeee:ffff "
        "--proto tcp --dport 443";
    const std::string offsets = "1,3,5,12,14,16,18,20,22,24,26,28,30,32,34,36,38,40";
    const std::string ports =
        "65543,65545,65547,65549,65551,65553,65555,65557,65559,65561,65563,65565";
    std::vector<std::string> lines{
        "rule add --acl 1 --priority 2 --counter 1 --forward-port 65540" + addresses,
        "switch packet --port 65537" + addresses,
        "bind port --acl 1 " + ports,
        "unbind port --acl 1 " + ports,
        "mc create " + ports,
        "mc del 3 " + ports,
        "mc add 3 " + ports,
        "mc get 3",
    };
    for (const uint32_t offset :
         {1, 3, 5, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30, 32, 34, 36, 38, 40}) {
        lines.push_back("rule add --acl 1 --priority " + std::to_string(offset));
    }
    for (const char *rest : {"rule load branch-office.policy --acl 1 --first-priority 12",
                             "rule load none.policy --acl 1",
                             "rule load branch-office.policy --acl 1 --verdict permitted"}) {
        lines.emplace_back(rest);
    }
    lines.push_back("rule del --acl 1 " + offsets);
    lines.push_back("rule del --acl 1 " + offsets);
    return {"long-80-columns", in_the_world(lines), "80"};
}

std::vector<Scenario> scenarios() {
    std::vector<Scenario> all{
        long_sentences(),
        {"show-80-columns",
         in_the_world({"show", "show rules", "switch state --rules",
                       "rule get --acl 1 7-10 --activity", "bind port --acl 3 65537"}),
         "80"},
        {"show-200-columns",
         in_the_world({"show", "show rules", "switch state --rules",
                       "rule get --acl 1 7-10 --activity", "bind port --acl 3 65537"}),
         "200"}};
    for (const Scenario &scenario : scenarios_without_a_terminal()) {
        all.push_back(scenario);
        for (const char *name : {"errors", "rule-load", "switch"}) {
            if (scenario.name == name) {
                all.push_back(at_80_columns(scenario));
            }
        }
    }
    return all;
}

/* What differs from one run to the next, or from one machine to the next. */
std::string normalised(std::string text, const std::string &root) {
    const auto replace = [&text](const std::string &from, const std::string &to) {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
    };
    replace(root, "ROOT");
    replace(ZV_TEST_SAMPLES_DIR, "SAMPLES");
    text = std::regex_replace(text,
                              std::regex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
                                         "[0-9:]{8} [0-9]{4}"),
                              "DATE");
    text = std::regex_replace(text, std::regex("in [0-9.]+ ms, [0-9]+ rules/second"),
                              "in TIME ms, RATE rules/second");
    text = std::regex_replace(text, std::regex("\"(seconds|rules_per_second)\": [0-9.e+-]+"),
                              "\"$1\": 0");
    return text;
}

std::string line_of(const Words &words) {
    std::string line = "aclrmctl";
    for (const std::string &word : words) {
        line += " " + word;
    }
    return line;
}

/* The steps as they are run: the marks for places replaced by the places. */
Words placed(Words words, const std::string &root) {
    for (std::string &word : words) {
        word = std::regex_replace(word, std::regex("^SAMPLES"), ZV_TEST_SAMPLES_DIR);
        word = std::regex_replace(word, std::regex("^ROOT"), root);
    }
    return words;
}

std::string text_of(const Scenario &scenario) {
    zv_test::ToolSession session;
    const std::string root = session.daemon().root().path().string();
    std::string text;
    for (const Step &step : scenario.steps) {
        if (step.before != nullptr) {
            step.before(session);
        }
        const ToolRun run = session.run(placed(step.words, root));
        text += "$ " + line_of(step.words) + "\n" + run.out;
        if (!run.err.empty()) {
            text += "[standard error]\n" + run.err;
        }
        if (run.exit_code != 0) {
            text += "[exit status " + std::to_string(run.exit_code) + "]\n";
        }
    }
    session.daemon().allow_error_lines();
    return normalised(text, root);
}

std::string json_of(const Scenario &scenario) {
    zv_test::ToolSession session;
    const std::string root = session.daemon().root().path().string();
    ordered_json list = ordered_json::array();
    for (const Step &step : scenario.steps) {
        if (step.before != nullptr) {
            step.before(session);
        }
        Words words = placed(step.words, root);
        words.insert(words.begin(), "-j");
        const ToolRun run = session.run(words);
        ordered_json object = ordered_json::parse(run.out, nullptr, false);
        EXPECT_FALSE(object.is_discarded()) << line_of(words) << ": " << run.out;
        EXPECT_EQ(object.value("exit", -1), run.exit_code) << line_of(words);
        if (object.contains("bytes")) {
            object["bytes"] = 0; /* the root's length is in it, by way of no path of ours */
        }
        list.push_back({{"line", line_of(step.words)}, {"object", object}});
    }
    session.daemon().allow_error_lines();
    return normalised(list.dump(1), root) + "\n";
}

void compare(const std::string &file, const std::string &text) {
    if (std::getenv("ZV_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(file) << text;
        return;
    }
    std::ifstream stream(file);
    const std::string expected{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(text, expected) << file << ": ZV_UPDATE_GOLDEN=1 writes it anew";
}

class Golden : public testing::TestWithParam<Scenario> {
  protected:
    void SetUp() override {
        if (GetParam().columns.empty()) {
            unsetenv("COLUMNS");
        } else {
            setenv("COLUMNS", GetParam().columns.c_str(), 1);
            std::filesystem::current_path(ZV_TEST_SAMPLES_DIR);
        }
    }
    void TearDown() override { std::filesystem::current_path(before_); }

  private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

/* The story's own times and places. */
std::string demo_text(const Words &more) {
    Words words{"demo", "--fast", "--daemon", zv_test::daemon_path()};
    words.insert(words.end(), more.begin(), more.end());
    const ToolRun run = zv_test::run_tool("", words);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return normalised(std::regex_replace(
                          run.out + run.err,
                          std::regex("process [0-9]+ answers on [^\\s\"]*(/var/run/[^\\s\"\\\\]+)"),
                          "process PID answers on ROOT$1"),
                      "ROOT");
}

TEST(GoldenDemo, IsToldAsItStands) {
    unsetenv("COLUMNS");
    compare(kGolden + "/demo.txt", demo_text({}));
}

TEST(GoldenDemo, IsTheObjectThatStands) {
    unsetenv("COLUMNS");
    const ordered_json object = ordered_json::parse(demo_text({"-j"}), nullptr, false);
    ordered_json list = ordered_json::array();
    list.push_back({{"line", "aclrmctl demo --fast"}, {"object", object}});
    compare(kGolden + "/demo.json", list.dump(1) + "\n");
}

/* Commands that are not just groups of others, as the tool itself lists them. */
std::set<std::string> leaf_commands() {
    std::set<std::string> commands;
    std::istringstream lines(zv_test::run_tool("", {"__options"}).out);
    for (std::string line; std::getline(lines, line);) {
        commands.insert(line.substr(0, line.find('\t')));
    }
    std::set<std::string> leaves;
    for (const std::string &command : commands) {
        const auto next = commands.upper_bound(command);
        if (!command.empty() && (next == commands.end() || next->rfind(command + " ", 0) != 0)) {
            leaves.insert(command);
        }
    }
    return leaves;
}

/* Carried out, that is: a command that only fails there has no answer to hold against. */
TEST(GoldenFiles, HaveEveryCommandThatDoesSomething) {
    std::set<std::string> missing = leaf_commands();
    EXPECT_GT(missing.size(), 40u);
    for (const auto &entry : std::filesystem::directory_iterator(kGolden)) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        std::ifstream stream(entry.path());
        for (const json &step : json::parse(stream)) {
            const json &object = step.at("object");
            if (object.at("ok") == true) {
                missing.erase(object.at("command").get<std::string>());
            }
        }
    }
    EXPECT_EQ(missing, std::set<std::string>{});
}

TEST_P(Golden, TextIsAsItStands) {
    const std::string text = text_of(GetParam());
    compare(kGolden + "/" + GetParam().name + ".txt", text);
}

/* Those without a terminal, as an object has no columns. */
class GoldenObjects : public Golden {};

TEST_P(GoldenObjects, AreAsTheyStand) {
    compare(kGolden + "/" + GetParam().name + ".json", json_of(GetParam()));
}

class GoldenTerminal : public Golden {};

TEST_P(GoldenTerminal, IsWideEnoughForTheText) {
    const size_t columns = std::stoul(GetParam().columns);
    std::ifstream stream(kGolden + "/" + GetParam().name + ".txt");
    for (std::string line; std::getline(stream, line);) {
        const bool prompt = line.rfind("$ ", 0) == 0;
        if (!prompt) {
            EXPECT_LE(line.size(), columns) << line;
        }
    }
}

std::vector<Scenario> scenarios_for(bool terminal) {
    std::vector<Scenario> chosen = scenarios();
    std::erase_if(chosen,
                  [&](const Scenario &scenario) { return scenario.columns.empty() == terminal; });
    return chosen;
}

std::string name_of(const testing::TestParamInfo<Scenario> &row) {
    std::string name = row.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Each, Golden, testing::ValuesIn(scenarios()), name_of);
INSTANTIATE_TEST_SUITE_P(Each, GoldenObjects, testing::ValuesIn(scenarios_for(false)), name_of);
INSTANTIATE_TEST_SUITE_P(Each, GoldenTerminal, testing::ValuesIn(scenarios_for(true)), name_of);

}  // namespace
