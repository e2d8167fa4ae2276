// A page of pictures: each operation's result beside the original, its parameters and its time.
//
// Each family of operations adds its pictures in a function of its own, in the file of its name;
// main.cpp calls them in the page's order.
#ifndef KELVRA_CV_EXAMPLES_GALLERY_GALLERY_H_
#define KELVRA_CV_EXAMPLES_GALLERY_GALLERY_H_

#include <functional>
#include <string>
#include <vector>

#include "pictures/picture.h"

class Gallery {
 public:
  // Creates `folder`, into which add() writes the pictures and finish() the page.
  Gallery(Picture photo, std::string folder);

  // The photo, RGB, at most 720 pixels wide.
  const Picture& photo() const { return photo_; }

  void heading(const std::string& text);

  // Runs `operation`, which writes `result`, a few times, and adds the result with the shortest
  // time. `text` names the function and its parameters: "rgb2gray", or "filter_box, radius 8".
  // `original` is shown beside it: the photo unless given.
  void add(const std::string& text, const Picture& result, const std::function<void()>& operation,
           const Picture* original = nullptr);

  void finish();

  int count() const { return count_; }

 private:
  std::string save(const Picture& picture);
  std::string original_name(const Picture* original);

  Picture photo_;
  std::string folder_;
  std::string page_;
  int count_ = 0, files_ = 0;
};

// Gray copy of the photo and a mask of its brighter half, the inputs of many operations.
Picture gray_photo(const Gallery& gallery);

void add_color(Gallery& gallery);
void add_resize(Gallery& gallery);
void add_filter(Gallery& gallery);
void add_smooth(Gallery& gallery);
void add_edge(Gallery& gallery);
void add_warp(Gallery& gallery);
void add_shape(Gallery& gallery);
void add_detect(Gallery& gallery);

#endif  // KELVRA_CV_EXAMPLES_GALLERY_GALLERY_H_
