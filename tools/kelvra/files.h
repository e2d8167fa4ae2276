// Whole files, read and written; "-" stands for standard input and output.
#ifndef KELVRA_CV_TOOLS_KELVRA_FILES_H_
#define KELVRA_CV_TOOLS_KELVRA_FILES_H_

#include <string>

#include "picture_file.h"

namespace kelvra {

Bytes read_all(const std::string& path);

// A file that is written beside its place and takes it by renaming when commit() is called; else it
// is removed, also when the process is interrupted.
class NewFile {
 public:
  explicit NewFile(const std::string& target);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  const std::string& path() const { return path_; }  // for now
  void write(const Bytes& bytes) const;
  void commit();

 private:
  std::string target_, path_;
};

// Removes the unfinished files of the process when it is interrupted or terminated, and ends it.
void clean_up_on_signals();

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_FILES_H_
