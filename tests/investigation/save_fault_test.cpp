// Saving an investigation while each step of the save fails in turn: the system calls of the
// save go through a table of faulty calls (SetFileSystemCallsForTesting).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "tests/platform/util/section_test_support.h"
#include "zubra/investigation/investigation.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

using test_support::ReadBytes;
using test_support::ScratchFolder;

// Which call fails: the n-th call (from 1) of one kind, with `error`. Writes are cut to
// kChunk bytes each, so that a save takes several of them and every write but the last
// is a short one. A failing close still closes, as the system's close does.
enum class Call { kNone, kOpen, kWrite, kWriteNothing, kFsync, kClose, kRename };
struct Fault {
  Call call = Call::kNone;
  int nth = 0;
  int error = 0;
};
constexpr std::size_t kChunk = 1024;
Fault g_fault;
int g_calls[7] = {};

// Counts a call of `call` and tells whether it is the one to fail.
bool Fails(Call call) {
  const int n = ++g_calls[static_cast<int>(call)];
  return n == g_fault.nth &&
         (g_fault.call == call || (call == Call::kWrite && g_fault.call == Call::kWriteNothing));
}

int FaultyOpen(const char* path, int flags, mode_t mode) {
  if (Fails(Call::kOpen)) {
    errno = g_fault.error;
    return -1;
  }
  return SystemFileCalls().open(path, flags, mode);
}

ssize_t FaultyWrite(int fd, const void* data, std::size_t size) {
  if (Fails(Call::kWrite)) {
    if (g_fault.call == Call::kWriteNothing) return 0;
    errno = g_fault.error;
    return -1;
  }
  return SystemFileCalls().write(fd, data, std::min(size, kChunk));
}

int FaultyFsync(int fd) {
  if (Fails(Call::kFsync)) {
    errno = g_fault.error;
    return -1;
  }
  return SystemFileCalls().fsync(fd);
}

int FaultyClose(int fd) {
  const int result = SystemFileCalls().close(fd);
  if (Fails(Call::kClose)) {
    errno = g_fault.error;
    return -1;
  }
  return result;
}

int FaultyRename(const char* from, const char* to) {
  if (Fails(Call::kRename)) {
    errno = g_fault.error;
    return -1;
  }
  return SystemFileCalls().rename(from, to);
}

// Installs the faulty calls for its lifetime.
class FaultyFileSystem {
 public:
  explicit FaultyFileSystem(Fault fault)
      : previous_(SetFileSystemCallsForTesting(
            {&FaultyOpen, &FaultyWrite, &FaultyFsync, &FaultyClose, &FaultyRename})) {
    g_fault = fault;
    std::fill(std::begin(g_calls), std::end(g_calls), 0);
  }
  FaultyFileSystem(const FaultyFileSystem&) = delete;
  FaultyFileSystem& operator=(const FaultyFileSystem&) = delete;
  ~FaultyFileSystem() {
    SetFileSystemCallsForTesting(previous_);
    g_fault = {};
  }
  // How many calls of `call` the save made.
  static int Count(Call call) { return g_calls[static_cast<int>(call)]; }

 private:
  FileSystemCalls previous_;
};

std::unique_ptr<Investigation> Study(const char* name) {
  return Investigation::FromJson(ParseJson(std::string(R"({"name": ")") + name + R"(",
    "factors": [
      {"name": "Temperature", "abbreviation": "T", "type": "quantitative", "settings": [20, 80]},
      {"name": "Time", "abbreviation": "Ti", "type": "quantitative", "settings": [10, 60]}],
    "responses": [{"name": "Yield", "abbreviation": "Y"}],
    "design": {"objective": "Screening", "type": "FullFactorial", "seed": 11}})"));
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

class SaveFaultTest : public ::testing::TestWithParam<const char*> {};

// Every step before the rename: the previous file stays byte for byte, loads, and no
// temporary file is left; the message names the file and the cause.
TEST_P(SaveFaultTest, AFailureBeforeTheRenameKeepsThePreviousFile) {
  ScratchFolder folder;
  const std::string path = folder.File(GetParam());
  Study("Before")->Save(path);
  const std::string before = ReadBytes(path);
  std::unique_ptr<Investigation> after = Study("After");
  after->GenerateDesign(nullptr, nullptr);
  after->MakeWorksheet(std::nullopt);

  // The writes a whole save takes in chunks.
  int writes = 0;
  {
    const FaultyFileSystem counting({});
    after->Save(folder.File("count") + GetParam());
    writes = FaultyFileSystem::Count(Call::kWrite);
  }
  ASSERT_GE(writes, 3) << "the save should take several short writes";
  std::remove((folder.File("count") + GetParam()).c_str());

  struct Row {
    std::string name;
    Fault fault;
    std::string cause;
  };
  std::vector<Row> rows = {
      {"open of the temporary file", {Call::kOpen, 1, EACCES}, ErrorText(EACCES)},
      {"a write that writes nothing", {Call::kWriteNothing, 2, 0}, ErrorText(EIO)},
      {"fsync", {Call::kFsync, 1, EIO}, ErrorText(EIO)},
      {"close", {Call::kClose, 1, EDQUOT}, ErrorText(EDQUOT)},
      {"rename", {Call::kRename, 1, EXDEV}, ErrorText(EXDEV)},
  };
  for (int n = 1; n <= writes; ++n) {
    // The first fails at once; every later one follows a short write.
    rows.push_back({"write " + std::to_string(n), {Call::kWrite, n, ENOSPC}, ErrorText(ENOSPC)});
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      const FaultyFileSystem faulty(row.fault);
      after->Save(path);
      ADD_FAILURE() << "saved";
    } catch (const Exception& error) {
      EXPECT_NE(error.Message().find(path), std::string::npos) << error.Message();
      EXPECT_NE(error.Message().find(row.cause), std::string::npos) << error.Message();
    }
    EXPECT_EQ(ReadBytes(path), before);
    EXPECT_EQ(folder.CountEntries(), 1);  // no temporary file left
    EXPECT_EQ(Investigation::Open(path)->GetName(), "Before");
  }
}

// After the rename the new file is complete; a failure to flush the folder is reported as
// such, naming the file and the cause.
TEST_P(SaveFaultTest, AFailureToFlushTheFolderLeavesTheNewFileInPlace) {
  ScratchFolder folder;
  const std::string path = folder.File(GetParam());
  Study("Before")->Save(path);
  const std::unique_ptr<Investigation> after = Study("After");
  const Fault faults[] = {{Call::kOpen, 2, EMFILE}, {Call::kFsync, 2, EIO}};
  for (const Fault& fault : faults) {
    SCOPED_TRACE(fault.nth == 2 && fault.call == Call::kOpen ? "open of the folder" : "fsync");
    try {
      const FaultyFileSystem faulty(fault);
      after->Save(path);
      ADD_FAILURE() << "saved";
    } catch (const Exception& error) {
      EXPECT_NE(error.Message().find(path), std::string::npos) << error.Message();
      EXPECT_NE(error.Message().find("folder could not be flushed"), std::string::npos)
          << error.Message();
      EXPECT_NE(error.Message().find(ErrorText(fault.error)), std::string::npos) << error.Message();
    }
    EXPECT_EQ(folder.CountEntries(), 1);
    EXPECT_EQ(Investigation::Open(path)->GetName(), "After");
  }
}

// Short writes alone are no failure: the rest is written on.
TEST_P(SaveFaultTest, ShortWritesStillSaveEveryByte) {
  ScratchFolder folder;
  const std::string path = folder.File(GetParam());
  const std::unique_ptr<Investigation> study = Study("Chunked");
  {
    const FaultyFileSystem faulty({});
    study->Save(path);
  }
  const std::string chunked = ReadBytes(path);
  study->Save(path);
  EXPECT_EQ(chunked, ReadBytes(path));
}

INSTANTIATE_TEST_SUITE_P(EveryForm, SaveFaultTest,
                         ::testing::Values("study.xml", "study.json", "study.ini"),
                         [](const auto& parameter) {
                           std::string name = parameter.param;
                           name.erase(name.find('.'), 1);
                           return name;
                         });

}  // namespace
}  // namespace zubra
