#include <sys/resource.h>

#include <fstream>

#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

// While it lives, memory for a few thread stacks is left to the process.
class FewThreads {
 public:
  FewThreads() {
    getrlimit(RLIMIT_AS, &before_);
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit = before_;
    limit.rlim_cur = pages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) + (size_t{64} << 20);
    setrlimit(RLIMIT_AS, &limit);
  }
  FewThreads(const FewThreads&) = delete;
  FewThreads& operator=(const FewThreads&) = delete;
  ~FewThreads() { setrlimit(RLIMIT_AS, &before_); }

 private:
  rlimit before_{};
};

}  // namespace

// A thread for each row but the last is asked for, and the system gives only some.
TEST(Threads, RowsWithoutAThreadAreDoneByTheCaller) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers stop where there is no memory for them";
#endif
  const int width = 20, height = 300;
  std::vector<int> gamma(256), roots(1500);
  init_rgb_to_lab_fast(gamma.data(), roots.data());
  auto rgb = noise(size_t{3} * width * height);
  std::vector<uint8_t> alone(rgb.size()), together(rgb.size());
  rgb_to_lab_fast(rgb.data(), alone.data(), width, height, gamma.data(), roots.data(), 1);
  const FewThreads limit;
  rgb_to_lab_fast(rgb.data(), together.data(), width, height, gamma.data(), roots.data(), 1000000);
  EXPECT_EQ(together, alone);
}
