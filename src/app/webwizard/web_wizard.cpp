#include "app/webwizard/web_wizard.h"

#include <mutex>
#include <string>

#include <QApplication>
#include <QDesktopServices>
#include <QIcon>
#include <QTimer>
#include <QUrl>

#include "album/album.h"
#include "app/webwizard/web_wizard_pages.h"
#include "settings/settings.h"
#include "settings/user_folders.h"

namespace quorvane::app {
namespace {

// How often the window thread looks at what the worker reported.
constexpr int kPollMs = 40;

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

// What the worker reported last, taken by the window thread when it polls: reports arriving
// faster than the window shows them are merged.
class WebWizard::RunProgress : public platform::ProgressSink {
 public:
  void SetText(std::string_view text) override {
    std::lock_guard lock(mutex_);
    text_ = std::string(text);
  }
  void SetPosition(int64_t position, int64_t maximum) override {
    std::lock_guard lock(mutex_);
    position_ = position;
    maximum_ = maximum;
  }
  bool Cancelled() const override { return cancelled_.load(); }
  void Cancel() { cancelled_.store(true); }

  void Take(std::string* text, int64_t* position, int64_t* maximum) {
    std::lock_guard lock(mutex_);
    *text = text_;
    *position = position_;
    *maximum = maximum_;
  }

 private:
  std::mutex mutex_;
  std::string text_;
  int64_t position_ = 0;
  int64_t maximum_ = 0;
  std::atomic<bool> cancelled_{false};
};

WebWizard::WebWizard(album::Album& album, settings::UserSettings* user,
                     std::vector<std::filesystem::path> template_folders, QWidget* parent)
    : QWizard(parent),
      album_(album),
      user_(user),
      folders_(std::move(template_folders)),
      progress_(std::make_unique<RunProgress>()),
      poll_(new QTimer(this)) {
  setObjectName("WebWizard");
  setWindowTitle(tr("Create Web Pages"));
  setWizardStyle(QWizard::ModernStyle);
  setOption(QWizard::NoBackButtonOnLastPage, false);
  const QIcon icon(":/quorvane/quorvane.svg");
  if (!icon.isNull()) setPixmap(QWizard::LogoPixmap, icon.pixmap(48, 48));
  options_.strip_private = user_->settings.web_publish_stripprivate;
  setPage(kWelcomePage, new WelcomePage(this));
  setPage(kTemplatePage, new TemplatePage(this));
  setPage(kSettingsPage, new SettingsPage(this));
  setPage(kOptionsPage, new OptionsPage(this));
  setPage(kFolderPage, new FolderPage(this));
  setPage(kProcessingPage, new ProcessingPage(this));
  setStartId(kWelcomePage);
  resize(680, 500);
  poll_->setInterval(kPollMs);
  connect(poll_, &QTimer::timeout, this, &WebWizard::Poll);
}

WebWizard::~WebWizard() {
  if (worker_.joinable()) {
    progress_->Cancel();
    worker_.join();
  }
}

std::vector<std::filesystem::path> WebWizard::InstalledTemplateFolders() {
  return webalbum::TemplateFolders(QApplication::applicationDirPath().toStdString(),
                                   settings::FindUserFolders(settings::ProcessEnvironment()).data);
}

platform::ResultCode WebWizard::LoadDesign(const std::filesystem::path& path) {
  const bool same = design_ && design_->path() == path;
  auto fresh = std::make_unique<webalbum::DesignTemplate>();
  webalbum::DesignTemplate* target = same ? design_.get() : fresh.get();
  const platform::ResultCode code = target->Load(path);
  if (code != platform::kOk) {
    if (same) {  // what was loaded is no longer there
      design_.reset();
      ++generation_;
    }
    return code;
  }
  if (!same) {
    design_ = std::move(fresh);
    ++generation_;
  }
  return code;
}

void WebWizard::SaveSettings() {
  if (!settings::SaveUserSettings(user_)) {
    ShowMessage(FromUtf8(user_->backend->LastError()), QMessageBox::Warning);
  }
}

void WebWizard::ShowMessage(const QString& text, QMessageBox::Icon icon) {
  auto* box = new QMessageBox(icon, "Quorvane", text, QMessageBox::Ok, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

bool WebWizard::StartRun() {
  if (running() || !design_ || album_.photos().empty() || output_.empty()) return false;
  progress_ = std::make_unique<RunProgress>();
  generator_ = std::make_unique<webalbum::WebAlbumGenerator>(*design_, output_, options_);
  finished_ = false;
  worker_ = std::thread([this] {
    result_ = generator_->Generate(album_, *progress_);
    finished_ = true;
  });
  poll_->start();
  return true;
}

void WebWizard::CancelRun() { progress_->Cancel(); }

void WebWizard::Poll() {
  // Read before the reports, so that the last report before the end is the one shown.
  const bool finished = finished_.load();
  std::string text;
  int64_t position = 0;
  int64_t maximum = 0;
  progress_->Take(&text, &position, &maximum);
  emit Progress(FromUtf8(text), position, maximum);
  if (!finished) return;
  poll_->stop();
  worker_.join();
  const QString error = FromUtf8(generator_->last_error());
  emit RunEnded(result_, error);
  if (close_when_ended_) QWizard::reject();
}

void WebWizard::accept() {
  if (running()) return;
  QDesktopServices::openUrl(
      QUrl::fromLocalFile(QString::fromStdString((output_ / "index.html").string())));
  QWizard::accept();
}

void WebWizard::reject() {
  if (running()) {
    close_when_ended_ = true;
    progress_->Cancel();
    return;
  }
  QWizard::reject();
}

WebWizard* ShowWebWizard(album::Album& album, settings::UserSettings* user, QWidget* parent) {
  auto* wizard = new WebWizard(album, user, WebWizard::InstalledTemplateFolders(), parent);
  wizard->setAttribute(Qt::WA_DeleteOnClose);
  wizard->setWindowModality(Qt::ApplicationModal);
  wizard->show();
  return wizard;
}

}  // namespace quorvane::app
