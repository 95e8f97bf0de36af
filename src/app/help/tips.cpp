#include "app/help/tips.h"

#include <cstdio>

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include "settings/settings.h"
#include "xml/xml_document.h"

namespace quorvane::app::help {
namespace {

constexpr char kTipsResource[] = ":/quorvane/help/tips.xml";

}  // namespace

std::vector<std::string> ReadTips(std::string_view xml_text) {
  xml::XmlDocument document;
  // Tips are written indented over several lines; the dialog wraps them itself.
  document.set_parse_flags(xml::kParseSkipWhitespace | xml::kParseLineFeedsToSpaces);
  xml::ByteBuffer input(xml_text);
  document.Parse(input);
  std::vector<std::string> tips;
  for (int i = 0;; ++i) {
    char path[48];
    std::snprintf(path, sizeof path, "Tips.Tip[%d]", i);
    const xml::XmlNode* tip = document.FindPath(path);
    if (!tip) break;
    char text_path[48];
    std::snprintf(text_path, sizeof text_path, "Tips.Tip[%d].#text", i);
    const xml::XmlNode* text = document.FindPath(text_path);
    if (!text) continue;
    const QString simplified = QString::fromStdString(text->GetTextDecoded()).simplified();
    if (!simplified.isEmpty()) tips.push_back(simplified.toStdString());
  }
  return tips;
}

std::vector<std::string> LoadTips() {
  QFile file(kTipsResource);
  if (!file.open(QIODevice::ReadOnly)) return {};
  const QByteArray bytes = file.readAll();
  return ReadTips(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
}

int NextTipIndex(std::optional<int32_t> last_shown, int count) {
  if (count <= 0 || !last_shown || *last_shown < 0 || *last_shown >= count) return 0;
  return (*last_shown + 1) % count;
}

bool ShowTipsAtStart(const settings::Settings& settings) {
  const auto it = settings.options.find(kShowTipsAtStartOption);
  if (it == settings.options.end()) return true;
  const int32_t* on = std::get_if<int32_t>(&it->second);
  return !on || *on != 0;
}

TipDialog::TipDialog(settings::UserSettings* user, std::vector<std::string> tips, QWidget* parent)
    : QDialog(parent), user_(user), tips_(std::move(tips)) {
  setWindowTitle(tr("Tip of the Day"));
  setObjectName("TipOfTheDay");

  // The tip sits on a light panel beside a bulb, as the reader's eye expects a hint to look.
  auto* panel = new QFrame(this);
  panel->setFrameShape(QFrame::StyledPanel);
  panel->setBackgroundRole(QPalette::Base);
  panel->setAutoFillBackground(true);
  auto* bulb = new QLabel(panel);
  const QIcon icon = QIcon::fromTheme(
      "help-hint", style()->standardIcon(QStyle::SP_MessageBoxInformation, nullptr, this));
  bulb->setPixmap(icon.pixmap(48, 48));
  bulb->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
  auto* heading = new QLabel(tr("Did you know..."), panel);
  QFont bigger = heading->font();
  bigger.setPointSizeF(bigger.pointSizeF() * 1.4);
  bigger.setBold(true);
  heading->setFont(bigger);
  tip_ = new QLabel(panel);
  tip_->setTextFormat(Qt::PlainText);
  tip_->setWordWrap(true);
  tip_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  tip_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  tip_->setMinimumSize(380, 110);
  count_ = new QLabel(panel);
  count_->setForegroundRole(QPalette::PlaceholderText);
  auto* words = new QVBoxLayout;
  words->addWidget(heading);
  words->addSpacing(6);
  words->addWidget(tip_, 1);
  words->addWidget(count_, 0, Qt::AlignRight);
  auto* panel_layout = new QHBoxLayout(panel);
  panel_layout->setContentsMargins(16, 16, 16, 12);
  panel_layout->setSpacing(16);
  panel_layout->addWidget(bulb, 0, Qt::AlignTop);
  panel_layout->addLayout(words, 1);

  show_at_start_ = new QCheckBox(tr("&Show tips at startup"), this);
  show_at_start_->setChecked(ShowTipsAtStart(user_->settings));
  next_ = new QPushButton(tr("&Next Tip"), this);
  next_->setEnabled(tips_.size() > 1);
  auto* close = new QPushButton(tr("&Close"), this);
  close->setDefault(true);
  connect(next_, &QPushButton::clicked, this, &TipDialog::ShowNextTip);
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  connect(show_at_start_, &QCheckBox::toggled, this, [this](bool on) {
    user_->settings.options.insert_or_assign(std::string(kShowTipsAtStartOption),
                                             int32_t{on ? 1 : 0});
    Save();
  });
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(show_at_start_);
  buttons->addStretch(1);
  buttons->addWidget(next_);
  buttons->addWidget(close);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(panel, 1);
  layout->addLayout(buttons);

  Show(NextTipIndex(user_->settings.app_lasttipshown, static_cast<int>(tips_.size())));
}

void TipDialog::ShowNextTip() { Show(NextTipIndex(current_, static_cast<int>(tips_.size()))); }

QString TipDialog::tip_text() const { return tip_->text(); }

void TipDialog::Show(int index) {
  current_ = index;
  if (tips_.empty()) {
    tip_->setText(tr("There are no tips to show."));
    count_->clear();
    return;
  }
  tip_->setText(QString::fromStdString(tips_[static_cast<size_t>(index)]));
  count_->setText(tr("Tip %1 of %2").arg(index + 1).arg(tips_.size()));
  user_->settings.app_lasttipshown = index;
  Save();
}

void TipDialog::Save() {
  // Not kept is not lost: the next start shows a tip again, only maybe the same one.
  (void)settings::SaveUserSettings(user_);
}

}  // namespace quorvane::app::help
