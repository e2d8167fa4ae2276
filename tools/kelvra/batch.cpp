#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "commands.h"

namespace kelvra {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Job {
  fs::path in, out;
};

std::string lower_ending(const fs::path& path) {
  std::string ending = path.extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ending;
}

bool is_photo(const fs::path& path) {
  const std::string ending = lower_ending(path);
  return ending == ".jpg" || ending == ".jpeg" || ending == ".png";
}

// Folders are walked, and what is in them keeps its place below them; the photos of a folder are
// those whose names say so.
std::vector<Job> jobs_of(const Batch& batch) {
  std::vector<Job> jobs;
  std::map<fs::path, fs::path> taken;
  const auto add = [&](const fs::path& in, const fs::path& place) {
    fs::path out = fs::path(batch.folder) / place;
    if (!batch.output.format.empty()) {
      out.replace_extension(batch.output.format == "png" ? ".png" : ".jpg");
    } else if (!is_photo(out)) {
      out.replace_extension(".png");
    }
    const auto [other, fresh] = taken.emplace(out.lexically_normal(), in);
    if (!fresh) {
      throw operations::UsageError("two inputs would be written to " + out.string() + ": " +
                                   other->second.string() + " and " + in.string());
    }
    if (fs::weakly_canonical(in) == fs::weakly_canonical(out)) {
      throw operations::UsageError("-o is \"" + batch.folder + "\"; wanted a folder in which " +
                                   in.string() + " would not be overwritten");
    }
    jobs.push_back({in, out});
  };
  for (const std::string& input : batch.inputs) {
    std::error_code none;
    if (!fs::is_directory(input, none)) {
      add(input, fs::path(input).filename());
      continue;
    }
    std::vector<fs::path> found;
    for (const auto& entry :
         fs::recursive_directory_iterator(input, fs::directory_options::skip_permission_denied)) {
      if (entry.is_regular_file(none) && is_photo(entry.path())) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    for (const fs::path& path : found) add(path, path.lexically_relative(input));
  }
  return jobs;
}

std::atomic<bool> interrupted{false};

std::string clock_text(double seconds) {
  char text[32];
  const auto whole = static_cast<long>(seconds + 0.5);
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

// A bar that is drawn over itself on a terminal, else a line now and then.
class Progress {
 public:
  explicit Progress(size_t total) : total_(total), start_(Clock::now()), next_(start_) {}

  void failed(const std::string& what) {
    const std::lock_guard lock(mutex_);
    ++failed_;
    std::fprintf(stderr, "%s%s\n", terminal_ ? "\r\33[K" : "", what.c_str());
    step();
  }
  void done(double decoding, double working, double encoding) {
    const std::lock_guard lock(mutex_);
    decoding_ += decoding, working_ += working, encoding_ += encoding;
    ++done_;
    step();
  }

  size_t failures() const { return failed_; }

  void summary(size_t skipped) const {
    const double all = std::max(decoding_ + working_ + encoding_, 1e-9);
    if (terminal_) std::fprintf(stderr, "\r\33[K");
    std::fprintf(stderr, "%zu done, %zu skipped, %zu failed in %.1f s: %.1f photos/s\n", done_,
                 skipped, failed_, seconds(), static_cast<double>(done_) / seconds());
    if (done_ > 0) {
      std::fprintf(stderr, "time: decoding %.0f %%, chain %.0f %%, encoding %.0f %%\n",
                   100 * decoding_ / all, 100 * working_ / all, 100 * encoding_ / all);
    }
  }

 private:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

  void step() {
    const size_t past = done_ + failed_;
    const auto now = Clock::now();
    if (now < next_ && past != total_) return;
    next_ = now + (terminal_ ? std::chrono::milliseconds(100) : std::chrono::seconds(5));
    const double rate = static_cast<double>(past) / std::max(seconds(), 1e-9);
    const std::string left = clock_text(static_cast<double>(total_ - past) / rate);
    const int percent = static_cast<int>(100 * past / total_);
    if (terminal_) {
      std::string bar(percent * 30 / 100, '#');
      bar.resize(30, '.');
      std::fprintf(stderr, "\r\33[K[%s] %3d %% %zu/%zu  %.1f photos/s  %s left", bar.c_str(),
                   percent, past, total_, rate, left.c_str());
      if (failed_ > 0) std::fprintf(stderr, "  %zu failed", failed_);
    } else {
      std::fprintf(stderr, "%zu/%zu  %.1f photos/s  %s left\n", past, total_, rate, left.c_str());
    }
  }

  const bool terminal_ = isatty(STDERR_FILENO) != 0;
  const size_t total_;
  const Clock::time_point start_;
  Clock::time_point next_;
  std::mutex mutex_;
  size_t done_ = 0, failed_ = 0;
  double decoding_ = 0, working_ = 0, encoding_ = 0;
};

bool is_done(const Job& job) {
  std::error_code error;
  const auto result = fs::last_write_time(job.out, error);
  return !error && result >= fs::last_write_time(job.in, error) && !error;
}

// The longer side that a chain shrinks to first, or 0.
int draft_size(const operations::Chain& chain) {
  const operations::Step& first = chain.steps[0];
  if (first.operation->name != "shrink") return 0;
  const std::string& size = first.arguments.text("size");
  const bool whole = size.find_first_not_of("0123456789") == size.npos;
  return whole ? std::atoi(size.c_str()) : 0;
}

void work(const Job& job, const operations::Chain& chain, const Batch& batch, Progress& progress) {
  try {
    const auto start = Clock::now();
    const Source source = load(job.in.string(), std::nullopt, batch.draft ? draft_size(chain) : 0);
    const auto decoded = Clock::now();
    const Image result = operations::run(chain, source.image);
    const auto worked = Clock::now();
    fs::create_directories(job.out.parent_path());
    save(result, job.out.string(), batch.output.encoding(job.out.string()), source,
         job.in.string());
    const auto seconds = [](auto time) { return std::chrono::duration<double>(time).count(); };
    progress.done(seconds(decoded - start), seconds(worked - decoded),
                  seconds(Clock::now() - worked));
  } catch (const FileError& error) {
    progress.failed(error.what());
  } catch (const std::exception& error) {
    progress.failed(job.in.string() + ": " + error.what());
  }
}

}  // namespace

int batch(const operations::Chain& chain, const Batch& request) {
  std::vector<Job> jobs = jobs_of(request);
  const size_t all = jobs.size();
  if (all == 0) throw FileError("there are no photos in the inputs");
  if (request.resume) {
    jobs.erase(std::remove_if(jobs.begin(), jobs.end(), is_done), jobs.end());
  }
  std::error_code error;
  fs::create_directories(request.folder, error);
  if (error) throw FileError("cannot make the folder " + request.folder + ": " + error.message());

  // Workers end with the photos that they have begun.
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = true; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);

  Progress progress(jobs.size());
  std::atomic<size_t> next{0};
  const auto take = [&] {
    for (size_t i = 0; !interrupted && (i = next++) < jobs.size();) {
      work(jobs[i], chain, request, progress);
    }
  };
  const int processors = std::max(KelvraCV::get_cpu_core_num(), 1);
  const size_t workers =
      std::min<size_t>(request.jobs > 0 ? request.jobs : processors, jobs.size());
  std::vector<std::thread> threads;
  for (size_t i = 1; i < workers; ++i) threads.emplace_back(take);
  take();
  for (std::thread& thread : threads) thread.join();

  progress.summary(all - jobs.size());
  if (interrupted) {
    std::fprintf(stderr, "interrupted: the same command with --resume does what is left\n");
  }
  return progress.failures() > 0 || interrupted ? kFailed : kDone;
}

}  // namespace kelvra
