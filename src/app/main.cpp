// quorvane: the desktop program. Registers file types ("initialize"), hands its argument to a
// running instance, or becomes the running instance and opens its window.
#include <cstdio>
#include <string>
#include <vector>

#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <QTimer>

#include "app/crash/crash_report_dialog.h"
#include "app/crash/crash_start.h"
#include "app/file_types.h"
#include "app/help/help_commands.h"
#include "app/main_frame.h"
#include "app/single_instance.h"
#include "app/startup.h"
#include "crash/crash_handler.h"
#include "settings/settings.h"

namespace {

std::vector<std::string> ArgumentsAfterProgram(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i]);
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quorvane;
  // A crashed run starts this program again to complete its report.
  if (crash::IsReporterCall(argc, argv)) return crash::RunReporter(argc, argv);
  app::InstallDesktopCrashHandler(QUORVANE_VERSION);
  // "initialize" needs no display, so it is handled before the GUI starts.
  if (app::ParseArguments(ArgumentsAfterProgram(argc, argv)).initialize) {
    QCoreApplication core(argc, argv);
    std::string error;
    if (!app::RegisterFileTypes(&error)) {
      std::fprintf(stderr, "quorvane: %s\n", error.c_str());
      return 1;
    }
    return 0;
  }

  QApplication application(argc, argv);
  QApplication::setApplicationName("Quorvane");
  QApplication::setApplicationVersion(QUORVANE_VERSION);
  QApplication::setDesktopFileName("quorvane");
  std::vector<std::string> arguments;
  for (const QString& argument : application.arguments().mid(1)) {
    arguments.push_back(argument.toStdString());
  }
  app::StartupRequest request = app::ParseArguments(arguments);
  // The running instance has its own working folder: hand over an absolute path.
  if (request.open) {
    request.open =
        QFileInfo(QString::fromStdString(*request.open)).absoluteFilePath().toStdString();
  }

  const QString socket_name = app::InstanceSocketName();
  if (app::HandOverToRunningInstance(socket_name, request.open, 1000)) return 0;
  app::InstanceServer server;
  if (!server.Listen(socket_name)) {
    // Another start won the race to become the running instance: hand over to it.
    if (app::HandOverToRunningInstance(socket_name, request.open)) return 0;
  }

  settings::UserSettings user = settings::LoadUserSettings(settings::ProcessEnvironment());
  app::MainFrame frame(&user);
  QObject::connect(&server, &app::InstanceServer::OpenRequested, &frame,
                   [&frame](const QString& path) {
                     frame.Activate();
                     frame.OpenAlbum(path);
                   });
  QObject::connect(&server, &app::InstanceServer::ActivateRequested, &frame,
                   &app::MainFrame::Activate);
  frame.ShowWithStoredPlacement();
  app::help::StartHelpAtLaunch(&frame);
  for (const std::string& problem : user.problems) {
    auto* box = new QMessageBox(QMessageBox::Warning, "Quorvane", QString::fromStdString(problem),
                                QMessageBox::Ok, &frame);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
  }
  app::OfferCrashReports(app::DesktopCrashReportRoot(), &user.settings, &frame);
  if (request.open) {
    const QString path = QString::fromStdString(*request.open);
    QTimer::singleShot(0, &frame, [&frame, path] { frame.OpenAlbum(path); });
  }
  return application.exec();
}
