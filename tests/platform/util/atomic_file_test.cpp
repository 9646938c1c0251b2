#include "zubra/platform/util/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::ReadBytes;
using test_support::ScratchFolder;

TEST(AtomicFile, WritesAndReadsEveryByte) {
  ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  bytes += std::string(200000, 'z');  // more than one read buffer
  const std::string path = folder.File("data.bin");
  WriteFileAtomically(path, bytes);
  EXPECT_EQ(ReadBytes(path), bytes);
  EXPECT_EQ(ReadWholeFile(path), bytes);
  EXPECT_EQ(ReadFileIfExists(path), bytes);
  WriteFileAtomically(path, "short");
  EXPECT_EQ(ReadWholeFile(path), "short");
  EXPECT_EQ(folder.CountEntries(), 1);
}

TEST(AtomicFile, ReplacingKeepsThePermissionBits) {
  ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  const std::string path = folder.File("settings.ini");
  WriteFileAtomically(path, "A=1\n");
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  WriteFileAtomically(path, "A=2\n");
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640U);
  EXPECT_EQ(ReadBytes(path), "A=2\n");
}

TEST(AtomicFile, FailedWritesThrowNamingThePath) {
  ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  const std::string plain_file = folder.File("plain");
  WriteFileAtomically(plain_file, "old");
  const std::string occupied = folder.File("occupied");
  ASSERT_EQ(::mkdir(occupied.c_str(), 0755), 0);
  struct Row {
    const char* name;
    std::string path;
    std::string reason;
  };
  const std::vector<Row> rows = {
      {"missing folder", folder.File("no/such/folder/x.xml"), "No such file or directory"},
      {"folder is a device", "/dev/full/x.xml", "Not a directory"},
      {"folder is a file", plain_file + "/x.xml", "Not a directory"},
      {"path names a folder", folder.File(""), "Is a directory"},
      {"dot as the name", folder.File("."), "Is a directory"},
      {"rename onto a folder", occupied, "Is a directory"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(test_support::ErrorOf([&] { WriteFileAtomically(row.path, "content"); }),
              "Cannot save the file '" + row.path + "': " + row.reason + ".");
  }
  EXPECT_EQ(ReadBytes(plain_file), "old");
  EXPECT_EQ(folder.CountEntries(), 2);  // the file and the folder; no temporary files
}

TEST(AtomicFile, ReadErrorsNameThePath) {
  ScratchFolder folder;
  ASSERT_TRUE(folder.Ok());
  const std::string missing = folder.File("missing.ini");
  EXPECT_EQ(ReadFileIfExists(missing), std::nullopt);
  struct Row {
    const char* name;
    std::string path;
    std::string reason;
  };
  const std::vector<Row> rows = {
      {"missing", missing, "No such file or directory"},
      {"folder", folder.File(""), "Is a directory"},
      {"below a device", "/dev/null/x", "Not a directory"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(test_support::ErrorOf([&] { ReadWholeFile(row.path); }),
              "Cannot read the file '" + row.path + "': " + row.reason + ".");
  }
}

}  // namespace
}  // namespace zubra
