// What the families of the table share: how entries are written, and conversions of pictures.
#ifndef KELVRA_CV_OPERATIONS_ENTRIES_H_
#define KELVRA_CV_OPERATIONS_ENTRIES_H_

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "operations.h"

namespace operations {

// Each family appends its entries, in its own file.
void add_color(std::vector<Operation>& table);
void add_filter(std::vector<Operation>& table);
void add_edge(std::vector<Operation>& table);
void add_geometry(std::vector<Operation>& table);
void add_shape(std::vector<Operation>& table);
void add_detect(std::vector<Operation>& table);
void add_frame(std::vector<Operation>& table);

Parameter whole(std::string name, int min, int max, int standard, std::string meaning);
Parameter number(std::string name, double min, double max, std::string standard,
                 std::string meaning);
Parameter on_off(std::string name, bool standard, std::string meaning);
Parameter choice(std::string name, std::vector<std::string> choices, std::string standard,
                 std::string meaning);
Parameter size(std::string name, std::string standard, std::string meaning);
// "level": which pixels of a picture are the foreground of its mask.
Parameter mask_level();

// The size in pixels that a kSize value means for a picture. Throws WorkError beyond the limits.
struct Size {
  int width, height;
};
Size size_for(const std::string& text, const Image& image);
// The most pixels that a picture may have in the run that the calling thread is in.
size_t& pixel_limit();
// Throws WorkError, naming the operation, unless a picture may be so large.
void check_size(const std::string& operation, double width, double height);
// Throws WorkError unless both sides have `least` pixels.
void check_least(const std::string& operation, const Image& image, int least);

// A side's position, given in percent of it, as a pixel of it.
int percent_of(float percent, int side);

// The library's record of a picture; the library writes only to outputs.
KelvraCV::ImageData view(const Image& image);
Image like(const Image& image, int channels);

Image to_gray(const Image& image);
Image to_rgb(const Image& image);
Image to_rgba(const Image& image);
// The first channels of a picture of four, as one of `channels`: what to_rgba() was made from.
Image from_rgba(const Image& rgba, int channels);
// 255 where the gray picture is brighter than `level`, else 0.
Image to_mask(const Image& image, int level);

std::vector<Image> split(const Image& image);
Image merge(const std::vector<Image>& planes);

// Applies plane(source, destination, width, height) to each colour channel. Alpha is carried.
using PlaneFunction = std::function<void(const uint8_t*, uint8_t*, int, int)>;
Image by_channel(const Image& image, const PlaneFunction& plane);
// The same on the gray form.
Image on_gray(const Image& image, const PlaneFunction& plane);

// Draws on R, G, B; what is outside of the picture is left out.
struct Color {
  uint8_t red, green, blue;
};
constexpr Color kGreen{0, 230, 90}, kRed{255, 40, 60}, kYellow{255, 210, 0};
void draw_dot(Image& rgb, int x, int y, int reach, Color color);
void draw_box(Image& rgb, int left, int top, int right, int bottom, Color color);
// How thick lines and dots must be to be seen: 1 for a small picture, more for a large one.
int pen(const Image& image);

}  // namespace operations

#endif  // KELVRA_CV_OPERATIONS_ENTRIES_H_
