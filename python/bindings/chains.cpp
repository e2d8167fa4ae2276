// The table of operations, and chains over it.
#include <cstring>
#include <memory>

#include "arguments.h"
#include "call.h"
#include "families.h"
#include "operations.h"
#include "transfer.h"

namespace bindings {
namespace {

const char* type_name(operations::Type type) {
  switch (type) {
    case operations::Type::kWhole:
      return "whole";
    case operations::Type::kNumber:
      return "number";
    case operations::Type::kSwitch:
      return "switch";
    case operations::Type::kChoice:
      return "choice";
    case operations::Type::kSize:
      break;
  }
  return "size";
}

py::tuple names(const std::vector<std::string>& texts) {
  py::list list;
  for (const std::string& each : texts) list.append(each);
  return py::tuple(list);
}

py::list table() {
  py::list entries;
  for (const operations::Operation& entry : operations::table()) {
    py::list parameters;
    for (const operations::Parameter& each : entry.parameters) {
      parameters.append(py::make_tuple(each.name, type_name(each.type), operations::wanted(each),
                                       each.standard, each.meaning));
    }
    entries.append(py::make_tuple(entry.name, entry.family, entry.sentence, parameters, entry.takes,
                                  entry.gives, static_cast<bool>(entry.find),
                                  names(entry.functions)));
  }
  return entries;
}

// Calls work(); what is wrong with a chain or a picture becomes a ValueError.
template <class Work>
auto checked(const Work& work) {
  try {
    return work();
  } catch (const operations::UsageError& error) {
    throw py::value_error(error.what());
  } catch (const operations::WorkError& error) {
    throw py::value_error(error.what());
  } catch (const kelvra::FileError& error) {
    PyErr_SetString(PyExc_OSError, error.what());
    throw py::error_already_set();
  }
}

operations::Image to_picture(py::handle image) {
  const Image view = to_image(image, "image", {1, 3, 4}, Rows::kStrided);
  operations::Image picture(view.width, view.height, view.channels);
  const auto row_bytes = static_cast<size_t>(picture.stride());
  unlocked([&] {
    for (int y = 0; y < view.height; ++y) {
      std::memcpy(picture.at(0, y), view.data() + static_cast<ptrdiff_t>(y) * view.stride,
                  row_bytes);
    }
  });
  return picture;
}

// An array over the picture's own memory.
py::array from_picture(operations::Image picture) {
  Shape shape{picture.height, picture.width};
  if (picture.channels > 1) shape.push_back(picture.channels);
  auto owner = std::make_unique<std::vector<uint8_t>>(std::move(picture.pixels));
  uint8_t* const first = owner->data();
  const py::capsule keeper(owner.get(),
                           [](void* vector) { delete static_cast<std::vector<uint8_t>*>(vector); });
  owner.release();
  return py::array_t<uint8_t>(shape, first, keeper);
}

// Runs the chain without the interpreter's lock.
template <class Work>
auto on_chain(const std::string& text, py::handle image, const Work& work) {
  return checked([&] {
    const operations::Chain chain = operations::parse_chain(text);
    operations::Image picture = to_picture(image);
    const Messages messages;
    auto result = [&] {
      const py::gil_scoped_release release;
      return work(chain, std::move(picture));
    }();
    messages.raise();
    return result;
  });
}

py::array run(const std::string& chain, py::handle image) {
  const auto run_all = [](const operations::Chain& steps, operations::Image picture) {
    return operations::run(steps, std::move(picture));
  };
  return from_picture(on_chain(chain, image, run_all));
}

py::tuple find(const std::string& chain, py::handle image) {
  const operations::Findings found = on_chain(chain, image, operations::find);
  py::list rows;
  for (const std::vector<double>& numbers : found.rows) {
    py::dict row;
    for (size_t i = 0; i < numbers.size(); ++i) row[found.columns[i].c_str()] = numbers[i];
    rows.append(row);
  }
  return py::make_tuple(rows, from_outlines(found.points));
}

std::string normalized(const std::string& chain) {
  return checked([&] { return operations::to_text(operations::parse_chain(chain)); });
}

// From file to file, as the command line does it: the same bytes.
void run_file(const std::string& text, const std::string& input, const std::string& output,
              const std::string& format, int quality, int effort) {
  checked([&] {
    const operations::Chain chain = operations::parse_chain(text);
    const kelvra::Encoding encoding{kelvra::format_for(output, format), quality, effort};
    const Messages messages;  // a file's metadata that cannot be carried is left out silently
    unlocked([&] {
      const kelvra::Source source = kelvra::load(input);
      kelvra::save(operations::run(chain, source.image), output, encoding, source, input);
    });
  });
}

}  // namespace

void bind_chains(py::module_& module) {
  module.def("operations", &table);
  module.def("run", &run, py::arg("chain"), py::arg("image"));
  module.def("find", &find, py::arg("chain"), py::arg("image"));
  module.def("normalized", &normalized, py::arg("chain"));
  module.def("run_file", &run_file, py::arg("chain"), py::arg("input"), py::arg("output"),
             py::arg("format"), py::arg("quality"), py::arg("effort"));
}

}  // namespace bindings
