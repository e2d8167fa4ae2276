// Polygons of integer points: simplifying one, testing a point against one, filling one.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"
#include "shape/row_bits.h"

namespace KelvraCV {
namespace {

using namespace detail;

// ---- Simplifying, after D. Douglas and T. Peucker, "Algorithms for the reduction of the number of
// points required to represent a digitized line or its caricature", 1973.

// The points from index `first` round to index `last`, past the curve's end if last <= first.
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

// The first of the points begin .. end - 1 with the greatest measure, if greater than `best`'s.
template <class Measure>
Farthest farther(const Point* curve, size_t begin, size_t end, Farthest best, Measure measure) {
  for (size_t i = begin; i < end; ++i) {
    const double value = measure(curve[i]);
    if (value > best.measure) best = {i, value};
  }
  return best;
}

// The same for the points strictly inside a range.
template <class Measure>
Farthest farthest_inside(const std::vector<Point>& curve, const Range& range, Measure measure) {
  const Farthest none{range.first, 0};
  if (range.first < range.last) {
    return farther(curve.data(), range.first + 1, range.last, none, measure);
  }
  const Farthest best = farther(curve.data(), range.first + 1, curve.size(), none, measure);
  return farther(curve.data(), 0, range.last, best, measure);
}

class Simplifier {
 public:
  Simplifier(const std::vector<Point>& curve, double epsilon)
      : curve_(curve), squared_epsilon_(epsilon * epsilon) {}

  // The ranges that the curve starts with, each of them yet to be split.
  void start(bool closed) {
    const size_t last = curve_.size() - 1;
    if (!closed && squared_length(from_to(curve_[0], curve_[last])) != 0) {
      pending_.push_back({0, last});
      ends_at_last_ = true;
      return;
    }
    start_ring(closed ? 3 : 1);
  }

  std::vector<Point> split_all() {
    while (!pending_.empty()) {
      const Range range = pending_.back();
      pending_.pop_back();
      split_or_keep(range);
    }
    if (ends_at_last_) kept_.push_back(curve_.back());
    return std::move(kept_);
  }

 private:
  // A ring is cut at two points that are far apart: each round starts from the point found by the
  // one before.
  void start_ring(int rounds) {
    size_t from = 0;
    Farthest far{0, 0};
    for (int i = 0; i < rounds; ++i) {
      from = far.index;
      const Point& start = curve_[from];
      far = farthest_inside(curve_, {from, from}, [&](const Point& point) {
        return squared_length(from_to(start, point));
      });
    }
    if (far.measure <= squared_epsilon_) {
      kept_.push_back(curve_[from]);
      return;
    }
    pending_.push_back({far.index, from});
    pending_.push_back({from, far.index});
  }

  // Keeps the range's first point, or splits the range at the point farthest from its chord. The
  // cross product is that distance times the chord's length.
  void split_or_keep(const Range& range) {
    const Point& start = curve_[range.first];
    const Vector chord = from_to(start, curve_[range.last]);
    const Farthest far = farthest_inside(curve_, range, [&](const Point& point) {
      return std::fabs(cross(chord, from_to(start, point)));
    });
    if (far.measure * far.measure <= squared_epsilon_ * squared_length(chord)) {
      kept_.push_back(start);
      return;
    }
    pending_.push_back({far.index, range.last});
    pending_.push_back({range.first, far.index});
  }

  const std::vector<Point>& curve_;
  double squared_epsilon_;
  bool ends_at_last_ = false;
  std::vector<Range> pending_;
  std::vector<Point> kept_;
};

// Whether `point` is close enough to the line through its neighbours, and between them, to go. As
// intended, neighbours on one horizontal or vertical line keep what is between them.
bool is_spare(const Point& before, const Point& point, const Point& after, double squared_epsilon) {
  const Vector line = from_to(before, after);
  const Vector in = from_to(before, point), out = from_to(point, after);
  const double distance = cross(line, in);
  return distance * distance <= 0.5 * squared_epsilon * squared_length(line) && line.x != 0 &&
         line.y != 0 && in.x * out.x + in.y * out.y >= 0;
}

// Drops spare points in one pass, in place, and returns how many are left. After a drop the next
// point is kept unseen. A ring starts with its first point between the last and the second.
size_t clean_up(std::vector<Point>& points, bool closed, double squared_epsilon) {
  const size_t count = points.size();
  const size_t first = closed ? 0 : 1;
  if (count < 2 - first) return count;
  const size_t stop = closed ? count : count - 1;
  size_t left = count, write = first, read = first;
  const auto next = [&] {
    const Point point = points[read];
    read = read + 1 < count ? read + 1 : 0;
    return point;
  };
  Point before = points[closed ? count - 1 : 0];
  if (first >= count) return count;
  Point point = next();
  for (size_t i = first; i < stop && left > 2; ++i) {
    const Point after = next();
    if (is_spare(before, point, after, squared_epsilon)) {
      --left;
      ++i;
      points[write++] = before = after;
      point = next();
    } else {
      points[write++] = before = point;
      point = after;
    }
  }
  if (!closed) points[write] = point;
  return left;
}

// ---- Crossings of a polygon's edges with a row, shared by the test and the filling.

// Half open, so that a vertex on the row counts for one of its edges; horizontal edges never do.
bool crosses(int y_a, int y_b, int y) {
  return (y_a <= y) != (y_b <= y);
}

int64_t magnitude(int64_t value) {
  return value < 0 ? -value : value;
}

// Where an edge crosses the rows top .. bottom - 1, from the top down. The definition, of an edge
// from its polygon's vertex i to the vertex j before it, is
//
//   x_i + (x_j - x_i) (y - y_i) / (y_j - y_i), the division truncating.
//
// Both y differences have the same sign: with D = |y_j - y_i|, X = |x_j - x_i| and the sign s of
// x_j - x_i it is x_i + s floor(X |y - y_i| / D). With k = y - top this is, if vertex i is the top,
// x_top + s floor(X k / D); else |y - y_i| is D - k, and floor(X - X k / D) = X - ceil(X k / D)
// makes it x_top - s floor((X k + D - 1) / D), where -s again leads from the top to the bottom.
struct Edge {
  Edge(int x_i, int y_i, int x_j, int y_j) : top(std::min(y_i, y_j)), bottom(std::max(y_i, y_j)) {
    const bool starts_at_i = y_i < y_j;
    height = static_cast<uint64_t>(int64_t{bottom} - top);
    width = static_cast<uint64_t>(magnitude(int64_t{x_j} - x_i));
    bias = starts_at_i ? 0 : height - 1;
    column = starts_at_i ? x_i : x_j;
    direction = (x_i < x_j) == starts_at_i ? 1 : -1;
  }

  // From the top to row y. No product or sum exceeds 64 bits: both factors are below 2^32.
  void go_to(int y) {
    const uint64_t total = width * static_cast<uint64_t>(int64_t{y} - top) + bias;
    column += direction * static_cast<int64_t>(total / height);
    rest = total % height;
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

  int top, bottom, direction;
  uint64_t height, width, bias, rest = 0, step_rest = 0;
  int64_t column, step = 0;
};

// The edges that cross a row at or below 0, in order of their first such row.
std::vector<Edge> visible_edges(const int* xs, const int* ys, int count) {
  std::vector<Edge> edges;
  for (int i = 0, j = count - 1; i < count; j = i++) {
    if (ys[i] == ys[j] || std::max(ys[i], ys[j]) <= 0) continue;
    Edge edge(xs[i], ys[i], xs[j], ys[j]);
    edge.go_to(std::max(edge.top, 0));
    edge.set_step();
    edge.top = std::max(edge.top, 0);
    edges.push_back(edge);
  }
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.top < b.top; });
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
  Simplifier simplifier(curve, epsilon);
  simplifier.start(closed);
  std::vector<Point> kept = simplifier.split_all();
  kept.resize(clean_up(kept, closed, epsilon * epsilon));
  approx = std::move(kept);
}

bool is_inside_poly(const int* xs, const int* ys, int count, int x, int y) {
  bool inside = false;
  for (int i = 0, j = count - 1; i < count; j = i++) {
    if (!crosses(ys[i], ys[j], y)) continue;
    Edge edge(xs[i], ys[i], xs[j], ys[j]);
    edge.go_to(y);
    inside ^= edge.column > x;
  }
  return inside;
}

void fill_poly(unsigned char* mask, int width, const int* xs, const int* ys, int count) {
  if (width < 1) return;
  std::vector<Edge> edges = visible_edges(xs, ys, count);
  Crossings crossings(width);
  std::vector<Edge> active;
  auto next = edges.cbegin();
  for (int y = 0; next != edges.cend() || !active.empty(); ++y) {
    if (active.empty()) y = next->top;
    for (; next != edges.cend() && next->top == y; ++next) active.push_back(*next);
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
