#include "tests/fire/support/process_figures.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <thread>

#include "tests/support/temp_dir.h"

namespace zv_fire {

Memory memory_of(pid_t pid) {
    Memory memory;
    const std::map<std::string, uint64_t *> fields = {{"VmRSS:", &memory.resident},
                                                      {"RssAnon:", &memory.resident_anonymous},
                                                      {"VmData:", &memory.data}};
    std::istringstream status(zv_test::read_file("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        if (const auto field = fields.find(name); field != fields.end()) {
            words >> *field->second;
        }
    }
    return memory;
}

std::vector<std::string> descriptors_of(pid_t pid) {
    std::vector<std::string> targets;
    std::error_code gone;
    const std::string directory = "/proc/" + std::to_string(pid) + "/fd";
    for (const auto &entry : std::filesystem::directory_iterator(directory, gone)) {
        // One that is closed while we look counts as closed.
        std::error_code closed;
        const auto target = std::filesystem::read_symlink(entry.path(), closed);
        if (!closed) {
            targets.push_back(target.string());
        }
    }
    std::sort(targets.begin(), targets.end());
    return targets;
}

std::vector<std::string> lasting_descriptors_of(pid_t pid) {
    constexpr auto kWhile = std::chrono::milliseconds(200);
    std::vector<std::string> fewest = descriptors_of(pid);
    const auto end = std::chrono::steady_clock::now() + kWhile;
    while (std::chrono::steady_clock::now() < end) {
        std::vector<std::string> now = descriptors_of(pid);
        if (now.size() < fewest.size()) {
            fewest = std::move(now);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return fewest;
}

void raise_descriptor_limit() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace zv_fire
