// Uses the installed library: prints its version and a gray pixel.
#include <kelvra_cv.h>

#include <cstdio>
#include <cstring>

int main() {
  const unsigned char red[3] = {255, 0, 0};
  unsigned char gray = 0;
  KelvraCV::rgb2gray(red, &gray, 1, 1, 3, 1);
  std::printf("%s %d\n", KelvraCV::get_version(), gray);
  return gray == 76 && std::strcmp(KelvraCV::get_version(), "v1.6.3") == 0 ? 0 : 1;
}
