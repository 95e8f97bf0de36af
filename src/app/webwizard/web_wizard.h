// The web album wizard behind "Create &Web Pages...": a design from the installed ones, its
// settings form, how photos are resized and what private data they lose, the output folder,
// then the generator on a worker thread. Finish opens the new album's "index.html" with the
// desktop's default handler. The wizard owns the loaded design for its lifetime.
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include <QMessageBox>
#include <QWizard>

class QTimer;

#include "webalbum/design_template.h"
#include "webalbum/web_album_generator.h"

namespace quorvane::album {
class Album;
}  // namespace quorvane::album

namespace quorvane::settings {
struct UserSettings;
}  // namespace quorvane::settings

namespace quorvane::app {

class WebWizard : public QWizard {
  Q_OBJECT
 public:
  enum PageId {
    kWelcomePage,
    kTemplatePage,
    kSettingsPage,
    kOptionsPage,
    kFolderPage,
    kProcessingPage
  };

  // `album` and `user` (whose web keys the wizard reads and writes back) outlive the wizard.
  // Designs are listed from `template_folders`, in order.
  WebWizard(album::Album& album, settings::UserSettings* user,
            std::vector<std::filesystem::path> template_folders, QWidget* parent = nullptr);
  // Stops a run still going and waits for its worker.
  ~WebWizard() override;

  // The program's own designs and the user's, as the desktop program installs them.
  static std::vector<std::filesystem::path> InstalledTemplateFolders();

  album::Album& album() const { return album_; }
  settings::UserSettings& user() const { return *user_; }
  const std::vector<std::filesystem::path>& template_folders() const { return folders_; }

  // Loads the design at `path`. Another design than the loaded one starts with no answers;
  // the same one keeps them. Returns Load's code; the previous design stays on failure.
  platform::ResultCode LoadDesign(const std::filesystem::path& path);
  webalbum::DesignTemplate* design() const { return design_.get(); }
  // Changes whenever another design is loaded, so pages know to rebuild what they show.
  int design_generation() const { return generation_; }

  webalbum::WebAlbumOptions& options() { return options_; }
  const std::filesystem::path& output_folder() const { return output_; }
  void set_output_folder(std::filesystem::path folder) { output_ = std::move(folder); }

  // Writes the settings back, telling a failure in a message box.
  void SaveSettings();
  // A "Quorvane" message box over the wizard, shown without blocking the window thread.
  void ShowMessage(const QString& text, QMessageBox::Icon icon);

  // Starts the generator on a worker thread; false when there is nothing to run (no design,
  // no photos, no folder) or a run is going. Its reports arrive as Progress signals, its end
  // as RunEnded, both on the window thread.
  bool StartRun();
  bool running() const { return worker_.joinable(); }
  // Asks the running generator to stop at its next check.
  void CancelRun();

  // Finish: opens "index.html" of the output folder.
  void accept() override;
  // Cancel while the generator runs stops it first; the wizard closes once it has ended.
  void reject() override;

 signals:
  void Progress(const QString& text, qint64 position, qint64 maximum);
  // `error` holds the generator's message when `result` is a failure.
  void RunEnded(platform::ResultCode result, const QString& error);

 private:
  class RunProgress;
  void Poll();

  album::Album& album_;
  settings::UserSettings* user_;
  std::vector<std::filesystem::path> folders_;
  std::unique_ptr<webalbum::DesignTemplate> design_;
  int generation_ = 0;
  webalbum::WebAlbumOptions options_;
  std::filesystem::path output_;
  std::unique_ptr<RunProgress> progress_;
  std::unique_ptr<webalbum::WebAlbumGenerator> generator_;
  std::thread worker_;
  std::atomic<bool> finished_{false};
  platform::ResultCode result_ = platform::kOk;
  QTimer* poll_;
  bool close_when_ended_ = false;
};

// Opens the wizard over `parent` for `album` with the installed designs; it blocks the rest of
// the program while it is open (the generator reads the album) and deletes itself when closed.
WebWizard* ShowWebWizard(album::Album& album, settings::UserSettings* user, QWidget* parent);

}  // namespace quorvane::app
