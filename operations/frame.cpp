// Camera frames: pictures as frames of 4:2:0 chroma, and frames as pictures.
#include <algorithm>

#include "entries.h"

namespace operations {
namespace {

struct Planes {
  Planes(int w, int h)
      : width(w),
        height(h),
        y(static_cast<size_t>(w) * h),
        u(static_cast<size_t>(chroma_width()) * chroma_height()),
        v(u) {}
  int chroma_width() const { return (width + 1) / 2; }
  int chroma_height() const { return (height + 1) / 2; }

  int width, height;
  std::vector<uint8_t> y, u, v;
};

// The picture as a camera would deliver it, its chroma the mean of 2 x 2 pixels.
Planes i420(const Image& image) {
  const Image rgb = to_rgb(image);
  Planes planes(rgb.width, rgb.height);
  std::vector<uint8_t> all(3 * planes.y.size());
  KelvraCV::rgb_to_ycbcr(rgb.data(), all.data(), rgb.width, rgb.height, rgb.stride(), true);
  std::copy_n(all.begin(), planes.y.size(), planes.y.begin());
  for (auto* chroma : {&planes.u, &planes.v}) {
    const uint8_t* const full = all.data() + (chroma == &planes.u ? 1 : 2) * planes.y.size();
    KelvraCV::resize_bilinear_c1(full, chroma->data(), rgb.width, rgb.height, rgb.width,
                                 planes.chroma_width(), planes.chroma_height(),
                                 planes.chroma_width());
  }
  return planes;
}

// The chroma planes as pairs, U first or V first.
std::vector<uint8_t> pairs(const Planes& planes, bool u_first) {
  std::vector<uint8_t> both(2 * planes.u.size());
  for (size_t i = 0; i < planes.u.size(); ++i) {
    both[2 * i + !u_first] = planes.u[i];
    both[2 * i + u_first] = planes.v[i];
  }
  return both;
}

// From B, G, R, A.
Image to_picture(Image bgra) {
  Image rgb = like(bgra, 3);
  KelvraCV::convert_c4_to_c3(bgra.data(), rgb.data(), bgra.width, bgra.height, bgra.stride(),
                             rgb.stride(), 1);
  return rgb;
}

// Of the names, "i420" has its planes in the order Y, U, V, which is what convert_yv12_argb()
// reads; "yv12" has V before U.
enum Layout { kI420, kYv12, kNv12, kNv21 };
const std::vector<std::string> kLayouts = {"i420", "yv12", "nv12", "nv21"};

Image picture_of(Layout layout, const uint8_t* y, const uint8_t* second, const uint8_t* third,
                 int width, int height, bool flip) {
  Image bgra(width, height, 4);
  const int half = (width + 1) / 2;
  if (layout == kI420 || layout == kYv12) {
    (layout == kI420 ? KelvraCV::convert_yv12_argb : KelvraCV::convert_i420_argb)(
        y, width, second, half, third, half, bgra.data(), bgra.stride(), width, height, flip);
  } else {
    (layout == kNv12 ? KelvraCV::convert_nv12_argb : KelvraCV::convert_nv21_argb)(
        y, width, second, 2 * half, bgra.data(), bgra.stride(), width, height, flip);
  }
  return to_picture(std::move(bgra));
}

Image picture_of(const Planes& planes) {
  return picture_of(kI420, planes.y.data(), planes.u.data(), planes.v.data(), planes.width,
                    planes.height, false);
}

Image frame(const Image& image, const Arguments& arguments) {
  const Planes planes = i420(image);
  const auto layout = static_cast<Layout>(arguments.choice("layout"));
  const bool flip = arguments.on("flip");
  const uint8_t* const y = planes.y.data();
  if (layout == kNv12 || layout == kNv21) {
    return picture_of(layout, y, pairs(planes, layout == kNv12).data(), nullptr, image.width,
                      image.height, flip);
  }
  const auto& second = layout == kI420 ? planes.u : planes.v;
  const auto& third = layout == kI420 ? planes.v : planes.u;
  return picture_of(layout, y, second.data(), third.data(), image.width, image.height, flip);
}

// Through one of the functions that make I420 from NV12 or NV21.
template <typename Function, typename... Rest>
void from_pairs(Function function, const Planes& in, bool u_first, Planes& out, Rest... rest) {
  function(in.y.data(), in.width, pairs(in, u_first).data(), 2 * in.chroma_width(), out.y.data(),
           out.width, out.u.data(), out.chroma_width(), out.v.data(), out.chroma_width(), rest...);
}

// Through one of those from I420.
template <typename Function, typename... Rest>
void from_planes(Function function, const Planes& in, Planes& out, Rest... rest) {
  function(in.y.data(), in.width, in.u.data(), in.chroma_width(), in.v.data(), in.chroma_width(),
           out.y.data(), out.width, out.u.data(), out.chroma_width(), out.v.data(),
           out.chroma_width(), rest...);
}

Image repack(const Image& image, const Arguments& arguments) {
  const Planes in = i420(image);
  Planes out(in.width, in.height);
  const int layout = arguments.choice("layout");
  const bool flip = arguments.on("flip");
  if (layout == 0) {
    from_planes(KelvraCV::copy_i420, in, out, in.width, in.height, flip);
  } else if (layout == 1) {
    from_pairs(KelvraCV::convert_nv12_i420, in, true, out, in.width, in.height, flip);
  } else {
    from_pairs(KelvraCV::convert_nv21_i420, in, false, out, in.width, in.height, flip);
  }
  return picture_of(out);
}

Image frame_turn(const Image& image, const Arguments& arguments) {
  const Planes in = i420(image);
  const int layout = arguments.choice("layout");
  const auto mode = static_cast<KelvraCV::RotationMode>(90 * arguments.choice("angle"));
  const bool across = mode == KelvraCV::ROTATE_90 || mode == KelvraCV::ROTATE_270;
  const bool flip = arguments.on("flip");
  Planes out(across ? in.height : in.width, across ? in.width : in.height);
  if (layout == 0) {
    from_planes(KelvraCV::rotate_i420, in, out, in.width, in.height, mode, flip);
  } else if (layout == 1) {
    from_pairs(KelvraCV::rotate_nv12, in, true, out, in.width, in.height, mode, flip);
  } else {
    from_pairs(KelvraCV::rotate_nv21, in, false, out, in.width, in.height, mode, flip);
  }
  return picture_of(out);
}

Image frame_mirror(const Image& image, const Arguments& arguments) {
  const Planes in = i420(image);
  Planes out(in.width, in.height);
  from_planes(KelvraCV::mirror_i420, in, out, in.width, in.height, arguments.on("flip"));
  return picture_of(out);
}

Image frame_scale(const Image& image, const Arguments& arguments) {
  const Size size = size_for(arguments.text("size"), image);
  const Planes in = i420(image);
  Planes out(size.width, size.height);
  KelvraCV::scale_i420(
      in.y.data(), in.width, in.u.data(), in.chroma_width(), in.v.data(), in.chroma_width(),
      in.width, in.height, out.y.data(), out.width, out.u.data(), out.chroma_width(), out.v.data(),
      out.chroma_width(), out.width, out.height,
      static_cast<KelvraCV::ScaleMode>(arguments.choice("filter")), arguments.on("flip"));
  return picture_of(out);
}

Parameter flip() {
  return on_off("flip", false, "turn upside down");
}

Parameter planes_or_pairs() {
  return choice("layout", {"i420", "nv12", "nv21"}, "nv21", "of the chroma");
}

}  // namespace

Image frame_picture(std::string_view layout, int width, int height,
                    const std::vector<uint8_t>& bytes) {
  const auto found = std::find(kLayouts.begin(), kLayouts.end(), layout);
  if (found == kLayouts.end() || width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    throw UsageError("the frame's layout is " + std::string(layout.substr(0, 20)) + ":" +
                     std::to_string(width) + "x" + std::to_string(height) +
                     "; wanted i420, yv12, nv12 or nv21, and sides from 1 to " +
                     std::to_string(kMaxSide));
  }
  check_size("the frame", width, height);
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t chroma = static_cast<size_t>((width + 1) / 2) * ((height + 1) / 2);
  if (bytes.size() != luma + 2 * chroma) {
    throw WorkError("the frame has " + std::to_string(bytes.size()) + " bytes; wanted " +
                    std::to_string(luma + 2 * chroma) + " for " + std::to_string(width) + "x" +
                    std::to_string(height));
  }
  const uint8_t* const second = bytes.data() + luma;
  return picture_of(static_cast<Layout>(found - kLayouts.begin()), bytes.data(), second,
                    second + chroma, width, height, false);
}

void add_frame(std::vector<Operation>& table) {
  const std::string family = "frame";
  const Parameter angle = choice("angle", {"0", "90", "180", "270"}, "90", "degrees clockwise");
  table.push_back(
      {"frame",
       family,
       "To a camera frame and back to pixels.",
       {choice("layout", kLayouts, "nv21", "of the chroma"), flip()},
       "colour",
       "colour",
       {"convert_i420_argb", "convert_yv12_argb", "convert_nv12_argb", "convert_nv21_argb"},
       "KelvraCV::convert_nv21_argb(y, width, vu, width, argb, 4 * width, width, "
       "height, {flip});  // {layout}",
       frame,
       {},
       {}});
  table.push_back({"frame_repack",
                   family,
                   "A camera frame as separate planes.",
                   {planes_or_pairs(), flip()},
                   "colour",
                   "colour",
                   {"copy_i420", "convert_nv12_i420", "convert_nv21_i420"},
                   "KelvraCV::convert_nv21_i420(y, width, vu, width, dst_y, width, dst_u, width / "
                   "2, dst_v, width / 2, width, height, {flip});  // {layout}",
                   repack,
                   {},
                   {}});
  table.push_back({"frame_turn",
                   family,
                   "Quarter turns of a camera frame, clockwise.",
                   {planes_or_pairs(), angle, flip()},
                   "colour",
                   "colour",
                   {"rotate_i420", "rotate_nv12", "rotate_nv21"},
                   "KelvraCV::rotate_nv21(y, width, vu, width, dst_y, dst_stride, dst_u, "
                   "chroma_stride, dst_v, chroma_stride, width, height, KelvraCV::ROTATE_{angle}, "
                   "{flip});  // {layout}",
                   frame_turn,
                   {},
                   {}});
  table.push_back({"frame_mirror",
                   family,
                   "A camera frame, left to right.",
                   {flip()},
                   "colour",
                   "colour",
                   {"mirror_i420"},
                   "KelvraCV::mirror_i420(y, width, u, width / 2, v, width / 2, dst_y, width, "
                   "dst_u, width / 2, dst_v, width / 2, width, height, {flip});",
                   frame_mirror,
                   {},
                   {}});
  table.push_back(
      {"frame_scale",
       family,
       "A camera frame in another size, by libyuv's filters.",
       {size("size", "50%", "percent, the longer side in pixels, or both sides"),
        choice("filter", {"none", "linear", "bilinear", "box"}, "box", "libyuv's name"), flip()},
       "colour",
       "colour",
       {"scale_i420"},
       "KelvraCV::scale_i420(y, y_stride, u, u_stride, v, v_stride, width, height, "
       "dst_y, dst_y_stride, dst_u, dst_u_stride, dst_v, dst_v_stride, dst_width, "
       "dst_height, mode, {flip});  // {size}, {filter}",
       frame_scale,
       {},
       {}});
}

}  // namespace operations
