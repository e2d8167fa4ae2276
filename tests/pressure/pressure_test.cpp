// Every function under pressure: wherever its buffers lie, when memory runs out, beside others.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "support/every_call.h"
#include "support/images.h"

namespace {

// Counts down to the allocation that fails; negative: none does.
thread_local long allocations_left = -1;

void* allocate(size_t size) {
  if (allocations_left == 0) return nullptr;
  if (allocations_left > 0) --allocations_left;
  return std::malloc(size == 0 ? 1 : size);
}

// Not inlined: GCC takes what it sees there for a mismatch.
[[gnu::noinline]] void release(void* memory) {
  std::free(memory);
}

}  // namespace

// NOLINTBEGIN(misc-new-delete-overloads)
void* operator new(size_t size) {
  if (void* const memory = allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](size_t size) {
  return operator new(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, size_t) noexcept {
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  release(memory);
}
// NOLINTEND(misc-new-delete-overloads)

namespace test {
namespace {

constexpr int kSeeds = 60;

// Nothing outside of the rows is read for a result, or written: the buffers see to that. The second
// call is compared with plain versions as well.
TEST(EveryCall, GivesTheSameWhereverItsBuffersLie) {
  KelvraCV::log_set_callback(nullptr);
  for (const Call& call : every_call()) {
    for (uint32_t seed = 0; seed < 100; ++seed) {
      ASSERT_EQ(result_of(call, Draw(seed), kUpToThePage),
                result_of(call, Draw(seed), kFromThePage))
          << call.name << ", seed " << seed;
    }
  }
}

// The same bytes on every machine and in every version. Scaled frames are libyuv's, and differ.
TEST(EveryCall, GivesTheBytesItAlwaysGave) {
  KelvraCV::log_set_callback(nullptr);
  for (const Call& call : every_call()) {
    if (call.name.rfind("scale_", 0) == 0) continue;
    std::vector<uint8_t> all;
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
      const std::vector<uint8_t> one = result_of(call, Draw(seed), kUpToThePage);
      all.insert(all.end(), one.begin(), one.end());
    }
    expect_golden("call:" + call.name, all);
  }
}

// Each allocation fails once: std::bad_alloc or a message, and the next call is as good as ever.
// The sanitizers' runs tell that nothing leaks.
TEST(EveryCall, SurvivesEachFailingAllocation) {
  KelvraCV::log_set_callback(nullptr);
  for (const Call& call : every_call()) {
    const std::vector<uint8_t> expected = result_of(call, Draw(3), kUpToThePage);
    bool failed = true;
    for (long after = 0; failed && after < 300; ++after) {
      failed = false;
      Scene scene(Draw(3), kUpToThePage);
      allocations_left = after;
      try {
        call.run(scene);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      failed = failed || allocations_left == 0;
      allocations_left = -1;
    }
    EXPECT_EQ(result_of(call, Draw(3), kUpToThePage), expected) << call.name;
  }
}

// Four threads, each with all functions in another order.
TEST(EveryCall, RunsBesideOthers) {
  KelvraCV::log_set_callback(nullptr);
  const std::vector<Call>& calls = every_call();
  std::vector<std::vector<uint8_t>> expected;
  for (const Call& call : calls) expected.push_back(result_of(call, Draw(5), kUpToThePage));
  std::atomic<int> wrong = 0;
  const char* const seconds = std::getenv("KELVRA_CV_PRESSURE_SECONDS");
  const auto end = std::chrono::steady_clock::now() +
                   std::chrono::milliseconds(seconds == nullptr ? 500 : 1000 * std::atoi(seconds));
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (size_t i = t * 17; i < t * 17 + calls.size() || std::chrono::steady_clock::now() < end;
           ++i) {
        const size_t k = i % calls.size();
        wrong += result_of(calls[k], Draw(5), kUpToThePage) != expected[k];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace test
