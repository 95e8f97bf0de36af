// A one-connection loopback server that plays a fixed script, for the failures real servers do
// not produce on demand: silence, replies without CRLF, odd challenges, dropped connections.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quorvane::testing {

struct ScriptStep {
  enum Kind { kSend, kReadLine, kReadData, kClose } kind;
  std::string text;  // what kSend sends
};
inline ScriptStep Send(std::string text) { return {ScriptStep::kSend, std::move(text)}; }
// Reads one line (through CRLF) from the client.
inline ScriptStep ReadLine() { return {ScriptStep::kReadLine, {}}; }
// Reads through the "\r\n.\r\n" that ends DATA.
inline ScriptStep ReadData() { return {ScriptStep::kReadData, {}}; }
// Closes the connection at once.
inline ScriptStep Close() { return {ScriptStep::kClose, {}}; }

// Accepts one connection on 127.0.0.1 and plays `steps`; after the last step it keeps the
// connection open, silent, until the client closes it or the server is destroyed.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<ScriptStep> steps);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  uint16_t port() const { return port_; }
  // Everything the client has sent so far.
  std::string Received() const;

 private:
  void Run(std::vector<ScriptStep> steps);
  // Waits for bytes; false when the client closed or the server is stopping.
  bool ReadByte(char* c);

  int listen_fd_ = -1;
  int connection_fd_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  mutable std::mutex mutex_;
  std::string received_;
  std::thread thread_;
};

}  // namespace quorvane::testing
