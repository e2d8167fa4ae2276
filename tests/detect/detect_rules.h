// Tensors, boxes, anchors and corners, plainly.
#ifndef KELVRA_CV_TESTS_DETECT_DETECT_RULES_H_
#define KELVRA_CV_TESTS_DETECT_DETECT_RULES_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "geometry/resize_rules.h"
#include "kelvra_cv.h"

namespace test {

struct PlainTensor {
  std::vector<float> of(const Pixels& pixels, int w, int h, int channels, int order) const {
    std::vector<float> tensor(size_t{3} * net_width * net_height);
    const int longer = std::max(w, h), shorter = std::min(net_width, net_height);
    const Job job{w, h, w * shorter / longer, h * shorter / longer};
    const Pixels resized = plain_separable(pixels, job, channels, linear);
    const bool swaps = (channels == 4 && order == 1) != !keep_order;
    for (int i = 0; i < job.dw * job.dh; ++i) {
      const int at = i / job.dw * net_width + i % job.dw;
      for (int k = 0; k < 3; ++k) {
        float value = resized[channels * i + (swaps ? 2 - k : k)];
        if (mean != nullptr) value = (value - mean[k]) * (1.0f / deviation[k]);
        tensor[planar ? k * net_width * net_height + at : 3 * at + k] = value;
      }
    }
    return tensor;
  }

  int net_width, net_height;
  bool planar;
  const float *mean, *deviation;  // no mean: not normalised
  bool keep_order;
};

// Sorts again after every kept box, as the rule is told.
inline std::vector<KelvraCV::BBox> plain_decode(const std::vector<std::vector<float>>& rows,
                                                float score_threshold, float nms_threshold) {
  const size_t classes = rows.empty() ? 0 : rows[0].size() - 5;
  if (classes == 0) return {};
  std::vector<std::vector<KelvraCV::BBox>> lists(classes);
  for (const auto& r : rows) {
    float best = 0;
    int label = 0;
    for (size_t k = 0; k < classes; ++k) {
      if (r[5 + k] > best) best = r[5 + k], label = static_cast<int>(k);
    }
    const float score = r[4] * best;
    if (score >= score_threshold) {
      lists[label].push_back({std::trunc(r[0] - r[2] * 0.5f), std::trunc(r[1] - r[3] * 0.5f),
                              std::trunc(r[0] + r[2] * 0.5f), std::trunc(r[1] + r[3] * 0.5f), score,
                              label});
    }
  }
  std::vector<KelvraCV::BBox> kept;
  for (auto& list : lists) {
    while (!list.empty()) {
      std::stable_sort(
          list.begin(), list.end(),
          [](const KelvraCV::BBox& a, const KelvraCV::BBox& b) { return a.score > b.score; });
      const KelvraCV::BBox a = list.front();
      kept.push_back(a);
      list.erase(list.begin());
      list.erase(std::remove_if(list.begin(), list.end(),
                                [&](const KelvraCV::BBox& b) {
                                  const float w = std::min(a.x2, b.x2) - std::max(a.x1, b.x1);
                                  const float h = std::min(a.y2, b.y2) - std::max(a.y1, b.y1);
                                  float overlap = 0;
                                  if (w > 0 && h > 0) {
                                    overlap = w * h /
                                              ((a.x2 - a.x1) * (a.y2 - a.y1) +
                                               (b.x2 - b.x1) * (b.y2 - b.y1) - w * h);
                                  }
                                  return overlap > nms_threshold;
                                }),
                 list.end());
    }
  }
  return kept;
}

inline std::vector<float> flat(const std::vector<KelvraCV::BBox>& boxes) {
  std::vector<float> all;
  for (const KelvraCV::BBox& b : boxes) {
    all.insert(all.end(), {b.x1, b.y1, b.x2, b.y2, b.score, static_cast<float>(b.label)});
  }
  return all;
}

inline std::vector<float> plain_anchors(int width, int height,
                                        const std::vector<std::vector<int>>& sizes,
                                        const std::vector<int>& strides) {
  std::vector<float> all;
  for (size_t level = 0; level < strides.size(); ++level) {
    const int s = strides[level], columns = s < 1 ? 0 : width / s, rows = s < 1 ? 0 : height / s;
    for (int i = 0; i < columns * rows; ++i) {
      for (const int size : sizes[level]) {
        const auto side = static_cast<float>(size);
        all.push_back(static_cast<float>((i % columns + 0.5) * s / width));
        all.push_back(static_cast<float>((i / columns + 0.5) * s / height));
        all.push_back(side * (1.0f / static_cast<float>(width)));
        all.push_back(side * (1.0f / static_cast<float>(height)));
      }
    }
  }
  return all;
}

// The largest threshold at which nine neighbours in a row all pass, or less than 0.
inline int plain_score(const Pixels& gray, int width, int x, int y) {
  constexpr int kX[16] = {0, 1, 2, 3, 3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1};
  int score = -1;
  for (int start = 0; start < 16; ++start) {
    int least_darker = 255, least_brighter = 255;
    for (int i = start; i < start + 9; ++i) {
      const int v = y + kX[(i + 4) % 16], u = x + kX[i % 16];
      const int difference = gray[v * width + u] - gray[y * width + x];
      least_brighter = std::min(least_brighter, difference);
      least_darker = std::min(least_darker, -difference);
    }
    score = std::max({score, least_brighter - 1, least_darker - 1});
  }
  return score;
}

using Corners = std::vector<std::array<int, 3>>;

inline Corners plain_corners(const Pixels& gray, int width, int height, int threshold,
                             bool suppress, const uint8_t* mask) {
  std::vector<int> scores(gray.size());
  Corners all, kept;
  for (int y = 3; y < height - 3; ++y) {
    for (int x = 3; x < width - 3; ++x) {
      if (mask != nullptr && mask[y * width + x] == 0) continue;
      const int score = plain_score(gray, width, x, y);
      if (score < std::max(threshold, 0)) continue;
      scores[y * width + x] = score;
      all.push_back({x, y, suppress ? score : 0});
    }
  }
  if (!suppress) return all;
  for (const auto& corner : all) {
    bool peak = true;
    for (int i = 0; i < 9; ++i) {
      const int at = (corner[1] + i / 3 - 1) * width + corner[0] + i % 3 - 1;
      peak = peak && (i == 4 || corner[2] > scores[at]);
    }
    if (peak) kept.push_back(corner);
  }
  return kept;
}

inline Corners corners(const std::vector<KelvraCV::KeyPoint>& keypoints) {
  Corners all;
  for (const KelvraCV::KeyPoint& k : keypoints)
    all.push_back({k.x, k.y, static_cast<int>(k.response)});
  return all;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_DETECT_DETECT_RULES_H_
