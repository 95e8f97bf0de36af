// Loads arbitrary bytes as a design template and expands every page of it for a small album:
// index and photo pages with their slots and fragments, the settings form (generated or
// hand-written) and its acceptance. Expansion must end, whatever the conditions and
// fragments say, and never read outside the texts it is given.
#include <cstdint>
#include <string>

#include "webalbum/expansion.h"
#include "webalbum/settings_form.h"
#include "xml/xml_document.h"

using namespace quorvane;
using namespace quorvane::webalbum;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64 * 1024) return 0;  // growth is bounded per text; keep runs quick
  DesignTemplate design;
  if (design.LoadFromMemory(std::string(reinterpret_cast<const char*>(data), size)) !=
      platform::kOk) {
    return 0;
  }
  BuildSettingsForm(design, "Sans");
  std::string message;
  AcceptSettingsForm(design, {{"a", ""}, {"b", "1"}}, &message);

  GalleryFacts gallery;
  gallery.title = "T";
  for (int i = 0; i < 3; ++i) {
    PhotoFacts photo;
    photo.image_file = "p" + std::to_string(i) + ".jpg";
    photo.page_file = "p" + std::to_string(i) + ".html";
    photo.title = "{Fragment_X}";
    gallery.photos.push_back(photo);
  }
  ExpansionContext context;
  context.gallery = &gallery;
  context.index_page_count = 2;
  context.user_variables = design.variables();
  xml::XmlNode* root = design.document()->FindPath(design.root_name());
  for (size_t i = 0; i < root->ChildCount() && i < 8; ++i) {
    xml::XmlNode* page = root->ChildAt(i);
    context.SetPage(page);
    context.defined_names.clear();
    context.index_page = static_cast<int>(i % 2);
    for (size_t j = 0; j < page->ChildCount() && j < 16; ++j) {
      context.photo = static_cast<int>(j % 4) - 1;
      ExpandNodeText(context, page->ChildAt(j), true);
    }
  }
  return 0;
}
