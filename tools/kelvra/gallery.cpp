// One page with every operation's result on photos, pictures and all.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "commands.h"
#include "files.h"
#include "pages.h"

namespace kelvra {
namespace {

constexpr char kShownSize[] = "720";
constexpr int kQuality = 86;

std::string base64(const Bytes& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve(bytes.size() / 3 * 4 + 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(bytes.size() - i, 3);
    uint32_t group = bytes[i] << 16;
    if (count > 1) group |= bytes[i + 1] << 8;
    if (count > 2) group |= bytes[i + 2];
    for (size_t k = 0; k < 4; ++k) {
      text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

std::string data_url(const Image& image) {
  return "data:image/jpeg;base64," + base64(encode(image, {Format::kJpeg, kQuality}, {}));
}

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

void replace(std::string& page, const std::string& mark, const std::string& text) {
  const size_t place = page.find(mark);
  if (place != page.npos) page.replace(place, mark.size(), text);
}

struct Shown {
  std::string name;
  Image image;
};

// A result beside its original; `best` receives the time per megapixel.
std::string pair_of(const operations::Chain& chain, const Shown& photo, size_t index,
                    double& best) {
  using Clock = std::chrono::steady_clock;
  const Image& image = photo.image;
  Image result;
  double milliseconds = 1e30;
  for (int run = 0; run < 3; ++run) {
    const auto start = Clock::now();
    result = operations::run(chain, image);
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    milliseconds = std::min(milliseconds, time.count());
  }
  const double megapixels = static_cast<double>(image.width) * image.height / 1e6;
  best = std::min(best, milliseconds / megapixels);
  const double across = static_cast<double>(result.width) / image.width;
  const double down = static_cast<double>(result.height) / image.height;
  const bool alike = std::abs(across - down) < 0.02 * across;
  const std::string number = std::to_string(index);
  const std::string text = "<img src=\"" + data_url(result) + "\" alt=\"" +
                           escaped(operations::to_text(chain) + " on " + photo.name) + "\">";
  if (!alike) {
    return "<div class=\"pair alone\" data-photo=\"" + number + "\"><div>" + text + "</div></div>";
  }
  return "<div class=\"pair split\" data-photo=\"" + number + "\"><div style=\"--at: 50%\">" +
         text + "<div class=\"before before" + number +
         "\"></div><div class=\"line\"></div><input type=\"range\" aria-label=\"Divider\"></div>"
         "</div>";
}

std::string card(const operations::Operation& operation, const std::vector<Shown>& photos) {
  const std::string before = operation.after.empty() ? "" : operation.after + " | ";
  const operations::Chain chain = operations::parse_chain(before + operation.name);
  std::string pairs, values;
  double best = 1e30;
  for (size_t i = 0; i < photos.size(); ++i) {
    try {
      pairs += pair_of(chain, photos[i], i, best);
    } catch (const operations::WorkError& error) {
      pairs += "<div class=\"pair\" data-photo=\"" + std::to_string(i) + "\"><p>" +
               escaped(error.what()) + "</p></div>";
    }
  }
  for (const operations::Parameter& parameter : operation.parameters) {
    values += " " + parameter.name + "=" + parameter.standard;
  }
  char time[40] = "";
  if (best < 1e30) std::snprintf(time, sizeof time, "%.2f ms per megapixel", best);
  std::printf("  %-14s %s\n", operation.name.c_str(), time);
  return "<article id=\"" + operation.name + "\">" + pairs + "<div class=\"text\"><h3>" +
         operation.name + "<span>" + time + "</span></h3><p>" + escaped(operation.sentence) +
         "</p><code>" + escaped(before + operation.name + values) + "</code></div></article>\n";
}

std::vector<Shown> load_all(const std::vector<std::string>& paths) {
  std::vector<Shown> photos;
  const auto fit = operations::parse_chain(std::string("shrink ") + kShownSize);
  for (const std::string& path : paths) {
    photos.push_back(
        {std::filesystem::path(path).filename().string(), operations::run(fit, load(path).image)});
  }
  return photos;
}

}  // namespace

int gallery(const std::vector<std::string>& paths, const std::string& folder) {
  const std::vector<Shown> photos = load_all(paths);
  std::string tabs, originals, families, cards, family;
  for (const Shown& photo : photos) {
    tabs += "<button role=\"tab\">" + escaped(photo.name) + "</button>";
    originals += "'" + data_url(photo.image) + "',";
  }
  for (const operations::Operation& operation : operations::table()) {
    if (operation.family != family) {
      if (!family.empty()) cards += "</div></section>\n";
      family = operation.family;
      std::printf("%s\n", family.c_str());
      families += "<a href=\"#family-" + family + "\">" + family + "</a> ";
      cards +=
          "<section id=\"family-" + family + "\"><h2>" + family + "</h2><div class=\"cards\">\n";
    }
    cards += card(operation, photos);
  }
  cards += "</div></section>\n";
  std::string page = gallery_page();
  replace(page, "@TABS@", tabs);
  replace(page, "@FAMILIES@", families);
  replace(page, "@CARDS@", cards);
  replace(page, "@ORIGINALS@", originals);
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw FileError("cannot make the folder " + folder + ": " + error.message());
  const std::string path = (std::filesystem::path(folder) / "index.html").string();
  NewFile file(path);
  file.write(Bytes(page.begin(), page.end()));
  file.commit();
  std::printf("%zu operations on %zu photos: %s\n", operations::table().size(), photos.size(),
              path.c_str());
  return kDone;
}

}  // namespace kelvra
