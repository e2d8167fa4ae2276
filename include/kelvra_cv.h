/// \file
/// kelvra_cv: the pixel work of a photo and video editor, as free functions over raw buffers.
///
/// Conventions of every function, unless its comment says otherwise:
/// - **Buffers** belong to the caller, inputs and outputs alike, and are never reallocated.
///   Samples are unsigned 8-bit; the samples of one pixel are adjacent (interleaved).
/// - **Sizes** are in pixels; strides are in bytes from the start of one row to the start of the
///   next. The padding between rows is neither read for a result nor written. "Packed" means that
///   there is no padding. A size below 1 returns at once, without writing and without a message.
/// - **Byte order** in memory is R, G, B(, A), unless a flag or ImageData::color_order says B, G,
///   R(, A). Alpha is carried or dropped as stated and never takes part in colour arithmetic.
/// - **Results** are the same bytes on every machine, compiler and vector width. Shifts and
///   conversions to bytes truncate, with no rounding term, unless a formula shows one.
/// - **Failures** print one message through log_print() and return, writing nothing. Nothing
///   throws, except that running out of memory may throw std::bad_alloc.
/// - **Threads**: a call runs on its caller's thread, may run beside other calls on other output
///   buffers, and leaves nothing allocated.
#ifndef KELVRA_CV_H_
#define KELVRA_CV_H_

#include <cstdarg>
#include <string>
#include <vector>

namespace KelvraCV {

// ---------------------------------------------------------------------------------------------
// Records

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

// Only what stands between this line and the matching pop is exported.
#pragma GCC visibility push(default)

// ---------------------------------------------------------------------------------------------
// Core: messages, version, files

/// Replaces the sink of all messages. The sink receives a message's format text, unmodified, and
/// its arguments, which are valid during the call only. Null silences the library. Until the first
/// call, messages go to standard output through vprintf.
///
/// The sink is kept for the whole process without locking: set it before other threads call the
/// library. It is called on the thread that prints, from several threads at once if they print.
void log_set_callback(void (*callback)(const char* format, va_list arguments));

/// Passes a printf-style message to the sink, once and as it is: no prefix, no newline added.
void log_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// "v1.6.3", a constant that is never freed.
const char* get_version();

/// The number of processors that are online now, or -1 if the system cannot tell.
int get_cpu_core_num();

/// Reads a whole file into a new array.
///
/// \param path  The file.
/// \param size  Receives the file's length in bytes. 0 if the file cannot be opened; left as it
///              is if the file is empty or cannot be read.
/// \return The bytes, which the caller releases with `delete[]`, or null. A file of which nothing
///         could be read, such as an empty one, stays open: callers rely on its descriptor.
unsigned char* read_file_into_buffer(std::string path, int& size);

/// Reads the numbers of a text file.
///
/// Every line is split at any of the characters in `delimiters`, runs of them counting as one,
/// and each piece is converted as by atof (text that is no number gives 0). Every line starts
/// again at values[0]: what is left is the last non-empty line, followed by what longer lines
/// before it wrote further back. A line ends at its newline, which belongs to no number.
///
/// \param values  Must have room for the longest line.
///
/// A file that cannot be opened prints "Can not find %s\n" with the path; nothing is written then.
void parse_file_float(std::string path, const char* delimiters, float* values);

/// The `length` bytes at `bytes + offset`, zero bytes included. A length below 1 gives "".
std::string bytes_to_string(const char* bytes, int offset, int length);

/// The 32-bit integer in the four bytes at `bytes + offset`, most significant byte first if
/// `big_endian`, else last.
int bytes_to_int(const char* bytes, int offset, bool big_endian);

// ---------------------------------------------------------------------------------------------
// Color: gray

/// Luminance of packed or padded RGB: (19595 R + 38469 G + 7472 B) >> 16, the BT.601 weights
/// 0.299, 0.587 and 0.114 in 16-bit fixed point.
///
/// \param src         `height` rows of `width` pixels of 3 bytes: R, G, B.
/// \param dst         `height` rows of `width` bytes.
/// \param src_stride  Bytes between source rows.
/// \param dst_stride  Bytes between destination rows.
///
/// In place: a destination row may overlap its source row where each gray byte lands on pixels
/// that have been read already, as with `dst == src`: pixels run from left to right.
void rgb2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
              int dst_stride);

/// As rgb2gray(), from pixels of 4 bytes. The fourth byte has no influence.
///
/// \param bgra  0 for R, G, B, A in memory; anything else for B, G, R, A.
void rgba2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
               int dst_stride, int bgra);

// ---------------------------------------------------------------------------------------------
// Color: YCbCr, HSV and channel layout

// ---------------------------------------------------------------------------------------------
// Color: Lab

// ---------------------------------------------------------------------------------------------
// Filters: Gaussian and box blur

// ---------------------------------------------------------------------------------------------
// Filters: threshold, minimum and maximum

// ---------------------------------------------------------------------------------------------
// Filters: guided and bilateral

// ---------------------------------------------------------------------------------------------
// Edges, histograms, sums and the pyramid

// ---------------------------------------------------------------------------------------------
// Geometry: resizing

// ---------------------------------------------------------------------------------------------
// Geometry: transforms, warps and aligned crops
//
// Matrices are arrays of float in row-major order, and points are in pixels, x before y. In the
// coordinates that matrices act on, pixel (x, y) of an image is the unit square from (x, y) to
// (x + 1, y + 1): its centre is at (x + 0.5, y + 0.5), so that a matrix which doubles the size
// maps the image's edges onto the edges of one twice as large.
// - Affine, 6 floats: x' = M0 x + M1 y + M2, y' = M3 x + M4 y + M5.
// - Perspective, 9 floats: with w = H6 x + H7 y + H8, x' = (H0 x + H1 y + H2) / w and
//   y' = (H3 x + H4 y + H5) / w.
// Nothing here is checked and nothing is printed, unless stated; an impossible request gives
// infinities or NaNs. Results are written last: they may take the place of the arguments.

/// The affine matrix that turns by `angle` degrees and scales about (cx, cy). Positive angles turn
/// counter-clockwise on the screen. With a = scale cos(angle) and b = scale sin(angle):
///
///     a   b   (1 - a) cx - b cy
///    -b   a   b cx + (1 - a) cy
void get_rotation_matrix(float angle, float scale, float cx, float cy, float* M);

/// The affine matrix (6 floats) that maps three points exactly onto three others, by Cramer's
/// rule. Source points on one line have none: infinities or NaNs.
void get_affine_transform(const Point* src, const Point* dst, float* M);

/// The similarity (uniform scale, rotation, shift) that maps `n` points nearest to `n` others: the
/// a, b, tx and ty with the least sum of (a x - b y + tx - u)^2 + (b x + a y + ty - v)^2 over
/// source points (x, y) and destination points (u, v).
///
/// \param src,dst  `n` pairs of floats each.
/// \param M        Receives a, -b, tx, b, a, ty; NaNs if n is below 1.
void get_affine_transform(const float* src, const float* dst, int n, float* M);

/// The inverse of an affine matrix, in single precision: with D = 1 / (M0 M4 - M1 M3), that
/// difference taken with one fused multiply-add,
///
///     A11 =  M4 D   A12 = -M1 D   -A11 M2 - A12 M5
///     A21 = -M3 D   A22 =  M0 D   -A21 M2 - A22 M5
///
/// Where the difference is 0 there is no inverse, and D is 0: all six elements become zeros.
void invert_affine_transform(const float* M, float* iM);

/// The perspective matrix (9 floats, the last of them 1) that maps four points exactly onto four
/// others. If three points of one side are on a line, elements may be infinities or NaNs.
void get_perspective_transform(const float* src, const float* dst, float* H);

/// The inverse of a perspective matrix by cofactors, divided by its last element, which becomes
/// 1. A last element of 0 gives infinities or NaNs.
void invert_perspective_transform(const float* H, float* iH);

/// Warps a one-channel image through an affine matrix, with bilinear interpolation.
///
/// \param src,src_width,src_height,src_stride  The source. Of one with more than 524287 columns or
///                rows, only that many are used.
/// \param dst,dst_width,dst_height,dst_stride  The destination; it must not overlap the source.
/// \param M       Maps source to destination coordinates. Inverted as by
///                invert_affine_transform(). If it has no inverse, or one that is not finite, the
///                pixels concerned are outside of the source.
/// \param border  What is outside of the source. 0, or any value not listed: outside pixels have
///                the value `fill`, also where they are blended with the source's edge. 1: the
///                nearest pixel of the source (of a matrix without inverse, the first). 2:
///                destination pixels that would need an outside pixel keep their values.
/// \param fill    Byte k, counted from the least significant, is the value of channel k.
///
/// A source place (sx, sy) is the inverse's image of a destination pixel's centre, less 0.5 each:
/// pixel centres of the source are at whole numbers. Both are held in fixed point with 10
/// fractional bits, as the sum of a column's part, the inverse's A11 (or A21) times x, and a row's
/// part, the rest; each part is calculated in double precision and rounded to nearest, halves
/// upwards. (If A11 or A21 times dst_width reaches 524288, the sum is rounded in place of the
/// parts.) With the fractions fx and fy, from 0 to 1023, of the four pixels around that place:
///
///     upper  = (left (1024 - fx) + right fx) >> 3   of the two upper pixels
///     lower  = (left (1024 - fx) + right fx) >> 3   of the two lower pixels
///     result = (upper (1024 - fy) + lower fy + 65536) >> 17
///
/// A pixel whose weight is 0 is not needed. Four equal pixels give themselves, and the identity
/// gives a copy.
void warpaffine_bilinear_c1(const unsigned char* src, int src_width, int src_height,
                            int src_stride, unsigned char* dst, int dst_width, int dst_height,
                            int dst_stride, const float* M, int border, unsigned int fill);

/// As warpaffine_bilinear_c1() for four channels, which are treated alike.
void warpaffine_bilinear_c4(const unsigned char* src, int src_width, int src_height,
                            int src_stride, unsigned char* dst, int dst_width, int dst_height,
                            int dst_stride, const float* M, int border, unsigned int fill);

/// As warpaffine_bilinear_c4() through a perspective matrix of 9 floats. It is inverted by
/// cofactors in double precision, and places are quotients in double precision, each rounded as
/// a whole.
void warpperspective_bilinear_c4(const unsigned char* src, int src_width, int src_height,
                                 int src_stride, unsigned char* dst, int dst_width, int dst_height,
                                 int dst_stride, const float* H, int border, unsigned int fill);

/// Cuts out what landmarks enclose: fits the similarity that maps `image_points` onto
/// `crop_points`, with get_affine_transform(), and warps the image through it, with
/// warpaffine_bilinear_c4(), border 0 and fill 0.
///
/// \param src           Four channels.
/// \param crop_points   Where the landmarks are to be in the crop: `n` pairs of floats.
/// \param image_points  Where they are in the image: `n` pairs of floats.
/// \param dst           The crop, four channels, of the size that the caller wants.
/// \param inverse       Receives the inverse (6 floats), which maps crop to image coordinates:
///                      zeros if the fit has none.
/// \return 0.
int align_crop_img(const ImageData& src, const float* crop_points, const float* image_points,
                   int n, ImageData& dst, float* inverse);

// ---------------------------------------------------------------------------------------------
// Shapes: contours, blobs, polygons, fills

// ---------------------------------------------------------------------------------------------
// Detection: network tensors, boxes, anchors, corners

// ---------------------------------------------------------------------------------------------
// Frames: YUV and ARGB

// ---------------------------------------------------------------------------------------------
// Files: ICC profiles and Exif

#pragma GCC visibility pop

}  // namespace KelvraCV

#endif  // KELVRA_CV_H_
