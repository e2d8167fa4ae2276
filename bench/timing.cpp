// Times a program's comparisons with Google Benchmark. Its JSON output, which report.py reads, has
// the pixels and bytes of a call as counters, and the most memory that it takes meanwhile; a peer's
// entry is called "case / peer".
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <set>

#include "support.h"

namespace {

// What operator new has given out to the calling thread while `counting`.
thread_local bool counting = false;
size_t taken = 0, most_taken = 0;

double scratch_of(const std::function<void()>& call) {
  call();  // makes its buffers
  taken = most_taken = 0;
  counting = true;
  call();
  counting = false;
  return static_cast<double>(most_taken);
}

void add(const std::string& name, const std::function<void()>& call, double pixels, double bytes) {
  static std::set<std::string> added;
  if (!added.insert(name).second) return;                // ours, beside a second peer
  const auto order = static_cast<double>(added.size());  // interleaving shuffles them
  const auto scratch = std::make_shared<double>(-1);     // measured once
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    if (*scratch < 0) *scratch = scratch_of(call);
    for (auto _ : state) {
      call();
      benchmark::ClobberMemory();
    }
    state.counters["pixels"] = pixels;
    state.counters["bytes"] = bytes;
    state.counters["scratch"] = *scratch;
    state.counters["order"] = order;
  })->Unit(benchmark::kMicrosecond);
}

}  // namespace

// Not inlined: GCC takes what it sees there for a mismatch.
[[gnu::noinline]] void* operator new(size_t size) {
  void* const memory = std::malloc(std::max<size_t>(size, 1));
  if (!memory) throw std::bad_alloc();
  if (counting) most_taken = std::max(most_taken, taken += malloc_usable_size(memory));
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  if (counting && memory) taken -= std::min(taken, malloc_usable_size(memory));
  std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  operator delete(memory);
}

int main(int argc, char** argv) {
  cv::setNumThreads(1);
  bench::list_comparisons();
  std::vector<uint8_t> from(4 * bench::kWidth * bench::kHeight, 1), to(from.size());
  const auto copied = static_cast<double>(from.size());
  add(
      "memcpy", [&] { std::memcpy(to.data(), from.data(), from.size()); }, copied, 2 * copied);
  for (const bench::Comparison& c : bench::comparisons()) {
    add(c.name, c.ours, c.pixels, c.bytes);
    if (!c.peer_name.empty()) add(c.name + " / " + c.peer_name, c.peer, c.pixels, c.bytes);
  }
  // Short interleaved repetitions, of which the best counts: the machine may be shared.
  std::vector<char*> arguments(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  char repetitions[] = "--benchmark_repetitions=7";
  char time[] = "--benchmark_min_time=0.02";
  arguments.insert(arguments.begin() + 1, {interleave, repetitions, time});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
