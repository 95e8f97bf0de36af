#include "mail/pop3_client.h"

#include <chrono>

#include "mail/digest.h"

namespace quorvane::mail {
namespace {

// How often the worker looks at the exit request while the socket is quiet; data is taken the
// moment it arrives.
constexpr int kWorkerStepMs = 50;

}  // namespace

Pop3Client::Pop3Client() = default;

Pop3Client::~Pop3Client() {
  Close();
  set_receive_file({});
}

void Pop3Client::SetStatus(const char* text) {
  std::lock_guard lock(mutex_);
  status_ = text;
}

std::string Pop3Client::GetStatusText() const {
  std::lock_guard lock(mutex_);
  return status_;
}

bool Pop3Client::set_receive_file(const std::string& path) {
  if (receive_file_ != nullptr) std::fclose(receive_file_);
  receive_file_ = nullptr;
  if (path.empty()) return true;
  receive_file_ = std::fopen(path.c_str(), "wb");
  return receive_file_ != nullptr;
}

void Pop3Client::ResetReply(std::string terminator) {
  std::lock_guard lock(mutex_);
  ready_ = false;
  incoming_.clear();
  terminator_ = std::move(terminator);
}

void Pop3Client::Worker() {
  char buffer[2049];
  while (!exit_) {
    const int ready = socket_.WaitReadable(kWorkerStepMs);
    if (ready < 0) {
      SetStatus("The network subsystem has failed!");
      break;
    }
    if (ready == 0) continue;
    const long got = socket_.Receive(buffer, sizeof buffer - 1);
    if (got < 0) {
      SetStatus("Socket Read Error!");
      break;
    }
    std::lock_guard lock(mutex_);
    if (got == 0) {
      status_ = "Connection Closed!";
      ready_ = true;
      ready_changed_.notify_all();
      return;
    }
    if (receive_file_ != nullptr && std::fwrite(buffer, 1, static_cast<size_t>(got),
                                                receive_file_) != static_cast<size_t>(got)) {
      status_ = "Write tmp file Error!";
    }
    incoming_.append(buffer, static_cast<size_t>(got));
    if (std::string_view(incoming_).ends_with(terminator_) || incoming_.starts_with("-ERR")) {
      ready_ = true;
      ready_changed_.notify_all();
    }
  }
  std::lock_guard lock(mutex_);
  if (exit_) status_ = "Exit Thread!";
  ready_ = true;
  ready_changed_.notify_all();
}

bool Pop3Client::WaitForReply() {
  std::unique_lock lock(mutex_);
  if (!ready_changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms_),
                               [&] { return ready_; })) {
    status_ = "Connection TimeOut!";
    return false;
  }
  reply_ = incoming_;
  if (reply_.empty()) {
    status_ = "Receive Buffer is empty!";
    return false;
  }
  if (receive_file_ != nullptr) status_ = "Receive to file OK!";
  return true;
}

bool Pop3Client::Connect(const std::string& host, uint16_t port) {
  if (!platform::StartSockets()) {
    SetStatus("Initialize Socket Fail!");
    return false;
  }
  Close();
  uint32_t address = 0;
  if (!platform::ResolveIpv4(host, &address)) {
    SetStatus("Hostname Error!");
    return false;
  }
  if (!socket_.Connect(host, port)) {
    SetStatus("Connect POP3 Server Fail!");
    return false;
  }
  SetStatus("Connect POP3 Server Succeed!");
  socket_created_ = true;
  ResetReply("\r\n");
  exit_ = false;
  worker_ = std::thread(&Pop3Client::Worker, this);
  if (!WaitForReply()) return false;
  apop_timestamp_.clear();
  const size_t open = reply_.find('<');
  const size_t close = open == std::string::npos ? open : reply_.find('>', open);
  if (close != std::string::npos) apop_timestamp_ = reply_.substr(open, close - open + 1);
  return true;
}

bool Pop3Client::SendCommand(const std::string& line) {
  if (socket_.SendAll(line.data(), line.size())) return true;
  SetStatus("Socket error!");
  socket_created_ = false;
  logged_in_ = false;
  return false;
}

bool Pop3Client::Login(const std::string& user, const std::string& password, bool use_apop) {
  if (!socket_created_) {
    SetStatus("Socket not Create!");
    return false;
  }
  if (use_apop) {
    if (apop_timestamp_.empty()) {
      SetStatus("Apop error!");
      return false;
    }
    ResetReply("\r\n");
    if (!SendCommand("apop " + user + " " + LowerHex(Md5(apop_timestamp_ + password)) + "\r\n") ||
        !WaitForReply()) {
      return false;
    }
    if (reply_.starts_with("-")) {
      SetStatus("Username or Password error!");
      return false;
    }
    logged_in_ = true;
    return true;
  }
  ResetReply("\r\n");
  if (!SendCommand("user " + user + "\r\n") || !WaitForReply()) return false;
  if (reply_.starts_with("-")) {
    SetStatus("User Name error!");
    return false;
  }
  ResetReply("\r\n");
  if (!SendCommand("pass " + password + "\r\n") || !WaitForReply()) return false;
  if (reply_.starts_with("-")) {
    SetStatus("User or Password error!");
    return false;
  }
  logged_in_ = true;
  return true;
}

void Pop3Client::Close() {
  exit_ = true;
  if (worker_.joinable()) worker_.join();
  socket_.Close();
  socket_created_ = false;
}

}  // namespace quorvane::mail
