// Texts of chains and of values, and running them.
#include <algorithm>
#include <charconv>
#include <numeric>

#include "entries.h"

namespace operations {
namespace {

// The edits (insertions, deletions, replacements) between two words.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (a[i] != b[j]);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// What may be shown of a text from outside: short, without control characters.
std::string quoted(std::string_view text) {
  std::string shown = "\"";
  for (const char c : text.substr(0, 60)) shown += c >= ' ' && c != 127 ? c : '?';
  return shown + (text.size() > 60 ? "…\"" : "\"");
}

bool read_number(std::string_view text, double& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool read_side(std::string_view text, double& side) {
  return read_number(text, side) && side >= 1 && side <= kMaxSide && side == static_cast<int>(side);
}

bool is_size(std::string_view text) {
  double number = 0;
  if (!text.empty() && text.back() == '%') {
    text.remove_suffix(1);
    return read_number(text, number) && number > 0 && number <= 1600;
  }
  const size_t cross = text.find('x');
  if (cross == text.npos) return read_side(text, number);
  return read_side(text.substr(0, cross), number) && read_side(text.substr(cross + 1), number);
}

// Whether the text is what the parameter wants, and its number: an index for choices.
bool read_value(const Parameter& parameter, const std::string& text, double& number) {
  switch (parameter.type) {
    case Type::kWhole:
    case Type::kNumber:
      return read_number(text, number) && number >= parameter.min && number <= parameter.max &&
             (parameter.type == Type::kNumber || number == static_cast<int>(number));
    case Type::kSwitch:
      number = text == "on" || text == "true" || text == "1" || text == "yes";
      return number != 0 || text == "off" || text == "false" || text == "0" || text == "no";
    case Type::kChoice: {
      const auto found = std::find(parameter.choices.begin(), parameter.choices.end(), text);
      number = static_cast<double>(found - parameter.choices.begin());
      return found != parameter.choices.end();
    }
    case Type::kSize:
      return is_size(text);
  }
  return false;
}

std::string shortest(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::vector<std::string_view> words(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n,";
  std::vector<std::string_view> found;
  for (size_t start = 0; (start = text.find_first_not_of(kBlanks, start)) != text.npos;) {
    const size_t end = std::min(text.find_first_of(kBlanks, start), text.size());
    found.push_back(text.substr(start, end - start));
    start = end;
  }
  return found;
}

Step parse_step(std::string_view text) {
  const std::vector<std::string_view> all = words(text);
  if (all.empty()) throw UsageError("an operation is missing: wanted one between bars");
  const Operation& operation = find_operation(all[0]);
  std::vector<std::pair<std::string, std::string>> values;
  for (size_t i = 1; i < all.size(); ++i) {
    const size_t equals = all[i].find('=');
    if (equals != std::string_view::npos) {
      values.emplace_back(all[i].substr(0, equals), all[i].substr(equals + 1));
    } else if (i <= operation.parameters.size()) {
      values.emplace_back(operation.parameters[i - 1].name, all[i]);
    } else {
      throw UsageError(operation.name + ": " + quoted(all[i]) + " is one value too many: it has " +
                       std::to_string(operation.parameters.size()));
    }
  }
  return {&operation, Arguments(operation, values)};
}

void check_picture(const Image& image) {
  const auto& [pixels, width, height, channels] = image;
  if (width < 1 || height < 1) throw WorkError("the picture has no pixels");
  if (channels != 1 && channels != 3 && channels != 4) {
    throw WorkError("the picture has " + std::to_string(channels) + " channels: wanted 1, 3 or 4");
  }
  check_size("the picture", width, height);
  if (pixels.size() != static_cast<size_t>(width) * height * channels) {
    throw WorkError("the picture's bytes do not fit its size");
  }
}

Image run_steps(const Chain& chain, Image image, size_t count) {
  check_picture(image);
  for (size_t i = 0; i < count; ++i) {
    image = chain.steps[i].operation->run(image, chain.steps[i].arguments);
  }
  return image;
}

}  // namespace

std::string wanted(const Parameter& parameter) {
  const std::string range = " from " + shortest(parameter.min) + " to " + shortest(parameter.max);
  switch (parameter.type) {
    case Type::kWhole:
      return "a whole number" + range;
    case Type::kNumber:
      return "a number" + range;
    case Type::kSwitch:
      return "on or off";
    case Type::kSize:
      return "a size such as 50%, 1280 (the longer side) or 640x480";
    case Type::kChoice:
      break;
  }
  std::string text = "one of";
  for (const std::string& word : parameter.choices) text += " " + word + ",";
  text.pop_back();
  return text;
}

Arguments::Arguments(const Operation& operation,
                     const std::vector<std::pair<std::string, std::string>>& given)
    : operation_(&operation) {
  const auto& parameters = operation.parameters;
  values_.resize(parameters.size());
  std::vector<bool> seen(parameters.size());
  const auto set = [&](size_t i, const std::string& text) {
    values_[i] = {0, text};
    if (!read_value(parameters[i], text, values_[i].number)) {
      throw UsageError(operation.name + ": " + parameters[i].name + " is " + quoted(text) +
                       "; wanted " + wanted(parameters[i]));
    }
  };
  for (size_t i = 0; i < parameters.size(); ++i) set(i, parameters[i].standard);
  for (const auto& [name, text] : given) {
    size_t i = 0;
    while (i < parameters.size() && parameters[i].name != name) ++i;
    if (i == parameters.size()) {
      std::string names;
      for (const Parameter& parameter : parameters) names += " " + parameter.name;
      throw UsageError(operation.name + " has no parameter " + quoted(name) +
                       (names.empty() ? ": it has none" : ": it has" + names));
    }
    if (seen[i]) throw UsageError(operation.name + ": " + name + " is given twice");
    seen[i] = true;
    set(i, text);
  }
  if (const std::string fault = operation.check ? operation.check(*this) : ""; !fault.empty()) {
    throw UsageError(operation.name + ": " + fault);
  }
}

const Arguments::Value& Arguments::value(std::string_view name) const {
  for (size_t i = 0; i < values_.size(); ++i) {
    if (operation_->parameters[i].name == name) return values_[i];
  }
  throw std::logic_error(operation_->name + " has no parameter " + std::string(name));
}

const Operation& find_operation(std::string_view name) {
  const Operation* nearest = nullptr;
  size_t least = 0;
  for (const Operation& operation : table()) {
    if (operation.name == name) return operation;
    const size_t edits = distance(operation.name, name.substr(0, 60));
    if (nearest == nullptr || edits < least) nearest = &operation, least = edits;
  }
  const bool similar = least <= 1 + nearest->name.size() / 3;
  throw UsageError("there is no operation " + quoted(name) +
                   (similar ? "; is " + nearest->name + " meant?" : ""));
}

Chain parse_chain(std::string_view text) {
  constexpr size_t kMaxSteps = 64;
  Chain chain;
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find('|', start), text.size());
    if (chain.steps.size() == kMaxSteps) throw UsageError("the chain has more than 64 operations");
    chain.steps.push_back(parse_step(text.substr(start, end - start)));
    start = end + 1;
  }
  return chain;
}

Chain single_step(const Operation& operation,
                  const std::vector<std::pair<std::string, std::string>>& values) {
  return {{{&operation, Arguments(operation, values)}}};
}

std::string to_text(const Chain& chain) {
  std::string text;
  for (const auto& [operation, arguments] : chain.steps) {
    text += (text.empty() ? "" : " | ") + operation->name;
    for (const Parameter& parameter : operation->parameters) {
      const std::string& value = arguments.text(parameter.name);
      if (value != parameter.standard) text += " " + parameter.name + "=" + value;
    }
  }
  return text;
}

std::string to_cpp(const Step& step) {
  std::string text = step.operation->call;
  for (const Parameter& parameter : step.operation->parameters) {
    const std::string place = "{" + parameter.name + "}";
    std::string value = step.arguments.text(parameter.name);
    if (parameter.type == Type::kSwitch)
      value = step.arguments.on(parameter.name) ? "true" : "false";
    for (size_t at = 0; (at = text.find(place, at)) != text.npos; at += value.size()) {
      text.replace(at, place.size(), value);
    }
  }
  return text;
}

Image run(const Chain& chain, Image image, size_t max_pixels) {
  const size_t usual = std::exchange(pixel_limit(), max_pixels);
  try {
    image = run_steps(chain, std::move(image), chain.steps.size());
  } catch (...) {
    pixel_limit() = usual;
    throw;
  }
  pixel_limit() = usual;
  return image;
}

Findings find(const Chain& chain, Image image) {
  const auto& [operation, arguments] = chain.steps.back();
  if (!operation->find) throw UsageError(operation->name + " makes a picture and finds nothing");
  return operation->find(run_steps(chain, std::move(image), chain.steps.size() - 1), arguments);
}

std::string version() {
  return KelvraCV::get_version();
}

}  // namespace operations
