#include "testing/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quorvane::testing {
namespace {

// How often a waiting server looks at the stop request.
constexpr int kStepMs = 20;

bool WaitReadable(int fd, const std::atomic<bool>& stop) {
  while (!stop) {
    pollfd entry{fd, POLLIN, 0};
    const int ready = ::poll(&entry, 1, kStepMs);
    if (ready < 0) return false;
    if (ready > 0) return true;
  }
  return false;
}

}  // namespace

ScriptedServer::ScriptedServer(std::vector<ScriptStep> steps) {
  listen_fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
  const int yes = 1;
  ::setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(listen_fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::listen(listen_fd_, 1);
  socklen_t size = sizeof address;
  ::getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&address), &size);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread(&ScriptedServer::Run, this, std::move(steps));
}

ScriptedServer::~ScriptedServer() {
  stop_ = true;
  thread_.join();
  if (connection_fd_ >= 0) ::close(connection_fd_);
  ::close(listen_fd_);
}

std::string ScriptedServer::Received() const {
  std::lock_guard lock(mutex_);
  return received_;
}

bool ScriptedServer::ReadByte(char* c) {
  if (!WaitReadable(connection_fd_, stop_)) return false;
  if (::recv(connection_fd_, c, 1, 0) != 1) return false;
  std::lock_guard lock(mutex_);
  received_.push_back(*c);
  return true;
}

void ScriptedServer::Run(std::vector<ScriptStep> steps) {
  if (!WaitReadable(listen_fd_, stop_)) return;
  connection_fd_ = ::accept(listen_fd_, nullptr, nullptr);
  if (connection_fd_ < 0) return;
  for (const auto& step : steps) {
    switch (step.kind) {
      case ScriptStep::kSend:
        if (::send(connection_fd_, step.text.data(), step.text.size(), MSG_NOSIGNAL) < 0) return;
        break;
      case ScriptStep::kReadLine:
      case ScriptStep::kReadData: {
        const std::string end = step.kind == ScriptStep::kReadLine ? "\r\n" : "\r\n.\r\n";
        std::string got;
        char c;
        while (!got.ends_with(end)) {
          if (!ReadByte(&c)) return;
          got.push_back(c);
        }
        break;
      }
      case ScriptStep::kClose:
        ::shutdown(connection_fd_, SHUT_RDWR);
        return;
    }
  }
  char c;
  while (ReadByte(&c)) {
  }
}

}  // namespace quorvane::testing
