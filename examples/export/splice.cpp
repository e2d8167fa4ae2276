// splice png|jpeg ORIGIN INPUT OUTPUT and splice strip INPUT OUTPUT: the metadata functions as a
// command.
#include <cstdio>
#include <string>

#include "kelvra_cv.h"

int main(int argc, char** argv) {
  const std::string verb = argc > 1 ? argv[1] : "";
  if (verb == "png" && argc == 5) return -KelvraCV::add_png_info(argv[2], argv[3], argv[4]);
  if (verb == "jpeg" && argc == 5) return -KelvraCV::add_jpeg_info(argv[2], argv[3], argv[4]);
  if (verb == "strip" && argc == 4) return -KelvraCV::remove_png_info(argv[2], argv[3]);
  std::fprintf(stderr,
               "usage: splice png|jpeg ORIGIN INPUT OUTPUT, or splice strip INPUT OUTPUT\n");
  return 2;
}
