#include "webalbum/expansion.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <set>

#include "webalbum/internal/text.h"
#include "xml/xml_node.h"

namespace quorvane::webalbum {
namespace {

using internal::ReplaceAll;
using internal::Trimmed;

// Fragments nested deeper than this, or text grown past this size, are hostile or broken
// designs: what is left expands to nothing.
constexpr int kMaxDepth = 6;
constexpr size_t kMaxTextSize = size_t{1} << 20;
constexpr int kMaxFragmentRounds = 500;

std::string WithUnderscores(std::string_view name) {
  std::string out(name);
  for (char& c : out) {
    if (c == ' ') c = '_';
  }
  return out;
}

std::string Stem(std::string_view name) {
  const size_t dot = name.rfind('.');
  return std::string(dot == std::string_view::npos ? name : name.substr(0, dot));
}

const PhotoFacts* Photo(const ExpansionContext& context, int index) {
  if (context.gallery == nullptr || index < 0 ||
      static_cast<size_t>(index) >= context.gallery->photos.size()) {
    return nullptr;
  }
  return &context.gallery->photos[static_cast<size_t>(index)];
}

int PhotoCount(const ExpansionContext& context) {
  return context.gallery == nullptr ? 0 : static_cast<int>(context.gallery->photos.size());
}

// A named fragment's text after passes 1 and 2; empty when the page has none.
std::string ExpandFragment(ExpansionContext& context, std::string_view name) {
  const std::string* text = FindNamed(context.fragments, name);
  if (text == nullptr || context.depth >= kMaxDepth) return {};
  ++context.depth;
  std::string out = ReplaceUserVariables(context, ReplaceBuiltins(context, *text));
  --context.depth;
  return out;
}

std::string ChildText(xml::XmlNode* node, std::string_view name) {
  if (node == nullptr) return {};
  xml::XmlNode* child = node->FindPath(std::string(name) + ".#text");
  return child == nullptr ? std::string() : child->GetTextDecoded();
}

std::string IndexPageList(ExpansionContext& context) {
  if (context.index_page_count < 2 || context.index_page_list == nullptr ||
      context.depth >= kMaxDepth) {
    return {};
  }
  xml::XmlNode* list = context.index_page_list;
  int shown = context.index_page_count;
  if (xml::XmlNode* max = list->FindPath("@MaxShown")) {
    const int limit = std::atoi(std::string(max->value()).c_str());
    if (limit > 0 && limit < shown) shown = limit;
  }
  // A window of pages around the current one, shifted to stay inside the list.
  int first = context.index_page - shown / 2;
  if (first > context.index_page_count - shown) first = context.index_page_count - shown;
  if (first < 0) first = 0;

  ++context.depth;
  auto expand = [&](std::string text) {
    return ReplaceUserVariables(context, ReplaceBuiltins(context, std::move(text)));
  };
  std::string out = expand(ChildText(list, "Header"));
  const std::string item = ChildText(list, "Item");
  const std::string selected = ChildText(list, "ItemSelected");
  for (int page = first; page < first + shown; ++page) {
    std::string entry = page == context.index_page ? selected : item;
    ReplaceAll(entry, "{IndexPageFileName}", IndexPageFileName(page));
    ReplaceAll(entry, "{IndexPageNum}", std::to_string(page + 1));
    out += expand(std::move(entry));
    if (out.size() > kMaxTextSize) break;
  }
  out += expand(ChildText(list, "Footer"));
  --context.depth;
  return out;
}

using ValueFn = std::string (*)(ExpansionContext& context, const PhotoFacts& photo);
using PageValueFn = std::string (*)(ExpansionContext& context);

struct Builtin {
  std::string_view name;  // without braces
  ValueFn photo_value;    // set for the placeholders of the current photo
  PageValueFn page_value;
};

std::string PrevImagePage(ExpansionContext& c, const PhotoFacts&) {
  const PhotoFacts* p = Photo(c, c.photo - 1);
  return p ? p->page_file : std::string();
}
std::string NextImagePage(ExpansionContext& c, const PhotoFacts&) {
  const PhotoFacts* p = Photo(c, c.photo + 1);
  return p ? p->page_file : std::string();
}
std::string PrevIndexPage(ExpansionContext& c) {
  return c.index_page - 1 >= 0 ? IndexPageFileName(c.index_page - 1) : std::string();
}
std::string NextIndexPage(ExpansionContext& c) {
  return c.index_page + 1 < c.index_page_count ? IndexPageFileName(c.index_page + 1)
                                               : std::string();
}

// The placeholders in the order they are replaced.
const Builtin kBuiltins[] = {
    {"ImageWidth", [](ExpansionContext&, const PhotoFacts& p) { return std::to_string(p.width); },
     nullptr},
    {"ImageHeight", [](ExpansionContext&, const PhotoFacts& p) { return std::to_string(p.height); },
     nullptr},
    {"ThumbWidth",
     [](ExpansionContext&, const PhotoFacts& p) { return std::to_string(p.thumb_width); }, nullptr},
    {"ThumbHeight",
     [](ExpansionContext&, const PhotoFacts& p) { return std::to_string(p.thumb_height); },
     nullptr},
    {"ImageFileName", [](ExpansionContext&, const PhotoFacts& p) { return p.image_file; }, nullptr},
    {"ImageFileSize",
     [](ExpansionContext&, const PhotoFacts& p) { return FileSizeText(p.file_size); }, nullptr},
    {"ImageThumbFileName", [](ExpansionContext&, const PhotoFacts& p) { return p.thumb_file; },
     nullptr},
    {"ImagePageFileName", [](ExpansionContext&, const PhotoFacts& p) { return p.page_file; },
     nullptr},
    {"ImageTitle", [](ExpansionContext&, const PhotoFacts& p) { return p.title; }, nullptr},
    {"ImageCaption", [](ExpansionContext&, const PhotoFacts& p) { return p.description; }, nullptr},
    {"ImageKeywords", [](ExpansionContext&, const PhotoFacts& p) { return p.keywords; }, nullptr},
    {"ImageDate", [](ExpansionContext&, const PhotoFacts& p) { return DateText(p.date); }, nullptr},
    {"ImageNum", [](ExpansionContext& c, const PhotoFacts&) { return std::to_string(c.photo + 1); },
     nullptr},
    {"FirstImagePageFileName", nullptr,
     [](ExpansionContext& c) {
       const PhotoFacts* p = Photo(c, 0);
       return p ? p->page_file : std::string();
     }},
    {"LastImagePageFileName", nullptr,
     [](ExpansionContext& c) {
       const PhotoFacts* p = Photo(c, PhotoCount(c) - 1);
       return p ? p->page_file : std::string();
     }},
    {"Fragment_PrevImagePage",
     [](ExpansionContext& c, const PhotoFacts& p) {
       return PrevImagePage(c, p).empty() ? std::string()
                                          : ExpandFragment(c, "Fragment_PrevImagePage");
     },
     nullptr},
    {"Fragment_NextImagePage",
     [](ExpansionContext& c, const PhotoFacts& p) {
       return NextImagePage(c, p).empty() ? std::string()
                                          : ExpandFragment(c, "Fragment_NextImagePage");
     },
     nullptr},
    {"PrevImagePageFileName", PrevImagePage, nullptr},
    {"NextImagePageFileName", NextImagePage, nullptr},
    {"Fragment_PrevIndexPage", nullptr,
     [](ExpansionContext& c) {
       return PrevIndexPage(c).empty() ? std::string()
                                       : ExpandFragment(c, "Fragment_PrevIndexPage");
     }},
    {"Fragment_NextIndexPage", nullptr,
     [](ExpansionContext& c) {
       return NextIndexPage(c).empty() ? std::string()
                                       : ExpandFragment(c, "Fragment_NextIndexPage");
     }},
    {"PrevIndexPageFileName", nullptr, PrevIndexPage},
    {"NextIndexPageFileName", nullptr, NextIndexPage},
    {"IndexPageFileName", nullptr,
     [](ExpansionContext& c) { return IndexPageFileName(c.index_page); }},
    {"FirstIndexPageFileName", nullptr, [](ExpansionContext&) { return IndexPageFileName(0); }},
    {"LastIndexPageFileName", nullptr,
     [](ExpansionContext& c) {
       return IndexPageFileName(c.index_page_count > 0 ? c.index_page_count - 1 : 0);
     }},
    {"Fragment_IndexPageList", nullptr, IndexPageList},
    // Not clamped: the first page's previous number is 0, the last page's next is count + 1.
    {"IndexPrevPageNum", nullptr, [](ExpansionContext& c) { return std::to_string(c.index_page); }},
    {"IndexPageNum", nullptr, [](ExpansionContext& c) { return std::to_string(c.index_page + 1); }},
    {"IndexNextPageNum", nullptr,
     [](ExpansionContext& c) { return std::to_string(c.index_page + 2); }},
    {"IndexPageMax", nullptr,
     [](ExpansionContext& c) { return std::to_string(c.index_page_count); }},
    {"ImageCount", nullptr, [](ExpansionContext& c) { return std::to_string(PhotoCount(c)); }},
    {"GalleryDate", nullptr,
     [](ExpansionContext& c) { return c.gallery ? DateText(c.gallery->date) : std::string(); }},
    {"GalleryTitle", nullptr,
     [](ExpansionContext& c) { return c.gallery ? c.gallery->title : std::string(); }},
    {"GalleryDescription", nullptr,
     [](ExpansionContext& c) { return c.gallery ? c.gallery->description : std::string(); }},
};

}  // namespace

void ExpansionContext::SetPage(xml::XmlNode* page) {
  fragments.clear();
  index_page_list = nullptr;
  if (page == nullptr) return;
  for (size_t i = 0; i < page->ChildCount(); ++i) {
    xml::XmlNode* child = page->ChildAt(i);
    if (child->kind() != xml::kElementNode || !child->name().starts_with("Fragment_")) continue;
    if (child->name() == "Fragment_IndexPageList" && index_page_list == nullptr) {
      index_page_list = child;
    }
    xml::XmlNode* text = child->FindPath("#text");
    fragments.emplace_back(std::string(child->name()),
                           text == nullptr ? std::string() : text->GetTextDecoded());
  }
}

std::string ExpandNodeText(ExpansionContext& context, xml::XmlNode* node, bool expand) {
  if (node == nullptr) return {};
  xml::XmlNode* text_node = node->FindPath("#text");
  if (text_node == nullptr) return {};
  std::string text = text_node->GetTextDecoded();
  if (!expand) return text;
  text = ReplaceBuiltins(context, std::move(text));
  text = ReplaceUserVariables(context, std::move(text));
  return ReplaceFragments(context, std::move(text));
}

std::string ReplaceBuiltins(ExpansionContext& context, std::string text) {
  const PhotoFacts* photo = Photo(context, context.photo);
  std::string placeholder;
  for (const Builtin& builtin : kBuiltins) {
    if (builtin.photo_value != nullptr && photo == nullptr) continue;
    placeholder.assign("{").append(builtin.name).append("}");
    if (text.find(placeholder) == std::string::npos) continue;
    const std::string value = builtin.photo_value != nullptr ? builtin.photo_value(context, *photo)
                                                             : builtin.page_value(context);
    if (text.size() + value.size() > kMaxTextSize) continue;
    ReplaceAll(text, placeholder, value);
  }
  return text;
}

std::string ReplaceUserVariables(const ExpansionContext& context, std::string text) {
  std::string placeholder;
  for (const auto& [tag, value] : context.user_variables) {
    placeholder.assign("{").append(tag).append("}");
    if (text.size() + value.size() > kMaxTextSize) continue;
    ReplaceAll(text, placeholder, value);
  }
  return text;
}

std::string ReplaceFragments(ExpansionContext& context, std::string text) {
  for (int round = 0;; ++round) {
    const size_t open = text.find("{Fragment_");
    if (open == std::string::npos) break;
    const size_t close = text.find('}', open);
    if (close == std::string::npos) break;
    const std::string item = text.substr(open, close - open + 1);
    const size_t blank = item.find(' ');
    const std::string name = Trimmed(item.substr(0, blank), " {}");
    const std::string condition =
        blank == std::string::npos ? std::string() : Trimmed(item.substr(blank), " {}");
    std::string replacement;
    // Past the limits every item left expands to nothing, so the loop always ends.
    if (round < kMaxFragmentRounds && text.size() < kMaxTextSize) {
      bool include = true;
      if (!condition.empty()) {
        const std::string result = EvaluateExpression(context, condition);
        include = !result.empty() && result != "0";
      }
      if (include) replacement = ExpandFragment(context, name);
    }
    ReplaceAll(text, item, replacement);
  }
  return text;
}

std::string EvaluateExpression(ExpansionContext& context, std::string_view text) {
  ExpressionScope scope;
  scope.user_variables = &context.user_variables;
  scope.defined_names = &context.defined_names;
  scope.builtin = [&context](std::string_view name, std::string* value) {
    return BuiltinValue(context, name, value);
  };
  return EvaluateExpression(scope, text);
}

bool BuiltinValue(ExpansionContext& context, std::string_view name, std::string* value) {
  const PhotoFacts* photo = Photo(context, context.photo);
  for (const Builtin& builtin : kBuiltins) {
    if (builtin.name != name) continue;
    if (builtin.photo_value != nullptr) {
      if (photo == nullptr) return false;
      *value = builtin.photo_value(context, *photo);
    } else {
      *value = builtin.page_value(context);
    }
    return true;
  }
  return false;
}

std::string IndexPageFileName(int page) {
  return page == 0 ? std::string("index.html") : "index" + std::to_string(page) + ".html";
}

std::string OutputStem(std::string_view photo_file) { return WithUnderscores(Stem(photo_file)); }

std::vector<std::string> DistinctOutputStems(const std::vector<std::string>& photo_files,
                                             const std::vector<std::string>& reserved) {
  auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  auto is_index_page = [](std::string_view stem) {
    return stem.starts_with("index") &&
           stem.find_first_not_of("0123456789", 5) == std::string_view::npos;
  };
  std::set<std::string> taken;
  for (const std::string& name : reserved) taken.insert(lower(name));
  std::vector<std::string> stems;
  for (const std::string& file : photo_files) {
    const std::string base = OutputStem(file);
    const std::string extension = WithUnderscores(file.substr(Stem(file).size()));
    for (int attempt = 0;; ++attempt) {
      std::string stem = base;
      if (attempt == 1 && extension.size() > 1) stem += "_" + extension.substr(1);
      if (attempt >= 2) stem += "_" + std::to_string(attempt);
      const std::string names[] = {PhotoPageFileName(stem), ReencodedPhotoFileName(stem),
                                   ThumbnailFileName(stem), stem + extension};
      if (is_index_page(lower(stem)) ||
          std::any_of(std::begin(names), std::end(names),
                      [&](const std::string& n) { return taken.count(lower(n)) != 0; })) {
        continue;
      }
      for (const std::string& n : names) taken.insert(lower(n));
      stems.push_back(std::move(stem));
      break;
    }
  }
  return stems;
}

std::string PhotoPageFileName(std::string_view stem) { return std::string(stem) + ".html"; }

std::string CopiedPhotoFileName(std::string_view stem, std::string_view photo_file) {
  return std::string(stem) + WithUnderscores(photo_file.substr(Stem(photo_file).size()));
}

std::string ReencodedPhotoFileName(std::string_view stem) { return std::string(stem) + ".jpg"; }

std::string ThumbnailFileName(std::string_view stem) { return std::string(stem) + "-thumb.jpg"; }

std::string FileSizeText(uint64_t bytes) {
  char text[64];
  if (bytes >= 1048576) {
    std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1048576.0);
  } else {
    std::snprintf(text, sizeof text, "%.0f KB", static_cast<double>(bytes) / 1024.0);
  }
  return text;
}

std::string DateText(platform::OleDate date) {
  static constexpr const char* kMonths[] = {"January",   "February", "March",    "April",
                                            "May",       "June",     "July",     "August",
                                            "September", "October",  "November", "December"};
  platform::CivilTime civil;
  if (!platform::CivilFromOleDate(date, &civil) || civil.month < 1 || civil.month > 12) return {};
  return std::to_string(civil.day) + " " + kMonths[civil.month - 1] + " " +
         std::to_string(civil.year);
}

}  // namespace quorvane::webalbum
