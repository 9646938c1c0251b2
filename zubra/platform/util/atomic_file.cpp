#include "zubra/platform/util/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>
#include <system_error>
#include <vector>

#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

int SystemOpen(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }

// The table saving calls through (see FileSystemCalls).
FileSystemCalls& InstalledCalls() {
  static FileSystemCalls calls = SystemFileCalls();
  return calls;
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

[[noreturn]] void ThrowSaveError(const std::string& path, int error) {
  throw Exception(ExceptionMessage::translate("Cannot save the file '{}': {}.") % path %
                  ErrorText(error));
}

[[noreturn]] void ThrowReadError(const std::string& path, int error) {
  throw Exception(ExceptionMessage::translate("Cannot read the file '{}': {}.") % path %
                  ErrorText(error));
}

// Closes a descriptor once, retrying nothing: after close() fails the descriptor is gone.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) InstalledCalls().close(fd_);
  }
  // Closes now and returns 0, or the errno of a failed close.
  int Close() {
    const int fd = fd_;
    fd_ = -1;
    return InstalledCalls().close(fd) == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

// Removes the temporary file unless released after a successful rename.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  [[nodiscard]] const std::string& Path() const { return path_; }
  void Release() { path_.clear(); }

 private:
  std::string path_;
};

// Writes all of `content`, retrying partial writes and interrupted calls; 0 or the errno.
int WriteAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = InstalledCalls().write(fd, content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (written == 0) return EIO;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int FsyncRetrying(int fd) {
  while (InstalledCalls().fsync(fd) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

// Flushes the folder entry of a renamed file. File systems that cannot sync a folder
// (EINVAL, ENOTSUP, EROFS) are not an error: there is nothing more to do there.
int SyncFolder(const std::string& folder) {
  const int fd = InstalledCalls().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (fd < 0) return errno;
  FileDescriptor descriptor(fd);
  const int error = FsyncRetrying(fd);
  if (error == EINVAL || error == ENOTSUP || error == EROFS) return 0;
  return error;
}

// Blocks SIGXFSZ in the calling thread for its lifetime, so that a write beyond the file size
// limit fails with EFBIG instead of ending the process. The kernel sends that signal to the
// writing thread alone, so it stays pending there and no other thread can take it; it is
// discarded before the previous mask comes back. A caller that blocks SIGXFSZ itself keeps
// its mask and its pending signal untouched.
class FileSizeSignalBlock {
 public:
  FileSizeSignalBlock() {
    sigset_t file_size;
    ::sigemptyset(&file_size);
    ::sigaddset(&file_size, SIGXFSZ);
    active_ = ::pthread_sigmask(SIG_BLOCK, &file_size, &previous_) == 0 &&
              ::sigismember(&previous_, SIGXFSZ) == 0;
  }
  FileSizeSignalBlock(const FileSizeSignalBlock&) = delete;
  FileSizeSignalBlock& operator=(const FileSizeSignalBlock&) = delete;
  ~FileSizeSignalBlock() {
    if (!active_) return;
    sigset_t file_size;
    ::sigemptyset(&file_size);
    ::sigaddset(&file_size, SIGXFSZ);
    const timespec no_wait{};
    const int saved_errno = errno;
    while (::sigtimedwait(&file_size, nullptr, &no_wait) == SIGXFSZ) {
    }
    errno = saved_errno;
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

 private:
  sigset_t previous_{};
  bool active_ = false;
};

// The longest file name the folder accepts.
std::size_t MaxNameLength(const std::string& folder) {
  const long length = ::pathconf(folder.c_str(), _PC_NAME_MAX);
  return length > 0 ? static_cast<std::size_t>(length) : NAME_MAX;
}

// The first bytes of `name` that fit in `length`, not cutting a UTF-8 character in two.
std::string_view Prefix(std::string_view name, std::size_t length) {
  if (length >= name.size()) return name;
  while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0U) == 0x80U) --length;
  return name.substr(0, length);
}

// Opens a new, uniquely named file in `folder` ("" for the root): ".<name>.<pid>.<n>.tmp",
// with <name> shortened as far as needed to keep within the folder's name limit (the pid and
// the counter alone make the name unique).
int CreateTemporary(const std::string& folder, const std::string& name, std::string& temp_path) {
  static std::atomic<unsigned> counter{0};
  const std::size_t max_length = MaxNameLength(folder.empty() ? "/" : folder);
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string suffix =
        '.' + std::to_string(::getpid()) + '.' + std::to_string(counter.fetch_add(1)) + ".tmp";
    const std::size_t room = max_length > suffix.size() + 1 ? max_length - suffix.size() - 1 : 0;
    temp_path = folder;
    temp_path += "/.";
    temp_path += Prefix(name, room);
    temp_path += suffix;
    const int fd = InstalledCalls().open(
        temp_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  errno = EEXIST;
  return -1;
}

// The folder part of `path` ("." when there is none, "/" for the root).
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// As many links as the system follows in one path before it reports a loop.
constexpr int kMaxLinks = 40;

// Follows `path` while it is a symbolic link and returns the file it finally names, which may
// not exist yet (a dangling link names the file to create). A relative target is taken from the
// link's folder. Returns 0, or ELOOP after too many links or the errno of a failed read.
int ResolveLinks(const std::string& path, std::string& resolved) {
  resolved = path;
  for (int hops = 0;; ++hops) {
    struct stat info {};
    if (::lstat(resolved.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return 0;
    if (hops == kMaxLinks) return ELOOP;
    std::vector<char> target(static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)) + 256);
    ssize_t length = 0;
    for (;;) {
      length = ::readlink(resolved.c_str(), target.data(), target.size());
      if (length < 0) return errno;
      if (static_cast<std::size_t>(length) < target.size()) break;
      target.resize(target.size() * 2);  // the link changed meanwhile and grew
    }
    std::string next(target.data(), static_cast<std::size_t>(length));
    if (next.empty()) return ENOENT;
    if (next.front() != '/') {
      std::string folder = FolderOf(resolved);
      if (folder == "/") folder.clear();
      next = std::move(folder.append(1, '/').append(next));
    }
    resolved = std::move(next);
  }
}

// Reads the open file to its end into `out`; 0 or the errno.
int ReadAll(int fd, std::string& out) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  if (S_ISREG(info.st_mode) && info.st_size > 0) {
    out.reserve(static_cast<std::size_t>(info.st_size));
  }
  char buffer[1 << 16];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof(buffer));
    if (got < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (got == 0) return 0;
    out.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

const FileSystemCalls& SystemFileCalls() {
  static const FileSystemCalls calls{&SystemOpen, &::write, &::fsync, &::close, &::rename};
  return calls;
}

FileSystemCalls SetFileSystemCallsForTesting(const FileSystemCalls& calls) {
  const FileSystemCalls previous = InstalledCalls();
  InstalledCalls() = calls;
  return previous;
}

void WriteFileAtomically(const std::string& path, std::string_view content) {
  // Saving through a symbolic link replaces the file it points to and keeps the link.
  std::string target;
  if (int error = ResolveLinks(path, target); error != 0) ThrowSaveError(path, error);
  const std::size_t slash = target.rfind('/');
  const std::string folder = FolderOf(target);
  const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") ThrowSaveError(path, EISDIR);

  std::string temp_path;
  const int fd = CreateTemporary(folder == "/" ? std::string() : folder, name, temp_path);
  if (fd < 0) ThrowSaveError(path, errno);
  TemporaryFile temporary(temp_path);
  FileDescriptor descriptor(fd);

  // Keep the permission bits of the file being replaced.
  struct stat existing {};
  if (::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
    static_cast<void>(::fchmod(fd, existing.st_mode & 07777));
  }

  {
    const FileSizeSignalBlock file_size_signal;
    if (int error = WriteAll(fd, content); error != 0) ThrowSaveError(path, error);
  }
  if (int error = FsyncRetrying(fd); error != 0) ThrowSaveError(path, error);
  if (int error = descriptor.Close(); error != 0) ThrowSaveError(path, error);
  if (InstalledCalls().rename(temporary.Path().c_str(), target.c_str()) != 0) {
    ThrowSaveError(path, errno);
  }
  temporary.Release();

  if (int error = SyncFolder(folder); error != 0) {
    throw Exception(
        ExceptionMessage::translate(
            "The file '{}' was saved, but its folder could not be flushed to disk: {}.") %
        path % ErrorText(error));
  }
}

std::string ReadWholeFile(const std::string& path) {
  std::optional<std::string> content = ReadFileIfExists(path);
  if (!content) ThrowReadError(path, ENOENT);
  return std::move(*content);
}

std::optional<std::string> ReadFileIfExists(const std::string& path) {
  if (path.empty()) return std::nullopt;
  int fd = -1;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    if (errno == ENOENT) return std::nullopt;
    ThrowReadError(path, errno);
  }
  FileDescriptor descriptor(fd);
  std::string content;
  if (int error = ReadAll(fd, content); error != 0) ThrowReadError(path, error);
  return content;
}

}  // namespace zubra
