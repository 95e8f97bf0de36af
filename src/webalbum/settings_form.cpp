#include "webalbum/settings_form.h"

#include "platform/ascii.h"
#include "webalbum/internal/text.h"
#include "xml/entities.h"
#include "xml/xml_node.h"

namespace quorvane::webalbum {
namespace {

using internal::ReplaceAll;
using internal::Trimmed;

// Custom forms whose items expand into further items are cut off after this many rounds.
constexpr int kMaxFormRounds = 500;
constexpr size_t kMaxFormSize = size_t{1} << 20;

std::string TextOf(xml::XmlNode* node) {
  xml::XmlNode* text = node == nullptr ? nullptr : node->FindPath("#text");
  return text == nullptr ? std::string() : std::string(text->value());
}

bool HasAttribute(xml::XmlNode* node, std::string_view name) {
  return node->FindAttribute(name) != nullptr;
}

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = platform::AsciiLower(c);
  return out;
}

}  // namespace

bool HasSettingsPage(DesignTemplate& design) {
  return design.GetUserVar(0) != nullptr || design.GetUserVarForm() != nullptr;
}

void SeedDefaultValues(DesignTemplate& design) {
  for (int i = 0; xml::XmlNode* var = design.GetUserVar(i); ++i) {
    const std::string tag(var->GetAttribute("Tag"));
    const std::string fallback(var->GetAttribute("Default"));
    const std::string* value = design.GetVariable(tag);
    if ((value == nullptr || value->empty()) && !fallback.empty()) {
      design.SetVariable(tag, fallback);
    }
  }
}

std::string BuildSettingsForm(DesignTemplate& design, std::string_view font_face) {
  if (!design.loaded() || !HasSettingsPage(design)) return {};
  SeedDefaultValues(design);
  std::string html = "<body leftmargin=0 topmargin=0 rightmargin=0 bottommargin=0><font face=\"" +
                     std::string(font_face) + "\" size=2>";
  html += "<form name=\"settings\" method=\"post\" target=\"x\">";
  const std::string custom = TextOf(design.GetUserVarForm());
  if (!custom.empty()) {
    html += ExpandCustomForm(design, xml::DecodeEntities(custom));
  } else {
    html +=
        "<table leftmargin=0 topmargin=0 rightmargin=0 cellspacing=0 cellpadding=0 "
        "width=\"100%\" border=\"0\">";
    for (int i = 0; xml::XmlNode* var = design.GetUserVar(i); ++i) {
      const std::string tag(var->GetAttribute("Tag"));
      const std::string type = Lower(var->GetAttribute("Type"));
      const std::string help = TextOf(var);
      const std::string fallback(var->GetAttribute("Default"));
      const std::string* current = design.GetVariable(tag);
      std::string value = current == nullptr ? std::string() : *current;
      std::string checked;
      if (type == "checkbox" || type == "radio") {
        const std::string control_value(var->GetAttribute("Value"));
        if ((!value.empty() && value == control_value) || (value.empty() && !fallback.empty())) {
          checked = "checked";
        }
        value = control_value;
      }
      if (value.empty()) value = fallback;
      const std::string label = HasAttribute(var, "Description")
                                    ? xml::DecodeEntities(var->GetAttribute("Description")) + ": "
                                    : std::string();
      const std::string inner_table =
          "<table leftmargin=0 topmargin=0 rightmargin=0 border=0 cellpadding=0 "
          "cellspacing=0><tr><td valign=\"top\">" +
          label + "</td><td valign=\"top\">";
      if (help.empty()) {
        html += "<tr><td>" + inner_table;
      } else {
        html += std::string("<tr><td height=20>") + (i == 0 ? "" : "<br>") +
                xml::DecodeEntities(help) + "<br>" + inner_table;
      }
      if (type.empty() || type == "text") {
        html += "<input name=\"" + tag + "\" value=\"" + value + "\" size=50 width=50>";
      } else if (type == "checkbox" || type == "radio") {
        html += "<input name=\"" + tag + "\" type=\"" + type + "\" value=\"" + value + "\" " +
                checked + ">";
      } else if (type == "textarea") {
        html += "<textarea name=\"" + tag + "\" cols=50 rows=10>" + value + "</textarea>";
      }
      html += "</td></tr></table></td></tr>";
    }
    html += "</table>";
  }
  html += "</form></font></body>";
  return html;
}

std::string ExpandCustomForm(const DesignTemplate& design, std::string text) {
  NamedValues defined;
  ExpressionScope scope;
  scope.user_variables = &design.variables();
  scope.defined_names = &defined;
  for (int round = 0;; ++round) {
    const size_t open = text.find('{');
    if (open == std::string::npos) break;
    const size_t close = text.find('}', open);
    if (close == std::string::npos) break;  // an unclosed brace ends the scan
    const std::string item = text.substr(open, close - open + 1);
    std::string result;
    if (round < kMaxFormRounds && text.size() < kMaxFormSize) {
      const size_t blank = item.find(' ');
      const std::string head = Trimmed(item.substr(0, blank), " {}");
      const std::string condition =
          blank == std::string::npos ? std::string() : Trimmed(item.substr(blank), " {}");
      if (!head.empty() && head[0] == '"') {
        result = Trimmed(head, "\"");
      } else if (const std::string* value = design.GetVariable(head)) {
        result = xml::EncodeEntities(*value);
      }
      if (!condition.empty()) {
        const std::string outcome = EvaluateExpression(scope, condition);
        if (outcome == "0" || outcome == "false") result.clear();
      }
    }
    ReplaceAll(text, item, result);
  }
  return text;
}

bool AcceptSettingsForm(DesignTemplate& design,
                        const std::vector<std::pair<std::string, std::string>>& fields,
                        std::string* message) {
  for (const auto& [name, value] : fields) {
    if (value.empty()) {
      const int index = design.FindUserVar(name);
      if (xml::XmlNode* var = design.GetUserVar(index);
          var != nullptr && Lower(var->GetAttribute("Required")) == "true") {
        std::string description(var->GetAttribute("Description"));
        if (description.empty()) description = name;
        std::string text(kRequiredMessage);
        text.replace(text.find("%s"), 2, description);
        *message = std::move(text);
        return false;
      }
    }
    design.SetVariable(name, value);
  }
  return true;
}

}  // namespace quorvane::webalbum
