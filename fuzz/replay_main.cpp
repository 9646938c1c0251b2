// Runs a fuzz target without libFuzzer: feeds it every file of the given folders, then a
// fixed number of deterministic mutations of those files. GCC builds use this driver so
// the targets run in the ordinary test suite (and under the sanitizers); Clang builds can
// link the same targets with -fsanitize=fuzzer instead. An input that aborts the run is kept in
// the file replay-crash-input of the working folder.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::uint8_t> ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The input being run, kept so that an abort can leave it behind for a rerun.
const std::vector<std::uint8_t>* g_current = nullptr;
constexpr const char* kCrashFile = "replay-crash-input";

// On an abort (a failed check, an escaped exception, a sanitizer's report) writes the input
// that caused it to kCrashFile in the working folder, then aborts as it would have.
extern "C" void KeepCrashingInput(int signal_number) {
  if (g_current != nullptr) {
    const int fd = ::open(kCrashFile, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
      static_cast<void>(::write(fd, g_current->data(), g_current->size()));
      ::close(fd);
    }
    static constexpr char kNote[] = "replay: the input is kept in replay-crash-input\n";
    static_cast<void>(::write(2, kNote, sizeof(kNote) - 1));
  }
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

void Run(const std::vector<std::uint8_t>& input) {
  g_current = &input;
  LLVMFuzzerTestOneInput(input.data(), input.size());
  g_current = nullptr;
}

// One random edit: flip, insert, delete, duplicate a slice, or splice in a special byte.
std::vector<std::uint8_t> Mutate(std::vector<std::uint8_t> input, std::mt19937& rng) {
  static constexpr std::uint8_t kSpecial[] = {0,   '\n', '\r', '\t', '"', '\\', '[', ']',  '{', '}',
                                              '<', '>',  '&',  '=',  ';', '%',  ',', 0xC3, 0xFF};
  const int edits = 1 + static_cast<int>(rng() % 4);
  for (int e = 0; e < edits; ++e) {
    const std::size_t pos = input.empty() ? 0 : rng() % (input.size() + 1);
    switch (rng() % 5) {
      case 0:
        if (pos < input.size()) input[pos] ^= static_cast<std::uint8_t>(1U << (rng() % 8));
        break;
      case 1:
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(pos),
                     kSpecial[rng() % std::size(kSpecial)]);
        break;
      case 2:
        if (pos < input.size()) input.erase(input.begin() + static_cast<std::ptrdiff_t>(pos));
        break;
      case 3: {
        const std::size_t len =
            std::min<std::size_t>(input.size() - std::min(pos, input.size()), 1 + rng() % 16);
        std::vector<std::uint8_t> slice(input.begin() + static_cast<std::ptrdiff_t>(pos),
                                        input.begin() + static_cast<std::ptrdiff_t>(pos + len));
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(pos), slice.begin(), slice.end());
        break;
      }
      default:
        if (pos < input.size()) input.resize(pos);
        break;
    }
  }
  return input;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGABRT, KeepCrashingInput);
  std::vector<std::vector<std::uint8_t>> seeds;
  int mutations = 2000;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--mutations=", 0) == 0) {
      mutations = std::stoi(arg.substr(12));
      continue;
    }
    const bool optional = arg.rfind("--optional=", 0) == 0;
    const std::filesystem::path path(optional ? arg.substr(11) : arg);
    if (optional && !std::filesystem::exists(path)) {
      std::printf("replay: skipped, the seed folder %s is missing\n", path.c_str());
      return 77;
    }
    if (std::filesystem::is_directory(path)) {
      std::vector<std::filesystem::path> files;
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
      std::sort(files.begin(), files.end());
      for (const auto& file : files) seeds.push_back(ReadFile(file));
    } else if (std::filesystem::is_regular_file(path)) {
      seeds.push_back(ReadFile(path));
    } else {
      std::fprintf(stderr, "replay: no such file or folder: %s\n", arg.c_str());
      return 2;
    }
  }
  if (seeds.empty()) seeds.emplace_back();
  for (const auto& seed : seeds) Run(seed);
  std::mt19937 rng(20261121U);
  for (int m = 0; m < mutations; ++m) Run(Mutate(seeds[rng() % seeds.size()], rng));
  std::printf("replay: %zu seeds, %d mutations, no crash\n", seeds.size(), mutations);
  return 0;
}
