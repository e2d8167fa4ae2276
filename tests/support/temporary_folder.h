// A folder for one test's files, in memory where the system has a place for that.
#ifndef KELVRA_CV_TESTS_TEMPORARY_FOLDER_H_
#define KELVRA_CV_TESTS_TEMPORARY_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace test {

// How many files this process has open.
inline size_t open_files() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// Removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    for (const auto& parent :
         {std::filesystem::path("/dev/shm"), std::filesystem::temp_directory_path()}) {
      path_ = parent / "kelvra_cv_test_XXXXXX";
      if (mkdtemp(path_.data()) != nullptr) return;
    }
    throw std::runtime_error("no folder like " + path_);
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
