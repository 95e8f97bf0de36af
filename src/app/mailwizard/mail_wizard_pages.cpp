#include "app/mailwizard/mail_wizard_pages.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/mailwizard/album_mail_wizard.h"
#include "app/mailwizard/mail_settings_form.h"
#include "app/mailwizard/mail_task.h"
#include "app/mailwizard/wizard_widgets.h"
#include "mail/workflow/mail_fragments.h"
#include "settings/album_settings.h"

namespace quorvane::app {
namespace {

// How long the size estimate waits for the mail server to name its SIZE limit.
constexpr uint32_t kSizeQueryTimeoutMs = 5000;

QProgressBar* NewBar(QWidget* parent) {
  auto* bar = new QProgressBar(parent);
  bar->setTextVisible(false);
  bar->setMaximumHeight(12);
  bar->hide();
  return bar;
}

void ShowPosition(QProgressBar* bar, qint64 position, qint64 maximum) {
  bar->show();
  if (maximum <= 0) {
    bar->setRange(0, 0);
    return;
  }
  bar->setRange(0, 1000);
  bar->setValue(static_cast<int>(position * 1000 / maximum));
}

}  // namespace

MailWizardPage::MailWizardPage(AlbumMailWizard* wizard) : wizard_(wizard) {
  status_ = NewStatusLabel(this);
  connect(wizard->task(), &MailTask::RunningChanged, this, &QWizardPage::completeChanged);
}

bool MailWizardPage::isComplete() const { return !wizard_->task()->running(); }

MailSettingsPage::MailSettingsPage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Configure Your Mail Settings");
  setSubTitle("Select your preferences for email albums in email...");
  auto* intro = new QLabel("Before you can send mail, configure your outgoing mail settings...");
  intro->setWordWrap(true);
  form_ = new MailSettingsForm(wizard->task(), this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(intro);
  layout->addWidget(form_, 1);
  layout->addWidget(status_);
}

void MailSettingsPage::initializePage() { form_->Load(wizard_->settings()); }

bool MailSettingsPage::validatePage() {
  if (const QString problem = form_->Problem(); !problem.isEmpty()) {
    SetStatus(status_, problem, true);
    return false;
  }
  settings::Settings values = wizard_->settings();
  form_->Store(&values);
  QString error;
  if (!wizard_->SaveSettings(values, &error)) {
    SetStatus(status_, error, true);
    return false;
  }
  SetStatus(status_, {}, false);
  return true;
}

IntroPage::IntroPage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Send Photo Albums in Email");
  setSubTitle("Quorvane makes it easy to send entire photo albums in email...");
  view_ = NewFragmentView(this);
  busy_ = NewBar(this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(view_, 1);
  layout->addWidget(busy_);
  layout->addWidget(status_);
}

void IntroPage::initializePage() {
  AlbumMailWizard* wizard = wizard_;
  SetStatus(status_, tr("Measuring your album..."), false);
  ShowPosition(busy_, 0, 0);
  const mail::MailSettings settings = wizard->mail_settings();
  const bool measure = !wizard->measured;
  auto recommendation = std::make_shared<mail::Recommendation>();
  auto bytes = std::make_shared<uint64_t>(wizard->original_bytes);
  connect(
      wizard->task(), &MailTask::Finished, this,
      [this, wizard, recommendation, bytes](platform::ResultCode result) {
        busy_->hide();
        if (result == platform::kCancelled) {
          SetStatus(status_, tr("The size estimate was cancelled. Press Back to start it again."),
                    false);
          return;
        }
        if (result != platform::kOk) {
          SetStatus(status_, QString::fromStdString(wizard->workflow().failure()), true);
          return;
        }
        SetStatus(status_, {}, false);
        wizard->measured = true;
        wizard->original_bytes = *bytes;
        wizard->recommendation = *recommendation;
        ShowFragment(view_, mail::SizeAndTimesHtml(false, wizard->workflow().photo_count(),
                                                   wizard->original_bytes));
        emit completeChanged();
      },
      Qt::SingleShotConnection);
  // The server's SIZE limit, when it names one, can change the recommendation, so it is
  // asked each time the settings may have changed.
  mail::AlbumMailWorkflow* workflow = &wizard->workflow();
  wizard->task()->Start([workflow, settings, measure, recommendation, bytes](
                            platform::ProgressSink& progress, const mail::StatusCallback&) {
    if (measure) {
      if (!workflow->Measure()) return platform::kFailed;
      *bytes = workflow->album_bytes();
    }
    if (progress.Cancelled()) return platform::kCancelled;
    const std::optional<uint64_t> limit =
        settings.use_mail_client ? std::nullopt
                                 : mail::QueryServerSizeLimit(settings, kSizeQueryTimeoutMs);
    *recommendation = workflow->Recommend(limit);
    return platform::kOk;
  });
}

bool IntroPage::isComplete() const { return MailWizardPage::isComplete() && wizard_->measured; }

SizePage::SizePage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Photo Album Size");
  setSubTitle("Resizing your photos will reduce the size of your album...");
  view_ = NewFragmentView(this);
  view_->setMaximumHeight(110);
  as_is_ = new QRadioButton(tr("Send the photos &as they are"), this);
  box800_ = new QRadioButton(tr("Resize the photos to &800x600"), this);
  box640_ = new QRadioButton(tr("Resize the photos to &640x480"), this);
  custom_ = new QRadioButton(tr("Resize the photos to a &custom size:"), this);
  auto* group = new QButtonGroup(this);
  for (QRadioButton* button : {as_is_, box800_, box640_, custom_}) group->addButton(button);
  width_ = new QLineEdit(this);
  height_ = new QLineEdit(this);
  for (QLineEdit* edit : {width_, height_}) {
    edit->setMaximumWidth(70);
    edit->setAlignment(Qt::AlignRight);
    connect(edit, &QLineEdit::textEdited, this, [this] {
      custom_->setChecked(true);
      SetStatus(status_, {}, false);
    });
  }
  width_->setPlaceholderText(tr("width"));
  height_->setPlaceholderText(tr("height"));
  auto* custom_row = new QHBoxLayout;
  custom_row->addWidget(custom_);
  custom_row->addWidget(width_);
  custom_row->addWidget(new QLabel("x", this));
  custom_row->addWidget(height_);
  custom_row->addWidget(new QLabel(tr("pixels"), this));
  custom_row->addStretch(1);
  strip_private_ = new QCheckBox(
      tr("&Leave out private details (GPS positions, camera serial numbers, owner names)"), this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(view_);
  layout->addWidget(as_is_);
  layout->addWidget(box800_);
  layout->addWidget(box640_);
  layout->addLayout(custom_row);
  layout->addSpacing(8);
  layout->addWidget(strip_private_);
  layout->addStretch(1);
  layout->addWidget(status_);
}

void SizePage::initializePage() {
  const mail::Recommendation& recommendation = wizard_->recommendation;
  ShowFragment(view_, recommendation.html);
  switch (recommendation.choice.kind) {
    case mail::ResizeKind::kAsIs:
      as_is_->setChecked(true);
      break;
    case mail::ResizeKind::k800x600:
      box800_->setChecked(true);
      break;
    case mail::ResizeKind::k640x480:
    case mail::ResizeKind::kCustom:
      box640_->setChecked(true);
      break;
  }
  strip_private_->setChecked(wizard_->settings().web_publish_stripprivate);
  SetStatus(status_, {}, false);
}

bool SizePage::validatePage() {
  mail::ResizeChoice choice;
  if (box800_->isChecked()) {
    choice = mail::ResizeChoice::Box800x600();
  } else if (box640_->isChecked()) {
    choice = mail::ResizeChoice::Box640x480();
  } else if (custom_->isChecked()) {
    const QString text = width_->text().trimmed() + "x" + height_->text().trimmed();
    if (!mail::ParseResizeChoice(text.toStdString(), &choice)) {
      SetStatus(status_, FromView(mail::kInvalidSizeMessage), true);
      width_->setFocus();
      return false;
    }
  }
  wizard_->options.resize = choice;
  wizard_->options.strip_private = strip_private_->isChecked();
  wizard_->options.mode = settings::ThumbnailOptionsFrom(wizard_->settings()).mode;
  SetStatus(status_, {}, false);
  return true;
}

PreparePage::PreparePage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Send Photo Album");
  photo_text_ = new QLabel(this);
  bar_ = NewBar(this);
  view_ = NewFragmentView(this);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(photo_text_);
  layout->addWidget(bar_);
  layout->addWidget(view_, 1);
  layout->addWidget(status_);
  connect(wizard->task(), &MailTask::PhotoText, this, [this](const QString& text) {
    if (wizard_->currentPage() != this) return;
    photo_text_->setText(text);
    photo_text_->setVisible(!text.isEmpty());
  });
  connect(wizard->task(), &MailTask::Position, this, [this](qint64 position, qint64 maximum) {
    if (wizard_->currentPage() == this) ShowPosition(bar_, position, maximum);
  });
}

void PreparePage::initializePage() {
  setSubTitle("Resizing your photo album...");
  prepared_ = false;
  lines_.clear();
  view_->clear();
  photo_text_->clear();
  ShowPosition(bar_, 0, 0);
  auto on_status = connect(wizard_->task(), &MailTask::Status, this, [this](const QString& text) {
    lines_ << text;
    SetStatusLines(status_, lines_, lines_.size(), false);
  });
  connect(
      wizard_->task(), &MailTask::Finished, this,
      [this, on_status](platform::ResultCode result) {
        disconnect(on_status);
        bar_->hide();
        photo_text_->hide();
        prepared_ = result == platform::kOk;
        if (prepared_) {
          lines_ << FromView(mail::kPressNextText);
          setSubTitle("Check the new size of your album...");
          ShowFragment(view_, wizard_->workflow().SizeHtml());
        }
        // What the preparation came to stands out: the last text, or the two that end it.
        SetStatusLines(status_, lines_, lines_.size() - (prepared_ ? 2 : 1),
                       result == platform::kFailed);
        emit completeChanged();
      },
      Qt::SingleShotConnection);
  mail::AlbumMailWorkflow* workflow = &wizard_->workflow();
  wizard_->task()->Start([workflow, options = wizard_->options](
                             platform::ProgressSink& progress, const mail::StatusCallback& status) {
    return workflow->Prepare(options, progress, status);
  });
}

bool PreparePage::isComplete() const { return MailWizardPage::isComplete() && prepared_; }

AddressPage::AddressPage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Address your album...");
  setSubTitle(tr("Who receives the album, and who it comes from."));
  recipients_ = new QLineEdit(this);
  recipients_->setPlaceholderText(tr("name@example.com; another@example.com"));
  name_ = new QLineEdit(this);
  address_ = new QLineEdit(this);
  for (QLineEdit* edit : {recipients_, name_, address_}) {
    connect(edit, &QLineEdit::textEdited, this, [this] { SetStatus(status_, {}, false); });
  }
  auto* hint = new QLabel(tr("Separate several addresses with semicolons or commas."), this);
  hint->setEnabled(false);
  auto* form = new QFormLayout;
  form->addRow(tr("&To:"), recipients_);
  form->addRow(QString(), hint);
  form->addItem(new QSpacerItem(0, 12));
  form->addRow(tr("Your &name:"), name_);
  form->addRow(tr("Your &email address:"), address_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addStretch(1);
  layout->addWidget(status_);
}

void AddressPage::initializePage() {
  if (name_->text().isEmpty())
    name_->setText(QString::fromStdString(wizard_->settings().email_name));
  if (address_->text().isEmpty()) {
    address_->setText(QString::fromStdString(wizard_->settings().email_address));
  }
  SetStatus(status_, {}, false);
  recipients_->setFocus();
}

bool AddressPage::validatePage() {
  std::vector<std::string> to;
  for (const QString& address :
       recipients_->text().split(QRegularExpression("[,;\\s]+"), Qt::SkipEmptyParts)) {
    to.push_back(address.toStdString());
  }
  const bool client = wizard_->settings().mapi_enable;
  QLineEdit* missing = to.empty()                                        ? recipients_
                       : !client && address_->text().trimmed().isEmpty() ? address_
                                                                         : nullptr;
  if (missing) {
    SetStatus(status_, FromView(mail::kNoAddressText), true);
    missing->setFocus();
    return false;
  }
  settings::Settings values = wizard_->settings();
  values.email_name = name_->text().trimmed().toStdString();
  values.email_address = address_->text().trimmed().toStdString();
  QString error;
  if (!wizard_->SaveSettings(values, &error)) {
    SetStatus(status_, error, true);
    return false;
  }
  wizard_->recipients = std::move(to);
  SetStatus(status_, {}, false);
  return true;
}

SendPage::SendPage(AlbumMailWizard* wizard) : MailWizardPage(wizard) {
  setTitle("Quorvane is now sending your album...");
  setSubTitle(tr("Each step is shown below as it happens."));
  setFinalPage(true);
  bar_ = NewBar(this);
  view_ = NewFragmentView(this);
  view_->hide();

  again_ = new QWidget(this);
  auto* again_text = new QLabel(FromView(mail::kSendAgainText), again_);
  again_text->setWordWrap(true);
  send_again_ = new QPushButton(tr("Send to Another Person"), again_);
  auto* again_layout = new QHBoxLayout(again_);
  again_layout->setContentsMargins(0, 0, 0, 0);
  again_layout->addWidget(again_text, 1);
  again_layout->addWidget(send_again_, 0, Qt::AlignTop);

  retry_box_ = new QWidget(this);
  auto* retry_text = new QLabel(FromView(mail::kRetryText), retry_box_);
  retry_text->setWordWrap(true);
  retry_ = new QPushButton(tr("Try Sending Again"), retry_box_);
  configure_ = new QPushButton(tr("Configure Mail Server"), retry_box_);
  auto* buttons = new QVBoxLayout;
  buttons->addWidget(retry_);
  buttons->addWidget(configure_);
  buttons->addStretch(1);
  auto* retry_layout = new QHBoxLayout(retry_box_);
  retry_layout->setContentsMargins(0, 0, 0, 0);
  retry_layout->addWidget(retry_text, 1);
  retry_layout->addLayout(buttons);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(status_);
  layout->addWidget(bar_);
  layout->addWidget(view_, 1);
  layout->addStretch(1);
  layout->addWidget(again_);
  layout->addSpacing(6);
  layout->addWidget(retry_box_);
  again_->hide();
  retry_box_->hide();

  connect(wizard->task(), &MailTask::Status, this, [this](const QString& text) {
    if (wizard_->currentPage() == this) AddLine(text);
  });
  connect(wizard->task(), &MailTask::Position, this, [this](qint64 position, qint64 maximum) {
    if (wizard_->currentPage() == this) ShowPosition(bar_, position, maximum);
  });
  connect(send_again_, &QPushButton::clicked, this, [this] {
    wizard_->back();
    wizard_->address_page()->recipients_edit()->clear();
    wizard_->address_page()->recipients_edit()->setFocus();
  });
  connect(retry_, &QPushButton::clicked, this, &SendPage::Start);
  connect(configure_, &QPushButton::clicked, this, &SendPage::ConfigureMailServer);
}

void SendPage::initializePage() { Start(); }

bool SendPage::isComplete() const { return MailWizardPage::isComplete(); }

void SendPage::AddLine(const QString& text) {
  lines_ << text;
  SetStatusLines(status_, lines_, lines_.size(), false);
}

void SendPage::Start() {
  if (wizard_->task()->running()) return;
  lines_.clear();
  again_->hide();
  retry_box_->hide();
  view_->hide();
  bar_->hide();
  const mail::MailSettings settings = wizard_->mail_settings();
  connect(wizard_->task(), &MailTask::Finished, this, &SendPage::Finish, Qt::SingleShotConnection);
  mail::AlbumMailWorkflow* workflow = &wizard_->workflow();
  wizard_->task()->Start([workflow, settings, to = wizard_->recipients](
                             platform::ProgressSink& progress, const mail::StatusCallback& status) {
    return workflow->Send(settings, to, progress, status);
  });
}

void SendPage::ShowCancelling() { AddLine(FromView(mail::kCancellingText)); }

void SendPage::Finish(platform::ResultCode result) {
  result_ = result;
  bar_->hide();
  mail::AlbumMailWorkflow& workflow = wizard_->workflow();
  if (result == platform::kOk && wizard_->mail_settings().use_mail_client) {
    AddLine(FromView(mail::kPressFinishText));
  }
  // From the failure on (it may bring the hint to the configuration), or the last text.
  qsizetype marked = lines_.size() - 1;
  if (result == platform::kFailed) {
    const qsizetype failure = lines_.lastIndexOf(QString::fromStdString(workflow.failure()));
    if (failure >= 0) marked = failure;
  }
  if (workflow.no_mail_client()) {
    // The help page reads better as the page it is than as a status line.
    lines_.removeLast();
    marked = lines_.size();
    ShowFragment(view_, mail::FragmentText(mail::MailFragment::kDefaultMailClient));
    view_->show();
  }
  SetStatusLines(status_, lines_, marked, result == platform::kFailed);
  again_->setVisible(result == platform::kOk);
  retry_box_->setVisible(result != platform::kOk);
  emit completeChanged();
  emit Ended(result);
}

void SendPage::ConfigureMailServer() {
  auto* dialog = new QDialog(this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setWindowTitle(tr("Configure Mail Server"));
  auto* form = new MailSettingsForm(wizard_->task(), dialog);
  form->Load(wizard_->settings());
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
  auto* layout = new QVBoxLayout(dialog);
  layout->addWidget(form);
  layout->addWidget(buttons);
  connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  connect(buttons, &QDialogButtonBox::accepted, dialog, [this, dialog, form] {
    if (const QString problem = form->Problem(); !problem.isEmpty()) {
      form->ShowStatus(problem, true);
      return;
    }
    settings::Settings values = wizard_->settings();
    form->Store(&values);
    QString error;
    if (!wizard_->SaveSettings(values, &error)) {
      form->ShowStatus(error, true);
      return;
    }
    dialog->accept();
  });
  dialog->setObjectName("ConfigureMailServer");
  dialog->open();
}

}  // namespace quorvane::app
