// Jobs whose costs are known beforehand; cost.py compares.
#include <cstdint>
#include <vector>

#include "arm64/marks.h"

#define NEVER_VECTORISED __attribute__((noinline, optimize("O3", "no-tree-vectorize")))
#define VECTORISED __attribute__((noinline, optimize("O3")))
using Bytes = std::vector<uint8_t>;

NEVER_VECTORISED static void add_scalar(const uint8_t* __restrict a, uint8_t* __restrict out,
                                        int n) {
  for (int i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(out[i] + a[i]);
}
VECTORISED static void add_vector(const uint8_t* __restrict a, uint8_t* __restrict out, int n) {
  for (int i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(out[i] + a[i]);
}

int main() {
  const auto nothing = [] {};
  const long n = 160000;
  Bytes a(n, 1), out(n, 2);

  marks::measure("nothing", "ours", 1, nothing);
  marks::expect("instructions", 1);  // the jump to the closing marker

  marks::measure("four a round", "ours", n, [n] {
    asm volatile(
        "mov x9, %0\n1: add x10, x10, 1\n add x11, x11, 1\n subs x9, x9, 1\n b.ne 1b" ::"r"(n)
        : "x9", "x10", "x11", "cc");
  });
  marks::expect("instructions", 4 * n + 2);
  marks::expect("cycles", 1);  // one taken branch, one link of the chain of x9

  marks::measure("every third taken", "ours", n, [n] {  // two blocks or three a round
    asm volatile(
        "mov x9, %0\n mov x10, 0\n1: add x10, x10, 1\n cmp x10, 3\n b.ne 2f\n"
        " mov x10, 0\n eor x11, x11, x9\n2: subs x9, x9, 1\n b.ne 1b" ::"r"(n)
        : "x9", "x10", "x11", "cc");
  });
  marks::expect("instructions", 5 * n + n / 3 * 2 + 3);

  marks::measure("chain of additions", "ours", n, [n] {
    asm volatile(
        "mov x9, %0\n1: fadd d0, d0, d1\n fadd d0, d0, d1\n subs x9, x9, 1\n b.ne 1b" ::"r"(n)
        : "x9", "v0", "cc");
  });
  marks::expect("instructions", 4 * n + 2);
  marks::expect("cycles", 4);  // a latency of 2 each

  marks::measure("chain over two blocks", "ours", n, [n] {
    asm volatile(
        "mov x9, %0\n1: fadd d0, d0, d1\n cbz x9, 2f\n2: fadd d0, d0, d1\n subs x9, x9, 1\n b.ne "
        "1b" ::"r"(n)
        : "x9", "v0", "cc");
  });
  marks::expect("instructions", 5 * n + 2);
  marks::expect("cycles", 4);

  const auto vector = [&] { add_vector(a.data(), out.data(), n); };
  const auto scalar = [&] { add_scalar(a.data(), out.data(), n); };
  marks::measure("sixteen bytes a round", "ours", n, vector);
  marks::expect("instructions", n / 16 * 7 + 9);
  marks::measure("sixteen bytes a round", "one byte a round", n, scalar);
  marks::expect("instructions", n * 7 + 9);
}
