#include "settings/layout.h"

#include <algorithm>

namespace quorvane::settings {
namespace {

std::optional<int32_t> NumberOf(const SettingValues& values, const std::string& name) {
  auto found = values.find(name);
  if (found == values.end()) return std::nullopt;
  if (const int32_t* number = std::get_if<int32_t>(&found->second)) return *number;
  return std::nullopt;
}

// The "%s%i_" name of band i.
std::string BandPrefix(std::string_view prefix, int32_t i) {
  return std::string(prefix) + std::to_string(i) + "_";
}

int32_t StoredCount(const SettingValues& values, const std::string& name) {
  return std::clamp(NumberOf(values, name).value_or(0), 0, kMaxStoredItems);
}

std::optional<LayoutPoint> PointOf(const SettingValues& values, const std::string& name) {
  const auto x = NumberOf(values, name + ".x");
  const auto y = NumberOf(values, name + ".y");
  if (!x || !y) return std::nullopt;
  return LayoutPoint{*x, *y};
}

void PutPoint(SettingValues& values, const std::string& name, const LayoutPoint& point) {
  values[name + ".x"] = point.x;
  values[name + ".y"] = point.y;
}

SettingValues ReadOrEmpty(SettingsBackend& backend, std::string_view section) {
  SettingValues values;
  if (!backend.ReadSection(section, &values)) values.clear();
  return values;
}

}  // namespace

WindowLayout LoadLayout(SettingsBackend& backend, std::string_view prefix) {
  const SettingValues values = ReadOrEmpty(backend, kMainSection);
  const std::string p(prefix);
  WindowLayout layout;

  const auto flags = NumberOf(values, p + "flags");
  const auto show_cmd = NumberOf(values, p + "showCmd");
  const auto min_position = PointOf(values, p + "ptMinPosition");
  const auto max_position = PointOf(values, p + "ptMaxPosition");
  const auto left = NumberOf(values, p + "rcNormalPosition.left");
  const auto top = NumberOf(values, p + "rcNormalPosition.top");
  const auto right = NumberOf(values, p + "rcNormalPosition.right");
  const auto bottom = NumberOf(values, p + "rcNormalPosition.bottom");
  if (flags && show_cmd && min_position && max_position && left && top && right && bottom) {
    layout.placement = WindowPlacement{*flags, *show_cmd, *min_position, *max_position,
                                       LayoutRect{*left, *top, *right, *bottom}};
  }

  if (NumberOf(values, p + "BandCount")) {
    std::vector<RebarBand>& bands = layout.bands.emplace();
    const int32_t count = StoredCount(values, p + "BandCount");
    for (int32_t i = 0; i < count; ++i) {
      const std::string band = BandPrefix(prefix, i);
      const auto id = NumberOf(values, band + "ID");
      if (!id) continue;
      bands.push_back({*id, NumberOf(values, band + "CX").value_or(0),
                       NumberOf(values, band + "BreakLine").value_or(0) != 0});
    }
  }

  layout.splitter_pos = NumberOf(values, p + "SplitterPos");
  return layout;
}

bool SaveLayout(SettingsBackend& backend, std::string_view prefix, const WindowLayout& layout) {
  const std::string p(prefix);
  SettingValues values;
  if (const auto& placement = layout.placement) {
    values[p + "flags"] = placement->flags;
    values[p + "showCmd"] = placement->show_cmd;
    PutPoint(values, p + "ptMinPosition", placement->min_position);
    PutPoint(values, p + "ptMaxPosition", placement->max_position);
    values[p + "rcNormalPosition.left"] = placement->normal_position.left;
    values[p + "rcNormalPosition.top"] = placement->normal_position.top;
    values[p + "rcNormalPosition.right"] = placement->normal_position.right;
    values[p + "rcNormalPosition.bottom"] = placement->normal_position.bottom;
  }
  if (const auto& bands = layout.bands) {
    values[p + "BandCount"] = static_cast<int32_t>(bands->size());
    for (size_t i = 0; i < bands->size(); ++i) {
      const std::string band = BandPrefix(prefix, static_cast<int32_t>(i));
      values[band + "ID"] = (*bands)[i].id;
      values[band + "CX"] = (*bands)[i].cx;
      values[band + "BreakLine"] = static_cast<int32_t>((*bands)[i].break_line ? 1 : 0);
    }
  }
  if (layout.splitter_pos) values[p + "SplitterPos"] = *layout.splitter_pos;
  return backend.WriteValues(kMainSection, values);
}

DialogPositions LoadDialogPositions(SettingsBackend& backend) {
  const SettingValues values = ReadOrEmpty(backend, kMainSection);
  return {PointOf(values, "dlg.caption"), PointOf(values, "dlg.caption2")};
}

bool SaveDialogPositions(SettingsBackend& backend, const DialogPositions& positions) {
  SettingValues values;
  if (positions.caption) PutPoint(values, "dlg.caption", *positions.caption);
  if (positions.caption2) PutPoint(values, "dlg.caption2", *positions.caption2);
  return backend.WriteValues(kMainSection, values);
}

std::vector<std::string> LoadRecentDocuments(SettingsBackend& backend) {
  const SettingValues values = ReadOrEmpty(backend, kRecentDocumentSection);
  std::vector<std::string> documents;
  const int32_t count = StoredCount(values, "DocumentCount");
  for (int32_t i = 0; i < count; ++i) {
    auto found = values.find("Document" + std::to_string(i));
    if (found == values.end()) continue;
    if (const std::string* text = std::get_if<std::string>(&found->second)) {
      documents.push_back(*text);
    }
  }
  return documents;
}

bool SaveRecentDocuments(SettingsBackend& backend, const std::vector<std::string>& documents) {
  SettingValues values;
  values["DocumentCount"] = static_cast<int32_t>(documents.size());
  for (size_t i = 0; i < documents.size(); ++i) {
    values["Document" + std::to_string(i)] = documents[i];
  }
  return backend.WriteValues(kRecentDocumentSection, values);
}

}  // namespace quorvane::settings
