// Runs a program's comparisons, marked for the emulator's plug-in: those whose names contain the
// second argument, if there is one, and without the peers if the first one is "ours".
#include <cstring>
#include <opencv2/core.hpp>
#include <set>

#include "arm64/marks.h"
#include "support.h"

int main(int argc, char** argv) {
  const bool with_peers = argc < 2 || std::strcmp(argv[1], "ours") != 0;
  const std::string filter = argc < 3 ? "" : argv[2];
  constexpr double kMostPixels = 3e6;  // the memory of larger images is not modelled
  cv::setNumThreads(1);
  bench::list_comparisons();
  std::set<std::string> seen;
  for (const bench::Comparison& c : bench::comparisons()) {
    if (c.pixels > kMostPixels || c.name.find(filter) == std::string::npos) continue;
    if (seen.insert(c.name).second) marks::measure(c.name, "ours", c.pixels, c.ours);
    if (with_peers && !c.peer_name.empty()) {
      marks::measure(c.name, c.peer_name, c.pixels, c.peer);
    }
  }
  return 0;
}
