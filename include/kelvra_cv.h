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

// ---------------------------------------------------------------------------------------------
// Shapes: contours, blobs, polygons, fills

/// The bounding box of the pixels of a one-channel mask that hold one value.
///
/// \param mask  One byte for each pixel; `stride` is honoured, `channels` is not read.
/// \param left,top,right,bottom  Receive the smallest column and row and the largest column and
///              row of these pixels, all inclusive; -1 each when there is none, as in an empty mask.
/// \param mode  1 for the pixels that equal 0; anything else for those that equal 255.
void get_mask_pos(const ImageData& mask, int& left, int& top, int& right, int& bottom, int mode);

// ---------------------------------------------------------------------------------------------
// Detection: network tensors, boxes, anchors, corners

// ---------------------------------------------------------------------------------------------
// Frames: YUV and ARGB

// ---------------------------------------------------------------------------------------------
// Files: ICC profiles and Exif

#pragma GCC visibility pop

}  // namespace KelvraCV

#endif  // KELVRA_CV_H_
