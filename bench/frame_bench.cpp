// Frame functions beside libyuv called directly: the checks must cost nothing.
#include <libyuv.h>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {

void list_comparisons() {
  constexpr int w = kWidth, h = kHeight, half = w / 2;
  constexpr double pixels = double{w} * h;
  uint8_t* const y = keep(photo(w, h, 1));
  uint8_t* const u = keep(photo(half, h / 2, 1));
  uint8_t* const v = keep(photo(half, h / 2, 1));
  uint8_t* const uv = keep(photo(half, h / 2, 2));
  uint8_t* const argb = keep(photo(w, h, 4));
  uint8_t* const out = keep(std::vector<uint8_t>(w * h * 4));
  uint8_t* const out_u = keep(std::vector<uint8_t>(w * h));
  uint8_t* const out_v = keep(std::vector<uint8_t>(w * h));

  const auto add = [&](const char* name, double bytes, std::function<void()> ours,
                       std::function<void()> peer) {
    compare(
        {sized(name, w, h), pixels, bytes * pixels, std::move(ours), "libyuv", std::move(peer)});
  };
  add(
      "convert_yv12_argb", 5.5,
      [=] { KelvraCV::convert_yv12_argb(y, w, u, half, v, half, out, 4 * w, w, h, false); },
      [=] { libyuv::I420ToARGB(y, w, u, half, v, half, out, 4 * w, w, h); });
  add(
      "convert_nv21_argb", 5.5,
      [=] { KelvraCV::convert_nv21_argb(y, w, uv, w, out, 4 * w, w, h, false); },
      [=] { libyuv::NV21ToARGB(y, w, uv, w, out, 4 * w, w, h); });
  add(
      "convert_nv12_i420", 3,
      [=] {
        KelvraCV::convert_nv12_i420(y, w, uv, w, out, w, out_u, half, out_v, half, w, h, false);
      },
      [=] { libyuv::NV12ToI420(y, w, uv, w, out, w, out_u, half, out_v, half, w, h); });
  add(
      "convert_i420_argb", 5.5,
      [=] { KelvraCV::convert_i420_argb(y, w, u, half, v, half, out, 4 * w, w, h, false); },
      [=] { libyuv::I420ToARGB(y, w, v, half, u, half, out, 4 * w, w, h); });
  add(
      "convert_nv12_argb", 5.5,
      [=] { KelvraCV::convert_nv12_argb(y, w, uv, w, out, 4 * w, w, h, false); },
      [=] { libyuv::NV12ToARGB(y, w, uv, w, out, 4 * w, w, h); });
  add(
      "convert_nv21_i420", 3,
      [=] {
        KelvraCV::convert_nv21_i420(y, w, uv, w, out, w, out_u, half, out_v, half, w, h, false);
      },
      [=] { libyuv::NV21ToI420(y, w, uv, w, out, w, out_u, half, out_v, half, w, h); });
  add(
      "copy_i420", 3,
      [=] {
        KelvraCV::copy_i420(y, w, u, half, v, half, out, w, out_u, half, out_v, half, w, h, false);
      },
      [=] { libyuv::I420Copy(y, w, u, half, v, half, out, w, out_u, half, out_v, half, w, h); });
  add(
      "crop_argb", 8,
      [=] { KelvraCV::crop_argb(argb, 4 * w, out, 4 * w - 8, w, h, 1, 0, w - 2, h - 1); },
      [=] { libyuv::ARGBCopy(argb + 4, 4 * w, out, 4 * w - 8, w - 2, h - 1); });
  add(
      "rotate_i420 90", 3,
      [=] {
        KelvraCV::rotate_i420(y, w, u, half, v, half, out, h, out_u, h / 2, out_v, h / 2, w, h,
                              KelvraCV::ROTATE_90, false);
      },
      [=] {
        libyuv::I420Rotate(y, w, u, half, v, half, out, h, out_u, h / 2, out_v, h / 2, w, h,
                           libyuv::kRotate90);
      });
  add(
      "rotate_nv21 90", 3,
      [=] {
        KelvraCV::rotate_nv21(y, w, uv, w, out, h, out_u, h / 2, out_v, h / 2, w, h,
                              KelvraCV::ROTATE_90, false);
      },
      [=] {
        libyuv::NV12ToI420Rotate(y, w, uv, w, out, h, out_v, h / 2, out_u, h / 2, w, h,
                                 libyuv::kRotate90);
      });
  add(
      "scale_i420 to half, box", 2,
      [=] {
        KelvraCV::scale_i420(y, w, u, half, v, half, w, h, out, half, out_u, half / 2, out_v,
                             half / 2, half, h / 2, KelvraCV::SCALE_BOX, false);
      },
      [=] {
        libyuv::I420Scale(y, w, u, half, v, half, w, h, out, half, out_u, half / 2, out_v, half / 2,
                          half, h / 2, libyuv::kFilterBox);
      });
  add(
      "mirror_i420", 3,
      [=] {
        KelvraCV::mirror_i420(y, w, u, half, v, half, out, w, out_u, half, out_v, half, w, h,
                              false);
      },
      [=] { libyuv::I420Mirror(y, w, u, half, v, half, out, w, out_u, half, out_v, half, w, h); });
  add(
      "rotate_nv12 90", 3,
      [=] {
        KelvraCV::rotate_nv12(y, w, uv, w, out, h, out_u, h / 2, out_v, h / 2, w, h,
                              KelvraCV::ROTATE_90, false);
      },
      [=] {
        libyuv::NV12ToI420Rotate(y, w, uv, w, out, h, out_u, h / 2, out_v, h / 2, w, h,
                                 libyuv::kRotate90);
      });
  add(
      "rotate_argb 180", 8,
      [=] { KelvraCV::rotate_argb(argb, 4 * w, out, 4 * w, w, h, KelvraCV::ROTATE_180, false); },
      [=] { libyuv::ARGBRotate(argb, 4 * w, out, 4 * w, w, h, libyuv::kRotate180); });
  add(
      "scale_argb to half, box", 5,
      [=] {
        KelvraCV::scale_argb(argb, 4 * w, w, h, out, 2 * w, half, h / 2, 0, 0, half, h / 2,
                             KelvraCV::SCALE_BOX);
      },
      [=] { libyuv::ARGBScale(argb, 4 * w, w, h, out, 2 * w, half, h / 2, libyuv::kFilterBox); });
  add(
      "scale_argb to half, clipped to a quarter", 5,
      [=] {
        KelvraCV::scale_argb(argb, 4 * w, w, h, out, 2 * w, half, h / 2, 100, 100, half / 2, h / 4,
                             KelvraCV::SCALE_BILINEAR);
      },
      [=] {
        libyuv::ARGBScaleClip(argb, 4 * w, w, h, out, 2 * w, half, h / 2, 100, 100, half / 2, h / 4,
                              libyuv::kFilterBilinear);
      });
}

}  // namespace bench
