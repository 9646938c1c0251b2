#include "zubra/platform/util/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>

#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

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
    if (fd_ >= 0) ::close(fd_);
  }
  // Closes now and returns 0, or the errno of a failed close.
  int Close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0 ? 0 : errno;
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
    const ssize_t written = ::write(fd, content.data(), content.size());
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
  while (::fsync(fd) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

// Flushes the folder entry of a renamed file. File systems that cannot sync a folder
// (EINVAL, ENOTSUP, EROFS) are not an error: there is nothing more to do there.
int SyncFolder(const std::string& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno;
  FileDescriptor descriptor(fd);
  const int error = FsyncRetrying(fd);
  if (error == EINVAL || error == ENOTSUP || error == EROFS) return 0;
  return error;
}

// Opens a new, uniquely named file beside `path`: ".<name>.<pid>.<n>.tmp".
int CreateTemporary(const std::string& folder, const std::string& name, std::string& temp_path) {
  static std::atomic<unsigned> counter{0};
  for (int attempt = 0; attempt < 100; ++attempt) {
    temp_path = folder;
    temp_path += "/.";
    temp_path += name;
    temp_path += '.';
    temp_path += std::to_string(::getpid());
    temp_path += '.';
    temp_path += std::to_string(counter.fetch_add(1));
    temp_path += ".tmp";
    const int fd =
        ::open(temp_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  errno = EEXIST;
  return -1;
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

void WriteFileAtomically(const std::string& path, std::string_view content) {
  const std::size_t slash = path.rfind('/');
  std::string folder;
  std::string name;
  if (slash == std::string::npos) {
    folder = ".";
    name = path;
  } else {
    folder = slash == 0 ? "/" : path.substr(0, slash);
    name = path.substr(slash + 1);
  }
  if (name.empty() || name == "." || name == "..") ThrowSaveError(path, EISDIR);

  std::string temp_path;
  const int fd = CreateTemporary(folder == "/" ? std::string() : folder, name, temp_path);
  if (fd < 0) ThrowSaveError(path, errno);
  TemporaryFile temporary(temp_path);
  FileDescriptor descriptor(fd);

  // Keep the permission bits of the file being replaced.
  struct stat existing {};
  if (::stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
    static_cast<void>(::fchmod(fd, existing.st_mode & 07777));
  }

  if (int error = WriteAll(fd, content); error != 0) ThrowSaveError(path, error);
  if (int error = FsyncRetrying(fd); error != 0) ThrowSaveError(path, error);
  if (int error = descriptor.Close(); error != 0) ThrowSaveError(path, error);
  if (::rename(temporary.Path().c_str(), path.c_str()) != 0) ThrowSaveError(path, errno);
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
