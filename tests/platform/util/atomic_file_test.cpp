#include "zubra/platform/util/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::ErrorOf;
using test_support::ReadBytes;

TEST(AtomicFile, WritesEveryByteAndKeepsThePermissionBitsOnReplace) {
  test_support::ScratchFolder folder;
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  bytes += std::string(200000, 'z');  // more than one read buffer
  const std::string path = folder.File("data.bin");
  EXPECT_EQ(ReadFileIfExists(path), std::nullopt);
  WriteFileAtomically(path, bytes);
  EXPECT_EQ(ReadBytes(path), bytes);
  EXPECT_EQ(ReadWholeFile(path), bytes);
  EXPECT_EQ(ReadFileIfExists(path), bytes);

  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  WriteFileAtomically(path, "short");
  EXPECT_EQ(ReadWholeFile(path), "short");
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640U);
  EXPECT_EQ(folder.CountEntries(), 1);
}

TEST(AtomicFile, FailedReadsAndWritesThrowNamingThePath) {
  test_support::ScratchFolder folder;
  const std::string plain_file = folder.File("plain");
  WriteFileAtomically(plain_file, "old");
  const std::string occupied = folder.File("occupied");
  ASSERT_EQ(::mkdir(occupied.c_str(), 0755), 0);
  // The path, the reason in the message, and whether it is written (or read).
  const std::vector<std::tuple<std::string, std::string, bool>> rows = {
      {folder.File("no/such/folder/x.xml"), "No such file or directory", true},
      {plain_file + "/x.xml", "Not a directory", true},
      {folder.File(""), "Is a directory", true},
      {occupied, "Is a directory", true},  // the final rename fails
      {folder.File("missing.ini"), "No such file or directory", false},
      {folder.File(""), "Is a directory", false},
      {plain_file + "/x", "Not a directory", false},
  };
  for (const auto& [path, reason, write] : rows) {
    SCOPED_TRACE(path);
    if (write) {
      EXPECT_EQ(ErrorOf([&] { WriteFileAtomically(path, "content"); }),
                "Cannot save the file '" + path + "': " + reason + ".");
    } else {
      EXPECT_EQ(ErrorOf([&] { ReadWholeFile(path); }),
                "Cannot read the file '" + path + "': " + reason + ".");
    }
  }
  EXPECT_EQ(ReadBytes(plain_file), "old");
  EXPECT_EQ(folder.CountEntries(), 2);  // the file and the folder; no temporary files
}

}  // namespace
}  // namespace zubra
