#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace kelvra {
namespace {

// Larger files are no photographs.
constexpr size_t kMaxFile = size_t{1} << 30;

std::string reason() {
  return std::strerror(errno);
}

struct Descriptor {
  explicit Descriptor(int number) : fd(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd > STDERR_FILENO) close(fd);
  }
  int fd;
};

void write_fully(int fd, const Bytes& bytes, const std::string& name) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw FileError("cannot write " + name + ": " + reason());
    done += static_cast<size_t>(written);
  }
}

// The unfinished file of the verbs that write one at a time, for their signal handler.
bool noting_unfinished = false;
char unfinished[4096];
volatile std::sig_atomic_t has_unfinished = 0;

mode_t file_mode() {
  static const mode_t mask = [] {
    const mode_t current = umask(0);
    umask(current);
    return current;
  }();
  return 0666 & ~mask;
}

}  // namespace

Bytes read_all(const std::string& path) {
  const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.fd < 0) throw FileError("cannot open: " + reason());
  struct stat status {};
  const bool known = fstat(file.fd, &status) == 0 && S_ISREG(status.st_mode);
  Bytes bytes;
  size_t size = 0;
  for (;;) {
    if (size == bytes.size()) {
      const size_t more = known ? static_cast<size_t>(status.st_size) + 1 : 2 * size;
      bytes.resize(std::max({more, size + 65536, size_t{65536}}));
    }
    const ssize_t count = read(file.fd, bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileError("cannot read: " + reason());
    size += static_cast<size_t>(count);
    if (size > kMaxFile) throw FileError("larger than a gigabyte");
    if (count == 0) break;
  }
  bytes.resize(size);
  return bytes;
}

NewFile::NewFile(const std::string& target) : target_(target) {
  namespace fs = std::filesystem;
  const fs::path folder =
      target == "-" ? fs::temp_directory_path() : fs::absolute(target).parent_path();
  path_ = (folder / ("." + fs::path(target).filename().string() + ".XXXXXX")).string();
  const Descriptor file(mkostemp(path_.data(), O_CLOEXEC));
  if (file.fd < 0) throw FileError("cannot write " + target + ": " + reason());
  fchmod(file.fd, file_mode());
  if (noting_unfinished && path_.size() < sizeof unfinished) {
    std::memcpy(unfinished, path_.c_str(), path_.size() + 1);
    has_unfinished = 1;
  }
}

NewFile::~NewFile() {
  if (!path_.empty()) unlink(path_.c_str());
  if (noting_unfinished) has_unfinished = 0;
}

void NewFile::write(const Bytes& bytes) const {
  const Descriptor file(open(path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (file.fd < 0) throw FileError("cannot write " + target_ + ": " + reason());
  write_fully(file.fd, bytes, target_);
}

void NewFile::commit() {
  if (target_ == "-") {
    write_fully(STDOUT_FILENO, read_all(path_), "standard output");
    return;
  }
  if (std::rename(path_.c_str(), target_.c_str()) != 0) {
    throw FileError("cannot write " + target_ + ": " + reason());
  }
  path_.clear();
}

void clean_up_on_signals() {
  noting_unfinished = true;
  struct sigaction action {};
  action.sa_handler = [](int signal) {
    if (has_unfinished != 0) unlink(unfinished);
    _exit(128 + signal);
  };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

}  // namespace kelvra
