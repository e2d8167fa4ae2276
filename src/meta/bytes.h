// Encoded files as bytes: read whole, looked at with bounds, written in pieces.
#ifndef KELVRA_CV_META_BYTES_H_
#define KELVRA_CV_META_BYTES_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV::detail {

// A run of bytes that somebody else holds.
struct Bytes {
  const uint8_t* data;
  size_t size;

  // Whether `count` bytes from `at` on exist.
  bool has(size_t at, size_t count) const { return at <= size && count <= size - at; }

  // Whether the bytes from `at` on exist and are those of `text`, without its closing zero.
  template <size_t kSize>
  bool has_text(size_t at, const char (&text)[kSize]) const {
    return has(at, kSize - 1) && std::memcmp(data + at, text, kSize - 1) == 0;
  }

  // The number in `count` bytes that exist, most significant first.
  uint32_t big_endian(size_t at, int count) const {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 8 | data[at + i];
    return value;
  }

  Bytes part(size_t from, size_t count) const { return {data + from, count}; }
  Bytes up_to(size_t end) const { return part(0, end); }
  Bytes from(size_t start) const { return part(start, size - start); }
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Creates the file, or opens it with what it holds: a call that fails later leaves that alone.
inline File open_to_write(const char* path) {
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  return File(descriptor < 0 ? nullptr : fdopen(descriptor, "wb"));
}

// All of an open file. What is no regular file, such as a directory, counts as empty.
class FileContents {
 public:
  explicit FileContents(std::FILE* file) : size_(size_of(file)), bytes_(size_) {
    size_ = std::fread(bytes_.get(), 1, size_, file);
  }
  Bytes bytes() const { return {bytes_.get(), size_}; }

 private:
  static size_t size_of(std::FILE* file) {
    struct stat status {};
    const bool is_regular = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
    return is_regular ? static_cast<size_t>(status.st_size) : 0;
  }

  size_t size_;
  Scratch<uint8_t> bytes_;
};

// Prints a message without conversions. Compilers want the formats of log_print() itself to be
// literals where it is called.
inline void print(const char* message) {
  constexpr auto log = &log_print;
  log(message);
}

// What a file is to hold: pieces one after the other, and then bytes of zero.
struct Contents {
  std::vector<Bytes> pieces;
  size_t zeros = 0;
};

// Empties a file that open_to_write() gave, and writes it. False if not everything could be
// written.
inline bool replace_contents(File file, const Contents& contents) {
  // Devices and pipes have no length to set.
  [[maybe_unused]] const int status = ftruncate(fileno(file.get()), 0);
  bool ok = true;
  for (const Bytes& piece : contents.pieces) {
    if (piece.size == 0) continue;  // it may be nowhere
    ok = ok && std::fwrite(piece.data, 1, piece.size, file.get()) == piece.size;
  }
  for (size_t i = 0; i < contents.zeros && ok; ++i) ok = std::fputc(0, file.get()) != EOF;
  return std::fclose(file.release()) == 0 && ok;
}

// A file, what is printed if it cannot be opened (or written), and what if it is of another kind.
struct NamedFile {
  const char *path, *path_message, *format_message = nullptr;
};

// Makes a file of others: opens them in this order and then the output, reads those that begin with
// `signature`, and writes the Contents that splice(sources) makes of their Bytes. Where something
// is wrong, prints its message and returns -1, else 0.
template <size_t kSources, size_t kSize, class Splice>
int transfer(const NamedFile (&sources)[kSources], const NamedFile& output,
             const char (&signature)[kSize], const Splice& splice) {
  const auto fail = [](const char* message) { return print(message), -1; };
  bool has_paths = output.path != nullptr;
  for (const NamedFile& source : sources) has_paths = has_paths && source.path != nullptr;
  if (!has_paths) return fail("png path error!\n");  // of JPEG files, too
  std::vector<File> files;
  for (const NamedFile& source : sources) {
    files.emplace_back(std::fopen(source.path, "rb"));
    if (files.back() == nullptr) return fail(source.path_message);
  }
  File output_file = open_to_write(output.path);
  if (output_file == nullptr) return fail(output.path_message);
  std::vector<FileContents> contents;
  Bytes bytes[kSources];
  for (size_t i = 0; i < kSources; ++i) {
    contents.emplace_back(files[i].get());
    bytes[i] = contents[i].bytes();
    if (bytes[i].has_text(0, signature)) continue;
    for (size_t k = 0; k <= i; ++k) print(sources[k].format_message);
    return -1;
  }
  return replace_contents(std::move(output_file), splice(bytes)) ? 0 : fail(output.path_message);
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_META_BYTES_H_
