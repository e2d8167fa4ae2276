// Polygons of integer points: simplifying one, testing a point against one, filling one.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"
#include "shape/row_bits.h"

namespace KelvraCV {
namespace {

using namespace detail;

// ---- Simplifying, after D. Douglas and T. Peucker, "Algorithms for the reduction of the number of
// points required to represent a digitized line or its caricature", 1973.

// The points from index `first` to index `last`.
struct Range {
  size_t first;
  size_t last;
};

struct Farthest {
  size_t index;
  double measure;
};

struct Vector {
  double x;
  double y;
};
Vector from_to(const Point& a, const Point& b) {
  return {static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y};
}
double squared_length(const Vector& v) {
  return v.x * v.x + v.y * v.y;
}
double cross(const Vector& a, const Vector& b) {
  return a.y * b.x - a.x * b.y;
}

// The first of the points strictly inside a range with the greatest measure, if any is above 0.
template <class Measure>
Farthest farthest_inside(const Point* curve, const Range& range, Measure measure) {
  Farthest best{range.first, 0};
  for (size_t i = range.first + 1; i < range.last; ++i) {
    const double value = measure(curve[i]);
    if (value > best.measure) best = {i, value};
  }
  return best;
}

// Splits ranges, the last one first, at the point farthest from their chord, until none is far, and
// returns their first points. The cross product is that distance times the chord's length.
std::vector<Point> split(const Point* curve, std::vector<Range> pending, double squared_epsilon) {
  std::vector<Point> kept;
  while (!pending.empty()) {
    const Range range = pending.back();
    pending.pop_back();
    const Point start = curve[range.first];
    const Vector chord = from_to(start, curve[range.last]);
    const Farthest far = farthest_inside(curve, range, [&](const Point& point) {
      return std::fabs(cross(chord, from_to(start, point)));
    });
    if (far.measure * far.measure <= squared_epsilon * squared_length(chord)) {
      kept.push_back(start);
    } else {
      pending.push_back({far.index, range.last});
      pending.push_back({range.first, far.index});
    }
  }
  return kept;
}

// A ring is cut at two points that are far apart: each round starts from the point found by the one
// before. Its points stand twice, for ranges to go on past its end. An open curve is a ring if its
// ends are one point.
std::vector<Point> simplify(const std::vector<Point>& curve, bool closed, double squared_epsilon) {
  const size_t count = curve.size();
  if (!closed && squared_length(from_to(curve.front(), curve.back())) != 0) {
    std::vector<Point> kept = split(curve.data(), {{0, count - 1}}, squared_epsilon);
    kept.push_back(curve.back());
    return kept;
  }
  std::vector<Point> ring;
  ring.reserve(2 * count);
  for (int i = 0; i < 2; ++i) ring.insert(ring.end(), curve.begin(), curve.end());
  size_t from = 0;
  Farthest far{0, 0};
  for (int round = 0; round < (closed ? 3 : 1); ++round) {
    from = far.index % count;
    const Point start = ring[from];
    far = farthest_inside(ring.data(), {from, from + count}, [&](const Point& point) {
      return squared_length(from_to(start, point));
    });
  }
  if (far.measure <= squared_epsilon) return {ring[from]};
  return split(ring.data(), {{far.index, from + count}, {from, far.index}}, squared_epsilon);
}

// Whether `point` is close enough to the line through its neighbours, and between them, to go. As
// intended, neighbours on one horizontal or vertical line keep what is between them.
bool is_spare(const Point& before, const Point& point, const Point& after, double squared_epsilon) {
  const Vector line = from_to(before, after);
  const Vector in = from_to(before, point), out = from_to(point, after);
  const double distance = cross(line, in);
  return distance * distance <= 0.5 * squared_epsilon * squared_length(line) && line.x != 0 &&
         line.y != 0 && in.x * out.x + in.y * out.y >= 0;
}

// Drops spare points in one pass, in place, and returns how many are left. The point after a
// dropped one is kept without a look at it. An open curve keeps its ends; in a ring the last point
// is followed by the first, as it is by then.
size_t clean_up(std::vector<Point>& points, bool closed, double squared_epsilon) {
  const size_t count = points.size();
  const size_t first = closed ? 0 : 1, end = closed ? count : count - 1;
  size_t left = count, write = first;
  Point before = points[closed ? count - 1 : 0];
  for (size_t i = first; i < end && left > 2; ++i) {
    const Point after = points[i + 1 < count ? i + 1 : 0];
    if (is_spare(before, points[i], after, squared_epsilon)) {
      --left;
      ++i;
      before = after;
    } else {
      before = points[i];
    }
    points[write++] = before;
  }
  if (!closed) points[left - 1] = points.back();
  return left;
}

// ---- Crossings of a polygon's edges with a row, shared by the test and the filling.

// The edge from a polygon's vertex i to the vertex j before it crosses row y if just one of the two
// is at or above y: a vertex on the row counts for one of its edges, a horizontal edge never. The
// crossing's column is
//
//   x_i + (x_j - x_i) (y - y_i) / (y_j - y_i), the division truncating.
//
// Both y differences have the same sign: with D = |y_j - y_i|, X = |x_j - x_i| and the sign s of
// x_j - x_i it is x_i + s floor(X |y - y_i| / D). No product exceeds 64 bits: both factors are
// below 2^32.

// The crossings of the rows top .. bottom - 1, from the top down. With k = y - top the column is,
// if vertex i is the top, x_top + s floor(X k / D); else |y - y_i| is D - k, and floor(X - X k / D)
// = X - ceil(X k / D) makes it x_top - s floor((X k + D - 1) / D), where -s again leads from the
// top to the bottom.
struct Edge {
  Edge(int x_i, int y_i, int x_j, int y_j) : top(std::min(y_i, y_j)), bottom(std::max(y_i, y_j)) {
    const bool starts_at_i = y_i < y_j;
    height = static_cast<uint64_t>(int64_t{bottom} - top);
    width = static_cast<uint64_t>(std::abs(int64_t{x_j} - x_i));
    rest = starts_at_i ? 0 : height - 1;
    column = starts_at_i ? x_i : x_j;
    direction = (x_i < x_j) == starts_at_i ? 1 : -1;
  }

  // Makes a row below the top the new one.
  void cut_above(int y) {
    const uint64_t total = width * static_cast<uint64_t>(int64_t{y} - top) + rest;
    column += direction * static_cast<int64_t>(total / height);
    rest = total % height;
    top = y;
  }

  void set_step() {
    step = direction * static_cast<int64_t>(width / height);
    step_rest = width % height;
  }
  void go_down() {
    column += step;
    rest += step_rest;
    if (rest >= height) {
      rest -= height;
      column += direction;
    }
  }

  static constexpr int kNone = -1;
  int top, bottom, direction;
  int next = kNone;  // for a list of edges by number
  uint64_t height, width, rest, step_rest = 0;
  int64_t column, step = 0;
};

// Whether an edge crosses row y at a column greater than x: left of both vertices it does, right of
// both it does not.
bool crosses_right_of(int x_i, int y_i, int x_j, int y_j, int x, int y) {
  if ((y_i > y) == (y_j > y)) return false;
  if ((x_i > x) == (x_j > x)) return x_i > x;
  Edge edge(x_i, y_i, x_j, y_j);
  edge.cut_above(y);
  return edge.column > x;
}

// The edges that cross rows at or below 0.
std::vector<Edge> visible_edges(const int* xs, const int* ys, int count) {
  std::vector<Edge> edges;
  edges.reserve(static_cast<size_t>(std::max(count, 0)));
  for (int i = 0, j = count - 1; i < count; j = i++) {
    if (ys[i] == ys[j] || std::max(ys[i], ys[j]) <= 0) continue;
    Edge& edge = edges.emplace_back(xs[i], ys[i], xs[j], ys[j]);
    if (edge.top < 0) edge.cut_above(0);
    edge.set_step();
  }
  return edges;
}

// The crossing columns of one row: a bit each, which a second crossing at the same column clears.
class Crossings {
 public:
  explicit Crossings(int width) : width_(width), bits_(static_cast<size_t>(width) / kWordBits + 1) {
    std::fill_n(bits_.get(), static_cast<size_t>(width) / kWordBits + 1, uint64_t{0});
  }

  void flip(int64_t column) {
    const auto x = static_cast<size_t>(std::clamp<int64_t>(column, 0, width_));
    bits_[x / kWordBits] ^= uint64_t{1} << x % kWordBits;
    low_ = std::min(low_, x / kWordBits);
    high_ = std::max(high_, x / kWordBits);
  }

  // A pixel is inside when the columns greater than its own are odd in number: from every odd
  // crossing up to, not including, the next. Leaves no crossing.
  void fill(uint8_t* row) {
    constexpr size_t kNone = ~size_t{0};
    size_t start = kNone;
    for (size_t i = low_; i <= high_; ++i) {
      for (uint64_t word = bits_[i]; word != 0; word &= word - 1) {
        const size_t x = i * kWordBits + static_cast<size_t>(first_bit(word));
        if (start != kNone) std::memset(row + start, 255, x - start);
        start = start == kNone ? x : kNone;
      }
      bits_[i] = 0;
    }
    low_ = kNone;
    high_ = 0;
  }

 private:
  int width_;
  Scratch<uint64_t> bits_;
  size_t low_ = ~size_t{0}, high_ = 0;
};

}  // namespace

void approx_poly_dp(const std::vector<Point>& curve, std::vector<Point>& approx, double epsilon,
                    bool closed) {
  const bool is_valid = epsilon >= 0 && epsilon < 1e30;
  if (!is_valid || curve.empty()) return;
  std::vector<Point> kept = simplify(curve, closed, epsilon * epsilon);
  kept.resize(clean_up(kept, closed, epsilon * epsilon));
  approx = std::move(kept);
}

bool is_inside_poly(const int* xs, const int* ys, int count, int x, int y) {
  if (count < 1) return false;
  const auto flips = [=](int i, int j) {
    return crosses_right_of(xs[i], ys[i], xs[j], ys[j], x, y);
  };
  bool inside = flips(0, count - 1);
  const Full<int32_t> d;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const auto column = hn::Set(d, x), row = hn::Set(d, y);
  auto odd = hn::Zero(d);  // lanes with an odd number of crossings right of x
  // The edges that end from `first` on; those before `start` are done.
  const auto add_edges = [&](int first, int start, auto is_new) KELVRA_CV_INLINE {
    const auto right_i = hn::VecFromMask(d, hn::LoadU(d, xs + first) > column),
               right_j = hn::VecFromMask(d, hn::LoadU(d, xs + first - 1) > column);
    const auto crossing = is_new(hn::Xor(hn::VecFromMask(d, hn::LoadU(d, ys + first) > row),
                                         hn::VecFromMask(d, hn::LoadU(d, ys + first - 1) > row)));
    const auto between = hn::And(crossing, hn::Xor(right_i, right_j));
    if (hn::AllFalse(d, hn::MaskFromVec(between))) {
      odd = hn::Xor(odd, hn::And(crossing, right_i));
    } else {
      for (int k = start; k < first + lanes; ++k) inside ^= flips(k, k - 1);
    }
  };
  int i = 1;
  for (; lanes <= count - i; i += lanes) add_edges(i, i, [](auto v) { return v; });
  if (i < count && lanes < count) {
    const int first = count - lanes;
    add_edges(first, i, [=](auto v) {
      return hn::And(v, hn::VecFromMask(d, hn::Iota(d, first) > hn::Set(d, i - 1)));
    });
    i = count;
  }
  for (; i < count; ++i) inside ^= flips(i, i - 1);
  return inside != (hn::CountTrue(d, hn::MaskFromVec(odd)) % 2 == 1);
}

void fill_poly(unsigned char* mask, int width, const int* xs, const int* ys, int count) {
  if (width < 1) return;
  std::vector<Edge> edges = visible_edges(xs, ys, count);
  // Lists of the edges that start at a row, as a sort's comparisons would be hard to predict: all
  // rows that are the same modulo kLists have one, so that far rows take no more memory.
  constexpr size_t kLists = size_t{1} << 16;
  std::vector<int> lists;
  int y = std::numeric_limits<int>::max(), end = 0;  // from the first edge's top to the last bottom
  for (int i = 0; i < static_cast<int>(edges.size()); ++i) {
    const size_t list = static_cast<size_t>(edges[i].top) % kLists;
    if (list >= lists.size()) lists.resize(list + 1, Edge::kNone);
    edges[i].next = std::exchange(lists[list], i);
    y = std::min(y, edges[i].top);
    end = std::max(end, edges[i].bottom);
  }
  Crossings crossings(width);
  std::vector<Edge> active;
  for (; y < end; ++y) {
    const size_t list = static_cast<size_t>(y) % kLists;
    int starting = list < lists.size() ? lists[list] : Edge::kNone;
    for (; starting != Edge::kNone; starting = edges[starting].next) {
      if (edges[starting].top == y) active.push_back(edges[starting]);
    }
    for (Edge& edge : active) {
      crossings.flip(edge.column);
      edge.go_down();
    }
    crossings.fill(row_at(mask, y, width));
    const auto is_over = [y](const Edge& edge) { return edge.bottom <= y + 1; };
    active.erase(std::remove_if(active.begin(), active.end(), is_over), active.end());
  }
}

}  // namespace KelvraCV
