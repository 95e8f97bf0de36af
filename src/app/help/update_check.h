// The update check: when the user turns it on in the preferences, the program reads a small
// version file ("<version>\n<download link>\n") from the address in the settings, at most once
// a day, and says in the status bar when a newer version is out. The window never waits for
// it: the request runs in the background and gives up after a short time-out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include "platform/ole_date.h"

class QNetworkAccessManager;
class QNetworkReply;

namespace quorvane::settings {
struct Settings;
struct UserSettings;
}  // namespace quorvane::settings

namespace quorvane::app::help {

// Off unless set to 1; the address of the version file.
inline constexpr std::string_view kUpdateCheckEnableOption = "options.updatecheck.enable";
inline constexpr std::string_view kUpdateCheckUrlOption = "options.updatecheck.url";
inline constexpr int kUpdateCheckTimeoutMs = 8000;

// "1.10.2" -> {1, 10, 2}. Digits and dots only, at most six parts, none empty; false otherwise.
bool ParseVersion(std::string_view text, std::vector<int>* parts);
// Negative, zero or positive as `a` is older, the same or newer; missing parts count as 0, so
// "1.2" and "1.2.0" are the same version.
int CompareVersions(const std::vector<int>& a, const std::vector<int>& b);
// The version as one number for "app.updatecheck": the first four parts, each taken up to 999,
// as decimal groups of three digits (1.10.2 -> 1010002000).
double VersionNumber(const std::vector<int>& parts);

// "app.updatecheck" as "%lf,%lf,%d": when the last check ended (OLE date), the version the
// server named then (VersionNumber), and 1 when it answered, 0 when it could not be reached.
struct UpdateCheckState {
  platform::OleDate last_check = platform::kNoDate;
  double seen_version = 0;
  int answered = 0;
};
std::optional<UpdateCheckState> ParseUpdateCheckState(std::string_view text);
std::string FormatUpdateCheckState(const UpdateCheckState& state);

// The switch and the address as the settings hold them (an unset address is empty).
bool UpdateCheckEnabled(const settings::Settings& settings);
std::string UpdateCheckUrl(const settings::Settings& settings);

// True when the check is on, has an address and has not had an answer within the last day
// before `now`. A check that could not reach the server is tried again at the next start.
bool UpdateCheckDue(const settings::Settings& settings, platform::OleDate now);

// The version file: its first line is the version, its second the page to get it from.
struct VersionFile {
  std::string version;
  std::string link;
};
bool ParseVersionFile(std::string_view text, VersionFile* file);

class UpdateChecker : public QObject {
  Q_OBJECT
 public:
  // `user` outlives the checker; the state is saved through its store when a check ends.
  UpdateChecker(settings::UserSettings* user, QString running_version, QObject* parent);
  ~UpdateChecker() override;

  void set_timeout_ms(int timeout_ms) { timeout_ms_ = timeout_ms; }
  // Sends the request when UpdateCheckDue holds and returns at once: true when a request went
  // out. The answer comes back as one of the three signals on this thread.
  bool StartIfDue(platform::OleDate now);
  bool running() const { return !reply_.isNull(); }

 signals:
  void NewerVersion(const QString& version, const QUrl& link);
  void UpToDate();
  void CheckFailed(const QString& reason);

 private:
  void Finish(QNetworkReply* reply, platform::OleDate now);
  void Remember(const UpdateCheckState& state);

  settings::UserSettings* user_;
  QString running_version_;
  int timeout_ms_ = kUpdateCheckTimeoutMs;
  QNetworkAccessManager* network_;
  QPointer<QNetworkReply> reply_;
};

// The current time as an OLE date (UTC), for StartIfDue.
platform::OleDate OleDateNow();

}  // namespace quorvane::app::help
