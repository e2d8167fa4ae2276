// What the library and the machine are.
#include <unistd.h>

#include "kelvra_cv.h"

namespace KelvraCV {

const char* get_version() {
  return "v" KELVRA_CV_VERSION;
}

int get_cpu_core_num() {
  return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
}

}  // namespace KelvraCV
