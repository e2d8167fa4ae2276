// The functions of one family, with everything drawn from the input. The result must be the plain
// version's and not depend on where buffers lie or how rows are padded, and nothing outside of the
// rows may be touched.
#include <cstdlib>

#include "support/every_call.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<test::Call> calls = [] {
    KelvraCV::log_set_callback(nullptr);
    testing::GTEST_FLAG(throw_on_failure) = true;
    std::vector<test::Call> family;
    for (const test::Call& call : test::every_call()) {
      if (call.family == KELVRA_CV_FUZZ_FAMILY) family.push_back(call);
    }
    return family;
  }();
  if (size == 0) return 0;
  const test::Call& call = calls[data[0] % calls.size()];
  const test::Draw draw(data + 1, size - 1);
  if (test::result_of(call, draw, test::kUpToThePage) !=
      test::result_of(call, draw, test::kFromThePage)) {
    std::abort();
  }
  return 0;
}
