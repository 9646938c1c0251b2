// Fuzz target for the command-line tool's file handling: the commands run in this process on
// a file of the input's bytes in a scratch folder. The first four bytes pick the command, the
// file's name, the output's name and the design options; the rest is the file. Whatever the file
// holds, a command
// - returns one of the tool's exit statuses, with its message on the error stream when it
//   fails;
// - writes nothing when it fails: a file already at the output path stays byte-identical and
//   no other file (a temporary one, say) is left in the folder;
// - writes what it says when it succeeds: a converted or saved investigation opens again,
//   a conversion to the same investigation as its input.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include "apps/cli/commands.h"
#include "fuzz/investigation_fuzz.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/exception.h"

namespace {

namespace fs = std::filesystem;
using namespace zubra;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "fuzz check failed: %s\n", what);
  std::abort();
}

// The names the investigation file is given: each form, an extension the tool does not
// know, a folder in place of the file, and no file at all.
constexpr const char* kInputs[] = {"study.json", "study.xml",  "study.ini",
                                   "study.txt",  "folder.xml", "missing.json"};
// Where convert and design write: each form and worksheet kind, a name without a form, a
// folder that does not exist, and the input file itself.
constexpr const char* kOutputs[] = {"out.json", "out.xml", "out.ini",          "out.csv",
                                    "out.xlsx", "out.tsv", "missing/out.json", ""};
// The content of a file that was at an output path before the command ran.
constexpr std::string_view kPrevious = "previous content\n";
// Designs are generated for small investigations only: the engine's cost grows fast with the
// factors, and the engine has tests and benchmarks of its own.
constexpr int kMostDesignFactors = 6;

std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteBytes(const fs::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  Require(out.good(), "the scratch folder cannot be written");
}

std::set<std::string> Listing(const fs::path& folder) {
  std::set<std::string> names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    names.insert(entry.path().lexically_relative(folder).string());
  }
  return names;
}

std::unique_ptr<Investigation> OpenOrNothing(const std::string& path) {
  try {
    return Investigation::Open(path);
  } catch (const Exception&) {
    return nullptr;
  }
}

// A folder of this process's own, emptied for every input and removed when the process ends.
class ScratchFolder {
 public:
  ScratchFolder()
      : path_(fs::temp_directory_path() / ("zubra-cli-fuzz-" + std::to_string(::getpid()))) {}
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  [[nodiscard]] const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

const fs::path& Scratch() {
  static const ScratchFolder folder;
  return folder.Path();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const int command = data[0] % 5;
  const std::string input_name = kInputs[data[1] % std::size(kInputs)];
  const std::string output_name = kOutputs[data[2] % std::size(kOutputs)];
  const std::uint8_t options = data[3];
  const std::string_view content(reinterpret_cast<const char*>(data) + 4, size - 4);

  const fs::path folder = Scratch();
  fs::remove_all(folder);
  fs::create_directories(folder);
  const std::string input = (folder / input_name).string();
  if (input_name == "folder.xml") {
    fs::create_directory(input);
  } else if (input_name != "missing.json") {
    WriteBytes(input, content);
  }
  const bool to_input = output_name.empty();
  const std::string output = to_input ? input : (folder / output_name).string();
  if (!to_input && output_name.find('/') == std::string::npos) WriteBytes(output, kPrevious);
  const std::set<std::string> before = Listing(folder);
  const std::string input_before = input_name == "folder.xml" ? "" : ReadBytes(input);

  std::ostringstream out;
  std::ostringstream err;
  int status = 0;
  bool writes = false;
  std::optional<std::string> save;
  switch (command) {
    case 0:
      status = cli::RunShow(input, out, err);
      break;
    case 1:
      status = cli::RunCheck(input, out, err);
      break;
    case 2:
      writes = true;
      status = cli::RunConvert(input, output, err);
      break;
    case 3:
      status = cli::RunCatalogue(input, out, err);
      break;
    default: {
      const std::unique_ptr<Investigation> study = OpenOrNothing(input);
      if (study != nullptr &&
          study->GetModelSpec().GetFactors().GetFactors().GetCount() > kMostDesignFactors) {
        return 0;
      }
      writes = true;
      cli::DesignRequest request;
      request.input = input;
      if ((options & 1) != 0) request.output = output;
      if ((options & 2) != 0)
        request.save = (folder / ((options & 4) != 0 ? "s.json" : "s.xml")).string();
      if ((options & 8) != 0) request.seed = options;
      if ((options & 16) != 0) request.format = static_cast<cli::SheetFormat>((options >> 5) % 4);
      save = request.save;
      if (!save && request.output) save = cli::DefaultInvestigationPath(*request.output);
      status = cli::RunDesign(request, out, err);
      break;
    }
  }

  Require(status == cli::kExitSuccess || status == cli::kExitInvalid || status == cli::kExitUsage ||
              status == cli::kExitFileError,
          "a command returned a status the tool does not have");
  if (status != cli::kExitSuccess) {
    Require(err.str().rfind("zubra: ", 0) == 0, "a failed command said nothing");
    Require(Listing(folder) == before, "a failed command left a file behind");
    if (!to_input && output_name.find('/') == std::string::npos) {
      Require(ReadBytes(output) == kPrevious, "a failed command changed its output file");
    }
    Require(input_name == "folder.xml" || ReadBytes(input) == input_before,
            "a failed command changed its input file");
    return 0;
  }
  if (!writes) {
    Require(Listing(folder) == before, "a reading command wrote a file");
    return 0;
  }
  if (command == 2) {
    const std::unique_ptr<Investigation> converted = OpenOrNothing(output);
    Require(converted != nullptr, "a converted investigation does not open");
    if (!to_input) {
      const std::unique_ptr<Investigation> original = OpenOrNothing(input);
      // The JSON form clamps a stored replicate tolerance into its range (see
      // AsJsonReadsIt); everything else comes through unchanged.
      Require(original != nullptr &&
                  fuzz::AsJsonReadsIt(converted->ToJson()) ==
                      fuzz::AsJsonReadsIt(original->ToJson()),
              "a conversion changed the investigation");
    }
  } else if (save) {
    Require(OpenOrNothing(*save) != nullptr, "a saved investigation does not open");
  }
  return 0;
}
