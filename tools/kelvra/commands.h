// The verbs of the command line. Each returns the exit code 0 or 1, or throws: UsageError, before
// anything is read or written, makes the code 2, all else 1.
#ifndef KELVRA_CV_TOOLS_KELVRA_COMMANDS_H_
#define KELVRA_CV_TOOLS_KELVRA_COMMANDS_H_

#include <optional>
#include <string>
#include <vector>

#include "operations.h"
#include "transfer.h"

namespace kelvra {

constexpr int kDone = 0, kFailed = 1, kUsage = 2;

// How results are written, as the options say it.
struct Output {
  std::string format;  // "", "png" or "jpeg"
  int quality = 90;
  int effort = 3;

  Encoding encoding(const std::string& path) const {
    return {format_for(path, format), quality, effort};
  }
};

// describe.cpp: texts from the table
int list_operations(const std::string& family, bool as_json);
int explain(const std::string& operation);
int print_manual();
int print_completion(const std::string& shell);
std::string table_json();

// convert.cpp: one picture
struct Conversion {
  std::string in, out;  // "-" for standard input and output
  std::optional<FrameShape> frame;
  Output output;
};
int convert(const operations::Chain& chain, const Conversion& conversion);
// Prints what the chain's last operation finds as JSON, unless there is a place to draw to.
int find(const operations::Chain& chain, const Conversion& conversion);

// meta.cpp: profiles and Exif
int show_metadata(const std::string& path);
int copy_metadata(const std::string& origin, const std::string& in, const std::string& out);
int strip_metadata(const std::string& in, const std::string& out);

// batch.cpp: many pictures
struct Batch {
  std::vector<std::string> inputs;  // files and folders
  std::string folder;
  Output output;
  int jobs = 0;  // 0 for one a processor
  bool resume = false;
  bool draft = false;  // decode JPEG files at a part of their size where a chain shrinks them
};
int batch(const operations::Chain& chain, const Batch& batch);

// gallery.cpp and play.cpp: pages
int gallery(const std::vector<std::string>& photos, const std::string& folder);
int play(const std::string& photo, int port);

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_COMMANDS_H_
