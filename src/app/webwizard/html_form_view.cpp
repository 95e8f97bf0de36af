#include "app/webwizard/html_form_view.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTextDocumentFragment>
#include <QVBoxLayout>

#include "platform/ascii.h"
#include "xml/entities.h"

namespace quorvane::app {
namespace {

struct Token {
  enum class Kind { kText, kStart, kEnd };
  Kind kind = Kind::kText;
  std::string name;                                             // lower case
  std::vector<std::pair<std::string, std::string>> attributes;  // names lower case, raw values
  std::string text;

  const std::string* Attribute(std::string_view wanted) const {
    for (const auto& [attribute, value] : attributes) {
      if (attribute == wanted) return &value;
    }
    return nullptr;
  }
  std::string Value(std::string_view wanted) const {
    const std::string* value = Attribute(wanted);
    return value == nullptr ? std::string() : xml::DecodeEntities(*value);
  }
};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool IsNameChar(char c) { return !IsSpace(c) && c != '>' && c != '/' && c != '=' && c != '<'; }

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = platform::AsciiLower(c);
  return out;
}

// Where "</name" begins at or after `from`, in any letter case; npos when it never does.
size_t FindEndTag(std::string_view html, size_t from, const std::string& name) {
  for (size_t at = html.find("</", from); at != std::string_view::npos;
       at = html.find("</", at + 2)) {
    if (Lower(html.substr(at + 2, name.size())) == name) return at;
  }
  return std::string_view::npos;
}

// Splits HTML into text runs and tags the way browsers do for the forms designs carry. Elements
// whose content is not markup (textarea, script, style, title) yield that content as one text
// token; comments and declarations are dropped.
std::vector<Token> Tokenize(std::string_view html) {
  std::vector<Token> tokens;
  size_t i = 0;
  auto add_text = [&tokens](std::string_view text) {
    if (text.empty()) return;
    if (!tokens.empty() && tokens.back().kind == Token::Kind::kText) {
      tokens.back().text += text;
    } else {
      tokens.push_back({Token::Kind::kText, {}, {}, std::string(text)});
    }
  };
  while (i < html.size()) {
    const size_t lt = html.find('<', i);
    if (lt == std::string_view::npos) {
      add_text(html.substr(i));
      break;
    }
    add_text(html.substr(i, lt - i));
    i = lt;
    if (html.substr(i, 4) == "<!--") {
      const size_t end = html.find("-->", i + 4);
      i = end == std::string_view::npos ? html.size() : end + 3;
      continue;
    }
    const bool closing = i + 1 < html.size() && html[i + 1] == '/';
    const size_t name_at = i + (closing ? 2 : 1);
    if (name_at < html.size() && (html[name_at] == '!' || html[name_at] == '?')) {
      const size_t end = html.find('>', name_at);
      i = end == std::string_view::npos ? html.size() : end + 1;
      continue;
    }
    if (name_at >= html.size() || !IsLetter(html[name_at])) {
      add_text("&lt;");
      ++i;
      continue;
    }
    Token tag;
    tag.kind = closing ? Token::Kind::kEnd : Token::Kind::kStart;
    size_t at = name_at;
    while (at < html.size() && IsNameChar(html[at])) ++at;
    tag.name = Lower(html.substr(name_at, at - name_at));
    while (at < html.size() && html[at] != '>') {
      if (IsSpace(html[at]) || html[at] == '/') {
        ++at;
        continue;
      }
      const size_t attribute_at = at;
      while (at < html.size() && IsNameChar(html[at])) ++at;
      if (at == attribute_at) {  // a stray "=" or "<"
        ++at;
        continue;
      }
      std::string name = Lower(html.substr(attribute_at, at - attribute_at));
      while (at < html.size() && IsSpace(html[at])) ++at;
      std::string value;
      if (at < html.size() && html[at] == '=') {
        ++at;
        while (at < html.size() && IsSpace(html[at])) ++at;
        if (at < html.size() && (html[at] == '"' || html[at] == '\'')) {
          const size_t end = html.find(html[at], at + 1);
          const size_t stop = end == std::string_view::npos ? html.size() : end;
          value = std::string(html.substr(at + 1, stop - at - 1));
          at = std::min(stop + 1, html.size());
        } else {
          const size_t value_at = at;
          while (at < html.size() && !IsSpace(html[at]) && html[at] != '>') ++at;
          value = std::string(html.substr(value_at, at - value_at));
        }
      }
      tag.attributes.emplace_back(std::move(name), std::move(value));
    }
    i = std::min(at + 1, html.size());
    const bool raw =
        tag.kind == Token::Kind::kStart && (tag.name == "textarea" || tag.name == "script" ||
                                            tag.name == "style" || tag.name == "title");
    const std::string name = tag.name;
    tokens.push_back(std::move(tag));
    if (raw) {
      const size_t end = FindEndTag(html, i, name);
      const size_t stop = end == std::string_view::npos ? html.size() : end;
      tokens.push_back({Token::Kind::kText, {}, {}, std::string(html.substr(i, stop - i))});
      tokens.push_back({Token::Kind::kEnd, name, {}, {}});
      i = stop;
      if (end != std::string_view::npos) {
        const size_t gt = html.find('>', end);
        i = gt == std::string_view::npos ? html.size() : gt + 1;
      }
    }
  }
  return tokens;
}

bool OneOf(const std::string& name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsInline(const std::string& name) {
  return OneOf(name,
               {"b",    "strong", "i",   "em",  "u", "font",   "span", "a",   "small", "big",
                "code", "tt",     "sub", "sup", "s", "strike", "cite", "var", "kbd",   "mark"});
}

bool IsBlock(const std::string& name) {
  return OneOf(name, {"p",      "div", "table", "tr", "ul",   "ol",       "li",    "blockquote",
                      "center", "dl",  "dt",    "dd", "pre",  "address",  "h1",    "h2",
                      "h3",     "h4",  "h5",    "h6", "form", "fieldset", "legend"});
}

bool IsHeading(const std::string& name) {
  return name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6';
}

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// An inline tag as it goes into a label. size=2 is the size the settings page's own font tag
// asks for: the dialog's normal text, which labels already have.
QString InlineTag(const Token& tag) {
  QString out = "<" + FromUtf8(tag.name);
  for (const auto& [name, value] : tag.attributes) {
    if (tag.name == "font" && name == "size" && value == "2") continue;
    out += " " + FromUtf8(name) + "=\"" + FromUtf8(value).toHtmlEscaped() + "\"";
  }
  return out + ">";
}

// Collapses runs of white space to one blank, as HTML text does.
QString CollapseSpace(const std::string& text) {
  QString out;
  bool blank = false;
  for (const QChar c : FromUtf8(text)) {
    if (c.isSpace()) {
      blank = true;
      continue;
    }
    if (blank) out += ' ';
    blank = false;
    out += c;
  }
  if (blank) out += ' ';
  return out;
}

int CharacterWidth(const QWidget* widget) {
  return widget->fontMetrics().horizontalAdvance(QLatin1Char('x'));
}

int AttributeNumber(const Token& tag, std::string_view name, int fallback) {
  bool ok = false;
  const int number = FromUtf8(tag.Value(name)).trimmed().toInt(&ok);
  return ok && number > 0 ? number : fallback;
}

}  // namespace

// Lays the tokens out in rows: a block tag, <br> or table row ends a row, table cells stay
// side by side in it. Inline formatting open at a row's end is carried into the next label.
class HtmlFormView::Builder {
 public:
  Builder(QWidget* page, std::vector<Control>* controls)
      : page_(page), controls_(controls), column_(new QVBoxLayout(page)) {
    column_->setContentsMargins(2, 2, 2, 2);
    column_->setSpacing(6);
  }

  void Build(const std::vector<Token>& tokens) {
    for (size_t i = 0; i < tokens.size(); ++i) {
      const Token& token = tokens[i];
      if (token.kind == Token::Kind::kText) {
        Text(token.text);
      } else if (token.kind == Token::Kind::kStart) {
        const std::string* raw = i + 1 < tokens.size() && tokens[i + 1].kind == Token::Kind::kText
                                     ? &tokens[i + 1].text
                                     : nullptr;
        if (Start(token, raw) && raw != nullptr) ++i;
      } else {
        End(token);
      }
    }
    CommitSelect();  // a list left open at the end still shows
    EndRow(false);
    column_->addStretch(1);
  }

 private:
  void Text(const std::string& text) {
    if (select_ != nullptr) {
      if (in_option_) option_text_ += CollapseSpace(text);
      return;
    }
    const QString collapsed = CollapseSpace(text);
    if (run_.isEmpty() && collapsed.trimmed().isEmpty()) return;
    if (run_.isEmpty()) run_ = OpenTags();
    run_ += collapsed;
  }

  // True when the start tag took the raw text token after it.
  bool Start(const Token& tag, const std::string* raw) {
    const std::string& name = tag.name;
    if (name == "script" || name == "style" || name == "title") return true;
    if (name == "option") {
      CommitOption();
      if (select_ != nullptr) {
        option_value_ =
            tag.Attribute("value") ? std::optional(FromUtf8(tag.Value("value"))) : std::nullopt;
        option_selected_ = tag.Attribute("selected") != nullptr;
        in_option_ = true;
      }
      return false;
    }
    if (select_ != nullptr) return false;
    if (IsInline(name)) {
      const QString opening = InlineTag(tag);
      if (!run_.isEmpty()) run_ += opening;
      open_.push_back({name, opening});
      return false;
    }
    if (IsHeading(name)) {
      EndRow(true);
      open_.push_back({name, "<b>"});
      return false;
    }
    if (name == "br") {
      EndRow(true);
      return false;
    }
    if (name == "hr") {
      EndRow(false);
      auto* line = new QFrame(page_);
      line->setFrameShape(QFrame::HLine);
      line->setFrameShadow(QFrame::Sunken);
      column_->addWidget(line);
      return false;
    }
    if (name == "td" || name == "th") {
      Flush();
      return false;
    }
    if (name == "li") {
      EndRow(false);
      run_ = OpenTags() + QString::fromUtf8("\u2022 ");
      return false;
    }
    if (IsBlock(name)) {
      EndRow(false);
      if (name == "p" && column_->count() > 0) column_->addSpacing(6);
      return false;
    }
    if (name == "input") {
      Input(tag);
    } else if (name == "textarea") {
      TextArea(tag, raw == nullptr ? std::string() : *raw);
      return true;
    } else if (name == "select") {
      Flush();
      select_ = new QComboBox(page_);
      select_->setEnabled(tag.Attribute("disabled") == nullptr);
      select_name_ = FromUtf8(tag.Value("name"));
      select_values_.clear();
      selected_ = -1;
    }
    return false;
  }

  void End(const Token& tag) {
    const std::string& name = tag.name;
    if (name == "option") {
      CommitOption();
    } else if (name == "select") {
      CommitSelect();
    } else if (select_ != nullptr) {
      return;
    } else if (IsInline(name) || IsHeading(name)) {
      // Closes the innermost open tag of that name and what was opened inside it.
      for (size_t k = open_.size(); k-- > 0;) {
        if (open_[k].name != name) continue;
        for (size_t j = open_.size(); j-- > k;) {
          if (!run_.isEmpty()) run_ += "</" + ClosingName(open_[j]) + ">";
        }
        open_.resize(k);
        break;
      }
      if (IsHeading(name)) EndRow(false);
    } else if (name == "td" || name == "th") {
      Flush();
    } else if (IsBlock(name)) {
      EndRow(false);
      if (name == "p") column_->addSpacing(6);
    }
  }

  void Input(const Token& tag) {
    Flush();
    const std::string type = Lower(tag.Value("type"));
    const QString name = FromUtf8(tag.Value("name"));
    const QString value = FromUtf8(tag.Value("value"));
    const bool disabled = tag.Attribute("disabled") != nullptr;
    if (type == "hidden") {
      controls_->push_back({Control::Kind::kHidden, name, value, nullptr});
      return;
    }
    if (type == "submit" || type == "reset" || type == "button" || type == "image" ||
        type == "file") {
      return;  // the wizard's own buttons submit the form
    }
    if (type == "checkbox" || type == "radio") {
      const bool radio = type == "radio";
      QAbstractButton* button =
          radio ? static_cast<QAbstractButton*>(new QRadioButton(page_)) : new QCheckBox(page_);
      button->setChecked(tag.Attribute("checked") != nullptr);
      if (radio) {
        QButtonGroup*& group = groups_[name];
        if (group == nullptr) group = new QButtonGroup(page_);
        group->addButton(button);
      }
      button->setEnabled(!disabled);
      controls_->push_back({radio ? Control::Kind::kRadio : Control::Kind::kCheck, name,
                            tag.Attribute("value") ? value : QStringLiteral("on"), button});
      Place(button);
      awaiting_label_ = button;
      return;
    }
    auto* field = new QLineEdit(value, page_);
    if (type == "password") field->setEchoMode(QLineEdit::Password);
    if (const int length = AttributeNumber(tag, "maxlength", 0); length > 0) {
      field->setMaxLength(length);
    }
    const int columns = AttributeNumber(tag, "size", 20);
    field->setMinimumWidth(std::clamp(columns * CharacterWidth(field), 60, 420));
    field->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    field->setEnabled(!disabled);
    controls_->push_back({Control::Kind::kText, name, {}, field});
    Place(field);
  }

  void TextArea(const Token& tag, const std::string& raw) {
    EndRow(false);
    auto* area = new QPlainTextEdit(page_);
    // The first line feed after the tag belongs to the markup, as in a browser.
    std::string text = xml::DecodeEntities(raw);
    if (text.starts_with("\r\n")) {
      text.erase(0, 2);
    } else if (text.starts_with('\n')) {
      text.erase(0, 1);
    }
    area->setPlainText(FromUtf8(text));
    area->setTabChangesFocus(true);
    const int rows = std::clamp(AttributeNumber(tag, "rows", 4), 2, 12);
    const int columns = AttributeNumber(tag, "cols", 40);
    area->setFixedHeight(rows * area->fontMetrics().lineSpacing() + 12);
    area->setMinimumWidth(std::clamp(columns * CharacterWidth(area), 120, 420));
    area->setEnabled(tag.Attribute("disabled") == nullptr);
    controls_->push_back({Control::Kind::kArea, FromUtf8(tag.Value("name")), {}, area});
    Place(area);
    EndRow(false);
  }

  void CommitOption() {
    if (select_ == nullptr || !in_option_) return;
    const QString text = option_text_.trimmed();
    select_->addItem(FromUtf8(xml::DecodeEntities(text.toStdString())));
    select_values_.push_back(option_value_.value_or(select_->itemText(select_->count() - 1)));
    if (option_selected_) selected_ = select_->count() - 1;
    option_text_.clear();
    in_option_ = false;
  }

  void CommitSelect() {
    CommitOption();
    if (select_ == nullptr) return;
    if (selected_ >= 0) select_->setCurrentIndex(selected_);
    for (int k = 0; k < select_->count(); ++k) select_->setItemData(k, select_values_[k]);
    controls_->push_back({Control::Kind::kSelect, select_name_, {}, select_});
    QComboBox* combo = select_;
    select_ = nullptr;
    Place(combo);
  }

  void Place(QWidget* widget) {
    if (row_ == nullptr) {
      row_ = new QHBoxLayout;
      row_->setSpacing(6);
      column_->addLayout(row_);
    }
    if (last_label_ != nullptr) last_label_->setBuddy(widget);
    last_label_ = nullptr;
    row_->addWidget(widget, 0, Qt::AlignVCenter);
  }

  // Turns the pending text into a label in the current row, or into the text of the check
  // box or radio button just before it.
  void Flush() {
    const QString text = run_;
    run_.clear();
    if (text.isEmpty() || QTextDocumentFragment::fromHtml(text).toPlainText().trimmed().isEmpty()) {
      return;
    }
    QString closed = text;
    for (size_t j = open_.size(); j-- > 0;) closed += "</" + ClosingName(open_[j]) + ">";
    if (awaiting_label_ != nullptr) {
      awaiting_label_->setText(QTextDocumentFragment::fromHtml(closed).toPlainText().trimmed());
      awaiting_label_ = nullptr;
      return;
    }
    auto* label = new QLabel(closed, page_);
    label->setTextFormat(Qt::RichText);
    label->setWordWrap(true);
    label->setOpenExternalLinks(true);
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    Place(label);
    last_label_ = label;
    row_labels_.push_back(label);
  }

  // Ends the current row; `blank_line` leaves an empty line when the row held nothing (<br>).
  void EndRow(bool blank_line) {
    const bool carry = !run_.isEmpty();
    Flush();
    awaiting_label_ = nullptr;
    last_label_ = nullptr;
    if (row_ == nullptr) {
      if (blank_line && !carry && column_->count() > 0) {
        column_->addSpacing(page_->fontMetrics().lineSpacing() / 2);
      }
      return;
    }
    // "Label: [box]" with nothing after the box (the generated table's rows) becomes a box
    // carrying the label, which a click on the words toggles, as in any dialog.
    if (row_->count() == 2 && row_labels_.size() == 1 &&
        row_->itemAt(0)->widget() == row_labels_[0]) {
      auto* button = qobject_cast<QAbstractButton*>(row_->itemAt(1)->widget());
      if (button != nullptr && button->text().isEmpty()) {
        QString text =
            QTextDocumentFragment::fromHtml(row_labels_[0]->text()).toPlainText().trimmed();
        if (text.endsWith(':')) text.chop(1);
        button->setText(text);
        delete row_labels_[0];
        row_labels_.clear();
      }
    }
    // Rows with controls keep their natural widths (a wrapping label beside a control would be
    // squeezed to a narrow column); a text-only row wraps across the page.
    if (row_->count() > static_cast<int>(row_labels_.size())) {
      for (QLabel* label : row_labels_) label->setWordWrap(false);
      row_->addStretch(1);
    }
    row_ = nullptr;
    row_labels_.clear();
  }

  struct Open {
    std::string name;
    QString opening;
  };
  static QString ClosingName(const Open& open) {
    return IsHeading(open.name) ? QStringLiteral("b") : FromUtf8(open.name);
  }
  QString OpenTags() const {
    QString out;
    for (const Open& open : open_) out += open.opening;
    return out;
  }

  QWidget* page_;
  std::vector<Control>* controls_;
  QVBoxLayout* column_;
  QHBoxLayout* row_ = nullptr;
  std::vector<QLabel*> row_labels_;
  QString run_;
  std::vector<Open> open_;
  QAbstractButton* awaiting_label_ = nullptr;
  QLabel* last_label_ = nullptr;
  std::map<QString, QButtonGroup*> groups_;
  QComboBox* select_ = nullptr;
  QString select_name_;
  std::vector<QString> select_values_;
  int selected_ = -1;
  bool in_option_ = false;
  QString option_text_;
  std::optional<QString> option_value_;
  bool option_selected_ = false;
};

HtmlFormView::HtmlFormView(QWidget* parent) : QScrollArea(parent) {
  setWidgetResizable(true);
  setFrameShape(QFrame::NoFrame);
}

HtmlFormView::~HtmlFormView() = default;

void HtmlFormView::SetHtml(const QString& html) {
  controls_.clear();
  delete takeWidget();
  auto* page = new QWidget;
  page->setObjectName("HtmlFormPage");
  const std::string text = html.toStdString();
  Builder(page, &controls_).Build(Tokenize(text));
  setWidget(page);
}

HtmlFormView::Fields HtmlFormView::Submit() const {
  std::set<QString> answered;
  for (const Control& control : controls_) {
    const bool is_button =
        control.kind == Control::Kind::kCheck || control.kind == Control::Kind::kRadio;
    if (control.widget != nullptr && !control.widget->isEnabled()) continue;
    if (!is_button || static_cast<QAbstractButton*>(control.widget)->isChecked()) {
      answered.insert(control.name);
    }
  }
  Fields fields;
  std::set<QString> emptied;
  for (const Control& control : controls_) {
    if (control.name.isEmpty()) continue;
    if (control.widget != nullptr && !control.widget->isEnabled()) continue;
    QString value;
    switch (control.kind) {
      case Control::Kind::kText:
        value = static_cast<QLineEdit*>(control.widget)->text();
        break;
      case Control::Kind::kArea:
        value = static_cast<QPlainTextEdit*>(control.widget)->toPlainText();
        break;
      case Control::Kind::kSelect: {
        const auto* combo = static_cast<QComboBox*>(control.widget);
        if (combo->currentIndex() < 0) continue;
        value = combo->currentData().toString();
        break;
      }
      case Control::Kind::kHidden:
        value = control.value;
        break;
      case Control::Kind::kCheck:
      case Control::Kind::kRadio:
        if (static_cast<QAbstractButton*>(control.widget)->isChecked()) {
          value = control.value;
        } else if (control.kind == Control::Kind::kCheck && !answered.contains(control.name) &&
                   emptied.insert(control.name).second) {
          value.clear();
        } else {
          continue;
        }
        break;
    }
    fields.emplace_back(control.name.toStdString(), value.toStdString());
  }
  return fields;
}

QWidget* HtmlFormView::FindControl(const QString& name, const QString& value) const {
  for (const Control& control : controls_) {
    const bool is_button =
        control.kind == Control::Kind::kCheck || control.kind == Control::Kind::kRadio;
    if (control.name == name && control.widget != nullptr &&
        (value.isEmpty() || !is_button || control.value == value)) {
      return control.widget;
    }
  }
  return nullptr;
}

QWidget* HtmlFormView::FirstControl() const {
  for (const Control& control : controls_) {
    if (control.widget != nullptr && control.widget->isEnabled()) return control.widget;
  }
  return nullptr;
}

}  // namespace quorvane::app
