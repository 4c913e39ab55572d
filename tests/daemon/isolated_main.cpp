// main of the unit tests: each case in a process of its own.
//
// The daemon's state is global and some of it is built once a process (the counter database, the
// platform's environment), so two cases cannot share one. CTest runs every case alone anyway; where
// the filter selects several, this program starts itself again for each of them.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Whether the case passed in a fresh process of this program.
bool passes_alone(const std::string &name) {
    std::string filter = "--gtest_filter=" + name;
    const pid_t child = fork();
    if (child == 0) {
        execl("/proc/self/exe", "unit_test", filter.c_str(), "--gtest_also_run_disabled_tests",
              "--gtest_brief=1", nullptr);
        _exit(127);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

std::vector<std::string> selected_cases(const testing::UnitTest &program) {
    std::vector<std::string> names;
    for (int i = 0; i < program.total_test_suite_count(); i++) {
        const testing::TestSuite &suite = *program.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); j++)
            if (suite.GetTestInfo(j)->should_run())
                names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(j)->name());
    }
    return names;
}

class OneProcessACase : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest &program) override {
        if (program.test_to_run_count() <= 1)
            return;
        const std::vector<std::string> names = selected_cases(program);
        std::vector<std::string> failed;
        for (const std::string &name : names)
            if (!passes_alone(name))
                failed.push_back(name);
        printf("%zu of %zu cases passed, each in its own process\n", names.size() - failed.size(),
               names.size());
        for (const std::string &name : failed)
            printf("failed: %s\n", name.c_str());
        exit(failed.empty() ? 0 : 1);
    }
};

}  // namespace

int main(int argc, char *argv[]) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new OneProcessACase);
    return RUN_ALL_TESTS();
}
