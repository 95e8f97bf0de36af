#include "xml/entities.h"

#include <algorithm>
#include <array>

#include "xml/internal/char_class.h"

namespace quorvane::xml {
namespace {

struct Entity {
  std::string_view name;
  char character;
};

// Lookup order matters in both directions: an apostrophe encodes as "#039", never "apos".
constexpr Entity kEntities[] = {{"amp", '&'}, {"quot", '"'}, {"#039", '\''}, {"apos", '\''},
                                {"lt", '<'},  {"gt", '>'},   {"nbsp", ' '}};

const Entity* EntityForCharacter(char c) {
  for (const Entity& e : kEntities) {
    if (e.character == c) return &e;
  }
  return nullptr;
}

const Entity* EntityForName(std::string_view name) {
  for (const Entity& e : kEntities) {
    if (e.name == name) return &e;
  }
  return nullptr;
}

// Collects decoded output, diverting "<...>" runs to the tag handler when asked to.
class DecodedOutput {
 public:
  DecodedOutput(std::string* out, const TagHandler* handler) : out_(out), handler_(handler) {}

  void Put(char c) {
    if (handler_ == nullptr) {
      out_->push_back(c);
    } else if (collecting_) {
      tag_.push_back(c);
      if (c == '>') {
        if (auto replacement = (*handler_)(tag_)) out_->append(*replacement);
        tag_.clear();
        collecting_ = false;
      }
    } else if (c == '<') {
      collecting_ = true;
      tag_.assign(1, c);
    } else {
      out_->push_back(c);
    }
  }

  // A tag still open at the end of the text is kept as it stood rather than lost.
  void Finish() {
    if (collecting_) out_->append(tag_);
  }

 private:
  std::string* out_;
  const TagHandler* handler_;
  bool collecting_ = false;
  std::string tag_;
};

// For each byte, the entity it is written as, or null when it is copied.
const std::array<const Entity*, 256> kEntityForByte = [] {
  std::array<const Entity*, 256> table{};
  for (int c = 0; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    if (!internal::IsAlnum(byte) && !internal::IsSpace(byte)) table[c] = EntityForCharacter(byte);
  }
  return table;
}();

}  // namespace

std::string EncodeEntities(std::string_view plain) {
  std::string out;
  out.reserve(plain.size() + plain.size() / 8);
  size_t from = 0;
  for (size_t i = 0; i < plain.size(); ++i) {
    const Entity* e = kEntityForByte[static_cast<unsigned char>(plain[i])];
    if (e == nullptr) continue;
    out.append(plain.substr(from, i - from));
    out.push_back('&');
    out.append(e->name);
    out.push_back(';');
    from = i + 1;
  }
  out.append(plain.substr(from));
  return out;
}

// Without line-end or tag rules, runs between ampersands are copied whole.
void AppendDecodedEntities(std::string_view encoded, std::string* out) {
  size_t amp = encoded.find('&');
  if (amp == std::string_view::npos) {
    out->append(encoded);
    return;
  }
  out->reserve(out->size() + encoded.size());
  size_t from = 0;
  while (amp != std::string_view::npos) {
    out->append(encoded.substr(from, amp - from));
    const size_t semicolon = encoded.find(';', amp + 1);
    const size_t name_end = semicolon == std::string_view::npos ? encoded.size() : semicolon;
    const std::string_view name = encoded.substr(amp + 1, name_end - amp - 1);
    if (const Entity* e = EntityForName(name)) {
      out->push_back(e->character);
    } else {
      out->push_back('&');
      out->append(name);
      out->push_back(';');
    }
    from = std::min(name_end + 1, encoded.size());
    amp = encoded.find('&', from);
  }
  out->append(encoded.substr(from));
}

std::string DecodeEntities(std::string_view encoded, int flags, const TagHandler* tag_handler) {
  const bool hand_off = (flags & kDecodeTagHandOff) && tag_handler != nullptr;
  if (!hand_off && !(flags & kDecodeLineEnds)) {
    std::string out;
    AppendDecodedEntities(encoded, &out);
    return out;
  }
  std::string out;
  out.reserve(encoded.size());
  DecodedOutput output(&out, (flags & kDecodeTagHandOff) ? tag_handler : nullptr);
  bool after_cr = false;
  for (size_t i = 0; i < encoded.size(); ++i) {
    const char c = encoded[i];
    if (c == '&') {
      const size_t semicolon = encoded.find(';', i + 1);
      const size_t name_end = semicolon == std::string_view::npos ? encoded.size() : semicolon;
      const std::string_view name = encoded.substr(i + 1, name_end - i - 1);
      if (const Entity* e = EntityForName(name)) {
        output.Put(e->character);
      } else {
        output.Put('&');
        for (const char n : name) output.Put(n);
        output.Put(';');
      }
      i = name_end;
      after_cr = false;
    } else if (c == '\n' && (flags & kDecodeLineEnds) && !after_cr) {
      output.Put('\r');
      output.Put('\n');
      after_cr = false;
    } else {
      output.Put(c);
      after_cr = c == '\r';
    }
  }
  output.Finish();
  return out;
}

}  // namespace quorvane::xml
