// Replays a fuzz target's committed inputs without libFuzzer: every file named on the command line, and every
// file of every folder named there, goes through LLVMFuzzerTestOneInput once, in name order. A finding shows as
// a crash of this program (or, in the sanitizer build, as the sanitizer's report).

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
      }
    } else if (std::filesystem::is_regular_file(path)) {
      inputs.push_back(path);
    }
    // A path that does not exist (a target without regressions yet) holds nothing to replay.
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs to replay\n");
    return 2;
  }
  for (const auto& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::fprintf(stderr, "replaying %s\n", input.string().c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replayed %zu inputs\n", inputs.size());
  return 0;
}
