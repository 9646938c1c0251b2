#include "zubra/platform/util/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
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
      EXPECT_EQ(ErrorOf([&target = path] { WriteFileAtomically(target, "content"); }),
                "Cannot save the file '" + path + "': " + reason + ".");
    } else {
      EXPECT_EQ(ErrorOf([&target = path] { ReadWholeFile(target); }),
                "Cannot read the file '" + path + "': " + reason + ".");
    }
  }
  EXPECT_EQ(ReadBytes(plain_file), "old");
  EXPECT_EQ(folder.CountEntries(), 2);  // the file and the folder; no temporary files
}

TEST(AtomicFile, SavesNamesUpToTheFolderNameLimit) {
  test_support::ScratchFolder folder;
  std::string two_byte_characters;
  for (int i = 0; i < 127; ++i) two_byte_characters += "\xC3\xA9";
  const std::vector<std::string> names = {std::string(250, 'n'), std::string(255, 'm'),
                                          two_byte_characters + "e"};
  for (const std::string& name : names) {
    SCOPED_TRACE(name.size());
    const std::string path = folder.File(name);
    EXPECT_EQ(ErrorOf([&] { WriteFileAtomically(path, "first"); }), "(no exception)");
    EXPECT_EQ(ErrorOf([&] { WriteFileAtomically(path, "second"); }), "(no exception)");
    EXPECT_EQ(ReadBytes(path), "second");
  }
  EXPECT_EQ(folder.CountEntries(), 3);
}

// The text of the symbolic link at `link`, or "(not a link)".
std::string LinkTarget(const std::string& link) {
  std::string target(4096, '\0');
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  return length < 0 ? std::string("(not a link)") : target.substr(0, length);
}

TEST(AtomicFile, SavingThroughASymbolicLinkReplacesItsTargetAndKeepsTheLink) {
  test_support::ScratchFolder folder;
  ASSERT_EQ(::mkdir(folder.File("data").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir(folder.File("links").c_str(), 0755), 0);
  struct Row {
    const char* name;
    std::vector<std::pair<std::string, std::string>> links;  // link, target as written
    std::string saved_through;
    std::string target;
  };
  const std::vector<Row> rows = {
      {"absolute", {{"links/abs", folder.File("data/a.xml")}}, "links/abs", "data/a.xml"},
      {"relative to the link's folder",
       {{"links/rel", "../data/r.xml"}},
       "links/rel",
       "data/r.xml"},
      {"a chain of links",
       {{"links/first", "second"}, {"links/second", "../data/third"}, {"data/third", "c.xml"}},
       "links/first",
       "data/c.xml"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WriteFileAtomically(folder.File(row.target), "old");
    ASSERT_EQ(::chmod(folder.File(row.target).c_str(), 0600), 0);
    for (const auto& link : row.links) {
      ASSERT_EQ(::symlink(link.second.c_str(), folder.File(link.first).c_str()), 0);
    }
    WriteFileAtomically(folder.File(row.saved_through), "new");
    EXPECT_EQ(ReadBytes(folder.File(row.target)), "new");
    struct stat info {};
    ASSERT_EQ(::stat(folder.File(row.target).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
    for (const auto& link : row.links) EXPECT_EQ(LinkTarget(folder.File(link.first)), link.second);
  }
  // A dangling link creates the file it names.
  ASSERT_EQ(::symlink("../data/new.xml", folder.File("links/dangling").c_str()), 0);
  WriteFileAtomically(folder.File("links/dangling"), "created");
  EXPECT_EQ(ReadBytes(folder.File("data/new.xml")), "created");
  EXPECT_EQ(LinkTarget(folder.File("links/dangling")), "../data/new.xml");
  // Only the files and links made above: no temporary file in either folder.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.File("data")), {}), 5);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.File("links")), {}), 5);
}

TEST(AtomicFile, ALoopOfSymbolicLinksIsRefusedWithTheUsualMessage) {
  test_support::ScratchFolder folder;
  ASSERT_EQ(::symlink("self", folder.File("self").c_str()), 0);
  ASSERT_EQ(::symlink("b", folder.File("a").c_str()), 0);
  ASSERT_EQ(::symlink("a", folder.File("b").c_str()), 0);
  for (const std::string name : {"self", "a"}) {
    SCOPED_TRACE(name);
    const std::string path = folder.File(name);
    EXPECT_EQ(ErrorOf([&] { WriteFileAtomically(path, "content"); }),
              "Cannot save the file '" + path + "': Too many levels of symbolic links.");
  }
  EXPECT_EQ(folder.CountEntries(), 3);
}

// How a forked child process ended and what it wrote to its output pipe.
struct ChildResult {
  int exit_code = -1;  // -1 when it did not exit normally
  int signal = 0;      // the signal that ended it, or 0
  std::string output;
};

// Runs `body` in a forked child, whose limits and signal state stay its own; the child sends the
// returned text to the parent and exits with 0.
ChildResult RunInChild(const std::function<std::string()>& body) {
  ChildResult result;
  int pipe_ends[2];
  if (::pipe(pipe_ends) != 0) return result;
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(pipe_ends[0]);
    const std::string text = body();
    const ssize_t written = ::write(pipe_ends[1], text.data(), text.size());
    ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 3);
  }
  ::close(pipe_ends[1]);
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(pipe_ends[0], buffer, sizeof(buffer))) > 0;) {
    result.output.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(pipe_ends[0]);
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return result;
  if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

TEST(AtomicFile, AFileSizeLimitFailsTheSaveWithoutEndingTheProcess) {
  test_support::ScratchFolder folder;
  const std::string path = folder.File("limited.xml");
  WriteFileAtomically(path, "old");
  const ChildResult child = RunInChild([&] {
    // An idle second thread, which would take the signal if it were sent to the process.
    std::thread([] { std::this_thread::sleep_for(std::chrono::seconds(60)); }).detach();
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 1024;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::string message = ErrorOf([&] { WriteFileAtomically(path, std::string(4096, 'x')); });
    // The thread's signal state is as before: SIGXFSZ neither blocked nor pending.
    sigset_t mask;
    sigset_t pending;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    ::sigpending(&pending);
    if (::sigismember(&mask, SIGXFSZ) == 1) message += " (left blocked)";
    if (::sigismember(&pending, SIGXFSZ) == 1) message += " (left pending)";
    return message;
  });
  EXPECT_EQ(child.signal, 0);
  EXPECT_EQ(child.exit_code, 0);
  EXPECT_EQ(child.output, "Cannot save the file '" + path + "': File too large.");
  EXPECT_EQ(ReadBytes(path), "old");
  EXPECT_EQ(folder.CountEntries(), 1);
}

}  // namespace
}  // namespace zubra
