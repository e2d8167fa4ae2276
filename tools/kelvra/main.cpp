// kelvra: every operation of the library from the command line.
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "commands.h"
#include "files.h"

namespace {

using kelvra::Conversion;
using operations::Operation;

void add_output_options(CLI::App* verb, kelvra::Output& output) {
  verb->add_option("--format", output.format, "Of the output: png or jpeg")
      ->check(CLI::IsMember({"png", "jpeg"}));
  verb->add_option("--quality", output.quality, "Of JPEG, 1 to 100 (90)")
      ->check(CLI::Range(1, 100));
  verb->add_option("--effort", output.effort, "Of PNG compression, 0 to 9 (3)")
      ->check(CLI::Range(0, 9));
}

// What one picture needs, and what the line says about it.
struct Request {
  Conversion conversion;
  std::string frame, chain;
  std::vector<std::string> values;  // of the operation's parameters, "" if not given
};

void add_conversion_options(CLI::App* verb, Request& request, bool needs_output) {
  verb->add_option("IN", request.conversion.in, "A JPEG or PNG file; - for standard input")
      ->required();
  verb->add_option("OUT", request.conversion.out, "A .jpg or .png file; - for standard output")
      ->required(needs_output);
  verb->add_option("--frame", request.frame,
                   "IN is a raw camera frame: i420, yv12, nv12 or nv21 and its size, such as "
                   "nv21:1920x1080");
  add_output_options(verb, request.conversion.output);
}

// The whole command line is known to be right when this begins to read.
int run_request(const operations::Chain& chain, Request& request) {
  Conversion& conversion = request.conversion;
  if (!request.frame.empty()) conversion.frame = kelvra::parse_frame(request.frame);
  if (!conversion.out.empty()) conversion.output.encoding(conversion.out);
  return chain.steps.back().operation->find ? find(chain, conversion) : convert(chain, conversion);
}

// A verb and what it does once the line has been read.
using Action = std::function<int()>;
using Actions = std::vector<std::pair<CLI::App*, Action>>;

const std::string kOperations = "Operations: ";  // and the family: a group of verbs
bool is_operation(const CLI::App& verb) {
  return verb.get_group().compare(0, kOperations.size(), kOperations) == 0;
}

void add_operation(CLI::App& app, const Operation& operation, Actions& actions) {
  CLI::App* const verb =
      app.add_subcommand(operation.name, operation.sentence)->group(kOperations + operation.family);
  const auto request = std::make_shared<Request>();
  request->values.resize(operation.parameters.size());
  add_conversion_options(verb, *request, !operation.find);
  for (size_t i = 0; i < operation.parameters.size(); ++i) {
    const operations::Parameter& parameter = operation.parameters[i];
    verb->add_option(
        "--" + parameter.name, request->values[i],
        parameter.meaning + "; " + operations::wanted(parameter) + " (" + parameter.standard + ")");
  }
  actions.emplace_back(verb, [request, &operation] {
    std::vector<std::pair<std::string, std::string>> values;
    for (size_t i = 0; i < request->values.size(); ++i) {
      if (!request->values[i].empty()) {
        values.emplace_back(operation.parameters[i].name, request->values[i]);
      }
    }
    return run_request(operations::single_step(operation, values), *request);
  });
}

void add_texts(CLI::App& app, Actions& actions) {
  const auto word = std::make_shared<std::string>();
  CLI::App* const list = app.add_subcommand("list", "The operations, one a line");
  const auto as_json = std::make_shared<bool>(false);
  list->add_option("FAMILY", *word, "color, filter, edge, geometry, shape, detect or frame");
  list->add_flag("--json", *as_json, "The whole table");
  actions.emplace_back(list, [=] { return kelvra::list_operations(*word, *as_json); });

  CLI::App* const help = app.add_subcommand("help", "What an operation or command does");
  const auto name = std::make_shared<std::string>();
  help->add_option("NAME", *name, "Of an operation, or of a command such as run");
  actions.emplace_back(help, [name, &app] {
    const auto is_command = [&](const CLI::App* verb) {
      return verb->get_name() == *name && !is_operation(*verb);
    };
    const auto found = app.get_subcommands(is_command);
    if (found.empty() && !name->empty()) return kelvra::explain(*name);
    const CLI::App& command = found.empty() ? app : *found[0];
    const std::string line = found.empty() ? "kelvra" : "kelvra " + *name;
    const std::string text =
        app.get_formatter()->make_help(&command, line, CLI::AppFormatMode::Normal);
    std::fputs(text.c_str(), stdout);
    return kelvra::kDone;
  });

  CLI::App* const manual = app.add_subcommand("man", "The manual page")->group("");
  actions.emplace_back(manual, kelvra::print_manual);

  CLI::App* const completion = app.add_subcommand("completion", "Completion for a shell");
  const auto shell = std::make_shared<std::string>();
  completion->add_option("SHELL", *shell, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}));
  actions.emplace_back(completion, [shell] { return kelvra::print_completion(*shell); });
}

void add_meta(CLI::App& app, Actions& actions) {
  CLI::App* const meta = app.add_subcommand("meta", "Colour profiles and Exif of files");
  meta->require_subcommand(1);
  const auto paths = std::make_shared<std::array<std::string, 3>>();
  const auto add = [&](const char* name, const char* text, std::vector<const char*> names,
                       Action action) {
    CLI::App* const verb = meta->add_subcommand(name, text);
    for (size_t i = 0; i < names.size(); ++i) {
      verb->add_option(names[i], (*paths)[i], "A file")->required();
    }
    actions.emplace_back(verb, std::move(action));
  };
  add("show", "Format, size, orientation, profile and Exif, as JSON", {"FILE"},
      [paths] { return kelvra::show_metadata((*paths)[0]); });
  add("copy", "IN with ORIGIN's colour profile; of PNG, its Exif too", {"ORIGIN", "IN", "OUT"},
      [paths] { return kelvra::copy_metadata((*paths)[0], (*paths)[1], (*paths)[2]); });
  add("strip", "The same picture without profile, Exif and texts", {"IN", "OUT"},
      [paths] { return kelvra::strip_metadata((*paths)[0], (*paths)[1]); });
}

void add_chains(CLI::App& app, Actions& actions) {
  CLI::App* const run = app.add_subcommand("run", "A chain of operations on a picture");
  const auto request = std::make_shared<Request>();
  run->add_option("CHAIN", request->chain, "Such as \"resize 50% | clahe clip=3\"")->required();
  add_conversion_options(run, *request, false);
  actions.emplace_back(run, [request] {
    const operations::Chain chain = operations::parse_chain(request->chain);
    if (request->conversion.out.empty() && !chain.steps.back().operation->find) {
      throw operations::UsageError("OUT is missing; wanted a .jpg or .png file, or -");
    }
    return run_request(chain, *request);
  });

  CLI::App* const batch = app.add_subcommand("batch", "A chain on any number of files and folders");
  const auto many = std::make_shared<kelvra::Batch>();
  const auto chain = std::make_shared<std::string>();
  batch->add_option("CHAIN", *chain, "Such as \"shrink 1280 | clahe clip=2\"")->required();
  batch->add_option("INPUT", many->inputs, "Files, and folders with all below them")->required();
  batch->add_option("-o,--output", many->folder, "Where the results go")->required();
  batch->add_option("-j,--jobs", many->jobs, "Photos at once (one a processor)")
      ->check(CLI::Range(1, 1024));
  batch->add_flag("--draft", many->draft,
                  "Decode JPEG files at a half to an eighth of their size if the chain begins with "
                  "shrink to a size in pixels: faster, but not the same bytes");
  batch->add_flag("--resume", many->resume, "Skip photos whose result is there and newer");
  add_output_options(batch, many->output);
  actions.emplace_back(batch,
                       [=] { return kelvra::batch(operations::parse_chain(*chain), *many); });
}

void add_pages(CLI::App& app, Actions& actions) {
  CLI::App* const play = app.add_subcommand("play", "A page to try operations on");
  const auto photo = std::make_shared<std::string>();
  const auto port = std::make_shared<int>(0);
  play->add_option("PHOTO", *photo, "A JPEG or PNG file; without one, a test picture");
  play->add_option("--port", *port, "Where to listen on this machine (any free port)")
      ->check(CLI::Range(1, 65535));
  actions.emplace_back(play, [=] { return kelvra::play(*photo, *port); });

  CLI::App* const gallery = app.add_subcommand("gallery", "Every operation on photos, as a page");
  const auto photos = std::make_shared<std::vector<std::string>>();
  const auto folder = std::make_shared<std::string>();
  gallery->add_option("PHOTO", *photos, "JPEG or PNG files")->required();
  gallery->add_option("-o,--output", *folder, "Where index.html goes")->required();
  actions.emplace_back(gallery, [=] { return kelvra::gallery(*photos, *folder); });
}

int run(int argc, char** argv) {
  CLI::App app("Every operation of kelvra_cv on JPEG and PNG pictures.", "kelvra");
  app.require_subcommand(1);
  app.set_version_flag("--version", operations::version());
  Actions actions;
  add_texts(app, actions);
  add_chains(app, actions);
  add_meta(app, actions);
  add_pages(app, actions);
  for (const Operation& operation : operations::table()) add_operation(app, operation, actions);

  // An unknown first word is most likely an operation's name, mistyped.
  const auto is_first_word = [&](const CLI::App* verb) { return verb->get_name() == argv[1]; };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_first_word).empty()) {
    operations::find_operation(argv[1]);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    throw operations::UsageError(error.what());
  }
  for (const auto& [verb, action] : actions) {
    if (verb->parsed()) return action();
  }
  return kelvra::kUsage;
}

// Pictures come and go: pages that go back to the system in between cost a batch a third of its
// time.
void keep_freed_memory() {
  mallopt(M_MMAP_THRESHOLD, 32 << 20);  // the most that is taken
  mallopt(M_TRIM_THRESHOLD, 512 << 20);
  mallopt(M_TOP_PAD, 64 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  keep_freed_memory();
  KelvraCV::log_set_callback(nullptr);
  kelvra::clean_up_on_signals();
  try {
    return run(argc, argv);
  } catch (const operations::UsageError& error) {
    std::fprintf(stderr, "kelvra: %s\n", error.what());
    return kelvra::kUsage;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "kelvra: not enough memory\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelvra: %s\n", error.what());
  }
  return kelvra::kFailed;
}
