#include "app/single_instance.h"

#include <cstdint>

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QtEndian>

#include "app/startup.h"

#ifndef _WIN32
#include <unistd.h>
#endif

namespace quorvane::app {
namespace {

constexpr int kHeaderBytes = 8;
// Longer than any path; a peer that claims more is not one of ours.
constexpr quint32 kMaxPayload = 1 << 20;
constexpr char kReceived = '1';

}  // namespace

QString InstanceSocketName() {
  const QString window_class = QString::fromUtf8(kWindowClass.data(), kWindowClass.size());
  const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
  if (!runtime.isEmpty() && QDir(QString::fromLocal8Bit(runtime)).exists()) {
    return QDir(QString::fromLocal8Bit(runtime)).filePath(window_class);
  }
#ifdef _WIN32
  const QString user = qEnvironmentVariable("USERNAME");
#else
  const QString user = QString::number(::getuid());
#endif
  return window_class + "-" + user;
}

QByteArray HandOverMessage(const std::optional<std::string>& argument) {
  QByteArray message(kHeaderBytes, '\0');
  quint32 length = 0;
  if (argument) length = static_cast<quint32>(argument->size() + 1);
  qToLittleEndian<quint32>(0, message.data());
  qToLittleEndian<quint32>(length, message.data() + 4);
  if (argument) {
    message.append(argument->data(), static_cast<qsizetype>(argument->size()));
    message.append('\0');
  }
  return message;
}

bool HandOverToRunningInstance(const QString& socket_name,
                               const std::optional<std::string>& argument, int timeout_ms) {
  QLocalSocket socket;
  socket.connectToServer(socket_name);
  if (!socket.waitForConnected(timeout_ms)) return false;
  socket.write(HandOverMessage(argument));
  if (!socket.waitForBytesWritten(timeout_ms)) return false;
  // The running instance confirms, so this process does not end before the text is read.
  while (socket.bytesAvailable() < 1) {
    if (!socket.waitForReadyRead(timeout_ms)) return false;
  }
  char reply = 0;
  return socket.read(&reply, 1) == 1 && reply == kReceived;
}

InstanceServer::InstanceServer(QObject* parent) : QObject(parent), server_(new QLocalServer(this)) {
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  connect(server_, &QLocalServer::newConnection, this, &InstanceServer::OnNewConnection);
}

InstanceServer::~InstanceServer() = default;

bool InstanceServer::Listen(const QString& socket_name) {
  // Listening with access options binds beside the name and renames over it, which would take
  // the name from a live instance: ask first whether someone answers.
  QLocalSocket probe;
  probe.connectToServer(socket_name);
  if (probe.waitForConnected(1000)) return false;
  if (server_->listen(socket_name)) return true;
  if (server_->serverError() != QAbstractSocket::AddressInUseError) return false;
  // Nobody answered: a socket left by a program that crashed.
  QLocalServer::removeServer(socket_name);
  return server_->listen(socket_name);
}

void InstanceServer::OnNewConnection() {
  while (QLocalSocket* socket = server_->nextPendingConnection()) {
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
      if (socket->property("handled").toBool()) return;
      if (socket->bytesAvailable() < kHeaderBytes) return;
      const QByteArray header = socket->peek(kHeaderBytes);
      const quint32 length = qFromLittleEndian<quint32>(header.constData() + 4);
      if (length > kMaxPayload) {
        socket->abort();
        return;
      }
      if (socket->bytesAvailable() < kHeaderBytes + static_cast<qint64>(length)) return;
      socket->read(kHeaderBytes);
      QByteArray text = socket->read(length);
      socket->setProperty("handled", true);
      socket->write(&kReceived, 1);
      socket->flush();
      // The text ends with its terminating zero; anything after one is not part of it.
      const qsizetype end = text.indexOf('\0');
      if (end >= 0) text.truncate(end);
      if (length == 0 || text.isEmpty()) {
        emit ActivateRequested();
      } else {
        emit OpenRequested(QString::fromUtf8(text));
      }
    });
  }
}

}  // namespace quorvane::app
