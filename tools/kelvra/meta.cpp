#include <algorithm>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "exif.h"
#include "files.h"

namespace kelvra {
namespace {

// The library's functions print their messages through this, one at a time.
std::string last_message;

void note_message(const char* format, va_list arguments) {
  char text[400];
  std::vsnprintf(text, sizeof text, format, arguments);
  last_message = text;
  last_message.erase(std::remove(last_message.begin(), last_message.end(), '\n'),
                     last_message.end());
}

bool is_png(const std::string& path) {
  const Bytes bytes = read_all(path);
  return bytes.size() >= 4 && std::memcmp(bytes.data(), "\x89PNG", 4) == 0;
}

// Writes what `make` makes at the path that it is given.
template <typename Make>
int write_by(const std::string& out, const Make& make) {
  NewFile file(out);
  KelvraCV::log_set_callback(note_message);
  if (make(file.path().c_str()) != 0) throw FileError(out + ": " + last_message);
  file.commit();
  return kDone;
}

// Without a PNG file's Exif and texts; a profile is removed before by the library.
Bytes without_chunks(const Bytes& png) {
  Bytes kept(png.begin(), png.begin() + std::min<size_t>(png.size(), 8));
  for (size_t at = 8; at + 12 <= png.size();) {
    const char* const chunk = reinterpret_cast<const char*>(png.data() + at);
    const size_t length = static_cast<uint32_t>(KelvraCV::bytes_to_int(chunk, 0, true));
    if (length > png.size() - at - 12) break;
    const std::string name = KelvraCV::bytes_to_string(chunk, 4, 4);
    if (name != "eXIf" && name != "tEXt" && name != "zTXt" && name != "iTXt" && name != "tIME") {
      kept.insert(kept.end(), png.begin() + static_cast<long>(at),
                  png.begin() + static_cast<long>(at + length + 12));
    }
    at += length + 12;
    if (name == "IEND") break;
  }
  return kept;
}

}  // namespace

int show_metadata(const std::string& path) {
  PictureFile file;
  try {
    file = decode(read_all(path));
  } catch (const std::exception& error) {
    throw FileError(path + ": " + error.what());
  }
  nlohmann::ordered_json shown;
  shown["format"] = file.format == Format::kPng ? "png" : "jpeg";
  shown["width"] = file.image.width;
  shown["height"] = file.image.height;
  shown["channels"] = file.image.channels;
  shown["orientation"] = file.metadata.orientation;
  shown["exif_bytes"] = file.metadata.exif.size();
  shown["icc_bytes"] = file.metadata.icc.size();
  if (file.metadata.icc.size() >= 20) {
    const char* const space = reinterpret_cast<const char*>(file.metadata.icc.data() + 16);
    std::string text(space, 4);
    for (char& c : text) c = c >= ' ' && c < 127 ? c : '?';
    shown["icc_space"] = text.substr(0, text.find_last_not_of(' ') + 1);
  }
  std::printf("%s\n", shown.dump(2).c_str());
  return kDone;
}

int copy_metadata(const std::string& origin, const std::string& in, const std::string& out) {
  const bool png = is_png(in);
  if (is_png(origin) != png) {
    throw FileError(origin + ": wanted a file of the same format as " + in);
  }
  const auto carry = png ? KelvraCV::add_png_info : KelvraCV::add_jpeg_info;
  return write_by(out, [&](const char* path) { return carry(origin.c_str(), in.c_str(), path); });
}

int strip_metadata(const std::string& in, const std::string& out) {
  NewFile file(out);
  try {
    const Bytes bytes = read_all(in);
    if (!is_png(in)) {
      file.write(strip_jpeg(bytes));
    } else if (PictureFile turned = decode(bytes); turned.metadata.orientation != 1) {
      file.write(encode(upright(std::move(turned.image), turned.metadata.orientation), {}, {}));
    } else {
      KelvraCV::log_set_callback(note_message);
      if (KelvraCV::remove_png_info(in.c_str(), file.path().c_str()) != 0) {
        throw FileError(last_message);
      }
      file.write(without_chunks(read_all(file.path())));
    }
  } catch (const FileError& error) {
    throw FileError(in + ": " + error.what());
  }
  file.commit();
  return kDone;
}

}  // namespace kelvra
