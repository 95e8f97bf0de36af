#include "album/album_index.h"

#include <algorithm>
#include <climits>
#include <string>

#include "album/index_check.h"
#include "platform/name_set.h"
#include "xml/xml_document.h"

namespace quorvane::album {
namespace {

using xml::XmlDocument;
using xml::XmlNode;

constexpr std::string_view kRootName = "Quorvane";
constexpr std::string_view kLegacyRootName = "Tarnwell";
constexpr std::string_view kUserVarName = "UserVar";
constexpr size_t kListingThreshold = 64;

std::string Decoded(const XmlNode& node, std::string_view attribute) {
  return xml::DecodeEntities(node.GetAttribute(attribute));
}

// What the path "#text" finds, without parsing a path for each of many photos.
std::string FirstTextDecoded(const XmlNode& node) {
  for (size_t i = 0; i < node.ChildCount(); ++i) {
    const XmlNode& child = *node.ChildAt(i);
    if (child.name() == "#text") return child.GetTextDecoded();
  }
  return {};
}

platform::OleDate ParsedDate(std::string_view text) {
  platform::OleDate date = platform::kNoDate;
  return platform::ParseOleDate(text, &date) ? date : platform::kNoDate;
}

// A "%d" conversion as sscanf does it: optional white space and sign, then digits.
bool ScanInt(std::string_view text, size_t* i, int32_t* value) {
  while (*i < text.size() && (text[*i] == ' ' || (text[*i] >= '\t' && text[*i] <= '\r'))) ++*i;
  size_t j = *i;
  const bool negative = j < text.size() && text[j] == '-';
  if (j < text.size() && (text[j] == '-' || text[j] == '+')) ++j;
  const size_t digits = j;
  long long v = 0;
  while (j < text.size() && text[j] >= '0' && text[j] <= '9') {
    v = std::min(v * 10 + (text[j++] - '0'), static_cast<long long>(INT_MAX) + 1);
  }
  if (j == digits) return false;
  *value = static_cast<int32_t>(negative ? -v : std::min<long long>(v, INT_MAX));
  *i = j;
  return true;
}

void SetEncoded(XmlNode& element, std::string_view attribute, std::string_view plain) {
  element.SetAttribute(attribute, xml::EncodeEntities(plain));
}

}  // namespace

void AlbumIndex::ReadImageSize(std::string_view text, AlbumPhoto* photo) {
  size_t i = 0;
  if (!ScanInt(text, &i, &photo->width)) return;
  if (i >= text.size() || text[i] != 'x') return;
  ++i;
  ScanInt(text, &i, &photo->height);
}

bool AlbumIndex::ReadIndexFile(AlbumStore& store, std::string* bytes) {
  for (std::string_view name : kIndexFileNames) {
    if (store.ReadFile(name, bytes)) return true;
  }
  return false;
}

XmlNode* AlbumIndex::ParseIndex(XmlDocument& document, std::string bytes) {
  xml::ByteBuffer input;
  input.Adopt(std::move(bytes));
  return ParseIndex(document, input);
}

XmlNode* AlbumIndex::ParseIndex(XmlDocument& document, xml::ByteBuffer& input) {
  document.set_parse_flags(xml::kParseKeepCarriageReturns);
  document.Parse(input);
  XmlNode* root = document.ChildAt(0);
  return root != nullptr && (root->name() == kRootName || root->name() == kLegacyRootName)
             ? root
             : nullptr;
}

bool AlbumIndex::LoadIndex(Album& album) {
  AlbumStore& store = album.store();
  std::string bytes;
  // A stamp taken before and after the reading, and the same both times, is the stamp of the
  // bytes read (files are replaced whole, never written in place).
  FileStamp before, after;
  const bool stamped = store.StampFile(kIndexFileName, &before);
  if (!ReadIndexFile(store, &bytes)) {
    album.set_last_error(store.LastError());
    return false;
  }
  // The bytes themselves are what a later save merges against, should another program
  // change the file meanwhile; the parser's buffer hands them over without a copy.
  IndexSnapshot snapshot{true, {}, {}, std::nullopt};
  AlbumRecord record;
  std::string loss;
  if (!ReadRecordFrom(&store, nullptr, std::move(bytes), &record, &loss, &snapshot.left_out,
                      &snapshot.bytes)) {
    album.set_last_error(std::string(kMalformedIndexError));
    return false;
  }
  if (stamped && store.StampFile(kIndexFileName, &after) && after == before &&
      static_cast<size_t>(before.size) == snapshot.bytes.size()) {
    snapshot.stamp = before;
  }
  album.set_record(std::move(record));
  album.NoteSaved(album.photos());
  album.set_saved_index(std::move(snapshot));
  album.set_read_only_reason(loss.empty() ? std::string()
                                          : "its index could not be read whole: " + loss);
  album.set_modified(false);
  return true;
}

bool AlbumIndex::ReadRecord(AlbumStore& store, std::string bytes, AlbumRecord* record,
                            std::string* loss, std::vector<std::string>* left_out) {
  return ReadRecordFrom(&store, nullptr, std::move(bytes), record, loss, left_out, nullptr);
}

bool AlbumIndex::ReadSavedRecord(const IndexSnapshot& snapshot, AlbumRecord* record) {
  std::string loss;
  return snapshot.present && ReadRecordFrom(nullptr, &snapshot.left_out, snapshot.bytes, record,
                                            &loss, nullptr, nullptr);
}

bool AlbumIndex::ReadRecordFrom(AlbumStore* store, const std::vector<std::string>* leave_out,
                                std::string bytes, AlbumRecord* record, std::string* loss,
                                std::vector<std::string>* left_out, std::string* bytes_back) {
  IndexReadCheck document;
  xml::ByteBuffer input;
  input.Adopt(std::move(bytes));
  XmlNode* root = ParseIndex(document, input);
  if (bytes_back != nullptr) *bytes_back = input.Detach();
  if (root == nullptr) return false;

  std::vector<AlbumPhoto>& photos = record->photos;
  photos.clear();
  record->title = Decoded(*root, "Title");
  record->title_image_file = root->GetAttribute("TitleImageFileName");
  record->version = root->GetAttribute("Version");
  record->date = ParsedDate(root->GetAttribute("Date"));
  record->description = FirstTextDecoded(*root);

  // A large album asks its store for one listing instead of one query per photo.
  std::vector<std::string> names;
  const bool use_listing =
      store != nullptr && root->ChildCount() > kListingThreshold && store->ListFiles(&names);
  const platform::NameSet listed(names);
  auto exists = [&](const std::string& name) {
    if (store == nullptr) {
      return std::find(leave_out->begin(), leave_out->end(), name) == leave_out->end();
    }
    return use_listing ? IsPlainFileName(name) && listed.Contains(name) : store->FileExists(name);
  };

  for (size_t i = 0; i < root->ChildCount(); ++i) {
    XmlNode& image = *root->ChildAt(i);
    document.CheckRootChild(image);
    if (image.name() != "Image") continue;
    AlbumPhoto photo;
    photo.description = FirstTextDecoded(image);
    // One pass over the attributes: a large album has tens of thousands of photos.
    for (size_t a = 0; a < image.AttributeCount(); ++a) {
      const XmlNode& attribute = *image.AttributeAt(a);
      const std::string_view name = attribute.name();
      const std::string_view value = attribute.value();
      if (name == "ImageFile") {
        photo.image_file = value;
      } else if (name == "Format") {
        photo.format = value;
      } else if (name == "Title") {
        photo.title = xml::DecodeEntities(value);
      } else if (name == "Keywords") {
        photo.keywords = xml::DecodeEntities(value);
      } else if (name == "Date") {
        photo.date = ParsedDate(value);
      } else if (name == "ImageSize") {
        ReadImageSize(value, &photo);
      }
    }
    if (exists(photo.image_file)) {
      photos.push_back(std::move(photo));
    } else if (left_out != nullptr) {
      left_out->push_back(std::move(photo.image_file));
    }
  }

  UserVariables& variables = record->user_variables;
  variables.Clear();
  if (XmlNode* user_vars = document.FindPath(kUserVarName)) {
    for (size_t i = 0; i < user_vars->ChildCount(); ++i) {
      const XmlNode& var = *user_vars->ChildAt(i);
      if (var.name() == "Var") variables.Set(Decoded(var, "Name"), Decoded(var, "Value"));
    }
  }
  *loss = document.Loss(*root);
  return true;
}

bool AlbumIndex::SaveIndex(Album& album) {
  if (!album.CheckWritable()) return false;
  XmlDocument document;
  XmlNode& root = *document.AppendChild(document.CreateElement(std::string(kRootName)));
  root.SetAttribute("Version", "1.0");
  if (!album.title().empty()) SetEncoded(root, "Title", album.title());
  if (!album.title_image_file().empty()) {
    root.SetAttribute("TitleImageFileName", album.title_image_file());
  }
  if (!album.description().empty()) {
    root.AppendChild(document.CreateText(xml::EncodeEntities(album.description())));
  }
  if (platform::IsValidOleDate(album.date())) {
    root.SetAttribute("Date", platform::FormatOleDate(album.date()));
  }
  // A value the reader would give back otherwise would change or lose photos at the next
  // load. Each element is checked while it is at hand.
  std::string problem = WrittenElementProblem(root);

  for (const AlbumPhoto& photo : album.photos()) {
    XmlNode& image = *root.AppendChild(document.CreateElement("Image"));
    image.SetAttribute("ImageFile", photo.image_file);
    image.SetAttribute("ImageSize",
                       std::to_string(photo.width) + "x" + std::to_string(photo.height));
    image.SetAttribute("Format", photo.format);
    if (!photo.title.empty()) SetEncoded(image, "Title", photo.title);
    if (!photo.keywords.empty()) SetEncoded(image, "Keywords", photo.keywords);
    if (platform::IsValidOleDate(photo.date)) {
      image.SetAttribute("Date", platform::FormatOleDate(photo.date));
    }
    image.AppendChild(document.CreateText(xml::EncodeEntities(photo.description)));
    if (problem.empty()) problem = WrittenElementProblem(image);
  }

  if (!album.user_variables().empty()) {
    XmlNode& user_vars = *document.AppendChild(document.CreateElement(std::string(kUserVarName)));
    for (const auto& [name, value] : album.user_variables()) {
      XmlNode& var = *user_vars.AppendChild(document.CreateElement("Var"));
      SetEncoded(var, "Name", name);
      SetEncoded(var, "Value", value);
      if (problem.empty()) problem = WrittenElementProblem(var);
    }
  }

  if (!problem.empty()) {
    album.set_last_error("Unable to save the album index: " + problem);
    return false;
  }

  // The album keeps the bytes it wrote (a later save merges against them); the memory of the
  // bytes it kept before takes them, as a large album's index is megabytes.
  IndexSnapshot previous = album.TakeSavedIndex();
  std::string memory = std::move(previous.bytes);
  memory.clear();
  xml::ByteBuffer output;
  output.Adopt(std::move(memory));
  xml::WriteXml(document, output, xml::kWriteQuoteAttributes);
  if (!album.store().WriteFile(kIndexFileName, output.bytes())) {
    album.set_last_error(album.store().LastError());
    // The file is as it was, so its bytes are those the album kept before.
    if (previous.present && !ReadIndexFile(album.store(), &previous.bytes)) previous = {};
    previous.stamp.reset();
    album.set_saved_index(std::move(previous));
    return false;
  }
  IndexSnapshot snapshot{true, output.Detach(), {}, std::nullopt};
  // Taken right after the write: a save holds the album's lock, so the file is still ours.
  if (FileStamp stamp; album.store().StampFile(kIndexFileName, &stamp)) snapshot.stamp = stamp;
  album.set_saved_index(std::move(snapshot));
  album.NoteSaved(album.photos());
  album.set_modified(false);
  return true;
}

}  // namespace quorvane::album
