#include "support.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <opencv2/core.hpp>

namespace bench {
namespace {

std::vector<Comparison>& comparisons() {
  static std::vector<Comparison> all;
  return all;
}

constexpr double kCopiedBytes = 2.0 * kWidth * kHeight * 4;  // read and written
constexpr char kCopyName[] = "memcpy";

void add(const std::string& name, const std::function<void()>& call) {
  benchmark::RegisterBenchmark(name.c_str(), [call](benchmark::State& state) {
    for (auto _ : state) {
      call();
      benchmark::ClobberMemory();
    }
  })->Unit(benchmark::kMicrosecond);
}

// Collects every repetition's time and prints the table at the end; the lines in between are
// progress only.
class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const double ns = 1e9 * run.real_accumulated_time / static_cast<double>(run.iterations);
      const auto [entry, is_new] = best_ns_.try_emplace(run.run_name.function_name, ns);
      if (!is_new) entry->second = std::min(entry->second, ns);
    }
    std::fputc('.', stderr);
  }

  void Finalize() override {
    std::fputc('\n', stderr);
    const auto copy = best_ns_.find(kCopyName);
    const double ns_per_byte = copy == best_ns_.end() ? 0 : copy->second / kCopiedBytes;
    std::printf("memcpy: %.2f GB/s, read and written bytes counted\n", 1 / ns_per_byte);
    std::printf("%-44s %10s %10s %8s %8s  %s\n", "case", "ns/pixel", "peer", "ratio", "memory",
                "peer's name");
    for (const Comparison& comparison : comparisons()) {
      const auto ours = best_ns_.find(comparison.name);
      const auto peer = best_ns_.find(peer_entry(comparison));
      if (ours == best_ns_.end() || peer == best_ns_.end()) continue;
      std::printf("%-44s %10.3f %10.3f %7.2fx %7.0f%%  %s\n", comparison.name.c_str(),
                  ours->second / comparison.pixels, peer->second / comparison.pixels,
                  peer->second / ours->second, 100 * comparison.bytes * ns_per_byte / ours->second,
                  comparison.peer_name.c_str());
    }
  }

  static std::string peer_entry(const Comparison& comparison) {
    return comparison.name + " / " + comparison.peer_name;
  }

 private:
  std::map<std::string, double> best_ns_;  // the least disturbed repetition
};

}  // namespace

void compare(Comparison comparison) {
  comparisons().push_back(std::move(comparison));
}

std::string sized(const std::string& name, int width, int height) {
  return name + " " + std::to_string(width) + "x" + std::to_string(height);
}

std::vector<uint8_t> photo(int width, int height, int channels) {
  std::vector<uint8_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * height * channels);
  uint32_t noise = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        noise = noise * 1664525u + 1013904223u;
        const bool object = ((x >> 7) + (y >> 6)) % 3 == 0;
        const int value =
            (x + y * (c + 1)) / 12 % 200 + (object ? 40 : 0) + static_cast<int>(noise >> 28);
        pixels.push_back(static_cast<uint8_t>(value));
      }
    }
  }
  return pixels;
}

}  // namespace bench

int main(int argc, char** argv) {
  cv::setNumThreads(1);
  bench::list_comparisons();
  std::vector<uint8_t> from(bench::kCopiedBytes / 2, 1), to(from.size());
  bench::add(bench::kCopyName, [&] { std::memcpy(to.data(), from.data(), from.size()); });
  for (const bench::Comparison& comparison : bench::comparisons()) {
    bench::add(comparison.name, comparison.ours);
    bench::add(bench::Table::peer_entry(comparison), comparison.peer);
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
  bench::Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return 0;
}
