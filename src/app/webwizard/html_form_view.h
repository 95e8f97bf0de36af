// Shows the HTML body of a design's settings form as Qt widgets, since the text browser the
// other panes use cannot show form fields: text runs become rich-text labels and each control
// (input, textarea, select) the matching widget holding its value. Submit() reads the answers
// back as the (name, value) pairs a browser would post, in document order.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <QScrollArea>
#include <QString>

class QWidget;

namespace quorvane::app {

class HtmlFormView : public QScrollArea {
  Q_OBJECT
 public:
  using Fields = std::vector<std::pair<std::string, std::string>>;

  explicit HtmlFormView(QWidget* parent = nullptr);
  ~HtmlFormView() override;

  // Replaces what is shown by `html`. Tolerant of what hand-written forms hold: unquoted and
  // valueless attributes, unclosed and unknown tags, comments and scripts (skipped).
  void SetHtml(const QString& html);

  // Text fields, text areas, selected options, checked boxes and radio buttons, and hidden
  // fields, as posted; disabled controls are left out. A check box whose name nothing else
  // submits posts an empty value, so that unticking it is an answer too.
  Fields Submit() const;

  // The first control named `name` (and, for check boxes and radio buttons, with `value`), or
  // null: where the page puts the focus after a refusal, and how tests fill the form.
  QWidget* FindControl(const QString& name, const QString& value = {}) const;
  // The first control of the form, or null.
  QWidget* FirstControl() const;

  struct Control {
    enum class Kind { kText, kArea, kSelect, kCheck, kRadio, kHidden };
    Kind kind;
    QString name;
    QString value;    // what a check box or radio button posts; a hidden field's value
    QWidget* widget;  // null for hidden fields
  };

 private:
  class Builder;
  std::vector<Control> controls_;
};

}  // namespace quorvane::app
