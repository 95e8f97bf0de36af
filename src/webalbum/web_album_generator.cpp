#include "webalbum/web_album_generator.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>
#include <thread>

#include "album/album.h"
#include "album/album_store.h"
#include "image/image.h"
#include "platform/balanced_queue.h"
#include "platform/file_util.h"
#include "webalbum/expansion.h"
#include "webalbum/internal/photo_writer.h"
#include "xml/xml_document.h"

namespace quorvane::webalbum {
namespace fs = std::filesystem;
using platform::ResultCode;

namespace {

constexpr std::string_view kManifestHeader = "quorvane web album 1";

// What an earlier build wrote for one photo, by output photo name.
struct ManifestPhoto {
  std::string source_name;
  uint64_t source_size = 0;
  int64_t source_time = 0;
  std::string parameters;
  internal::PhotoResult result;
};

struct Manifest {
  std::string design_hash;
  std::map<std::string, ManifestPhoto> photos;  // by source name
  std::set<std::string> files;                  // every file the build wrote
};

std::vector<std::string> SplitTabs(const std::string& line) {
  std::vector<std::string> fields;
  size_t from = 0;
  while (true) {
    const size_t tab = line.find('\t', from);
    fields.push_back(line.substr(from, tab - from));
    if (tab == std::string::npos) break;
    from = tab + 1;
  }
  return fields;
}

Manifest ReadManifest(const fs::path& path) {
  Manifest manifest;
  std::string bytes;
  std::string error;
  if (!platform::ReadWholeFile(path, &bytes, &error)) return manifest;
  std::istringstream in(bytes);
  std::string line;
  if (!std::getline(in, line) || line != kManifestHeader) return manifest;
  while (std::getline(in, line)) {
    const std::vector<std::string> f = SplitTabs(line);
    if (f.size() == 2 && f[0] == "design") manifest.design_hash = f[1];
    if (f.size() == 2 && f[0] == "file" && album::IsPlainFileName(f[1]))
      manifest.files.insert(f[1]);
    if (f.size() == 13 && f[0] == "photo") {
      ManifestPhoto photo;
      photo.source_name = f[1];
      photo.source_size = std::strtoull(f[2].c_str(), nullptr, 10);
      photo.source_time = std::strtoll(f[3].c_str(), nullptr, 10);
      photo.parameters = f[4];
      photo.result.image_file = f[5];
      photo.result.thumb_file = f[6];
      photo.result.width = std::atoi(f[7].c_str());
      photo.result.height = std::atoi(f[8].c_str());
      photo.result.thumb_width = std::atoi(f[9].c_str());
      photo.result.thumb_height = std::atoi(f[10].c_str());
      photo.result.file_size = std::strtoull(f[11].c_str(), nullptr, 10);
      photo.result.thumb_size = std::strtoull(f[12].c_str(), nullptr, 10);
      manifest.photos[photo.source_name] = std::move(photo);
    }
  }
  return manifest;
}

std::string ManifestText(const Manifest& manifest) {
  std::string text(kManifestHeader);
  text += "\ndesign\t" + manifest.design_hash + "\n";
  for (const auto& [name, p] : manifest.photos) {
    const internal::PhotoResult& r = p.result;
    text += "photo\t" + p.source_name + "\t" + std::to_string(p.source_size) + "\t" +
            std::to_string(p.source_time) + "\t" + p.parameters + "\t" + r.image_file + "\t" +
            r.thumb_file + "\t" + std::to_string(r.width) + "\t" + std::to_string(r.height) + "\t" +
            std::to_string(r.thumb_width) + "\t" + std::to_string(r.thumb_height) + "\t" +
            std::to_string(r.file_size) + "\t" + std::to_string(r.thumb_size) + "\n";
  }
  for (const std::string& file : manifest.files) text += "file\t" + file + "\n";
  return text;
}

// 64-bit FNV-1a: enough to notice a changed design, not a defence against anyone.
void Hash(uint64_t& state, std::string_view bytes) {
  for (unsigned char c : bytes) {
    state ^= c;
    state *= 0x100000001b3ULL;
  }
  state ^= 0xFF;
  state *= 0x100000001b3ULL;
}

std::string HexOf(uint64_t value) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
  return text;
}

int IntAttribute(xml::XmlNode* node, std::string_view name, int fallback) {
  xml::XmlNode* attribute = node->FindAttribute(name);
  return attribute == nullptr ? fallback : std::atoi(std::string(attribute->value()).c_str());
}

// The page element of `kind` for page `number`, in rotation; null when element 0 is missing.
xml::XmlNode* PageElement(xml::XmlDocument& document, std::string_view kind, int number) {
  const std::string base = std::string(kTemplateRootName) + "." + std::string(kind);
  if (xml::XmlNode* page = document.FindPath(base + "[" + std::to_string(number) + "]")) {
    return page;
  }
  return document.FindPath(base + "[0]");
}

int ElementCount(xml::XmlDocument& document, std::string_view kind) {
  xml::XmlNode* root = document.FindPath(kTemplateRootName);
  int count = 0;
  for (size_t i = 0; root != nullptr && i < root->ChildCount(); ++i) {
    if (root->ChildAt(i)->name() == kind) ++count;
  }
  return count;
}

int64_t FileTimeOf(const fs::path& path) {
  std::error_code ec;
  const auto time = fs::last_write_time(path, ec);
  if (ec) return 0;
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

// Writes `text` unless the file already holds exactly it.
bool WriteIfChanged(const fs::path& path, const std::string& text, bool* written,
                    std::string* error) {
  std::string existing;
  std::string ignored;
  *written = false;
  if (platform::ReadWholeFile(path, &existing, &ignored) && existing == text) return true;
  *written = true;
  return platform::WriteFileAtomically(path, text, error, platform::Flush::kLater);
}

}  // namespace

bool PrepareOutputFolder(const fs::path& folder, std::string* message) {
  std::error_code ec;
  if (fs::exists(folder, ec)) {
    if (fs::is_directory(folder, ec)) return true;
    *message = std::string(kNotAFolderMessage);
    return false;
  }
  if (!fs::create_directories(folder, ec) && !fs::is_directory(folder)) {
    std::string text(kCannotCreateFolderMessage);
    text.replace(text.find("%s"), 2, ec ? ec.message() : std::string("unknown error"));
    *message = std::move(text);
    return false;
  }
  return true;
}

WebAlbumGenerator::WebAlbumGenerator(DesignTemplate& design, fs::path output_folder,
                                     WebAlbumOptions options)
    : design_(design), output_(std::move(output_folder)), options_(options) {}

ResultCode WebAlbumGenerator::Generate(album::Album& album, platform::ProgressSink& progress) {
  index_page_count_ = 0;
  photos_written_ = 0;
  pages_written_ = 0;
  last_error_.clear();
  auto fail = [this](std::string_view why) {
    last_error_ = std::string(kProcessingFailed);
    if (!why.empty()) last_error_ += "\n" + std::string(why);
    return platform::kFailed;
  };
  xml::XmlDocument* document = design_.document();
  if (document == nullptr) return fail("No design template is loaded.");
  std::string message;
  if (!PrepareOutputFolder(output_, &message)) {
    last_error_ = message;
    return platform::kFailed;
  }

  const auto& photos = album.photos();
  const int count = static_cast<int>(photos.size());
  progress.SetTitle("Photo Album");
  progress.SetPosition(0, count);
  progress.SetText("Pre-generating index pages...");

  // Pass 1: count the index pages and learn which photo goes to which slot, at what
  // thumbnail size; the photos themselves are written afterwards, on all cores.
  std::vector<internal::PhotoJob> jobs(static_cast<size_t>(count));
  std::vector<bool> planned(static_cast<size_t>(count), false);
  std::vector<int> page_of_photo(static_cast<size_t>(count), 0);
  auto plan_slot = [&](int photo, xml::XmlNode* slot, int width, int height) {
    width = IntAttribute(slot, "ThumbWidth", width);
    height = IntAttribute(slot, "ThumbHeight", height);
    if (photo < 0 || photo >= count || planned[static_cast<size_t>(photo)]) return;
    planned[static_cast<size_t>(photo)] = true;
    internal::PhotoJob& job = jobs[static_cast<size_t>(photo)];
    job.thumb_width = width;
    job.thumb_height = height;
  };
  if (options_.index_pages) {
    const int elements = ElementCount(*document, "IndexPage");
    int cursor = 0;
    int empty_pages = 0;
    for (int page = 0; cursor < count; ++page) {
      xml::XmlNode* element = PageElement(*document, "IndexPage", page);
      if (element == nullptr) return fail("The design has no index page.");
      const int width = IntAttribute(element, "DefaultThumbWidth", 100);
      const int height = IntAttribute(element, "DefaultThumbHeight", 100);
      const int before = cursor;
      for (size_t i = 0; i < element->ChildCount() && cursor < count; ++i) {
        xml::XmlNode* child = element->ChildAt(i);
        if (child->kind() != xml::kElementNode || child->name() != "Image") continue;
        page_of_photo[static_cast<size_t>(cursor)] = page;
        plan_slot(cursor++, child, width, height);
      }
      // A design whose index pages hold no photo slots would never run out of photos.
      empty_pages = cursor == before ? empty_pages + 1 : 0;
      if (empty_pages > elements) return fail("The design's index pages hold no photos.");
      index_page_count_ = page + 1;
    }
  }
  if (options_.photo_pages) {
    for (int photo = 0; photo < count; ++photo) {
      xml::XmlNode* element = PageElement(*document, "PhotoDetailPage", photo);
      if (element == nullptr) return fail("The design has no photo page.");
      const int width = IntAttribute(element, "DefaultThumbWidth", -1);
      const int height = IntAttribute(element, "DefaultThumbHeight", -1);
      bool slot = false;
      for (size_t i = 0; i < element->ChildCount(); ++i) {
        xml::XmlNode* child = element->ChildAt(i);
        if (child->kind() != xml::kElementNode || child->name() != "Image") continue;
        plan_slot(photo, child, width, height);
        slot = true;
      }
      // The page shows its photo whatever its slots say.
      if (!slot) plan_slot(photo, element, width, height);
    }
  }

  const fs::path manifest_path = output_ / kManifestFileName;
  const Manifest previous = ReadManifest(manifest_path);
  Manifest next;
  GalleryFacts gallery;
  gallery.title = album.title();
  gallery.description = album.description();
  gallery.date = album.date();
  gallery.photos.resize(static_cast<size_t>(count));

  // Output names: distinct per photo, and never a support file's.
  const std::vector<std::string> support =
      SupportFiles(design_.path(), design_.GetAttribute("PreviewImage"));
  std::vector<std::string> photo_files;
  for (const album::AlbumPhoto& photo : photos) photo_files.push_back(photo.image_file);
  const std::vector<std::string> stems = DistinctOutputStems(photo_files, support);

  // The photos: each job's files, unless the last build wrote them from the same source with
  // the same parameters and they are still there.
  std::vector<internal::PhotoResult> results(static_cast<size_t>(count));
  std::vector<int> to_write;
  std::set<std::string> names_in_use;
  for (int i = 0; i < count; ++i) {
    const size_t at = static_cast<size_t>(i);
    if (!planned[at]) continue;
    internal::PhotoJob& job = jobs[at];
    job.source_name = photos[at].image_file;
    if (!album::IsPlainFileName(job.source_name)) return fail("Invalid photo file name.");
    job.source = album.store().LocalPath(job.source_name);
    job.output_stem = stems[at];
    job.resize = options_.resize;
    job.max_width = options_.max_width;
    job.max_height = options_.max_height;
    job.keep_aspect = options_.keep_aspect;
    job.only_larger = options_.only_larger;
    job.jpeg_quality = options_.jpeg_quality;
    job.strip_private = options_.strip_private;
    ManifestPhoto entry;
    entry.source_name = job.source_name;
    std::error_code ec;
    entry.source_size = fs::file_size(job.source, ec);
    entry.source_time = FileTimeOf(job.source);
    entry.parameters = internal::JobParameters(job);
    const auto old = previous.photos.find(job.source_name);
    auto intact = [&](const std::string& name, uint64_t size) {
      std::error_code e;
      return name.empty() ||
             (fs::is_regular_file(output_ / name, e) && fs::file_size(output_ / name, e) == size);
    };
    if (old != previous.photos.end() && old->second.source_size == entry.source_size &&
        old->second.source_time == entry.source_time &&
        old->second.parameters == entry.parameters &&
        intact(old->second.result.image_file, old->second.result.file_size) &&
        intact(old->second.result.thumb_file, old->second.result.thumb_size)) {
      results[at] = old->second.result;
    } else {
      to_write.push_back(i);
    }
    next.photos[job.source_name] = std::move(entry);
  }

  // Large photos go beside small ones: each decode holds its share of one memory budget, and
  // two large ones at once would leave a core waiting.
  std::vector<std::pair<size_t, uint64_t>> weighted;
  for (int i : to_write) {
    const size_t at = static_cast<size_t>(i);
    image::ImageInfo info;
    std::string ignored;  // a photo that cannot be read fails in its turn, with its reason
    const uint64_t weight =
        image::ReadImageInfo(jobs[at].source, image::ImageFormat::kUnknown, &info, &ignored)
            ? info.decoder_bytes +
                  static_cast<uint64_t>(info.width) * static_cast<uint64_t>(info.height)
            : 0;
    weighted.emplace_back(at, weight);
  }
  int threads = options_.threads > 0 ? options_.threads : image::PhotoWorkerCount();
  threads = std::clamp(threads, 1, std::max(1, static_cast<int>(to_write.size())));
  platform::BalancedQueue queue(std::move(weighted), std::max(1, threads / 2));
  std::atomic<int> done{0};
  std::atomic<bool> failed{false};
  std::mutex error_mutex;
  std::string photo_error;
  auto worker = [&] {
    while (!failed.load() && !progress.Cancelled()) {
      const std::optional<size_t> taken = queue.Take();
      if (!taken) return;
      const size_t at = *taken;
      std::string error;
      const bool written = internal::WritePhoto(jobs[at], output_, progress, &results[at], &error);
      queue.Finished(at);
      if (!written) {
        std::lock_guard lock(error_mutex);
        if (!failed.exchange(true)) photo_error = photos[at].image_file + ": " + error;
        return;
      }
      progress.SetPosition(++done, count);
    }
  };
  {
    std::vector<std::jthread> pool;
    for (int t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
  }
  if (progress.Cancelled()) return platform::kCancelled;
  if (failed) return fail(photo_error);
  photos_written_ = static_cast<int>(to_write.size());
  progress.SetPosition(count, count);

  for (int i = 0; i < count; ++i) {
    const size_t at = static_cast<size_t>(i);
    PhotoFacts& facts = gallery.photos[at];
    const album::AlbumPhoto& photo = photos[at];
    facts.title = photo.title;
    facts.description = photo.description;
    facts.keywords = photo.keywords;
    facts.date = photo.date;
    facts.page_file = PhotoPageFileName(stems[at]);
    const internal::PhotoResult& r = results[at];
    facts.image_file = r.image_file;
    facts.thumb_file = r.thumb_file;
    facts.width = r.width;
    facts.height = r.height;
    facts.thumb_width = r.thumb_width;
    facts.thumb_height = r.thumb_height;
    facts.file_size = r.file_size;
    if (planned[at]) {
      next.photos[photo.image_file].result = r;
      next.files.insert(r.image_file);
      if (!r.thumb_file.empty()) next.files.insert(r.thumb_file);
    }
  }

  // Pass 2: the pages.
  ExpansionContext context;
  context.gallery = &gallery;
  context.index_page_count = index_page_count_;
  // A variable nobody answered shows its default, as the settings page would have seeded it.
  context.user_variables = design_.variables();
  for (int i = 0; xml::XmlNode* var = design_.GetUserVar(i); ++i) {
    const std::string tag(var->GetAttribute("Tag"));
    const std::string fallback(var->GetAttribute("Default"));
    const std::string* value = FindNamed(context.user_variables, tag);
    if ((value == nullptr || value->empty()) && !fallback.empty()) {
      SetNamed(context.user_variables, tag, fallback);
    }
  }
  // `photo` is the page's photo (-1 on index pages); index pages fill their slots from
  // `first_slot` on.
  auto write_page = [&](xml::XmlNode* element, const std::string& name, int photo, int first_slot,
                        bool index) -> bool {
    context.SetPage(element);
    context.defined_names.clear();
    context.photo = photo;
    std::string text = ExpandNodeText(context, element->FindPath("Header"), true);
    int slot_photo = first_slot;
    for (size_t i = 0; i < element->ChildCount(); ++i) {
      xml::XmlNode* child = element->ChildAt(i);
      if (child->kind() != xml::kElementNode) continue;
      if (child->name() == "FixedContent") {
        text += ExpandNodeText(context, child, true);
      } else if (child->name() == "Image") {
        if (index) {
          if (slot_photo >= count) continue;
          context.photo = slot_photo++;
          text += ExpandNodeText(context, child, true);
          context.photo = -1;
        } else {
          text += ExpandNodeText(context, child, true);
        }
      }
    }
    text += ExpandNodeText(context, element->FindPath("Footer"), true);
    std::string error;
    bool written = false;
    if (!WriteIfChanged(output_ / name, text, &written, &error)) {
      fail(error);
      return false;
    }
    if (written) ++pages_written_;
    next.files.insert(name);
    return true;
  };
  if (options_.index_pages) {
    int cursor = 0;
    for (int page = 0; page < index_page_count_; ++page) {
      if (progress.Cancelled()) return platform::kCancelled;
      xml::XmlNode* element = PageElement(*document, "IndexPage", page);
      context.index_page = page;
      if (!write_page(element, IndexPageFileName(page), -1, cursor, true)) {
        return platform::kFailed;
      }
      for (size_t i = 0; i < element->ChildCount(); ++i) {
        if (element->ChildAt(i)->kind() == xml::kElementNode &&
            element->ChildAt(i)->name() == "Image") {
          ++cursor;
        }
      }
      context.photo = -1;
    }
  }
  if (options_.photo_pages) {
    for (int photo = 0; photo < count; ++photo) {
      if (progress.Cancelled()) return platform::kCancelled;
      context.index_page = page_of_photo[static_cast<size_t>(photo)];
      if (!write_page(PageElement(*document, "PhotoDetailPage", photo),
                      gallery.photos[static_cast<size_t>(photo)].page_file, photo, photo, false)) {
        return platform::kFailed;
      }
    }
  }

  // The design's support files; a changed design copies them all again.
  uint64_t hash = 0xcbf29ce484222325ULL;
  std::string bytes;
  std::string error;
  if (platform::ReadWholeFile(design_.path(), &bytes, &error)) Hash(hash, bytes);
  for (const auto& [tag, value] : context.user_variables) {
    Hash(hash, tag);
    Hash(hash, value);
  }
  for (const std::string& name : support) {
    Hash(hash, name);
    std::error_code ec;
    Hash(hash, std::to_string(fs::file_size(design_.path().parent_path() / name, ec)));
    Hash(hash, std::to_string(FileTimeOf(design_.path().parent_path() / name)));
  }
  next.design_hash = HexOf(hash);
  if (progress.Cancelled()) return platform::kCancelled;
  progress.SetText("Copying support files...");
  for (const std::string& name : support) {
    next.files.insert(name);
    std::error_code ec;
    if (next.design_hash == previous.design_hash && previous.files.count(name) != 0 &&
        fs::is_regular_file(output_ / name, ec)) {
      continue;
    }
    if (!platform::CopyFileAtomically(design_.path().parent_path() / name, output_ / name, &error,
                                      platform::Flush::kLater)) {
      progress.SetText("Error while copying graphics files...");
      return fail(error);
    }
  }

  // Files the last build wrote that this one did not: removed photos, fewer index pages.
  for (const std::string& name : previous.files) {
    if (next.files.count(name) != 0) continue;
    std::error_code ec;
    fs::remove(output_ / name, ec);
  }
  if (!platform::WriteFileAtomically(manifest_path, ManifestText(next), &error)) return fail(error);
  progress.SetText("Album creation finished.");
  return platform::kOk;
}

}  // namespace quorvane::webalbum
