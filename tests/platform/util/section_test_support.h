// Helpers for the section and file tests: a scratch folder removed after the test, a
// temporary file-size limit that makes writes fail part-way, and a raw file reader.
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "zubra/platform/util/exception.h"

namespace zubra::test_support {

// A new empty folder under the system's temporary folder, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zubra_sections_XXXXXX");
    if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] bool Ok() const { return !path_.empty(); }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }
  // Number of entries in the folder (temporary files left behind show up here).
  [[nodiscard]] int CountEntries() const {
    std::error_code ignored;
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(path_, ignored),
                                          std::filesystem::directory_iterator()));
  }

 private:
  std::string path_;
};

// Limits the size of files this process writes, so a longer write fails with EFBIG (the
// signal that would otherwise end the process is ignored meanwhile); restores both on exit.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &saved_);
    previous_handler_ = ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = saved_;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &saved_);
    ::signal(SIGXFSZ, previous_handler_);
  }

 private:
  rlimit saved_{};
  sighandler_t previous_handler_ = SIG_DFL;
};

// The bytes of a file, read independently of the code under test; empty when unreadable.
inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  if (in) bytes << in.rdbuf();
  return bytes.str();
}

// The message of the Exception that `action` throws, or "(no exception)".
template <typename Action>
std::string ErrorOf(Action&& action) {
  try {
    action();
  } catch (const Exception& error) {
    return error.Message();
  }
  return "(no exception)";
}

}  // namespace zubra::test_support
