// Marks the parts of a program that count.c watches, and tells cost.py on standard output what
// they were, in lines of fields between tabs: cost name side units; expect what value.
#ifndef KELVRA_CV_BENCH_ARM64_MARKS_H_
#define KELVRA_CV_BENCH_ARM64_MARKS_H_

#include <cstdio>
#include <string>

namespace marks {

// A mark stands in a block of its own, so that nothing else is taken for a part of the region.
#define KELVRA_CV_MARK(hint) asm volatile("b 1f\n1: hint " hint "\n b 2f\n2:" ::: "memory")

// Runs `job` twice: to warm up, and to be measured. Reported per one of `units`.
template <class Job>
void measure(const std::string& name, const std::string& side, double units, const Job& job) {
  for (int pass = 0; pass < 2; ++pass) {
    KELVRA_CV_MARK("#0x50");
    job();
    KELVRA_CV_MARK("#0x51");
  }
  std::printf("cost\t%s\t%s\t%.0f\n", name.c_str(), side.c_str(), units);
  std::fflush(stdout);
}

// What the job measured last must come to: "instructions" in all, or "cycles" per unit (within
// 2 %) of the first model.
inline void expect(const char* what, double value) {
  std::printf("expect\t%s\t%.17g\n", what, value);
}

}  // namespace marks

#endif  // KELVRA_CV_BENCH_ARM64_MARKS_H_
