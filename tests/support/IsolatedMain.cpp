// The tests' main: every selected case runs in a process of its own, as CTest runs them, because the SDK's
// singletons (the facade, the stores, the trigger handler, the installed platform) live as long as the process
// and a case must not start from another case's leftovers. A developer running a test program directly gets the
// same isolation: the program lists the cases its arguments select and starts itself once per case.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

extern char** environ;

namespace {

constexpr const char* kChildVariable = "CORVANA_TEST_ISOLATED";

// Runs this program with `args`; answers its exit status, and its standard output when `output` is given.
int runSelf(const std::vector<std::string>& args, std::string* output) {
  std::vector<char*> argv;
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  int pipeFds[2] = {-1, -1};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (output) {
    if (::pipe(pipeFds) != 0) return -1;
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  }
  pid_t child = 0;
  const int spawned = ::posix_spawn(&child, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (output) {
    ::close(pipeFds[1]);
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;) output->append(buffer, size_t(n));
    ::close(pipeFds[0]);
  }
  if (spawned != 0) return -1;
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// "Suite.\n  Case  # GetParam() = ...\n" as --gtest_list_tests prints it, to "Suite.Case" names.
std::vector<std::string> listedCases(const std::string& listing) {
  std::vector<std::string> cases;
  std::istringstream lines(listing);
  std::string line, suite;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    if (line[0] != ' ') {
      suite = line.substr(0, line.find_first_of(" #"));
    } else {
      const size_t first = line.find_first_not_of(' ');
      cases.push_back(suite + line.substr(first, line.find_first_of(" #", first) - first));
    }
  }
  return cases;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  if (std::getenv(kChildVariable) || GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  // One case named exactly, as CTest runs them: nothing to isolate.
  const std::string filter = GTEST_FLAG_GET(filter);
  if (filter.find_first_of("*?:-") == std::string::npos) return RUN_ALL_TESTS();

  // The children see it: they run their cases instead of starting more children.
  ::setenv(kChildVariable, "1", 1);
  std::vector<std::string> listArgs = args;
  listArgs.push_back("--gtest_list_tests");
  std::string listing;
  if (runSelf(listArgs, &listing) != 0) return RUN_ALL_TESTS();
  const std::vector<std::string> cases = listedCases(listing);
  if (cases.size() <= 1) return RUN_ALL_TESTS();

  std::printf("Running %zu cases, each in a process of its own: the SDK's objects live as long as the process.\n",
              cases.size());
  std::fflush(stdout);
  std::vector<std::string> failed;
  for (const std::string& name : cases) {
    std::vector<std::string> childArgs = {args[0], "--gtest_filter=" + name};
    for (size_t i = 1; i < args.size(); ++i) {
      if (args[i].rfind("--gtest_filter", 0) != 0) childArgs.push_back(args[i]);
    }
    if (runSelf(childArgs, nullptr) != 0) failed.push_back(name);
  }
  for (const std::string& name : failed) std::printf("FAILED: %s\n", name.c_str());
  std::printf("%zu passed, %zu failed\n", cases.size() - failed.size(), failed.size());
  return failed.empty() ? 0 : 1;
}
