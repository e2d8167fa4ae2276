// A folder for one test's files.
#ifndef KELVRA_CV_TESTS_TEMPORARY_FOLDER_H_
#define KELVRA_CV_TESTS_TEMPORARY_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace test {

// Removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder()
      : path_((std::filesystem::temp_directory_path() / "kelvra_cv_test_").string() +
              std::string(6, 'X')) {  // mkdtemp() finds letters for the last six
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder like " + path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  // The path of the file, new or overwritten.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

}  // namespace test

#endif  // KELVRA_CV_TESTS_TEMPORARY_FOLDER_H_
