// Loads arbitrary bytes as a print template and lays a small album out with it on paper of a
// few sizes, the template's own included. Reading and layout must end, whatever the numbers,
// weights and texts say, and never place anything from a photo that does not exist.
#include <cstdint>
#include <string>

#include "print/page_layout.h"

using namespace quorvane;
using namespace quorvane::print;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64 * 1024) return 0;
  PrintTemplate print_template;
  if (print_template.LoadFromMemory(std::string(reinterpret_cast<const char*>(data), size)) !=
      platform::kOk) {
    return 0;
  }
  webalbum::GalleryFacts gallery;
  gallery.title = "T";
  for (int i = 0; i < 5; ++i) {
    webalbum::PhotoFacts photo;
    photo.image_file = "p" + std::to_string(i) + ".jpg";
    photo.title = i == 2 ? std::string(300, 'w') : "{Fragment_X} caption";
    photo.width = i * 700;
    photo.height = 400 + i;
    gallery.photos.push_back(photo);
  }
  for (const PageSize page :
       {PaperSize(print_template.paper()), PageSize{612, 792}, PageSize{10, 10000}}) {
    for (const PageLayout& layout : LayoutPages(print_template, gallery, page)) {
      for (const PlacedPhoto& placed : layout.photos) {
        if (placed.photo < 0 || placed.photo >= static_cast<int>(gallery.photos.size())) {
          __builtin_trap();
        }
      }
    }
  }
  return 0;
}
