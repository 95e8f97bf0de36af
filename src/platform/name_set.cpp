#include "platform/name_set.h"

#include <functional>

namespace quorvane::platform {

NameSet::NameSet(std::span<const std::string> names) : names_(names) {
  if (names.empty()) return;
  size_t capacity = 16;
  while (capacity < 2 * names.size()) capacity *= 2;
  slots_.resize(capacity);
  for (size_t i = 0; i < names.size(); ++i) {
    const uint64_t hash = std::hash<std::string_view>()(names[i]);
    size_t at = hash & (capacity - 1);
    while (slots_[at].position != 0) at = (at + 1) & (capacity - 1);
    slots_[at] = {hash, i + 1};
  }
}

bool NameSet::Contains(std::string_view name) const {
  if (slots_.empty()) return false;
  const uint64_t hash = std::hash<std::string_view>()(name);
  const size_t mask = slots_.size() - 1;
  for (size_t at = hash & mask; slots_[at].position != 0; at = (at + 1) & mask) {
    if (slots_[at].hash == hash && names_[slots_[at].position - 1] == name) return true;
  }
  return false;
}

}  // namespace quorvane::platform
