#include "gallery/gallery.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

// The script counts the pictures that decoded: examples/gallery/check_page.sh reads the result.
constexpr char kPageStart[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>kelvra_cv gallery</title>
<style>
body { font: 16px/1.5 system-ui, sans-serif; margin: 2rem auto; max-width: 92rem; padding: 0 1rem; }
figure { margin: 1rem 0 2rem; display: grid; grid-template-columns: 1fr 1fr; gap: .5rem 1rem; }
figcaption { grid-column: 1 / 3; }
img { max-width: 100%; height: auto; background: #ddd; }
code { font-weight: 600; } .time { color: #666; }
</style></head><body>
<h1>kelvra_cv gallery</h1>
<p>Left the input, right the result. Times are of one thread, the best of several runs.</p>
)";
constexpr char kPageEnd[] = R"(<script>
addEventListener('load', () => {
  const all = [...document.images];
  document.body.dataset.decoded = all.filter(i => i.naturalWidth > 0).length + ' of ' + all.length;
});
</script></body></html>
)";

double best_milliseconds(const std::function<void()>& operation) {
  using Clock = std::chrono::steady_clock;
  double best = 1e30;
  for (int run = 0; run < 3; ++run) {
    const auto start = Clock::now();
    operation();
    best = std::min(best, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  return best;
}

}  // namespace

Gallery::Gallery(Picture photo, std::string folder)
    : photo_(std::move(photo)), folder_(std::move(folder)), page_(kPageStart) {
  std::filesystem::create_directories(folder_);
}

void Gallery::heading(const std::string& text) {
  std::printf("%s\n", text.c_str());
  page_ += "<h2>" + text + "</h2>\n";
}

std::string Gallery::save(const Picture& picture) {
  const std::string name = "picture" + std::to_string(files_++) + ".png";
  save_png(picture, folder_ + "/" + name);
  return name;
}

std::string Gallery::original_name(const Picture* original) {
  if (original != nullptr) return save(*original);
  if (files_ == 0 || !std::filesystem::exists(folder_ + "/photo.png")) {
    save_png(photo_, folder_ + "/photo.png");
  }
  return "photo.png";
}

void Gallery::add(const std::string& text, const Picture& result,
                  const std::function<void()>& operation, const Picture* original) {
  // Before the operation, which may work in place.
  const std::string left = original_name(original);
  const double time = best_milliseconds(operation);
  std::printf("  %-60s %8.3f ms\n", text.c_str(), time);
  char time_text[40];
  std::snprintf(time_text, sizeof time_text, "%.3f ms", time);
  page_ += "<figure><figcaption><code>" + text + "</code> <span class=\"time\">" + time_text +
           "</span></figcaption>\n<img src=\"" + left + "\" alt=\"input\">\n<img src=\"" +
           save(result) + "\" alt=\"" + text + "\"></figure>\n";
  ++count_;
}

void Gallery::finish() {
  std::ofstream file(folder_ + "/index.html");
  file << page_ << kPageEnd;
  if (!file.flush()) throw std::runtime_error("cannot write " + folder_ + "/index.html");
}

Picture gray_photo(const Gallery& gallery) {
  const Picture& photo = gallery.photo();
  Picture gray(photo.width, photo.height, 1);
  KelvraCV::rgb2gray(photo.data(), gray.data(), photo.width, photo.height, photo.stride(),
                     gray.stride());
  return gray;
}
