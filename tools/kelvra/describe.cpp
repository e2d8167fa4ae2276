// Texts from the table: lists, help, the manual page, shell completion.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"

namespace kelvra {
namespace {

using operations::Operation;
using operations::Parameter;
using operations::Type;

const char* const kVerbs[][2] = {
    {"list [FAMILY]", "The operations, one a line."},
    {"help [NAME]",
     "What an operation does, its parameters, and the functions behind it; a command's options."},
    {"OPERATION IN OUT [--PARAMETER VALUE]...", "One operation on a picture."},
    {"boxes|corners|outlines|blobs|regions|bounds|histogram IN [OUT]",
     "What is found, as JSON on standard output, or drawn over the picture."},
    {"run CHAIN IN OUT", "Operations one after the other: \"resize 50% | clahe clip=3\"."},
    {"batch CHAIN INPUT... -o FOLDER [--jobs N] [--resume] [--draft]",
     "A chain on any number of files and folders, on all processors. A broken photo is reported "
     "and "
     "stops nothing. --resume skips what is done; --draft decodes JPEG files at a part of their "
     "size where the chain begins with shrink."},
    {"meta show FILE", "Format, size, orientation, profile and Exif, as JSON."},
    {"meta copy ORIGIN IN OUT", "IN with ORIGIN's colour profile (of PNG, its Exif too)."},
    {"meta strip IN OUT", "The same picture without colour profile, Exif and texts."},
    {"play [PHOTO] [--port N]", "A page to try operations on, served to this machine only."},
    {"gallery PHOTO... -o FOLDER", "Every operation on photos, as one page."},
    {"completion bash|zsh", "Completion for a shell."}};

std::string json_type(Type type) {
  switch (type) {
    case Type::kWhole:
      return "whole";
    case Type::kNumber:
      return "number";
    case Type::kSwitch:
      return "switch";
    case Type::kChoice:
      return "choice";
    case Type::kSize:
      break;
  }
  return "size";
}

nlohmann::ordered_json to_json(const Operation& operation) {
  nlohmann::ordered_json entry;
  entry["name"] = operation.name;
  entry["family"] = operation.family;
  entry["sentence"] = operation.sentence;
  entry["takes"] = operation.takes;
  entry["gives"] = operation.gives;
  entry["after"] = operation.after;
  entry["finds"] = operation.find != nullptr;
  entry["functions"] = operation.functions;
  entry["parameters"] = nlohmann::ordered_json::array();
  for (const Parameter& parameter : operation.parameters) {
    nlohmann::ordered_json one;
    one["name"] = parameter.name;
    one["type"] = json_type(parameter.type);
    one["min"] = parameter.min;
    one["max"] = parameter.max;
    one["default"] = parameter.standard;
    one["choices"] = parameter.choices;
    one["meaning"] = parameter.meaning;
    entry["parameters"].push_back(std::move(one));
  }
  return entry;
}

std::vector<std::string> families() {
  std::vector<std::string> names;
  for (const Operation& operation : operations::table()) {
    if (std::find(names.begin(), names.end(), operation.family) == names.end()) {
      names.push_back(operation.family);
    }
  }
  return names;
}

// Roff reads a leading dot or quote, and backslashes and hyphens, in its own way.
std::string roff(const std::string& text) {
  std::string safe = !text.empty() && (text[0] == '.' || text[0] == '\'') ? "\\&" : "";
  for (const char c : text) {
    if (c == '\\') {
      safe += "\\e";
    } else if (c == '-') {
      safe += "\\-";
    } else {
      safe += c;
    }
  }
  return safe;
}

void print_entry(const Operation& operation) {
  std::printf(".TP\n.B %s\n%s\n", roff(operation.name).c_str(), roff(operation.sentence).c_str());
  for (const Parameter& parameter : operation.parameters) {
    std::printf(".br\n\\fI%s\\fR: %s; %s (%s)\n", roff("--" + parameter.name).c_str(),
                roff(parameter.meaning).c_str(), roff(operations::wanted(parameter)).c_str(),
                roff(parameter.standard).c_str());
  }
}

std::string options_of(const Operation& operation) {
  std::string words;
  for (const Parameter& parameter : operation.parameters) words += "--" + parameter.name + " ";
  return words + "--frame --format --quality --effort";
}

// The cases of a shell's `case`: what may follow an operation and what may follow its options.
std::string completion_cases(const char* variable) {
  std::string text;
  for (const Operation& operation : operations::table()) {
    text += "    " + operation.name + ") " + variable + "=\"" + options_of(operation) + "\" ;;\n";
    for (const Parameter& parameter : operation.parameters) {
      std::string words;
      if (parameter.type == Type::kSwitch) words = "on off ";
      for (const std::string& word : parameter.choices) words += word + " ";
      if (!words.empty()) {
        words.pop_back();
        text += "    " + operation.name + ":--" + parameter.name + ") " + variable + "=\"" + words +
                "\" ;;\n";
      }
    }
  }
  return text;
}

std::string first_words() {
  std::string words = "list help run batch meta play gallery completion";
  for (const Operation& operation : operations::table()) words += " " + operation.name;
  return words;
}

}  // namespace

std::string table_json() {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Operation& operation : operations::table()) all.push_back(to_json(operation));
  return all.dump();
}

int list_operations(const std::string& family, bool as_json) {
  const std::vector<std::string> names = families();
  if (!family.empty() && std::find(names.begin(), names.end(), family) == names.end()) {
    std::string wanted;
    for (const std::string& name : names) wanted += " " + name;
    throw operations::UsageError("there is no family \"" + family + "\"; wanted one of" + wanted);
  }
  if (as_json) {
    std::printf("%s\n", table_json().c_str());
    return kDone;
  }
  for (const Operation& operation : operations::table()) {
    if (family.empty() || operation.family == family) {
      std::printf("%-14s %-9s %s\n", operation.name.c_str(), operation.family.c_str(),
                  operation.sentence.c_str());
    }
  }
  return kDone;
}

int explain(const std::string& name) {
  const Operation& operation = operations::find_operation(name);
  std::printf("%s: %s\n\n  kelvra %s IN %s", name.c_str(), operation.sentence.c_str(), name.c_str(),
              operation.find ? "[OUT]" : "OUT");
  for (const Parameter& parameter : operation.parameters) {
    std::printf(" [--%s %s]", parameter.name.c_str(), parameter.standard.c_str());
  }
  std::printf("\n\nTakes: %s. Gives: %s.\n", operation.takes.c_str(), operation.gives.c_str());
  if (!operation.parameters.empty()) std::printf("\nParameters:\n");
  for (const Parameter& parameter : operation.parameters) {
    std::printf("  --%-12s %s\n  %14s %s; default %s\n", parameter.name.c_str(),
                parameter.meaning.c_str(), "", operations::wanted(parameter).c_str(),
                parameter.standard.c_str());
  }
  const operations::Step step = operations::single_step(operation, {}).steps[0];
  std::printf("\nIn a chain:  %s", name.c_str());
  for (const Parameter& parameter : operation.parameters) {
    std::printf(" %s=%s", parameter.name.c_str(), parameter.standard.c_str());
  }
  std::printf("\nIn C++:      %s\nIn Python:   kelvra_cv.run(\"%s\", image)\n",
              operations::to_cpp(step).c_str(), name.c_str());
  return kDone;
}

int print_manual() {
  std::printf(
      ".TH KELVRA 1 \"\" \"kelvra_cv %s\" \"User Commands\"\n.SH NAME\n"
      "kelvra \\- work on pictures from the command line\n.SH SYNOPSIS\n",
      operations::version().c_str());
  for (const auto& verb : kVerbs) std::printf(".B kelvra\n%s\n.br\n", roff(verb[0]).c_str());
  std::printf(
      ".SH DESCRIPTION\nEvery operation of kelvra_cv on JPEG and PNG files. Colour profiles "
      "and Exif travel from the\ninput to the output; a picture that Exif turns is turned "
      "first.\nThe name \\- stands for standard input and output.\n.SH VERBS\n");
  for (const auto& verb : kVerbs) {
    std::printf(".TP\n.B %s\n%s\n", roff(verb[0]).c_str(), roff(verb[1]).c_str());
  }
  std::printf(
      ".SH OPTIONS OF ALL OPERATIONS\n.TP\n\\fB\\-\\-frame\\fR LAYOUT:WIDTHxHEIGHT\n"
      "The input is a raw camera frame: i420, yv12, nv12 or nv21.\n"
      ".TP\n\\fB\\-\\-format\\fR png|jpeg\nOf the output, where its name does not say it.\n"
      ".TP\n\\fB\\-\\-quality\\fR N\nOf JPEG, 1 to 100 (90).\n"
      ".TP\n\\fB\\-\\-effort\\fR N\nOf PNG compression, 0 to 9 (3).\n");
  for (const std::string& family : families()) {
    std::printf(".SH OPERATIONS: %s\n", family.c_str());
    for (const Operation& operation : operations::table()) {
      if (operation.family == family) print_entry(operation);
    }
  }
  std::printf(
      ".SH EXIT STATUS\n0: done. 1: work failed, such as a photo that cannot be read, or "
      "one of a batch.\n2: usage: an unknown operation, parameter or value, found before "
      "anything is read or written.\n");
  return kDone;
}

int print_completion(const std::string& shell) {
  if (shell == "bash") {
    std::printf(R"(_kelvra_words() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} words=
  if [ "$COMP_CWORD" = 1 ]; then
    COMPREPLY=($(compgen -W "%s" -- "$word")); return
  fi
  case ${COMP_WORDS[1]} in
    help) words="%s" ;;
    list) words="%s" ;;
    meta) [ "$COMP_CWORD" = 2 ] && words="show copy strip" ;;
    completion) words="bash zsh" ;;
    batch) words="-o --jobs --draft --resume --format --quality --effort" ;;
    play) words="--port" ;;
    gallery) words="-o" ;;
%s  esac
  case ${COMP_WORDS[1]}:$previous in
%s  esac
  [[ $word != -* && $words == --* ]] && words=
  COMPREPLY=($(compgen -W "$words" -- "$word"))
  [ ${#COMPREPLY[@]} = 0 ] && COMPREPLY=($(compgen -f -- "$word"))
}
complete -o filenames -F _kelvra_words kelvra
)",
                first_words().c_str(), first_words().c_str(),
                [] {
                  std::string all;
                  for (const std::string& name : families()) all += name + " ";
                  return all;
                }()
                    .c_str(),
                completion_cases("words").c_str(), completion_cases("words").c_str());
  } else {
    // zsh reads bash's; as a file of its functions, the first request is answered at once.
    std::printf("#compdef kelvra\nautoload -U +X bashcompinit && bashcompinit\n");
    print_completion("bash");
    std::printf(
        "[ \"$funcstack[1]\" = _kelvra ] && _bash_complete -o filenames -F _kelvra_words\n");
  }
  return kDone;
}

}  // namespace kelvra
