// Measuring outlines by their moments, and keeping those that pass the enabled filters.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>

#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

constexpr double kFourPi = 12.5663706143592;

// Moments of the area inside a polygon, up to the second order; mu are about the centroid.
struct Moments {
  double m00, m10, m01;
  double mu20, mu11, mu02;
};

// Green's theorem turns the integrals over the area into sums over the sides, from (u, v) to
// (x, y); the last point joins the first. The sums' sign is the winding's.
Moments moments_of(const std::vector<Point>& points) {
  double a00 = 0, a10 = 0, a01 = 0, a20 = 0, a11 = 0, a02 = 0;
  const size_t count = points.size();
  for (size_t i = 0; i < count; ++i) {
    const Point& from = points[i == 0 ? count - 1 : i - 1];
    const double u = from.x, v = from.y, x = points[i].x, y = points[i].y;
    const double area = u * y - x * v, u_x = u + x, v_y = v + y;
    a00 += area;
    a10 += area * u_x;
    a01 += area * v_y;
    a20 += area * (u * u_x + x * x);
    a11 += area * (u * (v_y + v) + x * (v_y + y));
    a02 += area * (v * v_y + y * y);
  }
  if (std::fabs(a00) <= FLT_EPSILON) return {};
  const double sign = a00 > 0 ? 1 : -1;
  const double m00 = sign * a00 / 2, m10 = sign * a10 / 6, m01 = sign * a01 / 6;
  const double m20 = sign * a20 / 12, m11 = sign * a11 / 24, m02 = sign * a02 / 12;
  return {m00, m10, m01, m20 - m10 * m10 / m00, m11 - m10 * m01 / m00, m02 - m01 * m01 / m00};
}

// Single precision, as are the sides.
float distance(const Point& a, const Point& b) {
  const auto dx = static_cast<float>(static_cast<double>(b.x) - a.x);
  const auto dy = static_cast<float>(static_cast<double>(b.y) - a.y);
  return std::sqrt(dx * dx + dy * dy);
}

// 4 pi area / perimeter^2: 1 for a circle, less for any other shape.
double circularity(const std::vector<Point>& points, double area) {
  if (points.empty()) return 0;
  float perimeter = 0;
  for (size_t i = 0; i + 1 < points.size(); ++i) perimeter += distance(points[i], points[i + 1]);
  perimeter += distance(points.back(), points.front());
  if (points.size() == 1) perimeter = 1;
  return perimeter > 0.01 ? kFourPi * area / (perimeter * perimeter) : 0;
}

// The smaller principal moment over the larger one: 1 for a circle, towards 0 for a line. Half the
// difference of the two is `half`, along the principal axis whose doubled angle has the cosine c
// and the sine s.
double inertia_ratio(const Moments& moments) {
  const double difference = moments.mu20 - moments.mu02, mixed = 2 * moments.mu11;
  const double length = std::sqrt(difference * difference + mixed * mixed);
  if (length <= 0.01) return 1;
  const double c = difference / length, s = mixed / length;
  const double half = 0.5 * difference * c + moments.mu11 * s;
  const double mean = 0.5 * (moments.mu20 + moments.mu02);
  return (mean - half) / (mean + half);
}

int truncate(double value) {
  return static_cast<int>(std::clamp<double>(value, INT_MIN, INT_MAX));
}

int64_t index_of(const Point& point, int width) {
  return int64_t{point.y} * width + point.x;
}

// How far the mask is known to reach: to the last of all blobs' points.
int64_t last_index(const std::vector<std::vector<Point>>& blobs, int width) {
  int64_t last = -1;
  for (const std::vector<Point>& blob : blobs) {
    for (const Point& point : blob) last = std::max(last, index_of(point, width));
  }
  return last;
}

// Whether a blob passes the filters of its shape; sets the confidence.
bool has_shape(const std::vector<Point>& blob, const Moments& moments, const BlobParams& params,
               float& confidence) {
  confidence = 1;
  if (params.by_area) {
    const auto area = static_cast<float>(moments.m00);
    if (area < static_cast<float>(params.min_area)) return false;
    if (area >= static_cast<float>(params.max_area)) return false;
  }
  if (params.by_circularity) {
    const double value = circularity(blob, moments.m00);
    if (!(value >= params.min_circularity && value < params.max_circularity)) return false;
  }
  if (params.by_inertia) {
    const double ratio = inertia_ratio(moments);
    if (!(ratio >= params.min_inertia_ratio && ratio < params.max_inertia_ratio)) return false;
    confidence = static_cast<float>(ratio * ratio);
  }
  return true;
}

}  // namespace

void filter_blobs(const unsigned char* mask, int width,
                  const std::vector<std::vector<Point>>& blobs, std::vector<Center>& centers,
                  const BlobParams& params) {
  const int64_t last = params.by_color ? last_index(blobs, width) : -1;
  for (const std::vector<Point>& blob : blobs) {
    const Moments moments = moments_of(blob);
    float confidence;
    if (!has_shape(blob, moments, params, confidence) || moments.m00 == 0) continue;
    const Point center{truncate(moments.m10 / moments.m00), truncate(moments.m01 / moments.m00)};
    if (params.by_color) {
      // An outline that crosses itself may have its centroid anywhere, even outside of the mask.
      const int64_t index = index_of(center, width);
      if (index < 0 || index > last || mask[index] != params.blob_color) continue;
    }
    float radius = 0;
    for (const Point& point : blob) radius = std::max(radius, distance(center, point));
    centers.push_back({center.x, center.y, radius, confidence});
  }
}

}  // namespace KelvraCV
