// The POP3 log-in some providers want before they take mail by SMTP: connect, read the greeting,
// log in with USER/PASS or APOP, and nothing more (no mail is fetched, no QUIT is sent). A
// worker thread of the client's own receives; the caller waits for each complete reply.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "platform/socket.h"

namespace quorvane::mail {

// Every call sets the status text (GetStatusText) to one of the fixed messages, such as
// "Connect POP3 Server Succeed!", "Hostname Error!", "Connection TimeOut!", "Apop error!",
// "User Name error!", "User or Password error!", "Username or Password error!".
// Connect, Login and Close are called from one thread; the worker is internal.
class Pop3Client {
 public:
  Pop3Client();
  ~Pop3Client();
  Pop3Client(const Pop3Client&) = delete;
  Pop3Client& operator=(const Pop3Client&) = delete;

  // Connects, starts the worker and waits for the greeting; keeps its "<...>" timestamp for APOP.
  bool Connect(const std::string& host, uint16_t port);
  // "user"/"pass", or "apop" with the MD5 of the timestamp and password. True when accepted.
  bool Login(const std::string& user, const std::string& password, bool use_apop);
  // Stops the worker, shuts the socket down and closes it. Safe to call more than once.
  void Close();

  std::string GetStatusText() const;
  bool logged_in() const { return logged_in_; }
  const std::string& apop_timestamp() const { return apop_timestamp_; }
  // The last complete reply.
  const std::string& reply() const { return reply_; }
  uint32_t timeout_ms() const { return timeout_ms_; }
  void set_timeout_ms(uint32_t value) { timeout_ms_ = value; }
  // Also writes every received byte to `path` (empty: stop). False when it cannot be opened.
  bool set_receive_file(const std::string& path);

 private:
  void SetStatus(const char* text);
  void Worker();
  // Forgets the previous reply; called before the command whose reply is awaited is sent.
  void ResetReply(std::string terminator);
  bool WaitForReply();
  bool SendCommand(const std::string& line);

  uint32_t timeout_ms_ = 20000;
  bool socket_created_ = false;
  bool logged_in_ = false;
  platform::Socket socket_;
  std::string reply_;
  std::string apop_timestamp_;
  std::FILE* receive_file_ = nullptr;

  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable ready_changed_;
  bool ready_ = false;
  std::string incoming_;
  std::string terminator_ = "\r\n";
  std::string status_;
  std::atomic<bool> exit_{false};
  std::thread worker_;
};

}  // namespace quorvane::mail
