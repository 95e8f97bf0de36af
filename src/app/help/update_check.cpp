#include "app/help/update_check.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include "settings/settings.h"

namespace quorvane::app::help {
namespace {

// A version file is a few dozen bytes; anything much larger is not one.
constexpr qint64 kMaxVersionFileBytes = 4096;
constexpr int kMaxVersionParts = 6;
constexpr char kTooLarge[] = "quorvane_too_large";

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

// Numbers are written and read without the C library's locale: Qt sets the user's, and a
// decimal comma would break the comma-separated state.
bool ReadDouble(std::string_view text, double* value) {
  const char* end = text.data() + text.size();
  auto [rest, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc{} && rest == end;
}

std::string WriteDouble(double value) {
  char text[64];
  auto [end, error] = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6);
  return error == std::errc{} ? std::string(text, end) : "0.000000";
}

}  // namespace

bool ParseVersion(std::string_view text, std::vector<int>* parts) {
  text = Trim(text);
  std::vector<int> read;
  while (true) {
    const size_t dot = text.find('.');
    const std::string_view part = text.substr(0, dot);
    int number = 0;
    auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
    if (part.empty() || error != std::errc{} || end != part.data() + part.size() || number < 0 ||
        part.front() == '+' || part.front() == '-') {
      return false;
    }
    read.push_back(number);
    if (read.size() > kMaxVersionParts) return false;
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  *parts = std::move(read);
  return true;
}

int CompareVersions(const std::vector<int>& a, const std::vector<int>& b) {
  for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const int left = i < a.size() ? a[i] : 0;
    const int right = i < b.size() ? b[i] : 0;
    if (left != right) return left < right ? -1 : 1;
  }
  return 0;
}

double VersionNumber(const std::vector<int>& parts) {
  double number = 0;
  for (size_t i = 0; i < 4; ++i) {
    number = number * 1000 + (i < parts.size() ? std::min(parts[i], 999) : 0);
  }
  return number;
}

std::optional<UpdateCheckState> ParseUpdateCheckState(std::string_view text) {
  const size_t first = text.find(',');
  const size_t second = first == std::string_view::npos ? first : text.find(',', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  UpdateCheckState state;
  const std::string_view answered = Trim(text.substr(second + 1));
  auto [end, error] =
      std::from_chars(answered.data(), answered.data() + answered.size(), state.answered);
  if (!ReadDouble(Trim(text.substr(0, first)), &state.last_check) ||
      !ReadDouble(Trim(text.substr(first + 1, second - first - 1)), &state.seen_version) ||
      error != std::errc{} || end != answered.data() + answered.size()) {
    return std::nullopt;
  }
  return state;
}

std::string FormatUpdateCheckState(const UpdateCheckState& state) {
  return WriteDouble(state.last_check) + "," + WriteDouble(state.seen_version) + "," +
         std::to_string(state.answered);
}

bool UpdateCheckEnabled(const settings::Settings& settings) {
  const auto it = settings.options.find(kUpdateCheckEnableOption);
  if (it == settings.options.end()) return false;
  const int32_t* on = std::get_if<int32_t>(&it->second);
  return on && *on != 0;
}

std::string UpdateCheckUrl(const settings::Settings& settings) {
  const auto it = settings.options.find(kUpdateCheckUrlOption);
  if (it == settings.options.end()) return {};
  const std::string* url = std::get_if<std::string>(&it->second);
  return url ? std::string(Trim(*url)) : std::string();
}

bool UpdateCheckDue(const settings::Settings& settings, platform::OleDate now) {
  if (!UpdateCheckEnabled(settings) || UpdateCheckUrl(settings).empty()) return false;
  if (!settings.app_updatecheck) return true;
  const std::optional<UpdateCheckState> state = ParseUpdateCheckState(*settings.app_updatecheck);
  if (!state || !state->answered) return true;
  // A clock set back makes the last check lie in the future: check rather than wait for it.
  return now - state->last_check >= 1.0 || now < state->last_check;
}

bool ParseVersionFile(std::string_view text, VersionFile* file) {
  const size_t line_end = text.find('\n');
  std::vector<int> parts;
  const std::string_view version = Trim(text.substr(0, line_end));
  if (!ParseVersion(version, &parts)) return false;
  file->version = std::string(version);
  file->link.clear();
  if (line_end != std::string_view::npos) {
    std::string_view rest = text.substr(line_end + 1);
    file->link = std::string(Trim(rest.substr(0, rest.find('\n'))));
  }
  return true;
}

platform::OleDate OleDateNow() {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::system_clock::now().time_since_epoch());
  return platform::OleDateFromUnixSeconds(seconds.count());
}

UpdateChecker::UpdateChecker(settings::UserSettings* user, QString running_version, QObject* parent)
    : QObject(parent),
      user_(user),
      running_version_(std::move(running_version)),
      network_(new QNetworkAccessManager(this)) {}

UpdateChecker::~UpdateChecker() {
  if (!reply_) return;
  // Leaving: nothing is to be remembered or told of a check cut short.
  reply_->disconnect(this);
  reply_->abort();
}

bool UpdateChecker::StartIfDue(platform::OleDate now) {
  if (running() || !UpdateCheckDue(user_->settings, now)) return false;
  const QUrl url(QString::fromStdString(UpdateCheckUrl(user_->settings)));
  if (!url.isValid() || (url.scheme() != "http" && url.scheme() != "https")) {
    emit CheckFailed(tr("The update address %1 is not a web address.").arg(url.toString()));
    return false;
  }
  QNetworkRequest request(url);
  request.setTransferTimeout(timeout_ms_);
  request.setHeader(QNetworkRequest::UserAgentHeader, "Quorvane/" + running_version_);
  reply_ = network_->get(request);
  connect(reply_, &QNetworkReply::downloadProgress, reply_, [reply = reply_.data()](qint64 got) {
    if (got <= kMaxVersionFileBytes) return;
    reply->setProperty(kTooLarge, true);
    reply->abort();
  });
  connect(reply_, &QNetworkReply::finished, this, [this, reply = reply_.data(), now] {
    reply->deleteLater();
    Finish(reply, now);
  });
  return true;
}

void UpdateChecker::Finish(QNetworkReply* reply, platform::OleDate now) {
  UpdateCheckState state;
  state.last_check = now;
  if (const auto before = ParseUpdateCheckState(user_->settings.app_updatecheck.value_or(""))) {
    state.seen_version = before->seen_version;
  }
  VersionFile file;
  if (reply->error() != QNetworkReply::NoError) {
    Remember(state);
    const QString reason = reply->property(kTooLarge).toBool()
                               ? tr("The update server's answer is not a version file.")
                           : reply->error() == QNetworkReply::OperationCanceledError
                               ? tr("The update server did not answer in time.")
                               : reply->errorString();
    emit CheckFailed(reason);
    return;
  }
  const QByteArray body = reply->read(kMaxVersionFileBytes);
  if (!ParseVersionFile(std::string_view(body.constData(), body.size()), &file)) {
    Remember(state);
    emit CheckFailed(tr("The update server's answer is not a version file."));
    return;
  }
  std::vector<int> latest;
  std::vector<int> running;
  ParseVersion(file.version, &latest);
  state.answered = 1;
  state.seen_version = VersionNumber(latest);
  Remember(state);
  if (ParseVersion(running_version_.toStdString(), &running) &&
      CompareVersions(latest, running) > 0) {
    const QUrl link(QString::fromStdString(file.link));
    emit NewerVersion(QString::fromStdString(file.version), link.isValid() ? link : reply->url());
  } else {
    emit UpToDate();
  }
}

void UpdateChecker::Remember(const UpdateCheckState& state) {
  user_->settings.app_updatecheck = FormatUpdateCheckState(state);
  // A store that cannot be written only means the next start checks again.
  (void)settings::SaveUserSettings(user_);
}

}  // namespace quorvane::app::help
