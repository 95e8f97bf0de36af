#include "app/file_types.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>

#include "app/startup.h"

namespace quorvane::app {

#ifdef _WIN32

bool RegisterFileTypes(std::string* error) {
  const QString program = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
  QSettings classes("HKEY_CURRENT_USER\\Software\\Classes", QSettings::NativeFormat);
  struct Type {
    const char* extension;
    const char* prog_id;
    const char* description;
  };
  for (const Type& type : {Type{".qvo", "Quorvane.Document", "Quorvane Archive"},
                           Type{".quorvane", "Quorvane.AlbumIndex", "Quorvane Album Index"}}) {
    classes.setValue(QString("%1/.").arg(type.extension), type.prog_id);
    classes.setValue(QString("%1/.").arg(type.prog_id), type.description);
    classes.setValue(QString("%1/DefaultIcon/.").arg(type.prog_id), program + ",1");
    classes.setValue(QString("%1/shell/open/command/.").arg(type.prog_id), program + " \"%1\"");
  }
  classes.sync();
  if (classes.status() != QSettings::NoError) {
    *error = "Unable to register the file types";
    return false;
  }
  return true;
}

#else

bool RegisterFileTypes(std::string* error) {
  QString data_home = qEnvironmentVariable("XDG_DATA_HOME");
  if (data_home.isEmpty()) data_home = QDir::home().filePath(".local/share");
  QFile icon(":/quorvane/quorvane.svg");
  if (!icon.open(QIODevice::ReadOnly)) {
    *error = "Unable to read the program's icon";
    return false;
  }
  const QByteArray icon_bytes = icon.readAll();
  FileTypeRegistration written;
  if (!WriteFileTypeRegistration(
          data_home.toStdString(), QCoreApplication::applicationFilePath().toStdString(),
          std::string_view(icon_bytes.constData(), static_cast<size_t>(icon_bytes.size())),
          &written, error)) {
    return false;
  }
  // The desktop reads its caches, not the files: refresh them where the tools are installed.
  const std::pair<const char*, QString> refreshes[] = {
      {"update-mime-database", QDir(data_home).filePath("mime")},
      {"update-desktop-database", QDir(data_home).filePath("applications")}};
  for (const auto& [tool, folder] : refreshes) {
    const QString path = QStandardPaths::findExecutable(tool);
    if (!path.isEmpty()) QProcess::execute(path, {folder});
  }
  return true;
}

#endif

}  // namespace quorvane::app
