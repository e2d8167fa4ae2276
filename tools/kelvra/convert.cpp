#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"

namespace kelvra {

int convert(const operations::Chain& chain, const Conversion& conversion) {
  const Encoding encoding = conversion.output.encoding(conversion.out);
  const Source source = load(conversion.in, conversion.frame);
  save(operations::run(chain, source.image), conversion.out, encoding, source, conversion.in);
  return kDone;
}

int find(const operations::Chain& chain, const Conversion& conversion) {
  if (!conversion.out.empty()) return convert(chain, conversion);
  const Source source = load(conversion.in, conversion.frame);
  const operations::Findings found = operations::find(chain, source.image);
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (size_t i = 0; i < found.rows.size(); ++i) {
    nlohmann::ordered_json row;
    for (size_t k = 0; k < found.columns.size(); ++k) {
      const double value = found.rows[i][k];
      const auto whole = static_cast<int64_t>(value);
      if (static_cast<double>(whole) == value) {
        row[found.columns[k]] = whole;
      } else {
        row[found.columns[k]] = value;
      }
    }
    if (!found.points.empty()) {
      auto& points = row["points"] = nlohmann::ordered_json::array();
      for (const auto& point : found.points[i]) points.push_back({point.x, point.y});
    }
    rows.push_back(std::move(row));
  }
  nlohmann::ordered_json document;
  document["width"] = source.image.width;
  document["height"] = source.image.height;
  document[chain.steps.back().operation->name] = std::move(rows);
  std::printf("%s\n", document.dump().c_str());
  return kDone;
}

}  // namespace kelvra
