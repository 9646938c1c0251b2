// Helpers for the util tests: a scratch folder removed afterwards, a file-size limit that makes
// writes fail part-way, a raw file reader and the message of a thrown Exception.
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#include "zubra/platform/util/exception.h"

namespace zubra::test_support {

// A new empty folder under the temporary folder, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() : path_(std::filesystem::temp_directory_path() / "zubra_sections_XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no scratch folder");
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }
  // Entries in the folder; temporary files left behind show up here.
  [[nodiscard]] std::ptrdiff_t CountEntries() const {
    return std::distance(std::filesystem::directory_iterator(path_), {});
  }

 private:
  std::string path_;
};

// Limits the size of files this process writes, so that a longer write fails with EFBIG (the
// signal that would end the process is ignored meanwhile); restores both on destruction.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : previous_handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &saved_);
    rlimit limit = saved_;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &saved_);
    ::signal(SIGXFSZ, previous_handler_);
  }

 private:
  rlimit saved_{};
  sighandler_t previous_handler_;
};

// The bytes of a file, read independently of the code under test; empty when unreadable.
inline std::string ReadBytes(const std::string& path) {
  std::ostringstream bytes;
  if (std::ifstream in(path, std::ios::binary); in) bytes << in.rdbuf();
  return bytes.str();
}

// The message of the `Error` that `action` throws, or "(no exception)".
template <typename Error = Exception, typename Action>
std::string ErrorOf(Action&& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.Message();
  }
  return "(no exception)";
}

}  // namespace zubra::test_support
