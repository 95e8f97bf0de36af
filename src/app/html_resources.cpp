#include "app/html_resources.h"

#include <QFile>
#include <QFont>
#include <QGuiApplication>

namespace quorvane::app {
namespace {

struct Resource {
  int number;
  const char* name;
  const char* path;
};

constexpr Resource kResources[] = {
    {kHomePageResource, "home", ":/quorvane/html/home.html"},
    {234, "shortcuts", ":/quorvane/html/shortcuts.html"},
};

std::optional<QString> Read(const char* path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
  return QString::fromUtf8(file.readAll());
}

}  // namespace

std::optional<QString> HtmlResource(int number) {
  for (const Resource& resource : kResources) {
    if (resource.number == number) return Read(resource.path);
  }
  return std::nullopt;
}

std::optional<QString> HtmlResource(const QString& name) {
  for (const Resource& resource : kResources) {
    if (name == QLatin1String(resource.name)) return Read(resource.path);
  }
  return std::nullopt;
}

QString DefaultGuiFont() {
  // The application font follows the desktop's own setting where the platform tells it.
  return QGuiApplication::font().family();
}

QString SubstitutePlaceholders(QString html, const std::map<QString, QString>& values) {
  for (const auto& [name, value] : values) html.replace("{" + name + "}", value);
  html.replace("{DEFAULT_GUI_FONT}", DefaultGuiFont().toHtmlEscaped());
  return html;
}

}  // namespace quorvane::app
