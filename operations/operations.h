/// \file
/// Every operation of kelvra_cv on whole pictures, by name, and chains of them.
///
/// One table says what there is: it is what the command line, its page, its gallery and the Python
/// package offer. A chain is text such as
///
///     resize 50% | clahe clip=3 | bilateral 0.03 0.1
///
/// that is, operations between bars, each with values in the order of its parameters or by name,
/// separated by blanks or commas. Parameters that are not given have their defaults.
///
///     const operations::Chain chain = operations::parse_chain("resize 50% | clahe clip=3");
///     operations::Image result = operations::run(chain, std::move(photo));
///
/// All functions may be called from several threads at once, also with one Chain. Nothing is kept
/// between calls but the table, which never changes.
#ifndef KELVRA_CV_OPERATIONS_OPERATIONS_H_
#define KELVRA_CV_OPERATIONS_OPERATIONS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kelvra_cv.h"

namespace operations {

/// What the caller asked for cannot be: an unknown operation or parameter, or a value out of range.
/// what() is one line that names the argument and says what is wanted, without a newline.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A picture cannot be worked on as asked, because it is too small, say. what() is one line.
class WorkError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A picture: packed interleaved bytes of 1 (gray, mask), 3 (R, G, B) or 4 (R, G, B, A) channels.
struct Image {
  Image() = default;
  Image(int w, int h, int c)
      : pixels(static_cast<size_t>(w) * h * c), width(w), height(h), channels(c) {}

  uint8_t* data() { return pixels.data(); }
  const uint8_t* data() const { return pixels.data(); }
  int stride() const { return width * channels; }
  uint8_t* at(int x, int y) {
    return pixels.data() + (static_cast<size_t>(y) * width + x) * channels;
  }

  std::vector<uint8_t> pixels;  ///< width * height * channels bytes.
  int width = 0;                ///< At least 1 in a picture that is worked on.
  int height = 0;
  int channels = 0;
};

/// What an operation found in a picture: rows of numbers under named columns, such as x, y and
/// response for corners. Outlines have their points besides, a list for each row.
struct Findings {
  std::vector<std::string> columns;
  std::vector<std::vector<double>> rows;
  std::vector<std::vector<KelvraCV::Point>> points;  ///< Empty, or one list for each row.
};

enum class Type {
  kWhole,   ///< A whole number from min to max.
  kNumber,  ///< A number from min to max.
  kSwitch,  ///< on or off (also true, false, 1, 0, yes and no).
  kChoice,  ///< One of the choices.
  kSize     ///< 50% of both sides, 1280 for the longer side, or 640x480.
};

struct Parameter {
  std::string name;
  Type type;
  double min, max;                   ///< Of numbers, inclusive.
  std::string standard;              ///< The default, as it would be typed.
  std::vector<std::string> choices;  ///< Of kChoice.
  std::string meaning;               ///< A phrase with the unit.
};

/// "a whole number from 0 to 255", "on or off", "one of nearest, bilinear": what a value must be.
std::string wanted(const Parameter& parameter);

struct Operation;

/// The checked values of one call, one for each parameter of the operation.
class Arguments {
 public:
  /// Values by name. Throws UsageError: an unknown or repeated name, or a value that is not what
  /// the parameter wants.
  Arguments(const Operation& operation,
            const std::vector<std::pair<std::string, std::string>>& given);

  int whole(std::string_view name) const { return static_cast<int>(value(name).number); }
  float number(std::string_view name) const { return static_cast<float>(value(name).number); }
  bool on(std::string_view name) const { return value(name).number != 0; }
  int choice(std::string_view name) const { return whole(name); }  ///< Its index.
  const std::string& text(std::string_view name) const { return value(name).text; }

 private:
  struct Value {
    double number;
    std::string text;
  };
  const Value& value(std::string_view name) const;

  const Operation* operation_;
  std::vector<Value> values_;  // as the operation's parameters
};

/// An entry of the table.
struct Operation {
  std::string name;      ///< As in chains: "clahe".
  std::string family;    ///< "color", "filter", "edge", "geometry", "shape", "detect", "frame".
  std::string sentence;  ///< What it does.
  std::vector<Parameter> parameters;
  std::string takes;  ///< What it works on; other pictures are converted to it first.
  std::string gives;  ///< What comes out.
  std::vector<std::string> functions;  ///< The exported functions that do it.
  std::string call;                    ///< The call in C++, with {name} for each parameter's value.
  /// The resulting picture. Of operations that find, the picture with what was found drawn on it.
  std::function<Image(const Image&, const Arguments&)> run;
  /// Null for operations that only make pictures.
  std::function<Findings(const Image&, const Arguments&)> find;
  /// Null, or says what is wrong with values that are fine one by one; "" if nothing is.
  std::function<std::string(const Arguments&)> check;
  /// "", or the operation whose results it is for.
  std::string after = {};
};

/// All operations, family by family.
const std::vector<Operation>& table();

/// The entry of that name. Throws UsageError with the most similar name.
const Operation& find_operation(std::string_view name);

struct Step {
  const Operation* operation;
  Arguments arguments;
};

struct Chain {
  std::vector<Step> steps;  ///< At least one.
};

/// Reads a chain. Throws UsageError.
Chain parse_chain(std::string_view text);

/// A chain of one operation. Throws UsageError.
Chain single_step(const Operation& operation,
                  const std::vector<std::pair<std::string, std::string>>& values);

/// The chain as parse_chain() reads it, with the values that differ from their defaults, by name:
/// the same text for chains that do the same.
std::string to_text(const Chain& chain);

/// An operation's call in C++ with its values in place.
std::string to_cpp(const Step& step);

/// No picture that an operation makes may have more pixels or longer sides.
constexpr size_t kMaxPixels = size_t{1} << 28;
constexpr int kMaxSide = 32768;

/// The picture after all steps. Throws WorkError: a picture of 0 pixels, of 2 or more than 4
/// channels, of other than width * height * channels bytes, too small for a step, or a result
/// larger than the limits above, or of more than `max_pixels`.
Image run(const Chain& chain, Image image, size_t max_pixels = kMaxPixels);

/// What the chain's last step finds in the picture after all steps before it. Throws WorkError, and
/// UsageError if the last step finds nothing.
Findings find(const Chain& chain, Image image);

/// The picture in a raw camera frame without padding. `layout` is "i420", "yv12", "nv12" or "nv21";
/// an odd side's chroma planes are rounded up. Throws UsageError for another layout or size, and
/// WorkError unless there are exactly the bytes of such a frame.
Image frame_picture(std::string_view layout, int width, int height,
                    const std::vector<uint8_t>& bytes);

/// "v1.6.3", as KelvraCV::get_version().
std::string version();

}  // namespace operations

#endif  // KELVRA_CV_OPERATIONS_OPERATIONS_H_
