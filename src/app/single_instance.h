// One running program per user. The first start listens on a local socket named after the
// window class; a later start connects, hands over the album it was asked to open (or nothing,
// which only brings the window forward) and ends. The data block is the one a copy-data message
// would carry: a 32-bit tag (0), a 32-bit length, then the text and its terminating zero, or
// length 0 and no text.
#pragma once

#include <optional>
#include <string>

#include <QObject>
#include <QString>

class QLocalServer;

namespace quorvane::app {

// The socket for this user: "<class>" in $XDG_RUNTIME_DIR (a per-user folder) when it is set,
// else "<class>-<user id>" in the temporary folder.
QString InstanceSocketName();

// The bytes sent for `argument` (nullopt: the empty hand-over).
QByteArray HandOverMessage(const std::optional<std::string>& argument);

// Connects to the running instance and hands `argument` over. True once the running instance
// confirmed it received it; false when none answers within `timeout_ms` (then this process
// should become the running one). Blocks the calling thread: call it before any window exists.
bool HandOverToRunningInstance(const QString& socket_name,
                               const std::optional<std::string>& argument, int timeout_ms = 3000);

// The running instance's side. Emits each hand-over on the window thread.
class InstanceServer : public QObject {
  Q_OBJECT
 public:
  explicit InstanceServer(QObject* parent = nullptr);
  ~InstanceServer() override;

  // Starts listening. A socket left by a program that crashed is removed first, but never
  // one a live instance answers on. False when another instance holds the name.
  bool Listen(const QString& socket_name);

 signals:
  // A later start asked to open `path`.
  void OpenRequested(const QString& path);
  // A later start asked only to bring the window forward.
  void ActivateRequested();

 private:
  void OnNewConnection();

  QLocalServer* server_;
};

}  // namespace quorvane::app
