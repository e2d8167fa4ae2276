// The page on which operations are tried, and the server behind it, for this machine only.
//
// What comes over HTTP may come from anywhere: any page in the user's browser can send requests to
// this address. Only those of our own page are answered, by their Host, Origin and Sec-Fetch-Site;
// sizes are limited, texts are read by the chain's parser, and no path is ever taken from one.
#include <httplib.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "files.h"
#include "pages.h"

namespace kelvra {
namespace {

using nlohmann::json;

constexpr size_t kMaxUpload = size_t{128} << 20;
constexpr size_t kMaxRequest = 64 << 10;
constexpr double kMaxPlayPixels = 40e6;

struct Photo {
  int id;
  std::string name;
  Source source;
};

// Something to look at until a photo is opened: colours, edges of all directions, fine rings.
Source test_picture() {
  Source source{Image(1280, 800, 3), {}, {}};
  for (int y = 0; y < 800; ++y) {
    for (int x = 0; x < 1280; ++x) {
      const int dx = x - 900, dy = y - 400, square = dx * dx + dy * dy;
      uint8_t* const pixel = source.image.at(x, y);
      pixel[0] = static_cast<uint8_t>(x * 255 / 1279);
      pixel[1] = static_cast<uint8_t>(y * 255 / 799);
      pixel[2] = static_cast<uint8_t>(255 - pixel[0] / 2 - pixel[1] / 2);
      if (square < 280 * 280) pixel[0] = pixel[1] = pixel[2] = (square / 900) % 2 == 0 ? 235 : 30;
      const bool board = x > 120 && x < 520 && y > 200 && y < 600;
      if (board) pixel[0] = pixel[1] = pixel[2] = ((x / 40 + y / 40) % 2 == 0) ? 220 : 60;
    }
  }
  return source;
}

class Player {
 public:
  int run(const std::string& path, int port);

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;

  void serve();
  bool from_our_page(const Request& request) const;
  std::shared_ptr<const Photo> photo(Response& response, int id) const;
  void keep(std::string name, Source source);
  json about() const;
  void take_photo(const Request& request, Response& response);
  void run_chain(const Request& request, Response& response) const;
  void save_result(const Request& request, Response& response) const;

  httplib::Server server_;
  int port_ = 0;
  mutable std::mutex mutex_;  // of photo_
  std::shared_ptr<const Photo> photo_;
  mutable std::mutex work_;  // one picture is worked on at a time
};

void fail(httplib::Response& response, int status, const std::string& message) {
  response.status = status;
  // Names from outside may hold anything: bytes that are no text are replaced.
  response.set_content(
      json{{"error", message}}.dump(-1, ' ', false, json::error_handler_t::replace),
      "application/json");
}

// Runs what may throw, and turns what it throws into answers.
template <typename Work>
void answering(httplib::Response& response, const Work& work) {
  try {
    work();
  } catch (const operations::UsageError& error) {
    fail(response, 400, error.what());
  } catch (const json::exception&) {
    fail(response, 400, "wanted an object with id and chain");
  } catch (const std::bad_alloc&) {
    fail(response, 507, "not enough memory");
  } catch (const std::exception& error) {
    fail(response, 422, error.what());
  }
}

// R, G, B, A as the page's canvas takes them, which needs no decoding.
void answer_pixels(httplib::Response& response, Image image) {
  response.set_header("X-Width", std::to_string(image.width));
  response.set_header("X-Height", std::to_string(image.height));
  if (image.channels != 4) {
    Image rgba(image.width, image.height, 4);
    const size_t green = image.channels / 2, blue = image.channels - 1;
    const uint8_t* in = image.data();
    uint8_t* out = rgba.data();
    for (size_t i = 0; i < rgba.pixels.size(); i += 4, in += image.channels) {
      out[i] = in[0], out[i + 1] = in[green], out[i + 2] = in[blue], out[i + 3] = 255;
    }
    image = std::move(rgba);
  }
  response.set_content(reinterpret_cast<const char*>(image.data()), image.pixels.size(),
                       "application/octet-stream");
}

void check_play_size(const Image& image) {
  if (static_cast<double>(image.width) * image.height > kMaxPlayPixels) {
    throw operations::WorkError("the page takes pictures of up to 40 megapixels, not " +
                                std::to_string(image.width) + "x" + std::to_string(image.height));
  }
}

std::string escaped(const std::string& text) {
  std::string safe;
  for (const unsigned char c : text) {
    char code[8];
    std::snprintf(code, sizeof code, "%%%02X", c);
    if (std::isalnum(c) != 0) {
      safe += static_cast<char>(c);
    } else {
      safe += code;
    }
  }
  return safe;
}

bool Player::from_our_page(const Request& request) const {
  const std::string host = request.get_header_value("Host");
  const std::string port = ":" + std::to_string(port_);
  if (host != "127.0.0.1" + port && host != "localhost" + port) return false;
  if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host) {
    return false;
  }
  if (!request.has_header("Sec-Fetch-Site")) return true;
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  return site == "same-origin" || site == "none";
}

void Player::keep(std::string name, Source source) {
  check_play_size(source.image);
  const std::lock_guard lock(mutex_);
  const int id = photo_ == nullptr ? 1 : photo_->id + 1;
  photo_ = std::make_shared<const Photo>(Photo{id, std::move(name), std::move(source)});
}

json Player::about() const {
  const std::lock_guard lock(mutex_);
  const Image& image = photo_->source.image;
  return {
      {"id", photo_->id}, {"name", photo_->name}, {"width", image.width}, {"height", image.height}};
}

std::shared_ptr<const Photo> Player::photo(Response& response, int id) const {
  const std::lock_guard lock(mutex_);
  if (photo_->id == id) return photo_;
  fail(response, 409, "another photo has been opened since");
  return nullptr;
}

void Player::take_photo(const Request& request, Response& response) {
  answering(response, [&] {
    PictureFile file = decode(Bytes(request.body.begin(), request.body.end()));
    Source source{upright(std::move(file.image), file.metadata.orientation),
                  std::move(file.metadata), file.format};
    std::string name = request.get_param_value("name").substr(0, 100);
    for (char& c : name) {
      const bool plain = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_';
      if (!plain) c = '-';
    }
    keep(name.empty() ? "photo" : name, std::move(source));
    response.set_content(about().dump(), "application/json");
  });
}

void Player::run_chain(const Request& request, Response& response) const {
  answering(response, [&] {
    if (request.body.size() > kMaxRequest) throw operations::UsageError("the request is too long");
    const json wish = json::parse(request.body);
    const auto chain = operations::parse_chain(wish.at("chain").get<std::string>());
    const auto current = photo(response, wish.at("id").get<int>());
    if (current == nullptr) return;
    using Clock = std::chrono::steady_clock;
    const std::lock_guard lock(work_);
    const auto start = Clock::now();
    Image result = operations::run(chain, current->source.image, kMaxPlayPixels);
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    std::string cpp;
    for (const auto& step : chain.steps)
      cpp += (cpp.empty() ? "" : "\n") + operations::to_cpp(step);
    response.set_header("X-Milliseconds", std::to_string(time.count()));
    response.set_header("X-Chain", operations::to_text(chain));
    response.set_header("X-Cpp", escaped(cpp));
    answer_pixels(response, std::move(result));
  });
}

void Player::save_result(const Request& request, Response& response) const {
  answering(response, [&] {
    const std::string format = request.get_param_value("format");
    const auto chain = operations::parse_chain(request.get_param_value("chain"));
    const std::string id = request.get_param_value("id");
    const Format as = format_for("", format);
    const auto current = photo(response, std::atoi(id.c_str()));
    if (current == nullptr) return;
    const std::lock_guard lock(work_);
    const Image result = operations::run(chain, current->source.image, kMaxPlayPixels);
    const Bytes bytes = encode(result, {as}, current->source.metadata);
    const std::string stem = std::filesystem::path(current->name).stem().string();
    response.set_header("Content-Disposition", "attachment; filename=\"" + stem + "-kelvra." +
                                                   (as == Format::kPng ? "png" : "jpg") + "\"");
    response.set_content(reinterpret_cast<const char*>(bytes.data()), bytes.size(),
                         as == Format::kPng ? "image/png" : "image/jpeg");
  });
}

void Player::serve() {
  server_.set_payload_max_length(kMaxUpload);
  // A connection that a browser keeps open holds a thread, and each of its pages has several.
  server_.new_task_queue = [] { return new httplib::ThreadPool(64); };
  server_.set_default_headers(
      {{"Cache-Control", "no-store"},
       {"X-Content-Type-Options", "nosniff"},
       {"Cross-Origin-Resource-Policy", "same-origin"},
       {"Content-Security-Policy",
        "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data: "
        "blob:; connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'"}});
  server_.set_pre_routing_handler([this](const Request& request, Response& response) {
    if (from_our_page(request)) return httplib::Server::HandlerResponse::Unhandled;
    fail(response, 403, "only the page of this server may ask");
    return httplib::Server::HandlerResponse::Handled;
  });
  server_.Get("/", [](const Request&, Response& response) {
    response.set_content(play_page(), "text/html; charset=utf-8");
  });
  server_.Get("/table", [](const Request&, Response& response) {
    response.set_content(table_json(), "application/json");
  });
  server_.Get("/photo/latest", [this](const Request&, Response& response) {
    response.set_content(about().dump(), "application/json");
  });
  server_.Get("/photo", [this](const Request& request, Response& response) {
    const int id = std::atoi(request.get_param_value("id").c_str());
    if (const auto current = photo(response, id)) {
      answering(response, [&] { answer_pixels(response, current->source.image); });
    }
  });
  server_.Post("/photo", [this](const Request& request, Response& response) {
    take_photo(request, response);
  });
  server_.Post(
      "/run", [this](const Request& request, Response& response) { run_chain(request, response); });
  server_.Get("/save", [this](const Request& request, Response& response) {
    save_result(request, response);
  });
}

int Player::run(const std::string& path, int port) {
  if (path.empty()) {
    keep("test-picture.png", test_picture());
  } else {
    keep(path == "-" ? "photo" : std::filesystem::path(path).filename().string(), load(path));
  }
  constexpr char kLoopback[] = "127.0.0.1";
  port_ = port == 0                               ? server_.bind_to_any_port(kLoopback)
          : server_.bind_to_port(kLoopback, port) ? port
                                                  : -1;
  if (port_ <= 0) throw FileError("port " + std::to_string(port) + " cannot be opened");
  serve();
  std::printf("kelvra play: http://%s:%d/  (Ctrl-C ends it)\n", kLoopback, port_);
  std::fflush(stdout);
  return server_.listen_after_bind() ? kDone : kFailed;
}

}  // namespace

int play(const std::string& photo, int port) {
  return Player().run(photo, port);
}

}  // namespace kelvra
