// Whole-file reads and crash-safe whole-file writes, used by every stored form.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zubra {

// Replaces the file at `path` with `content` so that a reader (or a crash at any moment) sees
// either the complete old file or the complete new one.
//
// The text goes to a new temporary file in the same folder; every write is checked, the data
// is flushed to disk (fsync) and the file closed, then it is renamed over `path` and the
// folder is flushed so that the rename itself survives a power cut. An existing file keeps
// its permission bits; a new one gets 0666 less the umask. The temporary file is named
// ".<name>.<pid>.<n>.tmp", with <name> cut short when the whole would exceed the folder's
// name limit, so any name the folder accepts can be saved.
//
// When `path` is a symbolic link (or a chain of them), the file it finally points to is
// replaced the same way, in that file's folder, and the link stays as it is; a relative
// target is taken from its link's folder, and a dangling link creates the file it names.
//
// A file size limit (RLIMIT_FSIZE) makes the write fail with "File too large" like any other
// write error; it does not end the process. For this SIGXFSZ is blocked in the calling thread
// during the write (never process-wide, so other threads and their signal handling are
// unaffected): the kernel then returns EFBIG, and the signal it raised for this thread is
// discarded before the thread's previous signal mask is restored. A thread that already blocks
// SIGXFSZ keeps its mask and finds the signal pending, as it would without this function.
//
// Throws Exception naming `path` when any step fails (folder missing or not writable, disk
// full, file size limit, a loop of symbolic links, ...). Up to the rename, a failure removes
// the temporary file and leaves an existing file untouched; a failure to flush the folder after
// the rename is reported as such (the new content is in place but may not be on disk yet).
void WriteFileAtomically(const std::string& path, std::string_view content);

// The system calls a save makes (WriteFileAtomically above), gathered in one table so that
// tests can make any step fail: the open of the temporary file and of its folder, each write,
// the fsync of the file and of the folder, the close and the rename. Saving calls through the
// table installed; the system's own calls are installed from the start and production code
// never changes them.
//
// A test installs a table whose entries fail at the chosen step (returning -1 with errno set,
// or writing fewer bytes than asked) and forward every other call to SystemFileCalls(), and
// puts the previous table back afterwards. The table is one for the whole process: install
// it only while no other thread saves.
struct FileSystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  ssize_t (*write)(int fd, const void* data, std::size_t size);
  int (*fsync)(int fd);
  int (*close)(int fd);
  int (*rename)(const char* from, const char* to);
};

// The system's own calls.
const FileSystemCalls& SystemFileCalls();

// Installs `calls` for every later save and returns the table it replaces.
FileSystemCalls SetFileSystemCallsForTesting(const FileSystemCalls& calls);

// Returns the whole content of the file at `path`, byte for byte.
// Throws Exception naming `path` when it does not exist, is a folder, or cannot be read.
std::string ReadWholeFile(const std::string& path);

// As ReadWholeFile, but returns nullopt (instead of throwing) when nothing exists at `path`.
std::optional<std::string> ReadFileIfExists(const std::string& path);

}  // namespace zubra
