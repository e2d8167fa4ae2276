// The pages, whose sources are HTML files that the build puts into the program.
#ifndef KELVRA_CV_TOOLS_KELVRA_PAGES_H_
#define KELVRA_CV_TOOLS_KELVRA_PAGES_H_

#include <string>

namespace kelvra {

const std::string& play_page();
const std::string& gallery_page();  // with the marks @TABS@ and @CARDS@ to be replaced

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_PAGES_H_
