/// \file
/// kelvra_cv: the pixel work of a photo and video editor, as free functions over raw buffers.
///
/// Conventions of every function, unless its comment says otherwise:
/// - **Buffers** belong to the caller, inputs and outputs alike, and are never reallocated.
///   Samples are unsigned 8-bit; the samples of one pixel are adjacent (interleaved). Pointers are
///   not checked for null.
/// - **Overlap**: source and destination must not share memory, unless a function says that they
///   may, or that it works in place (the destination is the source).
/// - **Sizes** are in pixels; strides are in bytes, from one row's start to the next one's. The
///   padding between rows is neither read for a result nor written. "Packed" means no padding. A
///   row's bytes must fit an int, an image's need not. Sizes below 1 write nothing: silently in
///   gaussian_blur(), flood_fill() and align_back_img(), elsewhere after the checks that print.
/// - **Byte order** in memory is R, G, B(, A), unless a flag or ImageData::color_order says B, G,
///   R(, A). Alpha is carried or dropped as stated and never takes part in colour arithmetic.
/// - **Results** are the same bytes on every machine, compiler and vector width. Scaled frames are
///   not: they are libyuv's. gaussian_blur(), bilateral_filter() and get_rotation_matrix() take
///   exponentials, sines and cosines from the C library, and may differ between C libraries in the
///   last bit of these. Shifts and conversions to bytes truncate, with no rounding term, unless a
///   formula shows one.
/// - **Failures** print one message through log_print() and return, writing nothing. Nothing
///   throws, except that running out of memory may throw std::bad_alloc, and that
///   find_blob_contours() lets OpenCV's exceptions pass.
/// - **Threads**: a call runs on its caller's thread, may run beside other calls on other output
///   buffers, and leaves nothing allocated.
#ifndef KELVRA_CV_H_
#define KELVRA_CV_H_

#include <cstdarg>
#include <string>
#include <vector>

/// The whole library.
namespace KelvraCV {

// ---------------------------------------------------------------------------------------------
/// \defgroup records Records
/// Views of images, and what the functions take and give besides pixels.
/// \{

/// A view of an interleaved 8-bit image. It owns nothing; functions never change an output's
/// members unless their comment says so.
struct ImageData {
  unsigned char* data;  ///< First byte of row 0.
  int width;            ///< Pixels per row.
  int height;           ///< Rows.
  int channels;         ///< Samples per pixel: 1 (gray, mask), 3 (RGB, HSV) or 4 (RGBA).
  int stride;           ///< Bytes between row starts, at least width * channels.
  int reserved;         ///< Not used by the library.
  int color_order;      ///< Four-channel byte order: 0 for R, G, B, A; 1 for B, G, R, A.
};

/// A pixel position.
struct Point {
  int x;  ///< Column.
  int y;  ///< Row.
};

/// An axis-aligned rectangle of pixels.
struct Rect {
  int x;       ///< Left column.
  int y;       ///< Top row.
  int width;   ///< Columns.
  int height;  ///< Rows.
};

/// What filter_blobs() keeps.
struct BlobParams {
  bool by_color;            ///< Reject blobs whose centre pixel differs from blob_color.
  bool by_area;             ///< Apply the area interval.
  bool by_circularity;      ///< Apply the circularity interval.
  bool by_inertia;          ///< Apply the inertia-ratio interval.
  int reserved;             ///< Not used by the library.
  int blob_color;           ///< Mask value that the centre pixel must have, 0 to 255.
  int min_area;             ///< Lower bound of the area in pixels, inclusive.
  int max_area;             ///< Upper bound of the area, exclusive.
  float min_circularity;    ///< Lower bound of 4 pi area / perimeter^2, inclusive.
  float max_circularity;    ///< Upper bound, exclusive.
  float min_inertia_ratio;  ///< Lower bound of the smaller over the larger moment, inclusive.
  float max_inertia_ratio;  ///< Upper bound, exclusive.
};

/// A blob that filter_blobs() kept.
struct Center {
  int x;             ///< Column of the centroid, truncated.
  int y;             ///< Row of the centroid, truncated.
  float radius;      ///< Largest distance from (x, y) to a point of the blob.
  float confidence;  ///< Square of the inertia ratio with the inertia filter on, else 1.
};

/// A detected object.
struct BBox {
  float x1;     ///< Left edge, a whole number.
  float y1;     ///< Top edge, a whole number.
  float x2;     ///< Right edge, a whole number.
  float y2;     ///< Bottom edge, a whole number.
  float score;  ///< Objectness times the best class score.
  int label;    ///< Index of the best class.
};

/// A detected corner.
struct KeyPoint {
  int x;           ///< Column.
  int y;           ///< Row.
  float response;  ///< Corner score with suppression on, else 0.
};

/// Filters of the scaling functions.
enum ScaleMode {
  SCALE_NONE = 0,      ///< Point sampling.
  SCALE_LINEAR = 1,    ///< Horizontal linear.
  SCALE_BILINEAR = 2,  ///< Bilinear.
  SCALE_BOX = 3        ///< Box.
};

/// Clockwise rotations, in degrees.
enum RotationMode { ROTATE_0 = 0, ROTATE_90 = 90, ROTATE_180 = 180, ROTATE_270 = 270 };

/// \}

// Only what stands between this line and the matching pop is exported.
#pragma GCC visibility push(default)

// ---------------------------------------------------------------------------------------------
/// \defgroup core Core
/// Messages, the version and small file readers.
/// \{

/// Replaces the sink of all messages. The sink receives a message's format text, unmodified, and
/// its arguments, which are valid during the call only. Null silences the library. Until the first
/// call, messages go to standard output through vprintf.
///
/// \param callback  The sink of the whole process, or null. It is called on the thread that prints,
///                  from several threads at once if they print. A message that another thread
///                  prints during this call reaches the old sink or the new one.
void log_set_callback(void (*callback)(const char* format, va_list arguments));

/// Passes a message to the sink, once and as it is: no prefix, no newline added.
///
/// \param format  As of printf, with its arguments behind it.
void log_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// \return "v1.6.3", a constant that is never freed.
const char* get_version();

/// \return The number of processors that are online now, or -1 if the system cannot tell.
int get_cpu_core_num();

/// Reads a whole file into a new array.
///
/// \param path  The file.
/// \param size  Receives the file's length in bytes, of which an int's 32 bits are kept. 0 if the
///              file cannot be opened; left as it is if nothing is read: of an empty file, one
///              that cannot be read, and one whose length in 32 bits is 0 or below (2 to 4 GiB).
/// \return The bytes, which the caller releases with `delete[]`, or null. A file of which nothing
///         could be read, such as an empty one, stays open: callers rely on its descriptor.
unsigned char* read_file_into_buffer(std::string path, int& size);

/// Reads the numbers of a text file.
///
/// Every line is split at any of the characters in `delimiters`, runs of them counting as one,
/// and each piece is converted as by atof (text that is no number gives 0). Every line starts
/// again at values[0]: what is left is the last non-empty line, followed by what longer lines
/// before it wrote further back. A line ends at its newline, which belongs to no number; a carriage
/// return before it does, unless it is a delimiter: a line of nothing else is the number 0.
///
/// \param path        The file.
/// \param delimiters  The characters between numbers.
/// \param values      Must have room for the longest line.
///
/// A file that cannot be opened prints "Can not find %s\n" with the path; nothing is written then.
void parse_file_float(std::string path, const char* delimiters, float* values);

/// \return The `length` bytes at `bytes + offset`, zero bytes included. A length below 1 gives "".
/// \param bytes,offset,length  The buffer, where the piece begins in it, and how long it is.
std::string bytes_to_string(const char* bytes, int offset, int length);

/// \return The 32-bit integer in the four bytes at `bytes + offset`.
/// \param bytes,offset  The buffer, and where the integer begins in it.
/// \param big_endian    Whether the most significant byte comes first.
int bytes_to_int(const char* bytes, int offset, bool big_endian);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup gray Gray
/// Luminance of colour pixels.
/// \{

/// Luminance of packed or padded RGB: (19595 R + 38469 G + 7472 B) >> 16, the BT.601 weights
/// 0.299, 0.587 and 0.114 in 16-bit fixed point.
///
/// \param src  `height` rows of `width` pixels of 3 bytes: R, G, B.
/// \param dst  `height` rows of `width` bytes.
/// \param width,height,src_stride,dst_stride  In pixels, and bytes between rows.
///
/// In place: a destination row may overlap its source row where each gray byte lands on pixels
/// that have been read already, as with `dst == src`: pixels run from left to right.
void rgb2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
              int dst_stride);

/// As rgb2gray(), in place likewise, from pixels of 4 bytes. The fourth byte has no influence.
///
/// \param src,dst,width,height,src_stride,dst_stride  As of rgb2gray(), but for the pixels' size.
/// \param bgra  0 for R, G, B, A in memory; anything else for B, G, R, A.
void rgba2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
               int dst_stride, int bgra);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup color YCbCr, HSV and channels
/// Conversions between colour spaces in integers, and between layouts of channels.
/// \{

/// RGB to YCbCr: BT.601 weights in 10-bit fixed point, studio range (Y 16 to 235, chroma 16 to 240
/// around 128).
///
///     Y  = ( 263 R + 516 G + 100 B +  16896) >> 10
///     Cb = (-152 R - 298 G + 450 B + 131584) >> 10
///     Cr = ( 450 R - 377 G -  73 B + 131585) >> 10
///
/// \param src     R, G, B.
/// \param dst     Packed: Y, Cb, Cr for each pixel, or with `planar` a plane of Y, one of Cb and
///                one of Cr, each width * height bytes, one after the other.
/// \param planar  Whether `dst` has planes.
/// \param width,height,src_stride  In pixels, and bytes between source rows.
///
/// Interleaved packed pixels may be converted in place.
void rgb_to_ycbcr(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar);

/// YCbCr to RGB, the inverse of rgb_to_ycbcr(), clamped to 0 … 255:
///
///     R = (1192 Y             + 1634 Cr - 227759) >> 10
///     G = (1192 Y -  401 Cb   -  832 Cr + 139341) >> 10
///     B = (1192 Y + 2066 Cb             - 282967) >> 10
///
/// \param src     Interleaved, or with `planar` three packed planes, one after the other.
/// \param dst     Packed R, G, B.
/// \param planar  Whether `src` has planes.
/// \param width,height,src_stride  In pixels, and bytes between source rows, ignored for planes.
///
/// Interleaved packed pixels may be converted in place.
void ycbcr_to_rgb(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar);

/// RGB to HSV, three bytes a pixel: hue 0 … 255 once around the circle (0 red, 85 green, 171 blue),
/// saturation, value. With d the span of the colours and v the largest one,
///
///     S = (2048 + d * (255 * 4096 / v)) >> 12,   H = (2048 + n * (4096 * 128 / 3 / d)) >> 12,
///
/// quotients truncated; n is G - B if R is largest, else B - R + 2 d if G is, else R - G + 4 d.
/// Negative hues wrap around. Gray has hue and saturation 0.
///
/// \param src  3 or more channels, the first three being R, G, B; fewer write nothing.
///             **Packed**: its stride is ignored.
/// \param dst  Only its data is used: width * height packed pixels. It may be src's.
void rgba2hsv(const ImageData& src, ImageData& dst);

/// HSV, as rgba2hsv() gives it, to RGB. Computed in single precision and truncated, so that there
/// and back may lose 1.
///
/// \param src  Packed pixels of three bytes; its stride and channels are ignored.
/// \param dst  Only its data is used: packed R, G, B. It may be src's.
void hsv2rgb(const ImageData& src, ImageData& dst);

/// Drops the fourth byte of every pixel.
///
/// \param src,dst  Pixels of 4 bytes, which are only read, and pixels of 3 bytes.
/// \param width,height,src_stride,dst_stride  In pixels, and bytes between rows.
/// \param swap_rb  0 keeps the order of the three bytes, anything else reverses it: RGBA becomes
///                 BGR, BGRA becomes RGB.
///
/// In place: rows that overlap are converted pixel by pixel from the left, so `dst` may be `src`.
void convert_c4_to_c3(unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
                      int dst_stride, int swap_rb);

/// Separates the channels of an image.
///
/// \param src  Interleaved, with its stride.
/// \param dst  A record for each channel, with its buffer. Planes are written **packed**, whatever
///             their strides say.
///
/// Messages, without newlines and before anything is written or sizes are looked at: "input
/// channels mismatch outputs!" if there are more or fewer records than channels, "outputs format
/// error!" if a record has not one channel or not the size of src.
void split_channels(const ImageData& src, std::vector<ImageData>& dst);

/// Interleaves planes, in the order of `src`. Nothing is checked.
///
/// \param src  Planes of dst's size, read **packed**, whatever their strides say.
/// \param dst  Pixels of src.size() bytes, with its stride.
void merge_channels(const std::vector<ImageData>& src, ImageData& dst);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup lab Lab
/// CIE L*a*b* in bytes: exactly, and by tables that a caller may share between calls.
/// \{

/// sRGB to 8-bit CIE L*a*b* (D65) in single precision: L byte L* 2.55, a and b bytes with 128 for
/// 0; truncated, then clamped to 0 … 255. CIE 15.
///
/// \param src,dst,width,height  Packed R, G, B, which are only read, and L, a, b; dst may be src.
void rgb_to_lab(unsigned char* src, unsigned char* dst, int width, int height);

/// Fills the tables of the fast conversion to Lab.
///
/// \param gamma_table  256 entries: linear light of an sRGB byte, 10 fractional bits.
/// \param cbrt_table   1500 entries: f(i / 1024), the cube root with its linear start, in 20
///                     fractional bits.
void init_rgb_to_lab_fast(int* gamma_table, int* cbrt_table);

/// sRGB to 8-bit Lab by tables, in integers. X and Z are **not** divided by the white point, so
/// that a and b differ from rgb_to_lab()'s, on purpose; lab_to_rgb_fast() is its inverse.
///
/// \param src,dst,width,height  Packed R, G, B, and packed L, a, b.
/// \param gamma_table  256 ints, as from init_rgb_to_lab_fast(). Read only; may be shared.
/// \param cbrt_table   1500 ints, likewise. If either table is null, both are made for the call.
/// \param threads      Rows are shared out in blocks of ceil(height / threads), each on a thread of
///                     its own but for the last, which the caller's thread takes, as it does every
///                     block for which the system starts no more threads. There is no upper limit.
///                     Below 1: the number of online processors, at most 4.
void rgb_to_lab_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     void* gamma_table, void* cbrt_table, int threads);

/// rgb_to_lab_fast() from pixels of four bytes, of which the fourth is ignored. Not in place: with
/// more than one thread, rows would be overwritten before they are read.
///
/// \param src,src_stride    Pixels of 4 bytes, and bytes between their rows.
/// \param dst,width,height  Packed L, a, b.
/// \param order             Exactly 1 for B, G, R, A in memory; anything else for R, G, B, A.
/// \param gamma_table,cbrt_table,threads  As in rgb_to_lab_fast().
void rgb_to_lab_c4_c3(const unsigned char* src, unsigned char* dst, int width, int height,
                      int src_stride, int order, void* gamma_table, void* cbrt_table, int threads);

/// Fills the tables of the fast conversion from Lab.
///
/// \param y_table      256 entries: 255 Y of an L byte, rounded.
/// \param x_table      65536 entries: 255 X, at L byte * 256 + a byte.
/// \param z_table      65536 entries: 255 Z, at L byte * 256 + b byte.
/// \param gamma_table  4096 entries: the sRGB byte of linear light i / 4096, truncated.
void init_lab_to_rgb_fast(int* y_table, int* x_table, int* z_table, unsigned short* gamma_table);

/// 8-bit Lab to sRGB by tables, the inverse of rgb_to_lab_fast().
///
/// \param src,dst,width,height  Packed L, a, b, and packed R, G, B.
/// \param mask     Packed, one byte a pixel: pixels with 0 are left as they are in dst. Null
///                 converts all.
/// \param y_table,x_table,z_table,gamma_table  256, 65536 and 65536 ints and 4096 unsigned shorts,
///                 of which the low bytes count, as from init_lab_to_rgb_fast(). If any is null,
///                 all are made for the call.
/// \param threads  As in rgb_to_lab_fast().
void lab_to_rgb_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     unsigned char* mask, void* y_table, void* x_table, void* z_table,
                     void* gamma_table, int threads);

/// lab_to_rgb_fast() into pixels of four bytes, of which the fourth is never written.
///
/// \param src,width,height  Packed L, a, b.
/// \param dst,dst_stride    Pixels of 4 bytes, which must not overlap src, and bytes between rows.
/// \param order             Exactly 1 for B, G, R in memory; anything else for R, G, B.
/// \param y_table,x_table,z_table,gamma_table,threads  As in lab_to_rgb_fast(); there is no mask.
void lab_to_rgb_c3_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                      int dst_stride, int order, void* y_table, void* x_table, void* z_table,
                      void* gamma_table, int threads);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup blur Blurs
/// Gaussian and box blurs. All are separable and replicate the border.
/// \{

/// Gaussian blur of one packed channel: along the rows, then across them, with borders replicated.
///
/// The kernel has max(ksize, 3) weights, w(i) = exp(-i^2 / (2 sigma^2)) / (sigma sqrt(2 pi)) for
/// the offset i from its middle, as floats. Each pass adds the weighted pixels in order, in single
/// precision, divides by the sum of the weights, and truncates to a byte.
///
/// \param src,dst,width,height  One packed channel.
/// \param ksize  Pixels along each side of the kernel; below 3 counts as 3.
/// \param sigma  In pixels. 0 or less stands for 0.15 (size - 1) + 0.5. NaN and infinity give
///               zeros. Where its square is 0 as a float, 1e-22 is used, which leaves one weight.
///
/// An even size prints "kernel size must be odd!\n", one larger than the width or the height
/// "image size too small!\n": twice, once for each pass, and nothing is written.
void gaussian_blur(const unsigned char* src, unsigned char* dst, int width, int height, int ksize,
                   float sigma);

/// A fast approximation of a wide Gaussian blur: filter_box() three times, at a cost that does not
/// grow with sigma.
///
/// The radii are what P. Kovesi, "Fast almost-Gaussian filtering" (2010), gives as *widths*: odd
/// numbers around sqrt(4 sigma^2 + 1). Since they serve as radii, the result is about as smooth as
/// that of a Gaussian of twice `sigma`.
///
/// \param src,dst,width,height  One packed channel; `src` may be `dst`.
/// \param sigma  In pixels; its sign does not matter. NaN copies, as does a sigma so large that no
///               window fits into the image.
/// \return 0, or -1 after "gaussian_blur_fast memory create error!\n" if memory ran out, which may
///         leave `dst` half done.
int gaussian_blur_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                       float sigma);

/// As gaussian_blur_fast(), of the first three of four interleaved channels. The fourth is copied.
///
/// \param src,dst,width,height,sigma  As of gaussian_blur_fast(), with packed pixels of 4 bytes.
/// \return 0, also after "gaussian_blur_fast memory create error!\n", which is printed if memory
///         ran out. Nothing is written then.
int gaussian_blur_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                     float sigma);

/// The mean over the square of 2 radius + 1 pixels around each pixel, borders replicated, of one
/// packed channel. The cost does not grow with the radius.
///
/// Rounding depends on the column, as it always has: columns before `width & ~7` are rounded half
/// up (sum * (1.0f / area) + 0.5f in single precision), the rest are truncated.
///
/// \param src,dst,width,height  One packed channel; `src` may be `dst`.
/// \param radius  A radius below 1, or a square wider than a side of the image, copies the source.
void filter_box(const unsigned char* src, unsigned char* dst, int width, int height, int radius);

/// Blur with the weights 1 2 1 along rows and then across them, borders replicated, one channel:
/// (a + 2 b + c) >> 2 in both passes, truncated to a byte each time.
///
/// \param src,dst  `height` rows of `width` bytes.
/// \param width,height,src_stride,dst_stride  In pixels, and bytes between rows.
void gaussian_blur_3x3(const unsigned char* src, unsigned char* dst, int width, int height,
                       int src_stride, int dst_stride);

/// Blur with the weights 1 4 6 4 1 along rows and then across them, borders replicated, one packed
/// channel: (a + 4 b + 6 c + 4 d + e) >> 4 in both passes, truncated to a byte each time.
///
/// One exception: along a row, the last column is (s[w - 4] + 4 s[w - 3] + 11 s[w - 2]) >> 4,
/// without its own pixel. Edge detection depends on it. Rows below 4 pixels have no such exception.
///
/// \param src,dst,width,height  One packed channel.
void gaussian_blur_5x5(const unsigned char* src, unsigned char* dst, int width, int height);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup morphology Thresholds and morphology
/// Masks from gray images, and the grey-scale dilation and erosion by a square.
/// \{

/// dst[i] = src[i] > thresh ? max_value & 255 : 0, for each byte of one packed channel.
///
/// \param src,dst,width,height  One packed channel. `src` is only read; it may overlap `dst`, and
///                   is then worked through in order.
/// \param thresh     Compared as an integer: below 0 all bytes pass, from 255 on none.
/// \param max_value  What passing bytes become, of which the low 8 bits count: 256 gives 0.
void threshold(unsigned char* src, unsigned char* dst, int width, int height, int thresh,
               int max_value);

/// The maximum over the square of 2 radius + 1 pixels around each pixel of one packed channel,
/// which dilates bright areas; with filter_min() the minimum, which erodes them. dilate_mask() and
/// erode_mask() are their names in mask work. The cost grows no faster than the logarithm of the
/// radius.
///
/// Near the borders the window is not a clipped square. Along a row of `width` pixels that is split
/// from its start into blocks of 2 radius + 1, the first `radius` results cover columns 0 to x, and
/// the last `radius` ones cover column x to the end of the block with x in it. Columns of pixels
/// follow the same rule.
///
/// \param src,dst,width,height  One packed channel; `src` may be `dst`.
/// \param radius  A radius below 1, or a square wider than a side of the image, copies the source.
void filter_max(const unsigned char* src, unsigned char* dst, int width, int height, int radius);

/// \copydoc KelvraCV::filter_max
void filter_min(const unsigned char* src, unsigned char* dst, int width, int height, int radius);

/// \copydoc KelvraCV::filter_max
void dilate_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius);

/// \copydoc KelvraCV::filter_max
void erode_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup smoothing Edge-preserving filters
/// Smoothing that stops at edges. The cost grows with the number of pixels only.
/// \{

/// Guided filter: smooths `src` where the guide is smooth and keeps the guide's edges.
/// K. He, J. Sun, X. Tang, "Guided image filtering", 2013.
///
/// In [0, 1], with means over windows of 2 radius + 1 pixels a side (replicated borders, divided by
/// the whole window): a = cov(I, p) / (var(I) + eps), b = mean(p) - a mean(I), and the result is
/// mean(a) p + mean(b): applied to the input p, not to the guide I, on purpose. Truncated to bytes.
/// A window that does not fit leaves every mean as it is.
///
/// \param src     1 to 4 channels; channels 0 to 2 are filtered, a fourth is carried. One channel
///                is **packed**, its stride ignored; more have their stride. So are guide and dst.
/// \param guide   src's size. Channel i guides channel i; if there is no such channel, the last one
///                does.
/// \param dst     src's size and channels. It may be src.
/// \param radius  In pixels at full size.
/// \param scale   1 computes the statistics at full size; else they are computed on an image of
///                trunc(size * scale + 0.5), with such a radius, and a and b enlarged again.
///                Scales that leave no pixel, or that enlarge more than 16-fold, write nothing.
/// \param eps     Added to the variance, in units of the squared [0, 1] range.
///
/// Prints "input and output mismatch!" (no newline) if sizes or the channels of src and dst differ.
void guided_filter_general(const ImageData& src, const ImageData& guide, ImageData& dst, int radius,
                           float scale, float eps);

/// guided_filter_general() with every channel as its own guide: a = var(p) / (var(p) + eps).
///
/// \param src,dst,radius,scale,eps  As of guided_filter_general().
void guided_filter_self(const ImageData& src, ImageData& dst, int radius, float scale, float eps);

/// Recursive bilateral filter: smooths up to edges, along rows and then along columns, at a cost
/// that does not depend on the sigmas. Q. Yang, "Recursive bilateral filtering", 2012.
///
/// Along a line, forwards and backwards, f[x] = (1 - alpha) s[x] + w f[x - 1], w being
/// alpha exp(-d / (255 sigma_range)) for the distance d of the neighbours s[x] and s[x - 1], with
/// alpha = exp(-sqrt(2) / (255 sigma_spatial)); the result is the sum of both over the sum of their
/// weights, truncated. The distance of colours is ((|dR| + |dB|) >> 2) + (|dG| >> 1); a fourth
/// channel is filtered with the same weights. Columns take their distances from the unfiltered
/// source.
///
/// \param src            1, 3 or 4 channels (others write nothing). **Packed**: strides are
///                       ignored.
/// \param dst            src's size and channels, packed. It must not overlap src.
/// \param sigma_spatial  The reach in units of 255 pixels, whatever the image's size.
/// \param sigma_range    In units of the [0, 1] range.
///
/// Sigmas that are not positive give no sensible result.
///
/// Prints "input and output data mismatch!" (no newline) if sizes or channels differ.
void bilateral_filter(const ImageData& src, ImageData& dst, float sigma_spatial, float sigma_range);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup edges Edges, histograms, sums
/// Derivatives and edges, local contrast, the summed-area table and the Gaussian pyramid.
/// \{

/// Marks the pixels whose Sobel gradient is strong: 255 where |dx| + |dy| > threshold, else 0.
/// Derivatives and border are those of sobel_grad().
///
/// \param src,dst,width,height  One packed channel; `dst` may overlap `src`.
/// \param threshold  Compared with |dx| + |dy|, which is from 0 to 2040.
void sobel_edge(const unsigned char* src, unsigned char* dst, int width, int height, int threshold);

/// Both Sobel derivatives of one packed channel, as packed planes of the same size. With the
/// border replicated:
///
///     dx = (right-above + 2 right + right-below) - (left-above + 2 left + left-below)
///     dy = (above-left + 2 above + above-right) - (below-left + 2 below + below-right)
///
/// so dy is positive where the image is brighter above. Both are in -1020 .. 1020.
///
/// \param src,width,height  One packed channel.
/// \param dx,dy  Packed planes, which must overlap neither the source nor each other.
void sobel_grad(const unsigned char* src, short* dx, short* dy, int width, int height);

/// Canny edges: gray by rgb2gray() or rgba2gray(), gaussian_blur_5x5(), sobel_grad(), suppression,
/// two thresholds, linking.
///
/// - The magnitude is |dx| + |dy|, 0 .. 2040. The direction is trunc(atan2(dy, dx) * 57.29578)
///   degrees, rounded to 0, 45, 90 or 135; within 22 degrees of +-180 it counts as 135.
/// - A pixel stays if its magnitude is more than the left, upper-left, upper or upper-right
///   neighbour's (for 0, 45, 90, 135) and not less than the opposite one's. The others, and the
///   image's frame, have magnitude 0 from here on.
/// - From threshold2 on a pixel is strong, 255; from threshold1 on it is weak. A weak pixel inside
///   the frame becomes 255 if a neighbour (of eight) is 255 when its turn comes, row by row from
///   the left, else 0: edges are followed right and down, in one pass.
///
/// \param src         1 channel, packed, or 3 or 4 with their stride; of 4, color_order tells where
///                    blue is. Other numbers are taken as one channel.
/// \param dst         One channel of the same size; packed, its stride is not read. Edges are 255,
///                    all else 0. (A threshold1 of 0 or below leaves the frame weak, 100, and a
///                    threshold2 of 0 or below makes all 255.)
/// \param threshold1  Low threshold.
/// \param threshold2  High threshold; if it is not larger, prints
///                    "threshold2 must be large than threshold1!\n".
void canny(const ImageData& src, ImageData& dst, int threshold1, int threshold2);

/// Counts the samples of a rectangle of an interleaved image, channel by channel.
///
/// A value v of channel c is counted in hists[c][v / bins[c]] (integer division; with 0 bins, in
/// hists[c][0]): bins are values over the number of bins, not values scaled to them, and agree with
/// that for 16 bins only. The first bins[c] counters are cleared first, and no others.
///
/// \param src,stride,channels  The image, bytes between its rows, samples per pixel.
/// \param width,height,x,y     The rectangle and its left, upper pixel, inside the image.
/// \param hists  For each channel at least max(bins, 255 / bins + 1) counters.
/// \param bins   For each channel the number of bins.
void cal_hist(const unsigned char* src, int stride, int channels, int width, int height, int x,
              int y, int** hists, int* bins);

/// Contrast-limited adaptive histogram equalisation, of a gray image or of the value channel of a
/// colour image's HSV form (rgba2hsv(), hsv2rgb(); hue and saturation stay).
///
/// The image is divided into tiles x tiles regions of width / tiles x height / tiles pixels, what
/// is left over at the right and below belonging to none. Each region's histogram is clipped, what
/// is clipped is spread over all bins, and its running sum becomes a mapping of grey levels:
/// min(sum * 255 * (1 / pixels), 255) in single precision, truncated. Each pixel is the bilinear
/// mean, truncated, of the mappings of the nearest region centres, taken at the region's size / 2,
/// rounded down.
///
/// \param src    1 channel, with its stride, which is **modified**: it is equalised in place. Or 3
///               or more channels, packed: R, G, B and others.
/// \param dst    The same size and channels. Of 1 channel, it receives all stride * height bytes of
///               the source; of more, it is packed, and the channels from the fourth on are the
///               source's. It may be the source.
/// \param tiles  Regions per side, taken as 2 to 16. An image with a side shorter than that is not
///               equalised: one channel is copied, colour converted to HSV and back.
/// \param bins   Of the histograms; below 1 for 128. A bin counts 255 / bins + 1 values.
/// \param clip   A bin counts at most pixels * clip / bins pixels of a region, truncated, at least
///               1; 0 and below for 16384.
void clahe(const ImageData& src, ImageData& dst, int tiles, int bins, float clip);

/// The inner edge of a mask, one pixel wide: 255 for each foreground pixel that has background
/// above, below, left or right of it or that lies on the image's frame, else 0.
///
/// \param src   One byte per pixel: 0 or 255. Other values are neither foreground nor background.
/// \param dst   One byte per pixel; dst_stride * height bytes are written, those between and after
///              the rows with 0.
/// \param width,height,src_stride,dst_stride  In pixels, and bytes between rows.
/// \param mode  1: the foreground is 0 and the background 255; anything else: the reverse.
void get_mask_edge(const unsigned char* src, unsigned char* dst, int width, int height,
                   int src_stride, int dst_stride, int mode);

/// Summed-area table of one channel.
///
/// \param src,width,height,stride  `height` rows of `width` bytes, and bytes between them.
/// \param sum     (width + 1) * (height + 1) sums, packed: entry (x, y) is the sum of all source
///                bytes in columns before x and rows before y, modulo 2^32. The zeros of the first
///                row and column are written for a width or height of 0 too.
void integral_int(const unsigned char* src, int* sum, int width, int height, int stride);

/// Gaussian pyramid of an image of 1, 3 or 4 channels (of others, nothing is written).
///
/// levels[0] receives the image itself, and each next level the one before it at half its width and
/// height, rounded up: the 1 4 6 4 1 kernel both ways with the border replicated, at even columns
/// and rows, (sum + 128) >> 8.
///
/// \param src     The image; its stride is honoured.
/// \param levels  As many levels as there are records. Their buffers must be large enough; width,
///                height, channels and stride (packed) are set here. After a level of 1 x 1, width
///                and height are set to 0. levels[0].data may be src.data: it then keeps the
///                image's stride. No other buffers may overlap.
void pyramid_gauss(const ImageData& src, std::vector<ImageData>& levels);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup resize Resizing
/// All map pixel centres to pixel centres. In single precision, with one rounding for each fma(),
/// destination column x lies in the source at
///
///     f(x) = fma(x + 0.5, source / destination, -0.5)        for x below destination & ~3,
///     f(x) = fma((x + 0.5) * source, 1 / destination, -0.5)  for the last columns,
///
/// which may differ in the last bit: whole groups of four columns divide the sizes first. Rows
/// follow the same formula with heights. Strides count bytes, but for the float function floats. A
/// pixel outside the source is the nearest one inside.
///
/// The functions on bytes use weights with 11 fractional bits (2048 is 1) and two passes, along the
/// rows, h = (sum of sample * weight) >> 4, and then across them, (sum of h * weight) >> 18. Every
/// shift and every conversion of a weight to an integer truncates, so results are rounded down. Let
/// i = floor(f) and t = f - i; before the first pixel's centre, i = 0 and t = 0; from the last
/// pixel's centre on, i is the last pixel but one and t = 1. The weights are
///
/// - bilinear: w0 = 2048 - 2048 t, w1 = 2048 - w0, of the samples i and i + 1;
/// - bicubic: k0 = 2048 (0.75 u^3 - 3.75 u^2 + 6 u) - 6144 with u = 1 + t, k1 = 2048 W(t),
///   k2 = 2048 W(1 - t), k3 = 2048 - (k0 + k1 + k2), of the samples i - 1 to i + 2, where
///   W(d) = 2.75 d^3 - 3.75 d^2 + 1; d^3 is d^2 d, every operation rounds to single precision, and
///   sums are taken from the left.
///
/// A source one pixel wide (or high) gives that pixel everywhere.
/// \{

/// Nearest neighbour, of one channel or (c3) of pixels of three bytes: the pixel at the floor (not
/// the nearest integer) of the source coordinate. Halving picks the left, upper pixel of each pair,
/// a third the middle of three.
///
/// \param src,src_width,src_height,src_stride  The source.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
void resize_nn_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride);

/// \copydoc KelvraCV::resize_nn_c1
void resize_nn_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride);

/// Bilinear, of one channel or (c3) of each of three interleaved ones. Coordinates before the first
/// pixel's centre take the first pixel, those after the last one's the last.
///
/// \param src,src_width,src_height,src_stride  The source.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
void resize_bilinear_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride);

/// \copydoc KelvraCV::resize_bilinear_c1
void resize_bilinear_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride);

/// resize_bilinear_c1() on each of four interleaved channels, alpha like the others, or (c4_to_c3)
/// from pixels of four bytes to pixels of three: the fourth byte is dropped, not blended.
///
/// \param src,src_width,src_height,src_stride  The source.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
/// \param swap_rb  Exactly 1 exchanges channels 0 and 2 in the output; any other value does not.
void resize_bilinear_c4(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride, int swap_rb);

/// \copydoc KelvraCV::resize_bilinear_c4
void resize_bilinear_c4_to_c3(const unsigned char* src, unsigned char* dst, int src_width,
                              int src_height, int src_stride, int dst_width, int dst_height,
                              int dst_stride, int swap_rb);

/// Bilinear on one channel of floats: fma(b, t, a * (1 - t)) of the neighbours a and b, along the
/// rows and then across them, without rounding to fixed point. Borders are as of the bytes.
///
/// \param src,src_width,src_height,src_stride  The source.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
void resize_bilinear_c1_float(const float* src, float* dst, int src_width, int src_height,
                              int src_stride, int dst_width, int dst_height, int dst_stride);

/// Bicubic, of one channel or (c3) of each of three interleaved ones: cubic convolution with
/// a = +0.75, which is not the usual sign and meant so. R. Keys, "Cubic convolution interpolation
/// for digital image processing", 1981. Sums are cut to their low 16 and 8 bits, not clamped:
/// beside an isolated bright pixel a dark value may wrap around.
///
/// \param src,src_width,src_height,src_stride  The source.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
void resize_bicubic_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride);

/// \copydoc KelvraCV::resize_bicubic_c1
void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup warp Transforms and warps
/// Matrices are arrays of float in row-major order, and points are in pixels, x before y. In the
/// coordinates that matrices act on, pixel (x, y) of an image is the unit square from (x, y) to
/// (x + 1, y + 1): its centre is at (x + 0.5, y + 0.5), so that a matrix which doubles the size
/// maps the image's edges onto the edges of one twice as large.
/// - Affine, 6 floats: x' = M0 x + M1 y + M2, y' = M3 x + M4 y + M5.
/// - Perspective, 9 floats: with w = H6 x + H7 y + H8, x' = (H0 x + H1 y + H2) / w and
///   y' = (H3 x + H4 y + H5) / w.
/// Nothing here is checked and nothing is printed, unless stated; an impossible request gives
/// infinities, NaNs or, by rounding, numbers without a meaning. Results are written last: they may
/// take the place of the arguments.
/// \{

/// The affine matrix that turns by `angle` degrees and scales about (cx, cy). Positive angles turn
/// counter-clockwise on the screen. With a = scale cos(angle) and b = scale sin(angle):
///
///     a   b   (1 - a) cx - b cy
///    -b   a   b cx + (1 - a) cy
///
/// \param angle,scale,cx,cy  In degrees; 1 keeps the size; the centre.
/// \param M  Receives 6 floats.
void get_rotation_matrix(float angle, float scale, float cx, float cy, float* M);

/// The affine matrix (6 floats) that maps three points exactly onto three others, by Cramer's
/// rule. Source points on one line have none: infinities or NaNs.
///
/// \param src,dst  Three points each.
/// \param M        Receives 6 floats.
void get_affine_transform(const Point* src, const Point* dst, float* M);

/// The similarity (uniform scale, rotation, shift) that maps `n` points nearest to `n` others: the
/// a, b, tx and ty with the least sum of (a x - b y + tx - u)^2 + (b x + a y + ty - v)^2 over
/// source points (x, y) and destination points (u, v).
///
/// \param src,dst  `n` pairs of floats each.
/// \param n        Points on each side.
/// \param M        Receives a, -b, tx, b, a, ty; NaNs if n is below 1.
void get_affine_transform(const float* src, const float* dst, int n, float* M);

/// The inverse of an affine matrix, in single precision: with D = 1 / (M0 M4 - M1 M3), that
/// difference taken with one fused multiply-add,
///
///     A11 =  M4 D   A12 = -M1 D   -A11 M2 - A12 M5
///     A21 = -M3 D   A22 =  M0 D   -A21 M2 - A22 M5
///
/// Where the difference is 0 there is no inverse, and D is 0: all six elements become zeros.
///
/// \param M,iM  6 floats, and room for 6; `iM` may be `M`.
void invert_affine_transform(const float* M, float* iM);

/// The perspective matrix (9 floats, the last of them 1) that maps four points exactly onto four
/// others. If three points of one side are on a line, elements may be infinities or NaNs.
///
/// \param src,dst  Four pairs of floats each.
/// \param H        Receives 9 floats.
void get_perspective_transform(const float* src, const float* dst, float* H);

/// The inverse of a perspective matrix by cofactors, divided by its last element, which becomes
/// 1. A last element of 0 gives infinities or NaNs.
///
/// \param H,iH  9 floats, and room for 9; `iH` may be `H`.
void invert_perspective_transform(const float* H, float* iH);

/// Warps an image of one channel, or (c4) of four, which are treated alike, through an affine
/// matrix, with bilinear interpolation.
///
/// \param src,src_width,src_height,src_stride  The source. Of one with more than 524287 columns or
///                rows, only that many are used.
/// \param dst,dst_width,dst_height,dst_stride  The destination.
/// \param M       6 floats: maps source to destination coordinates. Inverted as by
///                invert_affine_transform(). If it has no inverse, or one that is not finite, the
///                pixels concerned are outside of the source.
/// \param border  What is outside of the source:
///                - 0, or any value not listed: outside pixels have the value `fill`, also where
///                  they are blended with the source's edge.
///                - 1: the nearest pixel of the source (of a matrix without inverse, the first).
///                - 2: destination pixels that would need an outside pixel keep their values.
/// \param fill    Byte k, counted from the least significant, is the value of channel k.
///
/// A source place (sx, sy) is the inverse's image of a destination pixel's centre, less 0.5 each:
/// pixel centres of the source are at whole numbers. Both are held in fixed point with 10
/// fractional bits, as the sum of a column's part, the inverse's A11 (or A21) times x, and a row's
/// part, the rest; each part is calculated in double precision and rounded to nearest, halves
/// upwards. (If |A11| + |A21|, times dst_width, reaches 524288, the sum is rounded in place of the
/// parts.) With the fractions fx and fy, from 0 to 1023, of the four pixels around that place:
///
///     upper  = (left (1024 - fx) + right fx) >> 3   of the two upper pixels
///     lower  = (left (1024 - fx) + right fx) >> 3   of the two lower pixels
///     result = (upper (1024 - fy) + lower fy + 65536) >> 17
///
/// A pixel whose weight is 0 is not needed. Four equal pixels give themselves, and the identity
/// gives a copy.
void warpaffine_bilinear_c1(const unsigned char* src, int src_width, int src_height, int src_stride,
                            unsigned char* dst, int dst_width, int dst_height, int dst_stride,
                            const float* M, int border, unsigned int fill);

/// \copydoc KelvraCV::warpaffine_bilinear_c1
void warpaffine_bilinear_c4(const unsigned char* src, int src_width, int src_height, int src_stride,
                            unsigned char* dst, int dst_width, int dst_height, int dst_stride,
                            const float* M, int border, unsigned int fill);

/// As warpaffine_bilinear_c4() through a perspective matrix of 9 floats. It is inverted by
/// cofactors in double precision, and places are quotients in double precision, each rounded as
/// a whole.
///
/// \param src,src_width,src_height,src_stride  The source, four channels.
/// \param dst,dst_width,dst_height,dst_stride  The destination, four channels.
/// \param H            Maps source to destination coordinates.
/// \param border,fill  As of warpaffine_bilinear_c1().
void warpperspective_bilinear_c4(const unsigned char* src, int src_width, int src_height,
                                 int src_stride, unsigned char* dst, int dst_width, int dst_height,
                                 int dst_stride, const float* H, int border, unsigned int fill);

/// Cuts out what landmarks enclose: fits the similarity that maps `image_points` onto
/// `crop_points`, with get_affine_transform(), and warps the image through it, with
/// warpaffine_bilinear_c4(), border 0 and fill 0.
///
/// \param src,dst  Four channels: the image, and the crop in the size that the caller wants.
/// \param crop_points,image_points,n  Where the landmarks are to be in the crop, and where they are
///                 in the image: `n` pairs of floats each.
/// \param inverse  Receives the inverse (6 floats), which maps crop to image coordinates: zeros if
///                 the fit has none.
/// \return 0.
int align_crop_img(const ImageData& src, const float* crop_points, const float* image_points, int n,
                   ImageData& dst, float* inverse);

/// Pastes a crop, changed or not, back to where align_crop_img() took it from, with a soft edge.
///
/// The crop's place is where it alone determines the image's pixels: where a bilinear warp of the
/// crop needs no pixel outside of it. Nothing else changes. The place's mask, 255 inside, is
/// shrunk by erode_mask() and feathered by gaussian_blur_fast() as if the image had no borders,
/// and in the place each byte of all four channels becomes
/// (crop value * opacity + old value * (255 - opacity)) / 255, to nearest. For an edge without a
/// visible step, shrink by as much as the feather reaches, about 6 sigma.
///
/// \param crop           Four channels.
/// \param inverse        Maps crop to image coordinates (6 floats), as align_crop_img() wrote it.
/// \param image          Four channels, changed in place; it must not overlap the crop.
/// \param erode_radius   Pixels of the image, from 0 to its width plus height.
/// \param feather_sigma  From 0, which leaves the edge hard. In effect at most a quarter of the
///                       longer side of the place's bounding box, and of the image's.
/// \return 0, also if nothing changes because the place is empty or outside, or the matrix
///         singular or not finite, or because nothing is left of the shrunk place. -1 after
///         "align_back_img arguments error!\n" (channels, strides or parameters other than stated),
///         "align_back_img memory create error!\n" or a message of gaussian_blur_fast(); the image
///         is unchanged then.
///
/// Work and memory grow with the bounding box of the place, as far as it is in the image.
int align_back_img(const ImageData& crop, const float* inverse, ImageData& image, int erode_radius,
                   float feather_sigma);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup shapes Shapes
/// Outlines, regions and polygons of masks: one byte a pixel, 0 in the background and 255 in the
/// foreground.
/// \{

/// Marks the boundary of a mask's foreground: pixels of 255 that touch something else. It neither
/// traces nor orders them.
///
/// A pixel inside the image is marked when one of its eight neighbours is not 255. On the image's
/// border the rule differs, as intended: only neighbours inside the image count, and one of them
/// must be exactly 0. The mark of the bottom-right corner goes to the bottom-left corner, so that
/// the bottom-right pixel of `dst` is always 0 (as intended, too; an image one column wide has
/// one bottom pixel for both).
///
/// \param src,width,height  Packed mask of `width` * `height` bytes, not written.
/// \param dst               Packed, the same size: 255 where marked, else 0.
void find_contours(unsigned char* src, unsigned char* dst, int width, int height);

/// Outlines of a mask's regions as ordered points, by OpenCV's contour finder.
///
/// Every non-zero byte is foreground, and the image is surrounded by background. Outlines are in
/// the order of the finder's tree, a parent before its children, with no filtering.
///
/// \param src,width,height,stride  `height` rows of `width` bytes, `stride` apart; not written.
/// \param contours  Resized to the number of outlines, to none for an empty mask, and each element
///                  replaced by one outline's points.
/// \param mode      OpenCV's retrieval mode: 0 external, 1 list, 2 two levels, 3 tree.
/// \param method    OpenCV's approximation: 1 none, 2 simple, 3 and 4 Teh-Chin L1 and k-cos.
///                  Chain codes, 0, are not supported: nothing is written.
///
/// Throws cv::Exception, with nothing written, for a mode or method that the finder rejects.
void find_blob_contours(const unsigned char* src, std::vector<std::vector<Point>>& contours,
                        int width, int height, int stride, int mode, int method);

/// Every 4-connected region of 255 in a packed mask of 0 and 255, with all of its pixels.
///
/// Regions are in raster order of their first pixels, and a region's pixels are in raster order.
/// The list is resized to the number of regions (to none for an empty mask), but what its elements
/// hold stays, and this call's pixels are appended: pass an empty list to get only these.
///
/// Values other than 0 and 255 do not belong in the mask. They neither start nor end a row's run
/// of foreground, which starts where 255 follows 0 and ends where 0 follows 255.
///
/// \param mask,width,height  Packed mask of `width` * `height` bytes.
/// \param blobs              Receives the regions.
void find_blobs(const unsigned char* mask, std::vector<std::vector<Point>>& blobs, int width,
                int height);

/// As find_blobs(), with the boundary pixels only: those with a 0 to the left, to the right, above
/// or below, and all those in a band of two pixels along each side of the image. A full 5 x 5 mask
/// lacks its centre.
///
/// \param mask,blobs,width,height  As of find_blobs().
void find_blobs_contours(const unsigned char* mask, std::vector<std::vector<Point>>& blobs,
                         int width, int height);

/// Measures outlines and appends a Center for each that passes the enabled filters; what `centers`
/// holds already stays.
///
/// A blob's points are taken as a polygon, the last joining the first, and its moments follow from
/// Green's theorem (in double precision, positive whatever the winding). The tests, in this order:
/// - area: min_area <= m00 < max_area, in single precision;
/// - circularity: 4 pi m00 / perimeter^2, 0 for a perimeter of at most 0.01;
/// - inertia: the smaller over the larger principal central moment, 1 if they are nearly equal;
/// - polygons without area are dropped, whatever the filters;
/// - color: the mask at the centroid must equal blob_color. The centroid of an outline that crosses
///   itself may lie anywhere: above the mask, or past the last point of all blobs, it equals no
///   color.
///
/// \param mask,width    Packed mask that holds the blobs, read for the color only; bytes in a row.
/// \param blobs,params  Outlines inside of the mask, and the filters.
/// \param centers       Receives what passes, behind what it holds.
void filter_blobs(const unsigned char* mask, int width,
                  const std::vector<std::vector<Point>>& blobs, std::vector<Center>& centers,
                  const BlobParams& params);

/// Simplifies a curve as OpenCV's approxPolyDP does (D. Douglas and T. Peucker, 1973): keeps
/// points such that none is farther than `epsilon` pixels from the line through the kept points
/// on both sides of it. A last pass drops kept points that nearly lie between their neighbours,
/// unless these are on one horizontal or vertical line, as intended.
///
/// \param curve    The points in order.
/// \param approx   Replaced by the kept points; may be `curve`. Left as it is if the curve is
///                 empty or epsilon is not in [0, 1e30).
/// \param epsilon  In pixels.
/// \param closed   Whether the last point joins the first.
void approx_poly_dp(const std::vector<Point>& curve, std::vector<Point>& approx, double epsilon,
                    bool closed);

/// Whether a pixel is inside a polygon, by the even-odd rule: whether an odd number of edges cross
/// row y at a column greater than x.
///
/// An edge from vertex i to the vertex j before it crosses the row if exactly one of y_i <= y and
/// y_j <= y holds, at column x_i + (x_j - x_i) (y - y_i) / (y_j - y_i), the division truncating
/// toward zero.
///
/// \param xs,ys  Coordinates of the vertices; the last joins the first.
/// \param count  Vertices. Below 1: false.
/// \param x,y    The pixel.
/// \return Whether the pixel is inside.
bool is_inside_poly(const int* xs, const int* ys, int count, int x, int y);

/// Sets to 255 every pixel for which is_inside_poly() is true; the others stay.
///
/// \param mask   Packed rows, as many as the vertices reach.
/// \param width  Pixels per row.
/// \param xs,ys  Vertices inside of the mask, as in is_inside_poly(). Above row 0 and outside of
///               the columns 0 .. width - 1 nothing is written; the last row is not known here.
/// \param count  Vertices.
void fill_poly(unsigned char* mask, int width, const int* xs, const int* ys, int count);

/// Copies a mask and paints a disc of 255 around every point of the outlines: the pixels that are
/// strictly nearer than `radius`. Radius 1 paints the points themselves, less than 1 nothing.
///
/// \param src,dst,width,height,stride  Masks of `height` rows of `stride` bytes; all of them,
///                 padding included, are copied. `dst` may be `src`.
/// \param contours,radius  Outlines, whose discs are clipped to the mask, and the discs' radius.
void expand_contours(const unsigned char* src, const std::vector<std::vector<Point>>& contours,
                     unsigned char* dst, int width, int height, int stride, int radius);

/// Fills the region around a seed, 4-connected, whose pixels differ from the seed's in none of the
/// first three channels by more than `threshold` and are not farther from it than `max_distance`.
///
/// \param image         Four channels; the fourth is ignored. `stride` is honoured.
/// \param mask          One channel, the image's size, `stride` honoured: 255 if filled, else 0.
/// \param seed          Where to start, inside the image.
/// \param rect          Receives the filled region's bounding box.
/// \param max_distance  Greatest Euclidean distance in pixels, inclusive; below 1 for no limit.
/// \param threshold     0 to 255, inclusive.
/// \return The number of filled pixels, or 0 after a message, the first of
///   "input channels must be 4!\n",
///   "mask size must be same as image, mask channel must be one!\n",
///   "seed point must be between (0,0) and (width-1, height-1)!\n" and
///   "threshold must be between 0 and 255!\n" that applies.
int flood_fill(const ImageData& image, ImageData& mask, const Point& seed, Rect& rect,
               int max_distance, int threshold);

/// The bounding box of the pixels of a one-channel mask that hold one value.
///
/// \param mask  One byte for each pixel; `stride` is honoured, `channels` is not read.
/// \param left,top,right,bottom  Receive the smallest column and row and the largest column and
///              row of these pixels, all inclusive; -1 each when there is none, as in an empty
///              mask.
/// \param mode  1 for the pixels that equal 0; anything else for those that equal 255.
void get_mask_pos(const ImageData& mask, int& left, int& top, int& right, int& bottom, int mode);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup detection Detection
/// Tensors for networks, their boxes, and corners. The names `object_detetion_…` are spelled so on
/// purpose: they are the interface.
/// \{

/// Makes a detection network's input: shrinks or enlarges the image, keeping its aspect ratio, into
/// the top-left corner of the tensor, and zeros the rest (no centring, no padding colour).
///
/// With M the longer side of the image and m the shorter side of the tensor, the picture becomes
/// width * m / M by height * m / M pixels (truncated), by resize_bilinear_c3(), or
/// resize_bilinear_c4_to_c3() with the image's color_order as its swap flag: alpha is dropped.
/// If a side becomes 0, the tensor is all zeros. If a side of the tensor is below 1, `scale` is all
/// that is written: infinite for 0.
///
/// \param image       3 or 4 channels; with others nothing is written, not even `scale`.
/// \param net_width,net_height,tensor  Columns, rows and net_width * net_height * 3 floats.
/// \param scale       Receives M / m: tensor pixels times it are image pixels.
/// \param mean,std_dev  Three numbers each, by output channel. Not read without `normalize`.
/// \param planar      True: three planes of net_width * net_height floats. False: three floats a
///                    pixel.
/// \param normalize   True: (value - mean[k]) * (1 / std_dev[k]) in single precision, the
///                    reciprocal taken once. False: the byte as a float, 0 to 255.
/// \param keep_order  False: output channels 0 and 2 trade places, before they are normalised.
void object_detetion_preprocess(const ImageData& image, int net_width, int net_height,
                                float* tensor, float& scale, float* mean, float* std_dev,
                                bool planar, bool normalize, bool keep_order);

/// Decodes a detection network's output and suppresses overlapping boxes of the same class.
///
/// \param rows,num_rows,num_classes  Rows of 5 + num_classes floats: centre x, centre y, width,
///                         height, objectness, then a score for each class.
/// \param boxes            Cleared, then filled by increasing class, within a class by falling
///                         score, equal scores in the order of their rows. Edges are centre -
///                         size * 0.5 and centre + size * 0.5, truncated toward zero.
/// \param score_threshold  Kept are rows whose objectness times best class score reaches it. The
///                         best score starts at 0 and is replaced by greater ones only: if none
///                         is above 0, the class is 0 and the score is 0.
/// \param nms_threshold    A box goes if its intersection over union with a better one of its class
///                         is greater. Boxes that only touch have 0.
void object_detetion_postprocess(const float* rows, int num_rows, int num_classes,
                                 std::vector<BBox>& boxes, float score_threshold,
                                 float nms_threshold);

/// Lists a detector's anchor boxes as (cx, cy, w, h), divided by the image's size.
///
/// Level i has height / strides[i] rows and width / strides[i] columns of cells (truncated; none
/// for a stride below 1), centred at ((x + 0.5) * stride / width, (y + 0.5) * stride / height),
/// computed in double precision. Sizes are size * (1 / width) and size * (1 / height) in single
/// precision. Entries follow by level, row, column and anchor without gaps.
///
/// \param anchors              Room for 4 floats for each cell and anchor.
/// \param width,height         Of the image, in pixels.
/// \param strides,num_strides  Pixels between the cells of each level, and the number of levels.
/// \param anchor_sizes,num_anchors  anchor_sizes[i] has the sizes, in pixels, of level i.
void get_anchors(float* anchors, int width, int height, int** anchor_sizes, int num_anchors,
                 int* strides, int num_strides);

/// Finds FAST 9/16 corners: pixels at least 3 from every border with nine neighbours in a row, on
/// the circle of sixteen at radius 3, all darker or all brighter by more than `threshold`.
/// E. Rosten and T. Drummond, "Machine learning for high-speed corner detection", 2006.
///
/// \param src,width,height,stride  The image, and bytes between its rows.
/// \param keypoints  Cleared, also for sizes below 7, then filled in raster order.
/// \param channels   1, 3 (R, G, B) or 4; others print "input channels error!\n" and change
///                   nothing. Colour goes through rgb2gray() or rgba2gray().
/// \param bgra       The flag of rgba2gray(), for four channels.
/// \param threshold  Clamped to 0 … 255.
/// \param nonmax_suppression  Keep only corners whose score is greater than those of all eight
///                   neighbours, with the score as their response: the largest threshold at which
///                   the pixel is a corner.
/// \param mask       Null, or width * height packed bytes: pixels with 0 are not tested, and
///                   compete with none.
void fast_9_16(const unsigned char* src, std::vector<KeyPoint>& keypoints, int width, int height,
               int channels, int stride, int bgra, int threshold, bool nonmax_suppression,
               unsigned char* mask);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup frames Camera frames
/// Layouts, in memory:
/// - I420: three planes, Y, U and V; YV12: Y, V and U. A chroma plane has (width + 1) / 2 columns
///   and (height + 1) / 2 rows.
/// - NV12: a Y plane and a plane of as many U, V pairs, U first; NV21: V first. Android's camera
///   buffers are NV21 (or planar with a pixel stride, which packs as NV12 or NV21); iOS's bi-planar
///   pixel buffers are NV12.
/// - ARGB: 4 bytes a pixel, in the order B, G, R, A: iOS's 32BGRA. (It is the name of the
///   little-endian 32-bit word.) Android's ARGB_8888 bitmaps are R, G, B, A: swap red and blue.
///
/// Each plane comes with its stride in bytes. `flip` turns the picture upside down: conversions to
/// ARGB write the output from its last row upwards, everything else reads the source planes so,
/// before rotating. Sources and destinations must not overlap. Sizes below 1 return; no function of
/// this section prints or returns a status.
/// \{

/// Planes to ARGB, BT.601 studio range; alpha becomes 255.
///
/// **Crossed chroma, on purpose**: convert_i420_argb() takes V from the second plane and U from the
/// third, convert_yv12_argb() U from the second and V from the third. Frames with their planes in
/// I420's own order (Y, U, V) must be given to convert_yv12_argb().
///
/// \param y,y_stride,p2,p2_stride,p3,p3_stride  The source.
/// \param argb,argb_stride  The destination.
/// \param width,height,flip  In pixels; whether to turn upside down.
void convert_i420_argb(const unsigned char* y, int y_stride, const unsigned char* p2, int p2_stride,
                       const unsigned char* p3, int p3_stride, unsigned char* argb, int argb_stride,
                       int width, int height, bool flip);

/// \copydoc KelvraCV::convert_i420_argb
void convert_yv12_argb(const unsigned char* y, int y_stride, const unsigned char* p2, int p2_stride,
                       const unsigned char* p3, int p3_stride, unsigned char* argb, int argb_stride,
                       int width, int height, bool flip);

/// NV12 (U first) or NV21 (V first) to ARGB, BT.601 studio range; alpha becomes 255.
///
/// \param y,y_stride,uv,uv_stride  The source.
/// \param argb,argb_stride  The destination.
/// \param width,height,flip  In pixels; whether to turn upside down.
void convert_nv12_argb(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* argb, int argb_stride, int width, int height, bool flip);

/// \copydoc KelvraCV::convert_nv12_argb
void convert_nv21_argb(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* argb, int argb_stride, int width, int height, bool flip);

/// NV12 or NV21 to I420: the chroma pairs are separated.
///
/// \param y,y_stride,uv,uv_stride  The source.
/// \param dst_y,dst_y_stride,dst_u,dst_u_stride,dst_v,dst_v_stride  The destination.
/// \param width,height,flip  In pixels; whether to turn upside down.
void convert_nv12_i420(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u,
                       int dst_u_stride, unsigned char* dst_v, int dst_v_stride, int width,
                       int height, bool flip);

/// \copydoc KelvraCV::convert_nv12_i420
void convert_nv21_i420(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u,
                       int dst_u_stride, unsigned char* dst_v, int dst_v_stride, int width,
                       int height, bool flip);

/// Copies an I420 frame, or (mirror_i420()) mirrors it left to right.
///
/// \param y,y_stride,u,u_stride,v,v_stride  The source.
/// \param dst_y,dst_y_stride,dst_u,dst_u_stride,dst_v,dst_v_stride  The destination.
/// \param width,height,flip  In pixels; whether to turn upside down.
void copy_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
               const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
               unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
               int width, int height, bool flip);

/// \copydoc KelvraCV::copy_i420
void mirror_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                 const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
                 unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
                 int width, int height, bool flip);

/// Copies `crop_height` rows of an image of 4 bytes a pixel, from pixel (crop_x, crop_y) on.
///
/// Each row copies **dst_stride bytes**, whatever crop_width says: pass crop_width * 4. The crop is
/// refused silently unless crop_x + crop_width < width and crop_y + crop_height < height: it must
/// **not reach** the right or bottom edge. So are negative positions, a crop_height or dst_stride
/// below 1, and rows that would run past the end of the image.
///
/// \param src,src_stride,width,height  The image, and its size in pixels.
/// \param dst,dst_stride  The crop.
/// \param crop_x,crop_y,crop_width,crop_height  Its left column and top row, and its size.
void crop_argb(const unsigned char* src, int src_stride, unsigned char* dst, int dst_stride,
               int width, int height, int crop_x, int crop_y, int crop_width, int crop_height);

/// Rotates an I420 frame clockwise. `width` and `height` are the source's; by 90 and 270 degrees
/// the destination has `height` columns and `width` rows. Other values of `mode` write nothing.
///
/// \param y,y_stride,u,u_stride,v,v_stride  The source.
/// \param dst_y,dst_y_stride,dst_u,dst_u_stride,dst_v,dst_v_stride  The destination.
/// \param width,height,mode,flip  In pixels; degrees; whether to turn upside down.
void rotate_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                 const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
                 unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
                 int width, int height, RotationMode mode, bool flip);

/// Rotates an NV12 or NV21 frame clockwise into I420 planes, as rotate_i420().
///
/// \param y,y_stride,uv,uv_stride  The source.
/// \param dst_y,dst_y_stride,dst_u,dst_u_stride,dst_v,dst_v_stride  The destination.
/// \param width,height,mode,flip  In pixels; degrees; whether to turn upside down.
void rotate_nv12(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                 unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                 unsigned char* dst_v, int dst_v_stride, int width, int height, RotationMode mode,
                 bool flip);

/// \copydoc KelvraCV::rotate_nv12
void rotate_nv21(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                 unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                 unsigned char* dst_v, int dst_v_stride, int width, int height, RotationMode mode,
                 bool flip);

/// Rotates an image of 4 bytes a pixel clockwise, as rotate_i420(). By 90 and 270 degrees,
/// `src_stride` must be a multiple of 4, else nothing is written.
///
/// \param src,src_stride  The image.
/// \param dst,dst_stride  The destination.
/// \param width,height,mode,flip  In pixels; degrees; whether to turn upside down.
void rotate_argb(const unsigned char* src, int src_stride, unsigned char* dst, int dst_stride,
                 int width, int height, RotationMode mode, bool flip);

/// Scales an I420 frame with libyuv's filter of that name, which rounds differently on x86-64 and
/// arm64; a mean of n samples may be too dark by n / 65536 of it. Null planes, source sizes outside
/// 1 to 32768, destination sizes below 1 and unknown modes write nothing.
///
/// \param y,y_stride,u,u_stride,v,v_stride,src_width,src_height  The source.
/// \param dst_y,dst_y_stride,dst_u,dst_u_stride,dst_v,dst_v_stride,dst_width,dst_height  The
///             destination.
/// \param mode,flip  The filter; whether to turn upside down.
void scale_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                const unsigned char* v, int v_stride, int src_width, int src_height,
                unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                unsigned char* dst_v, int dst_v_stride, int dst_width, int dst_height,
                ScaleMode mode, bool flip);

/// Scales an image of 4 bytes a pixel to dst_width x dst_height, writing only the pixels of the
/// clip rectangle, at their places in the destination. As scale_i420(), nothing is written for bad
/// arguments; nor for a clip that is empty, larger than 32768 or not inside the destination.
///
/// SCALE_BOX to exactly a quarter of the width and a 6th, 10th, 14th … of the height, which libyuv
/// has no code for, is done as SCALE_BILINEAR.
///
/// \param src,src_stride,src_width,src_height  The source.
/// \param dst,dst_stride,dst_width,dst_height  The destination.
/// \param clip_x,clip_y,clip_width,clip_height  What is written of it.
/// \param mode  The filter.
void scale_argb(const unsigned char* src, int src_stride, int src_width, int src_height,
                unsigned char* dst, int dst_stride, int dst_width, int dst_height, int clip_x,
                int clip_y, int clip_width, int clip_height, ScaleMode mode);

/// \}

// ---------------------------------------------------------------------------------------------
/// \defgroup metadata Profiles and Exif
/// Encoded files are spliced, never decoded: chunks and segments are copied byte for byte. The
/// files may hold anything; a chunk or segment that runs past the end of its file counts as not
/// found, like everything after it. The output may be one of the inputs: both are read whole
/// before it is emptied. A call that fails leaves an existing output as it was, and may have
/// created an empty one.
///
/// Messages, in the order of the checks, KIND being png or jpeg: "png path error!\n" (a null path,
/// also of JPEG files), "origin KIND path error\n", "input KIND path error\n", "output KIND path
/// error\n" (not opened, or not written), "origin KIND is not KIND format!\n"; for an input that is
/// of another kind, the last one and then "KIND in is not KIND format!\n".
/// \{

/// Carries the colour profile ("iCCP") and Exif ("eXIf") of a PNG file into another one.
///
/// The output is the input with the origin's eXIf and then its iCCP chunk inserted at byte 33,
/// after the header. A chunk that the input already has is kept and never replaced. Only chunks
/// before the first image data ("IDAT") count; of several, the last one.
///
/// \param origin_path,input_path,output_path  Where they come from, what they are added to, and
///            the file to write.
/// \return 0, or -1 after a message.
int add_png_info(const char* origin_path, const char* input_path, const char* output_path);

/// Strips every colour profile ("iCCP") from a PNG file; all other chunks stay.
///
/// Bytes after the "IEND" chunk, or from a chunk on that runs past the end of the file, are not
/// copied; the output has zeros in their place.
///
/// An input that is no PNG prints "origin png is not png format!\n".
///
/// \param input_path,output_path  The file, and the one to write.
/// \return 0, or -1 after a message.
int remove_png_info(const char* input_path, const char* output_path);

/// Carries the colour profile of a JPEG file into another one: the first APP2 segment named
/// "ICC_PROFILE" before the image data. (Of a profile that is split over several segments, that is
/// a part.)
///
/// An input without a profile receives it after its first segment, whose length is deliberately
/// read from two signed bytes: if the low one is 128 or more, the segment is taken to be 256 bytes
/// shorter than it is, unless that leaves nothing. An input with a profile has it replaced; the
/// output then ends with as many zero bytes, after the end of the image, as the replaced segment
/// had. If the origin has none, the output is a copy of the input.
///
/// \param origin_path,input_path,output_path  As of add_png_info().
/// \return 0, or -1 after a message.
int add_jpeg_info(const char* origin_path, const char* input_path, const char* output_path);

/// \}

#pragma GCC visibility pop

}  // namespace KelvraCV

#endif  // KELVRA_CV_H_
