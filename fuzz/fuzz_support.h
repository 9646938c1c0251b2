// Helpers shared by the fuzz targets: a check that stops the run, JSON parsing that treats a
// refused document as nothing to do, a private scratch file for the readers that take a path,
// and the fixed investigation whose variables the part readers read against.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/investigation/investigation_dumps.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/variables/factor_class.h"

namespace zubra::fuzz {

// Ends the run with a report when `condition` is false: a broken promise of a reader is a
// finding, as a crash is.
inline void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "fuzz check failed: %s\n", what);
  std::abort();
}

// The input as text.
inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// The input as a JSON document; nullopt when the parser refuses it (the parser has a target
// of its own).
inline std::optional<json_value> ParseDocument(std::string_view text) {
  try {
    return ParseJson(text);
  } catch (const Exception&) {
    return std::nullopt;
  }
}

// A file in the temporary folder named after this process, removed when the process ends.
// Readers that take a path read the input from here.
class ScratchFile {
 public:
  explicit ScratchFile(const char* suffix)
      : path_((std::filesystem::temp_directory_path() /
               ("zubra-fuzz-" + std::to_string(::getpid()) + suffix))
                  .string()) {}
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { std::remove(path_.c_str()); }

  [[nodiscard]] const std::string& Path() const { return path_; }
  // Replaces the file's content by `bytes`.
  void Write(std::string_view bytes) const {
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    Require(out.good(), "the scratch file could not be written");
  }
  // The file's content now.
  [[nodiscard]] std::string Read() const {
    std::ostringstream bytes;
    bytes << std::ifstream(path_, std::ios::binary).rdbuf();
    return bytes.str();
  }

 private:
  std::string path_;
};

// Every kind of variable the part readers meet: process factors of each kind, responses and a
// derived response. The readers under test get this investigation's variable set.
inline constexpr const char* kFixture = R"({
  "format": "zubra-investigation", "version": 1, "name": "Fixture",
  "factors": [
    {"name": "Temperature", "abbreviation": "T", "unit": "C", "type": "quantitative",
     "settings": [20, 80]},
    {"name": "Time", "abbreviation": "Ti", "unit": "min", "type": "quantitative",
     "settings": [10, 60], "transform": {"type": "log", "constants": {"c1": 1, "c2": 0}}},
    {"name": "Catalyst", "abbreviation": "C", "type": "qualitative", "settings": ["A", "B", "C"]},
    {"name": "Speed", "abbreviation": "S", "type": "multilevel", "settings": [1, 2, 4]},
    {"name": "Batch", "abbreviation": "B", "type": "quantitative", "settings": [3]}
  ],
  "responses": [
    {"name": "Yield", "abbreviation": "Y", "unit": "%"},
    {"name": "Purity", "abbreviation": "P"},
    {"name": "Twice", "abbreviation": "Tw", "type": "derived", "formula": "v(6)*2"}
  ]
})";

// The investigation of kFixture, made once.
inline Investigation& Fixture() {
  static const std::unique_ptr<Investigation> study = Investigation::FromJson(ParseJson(kFixture));
  return *study;
}

using test_support::Dumps;

}  // namespace zubra::fuzz
