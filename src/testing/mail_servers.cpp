#include "testing/mail_servers.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace quorvane::testing {
namespace fs = std::filesystem;
namespace {

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteAll(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

bool PortAccepts(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const bool ok = ::connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
  ::close(fd);
  return ok;
}

// Runs a command to its end and returns what it printed on stdout.
std::string Capture(const std::vector<std::string>& argv, int* status) {
  int pipe_fds[2];
  if (::pipe(pipe_fds) != 0) return {};
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(pipe_fds[1], 1);
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, 2);
    ::close(pipe_fds[0]);
    std::vector<char*> args;
    for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
  ::close(pipe_fds[1]);
  std::string out;
  char buffer[65536];
  for (ssize_t got; (got = ::read(pipe_fds[0], buffer, sizeof buffer)) > 0;) {
    out.append(buffer, static_cast<size_t>(got));
  }
  ::close(pipe_fds[0]);
  int wait_status = 0;
  ::waitpid(pid, &wait_status, 0);
  if (status != nullptr) *status = wait_status;
  return out;
}

std::string UserName() {
  const passwd* entry = ::getpwuid(::geteuid());
  return entry != nullptr ? entry->pw_name : "root";
}

}  // namespace

uint16_t FreeLoopbackPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  socklen_t size = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  ::close(fd);
  return ntohs(address.sin_port);
}

ServerProcess::~ServerProcess() { Stop(); }

bool ServerProcess::Start(const std::vector<std::string>& argv, const fs::path& log, uint16_t port,
                          std::string* error) {
  pid_ = ::fork();
  if (pid_ == 0) {
    const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(out, 1);
    ::dup2(out, 2);
    ::setpgid(0, 0);
    std::vector<char*> args;
    for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
  // Readiness is the port accepting a connection; give a slow machine plenty of time.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      *error = argv[0] + " ended at start: " + ReadAll(log);
      return false;
    }
    if (PortAccepts(port)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  *error = argv[0] + " did not listen on port " + std::to_string(port) + ": " + ReadAll(log);
  Stop();
  return false;
}

void ServerProcess::Stop() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
}

bool SmtpTestServer::Start(const fs::path& folder, std::string* error) {
  folder_ = folder;
  fs::create_directories(folder / "spool");
  config_ = folder / "exim.conf";
  certificate_ = folder / "cert.pem";
  const fs::path key = folder / "key.pem";
  int status = 0;
  Capture({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key.string(),
           "-out", certificate_.string(), "-days", "30", "-subj", "/CN=localhost", "-addext",
           "subjectAltName=DNS:localhost,IP:127.0.0.1"},
          &status);
  if (status != 0) {
    *error = "openssl could not make a test certificate";
    return false;
  }
  const fs::path passwords = folder / "passwords";
  WriteAll(passwords, std::string(kMailUser) + ": " + kMailPassword + "\n" + kLongMailUser + ": " +
                          kLongMailPassword + "\n");
  port_ = FreeLoopbackPort();
  do {
    tls_port_ = FreeLoopbackPort();
  } while (tls_port_ == port_);
  const std::string lookup = "${lookup{$auth1}lsearch{" + passwords.string() + "}}";
  const std::string plain_lookup = "${lookup{$auth2}lsearch{" + passwords.string() + "}}";
  const std::string user = UserName();
  WriteAll(config_,
           "primary_hostname = quorvane.test\n"
           "spool_directory = " +
               (folder / "spool").string() +
               "\n"
               "log_file_path = " +
               (folder / "%slog").string() +
               "\n"
               "exim_user = " +
               user + "\nexim_group = " + user +
               "\n"
               "never_users =\n"
               "keep_environment =\n"
               "queue_only = true\n"
               "local_interfaces = 127.0.0.1\n"
               "tls_on_connect_ports = " +
               std::to_string(tls_port_) +
               "\n"
               "tls_certificate = " +
               certificate_.string() +
               "\n"
               "tls_privatekey = " +
               key.string() +
               "\n"
               "tls_advertise_hosts = *\n"
               "auth_advertise_hosts = *\n"
               "host_lookup =\n"
               "rfc1413_hosts =\n"
               "message_size_limit = " +
               size_limit_ +
               "\n"
               "acl_smtp_rcpt = acl_rcpt\n"
               "begin acl\n"
               "acl_rcpt:\n"
               "  deny local_parts = refuse\n"
               "  accept\n"
               "begin routers\n"
               "all:\n  driver = accept\n  transport = nowhere\n"
               "begin transports\n"
               "nowhere:\n  driver = appendfile\n  file = /dev/null\n"
               "begin authenticators\n"
               "login:\n  driver = plaintext\n  public_name = LOGIN\n"
               "  server_prompts = Username:: : Password::\n"
               "  server_condition = ${if and{{!eq{$auth1}{}}{eq{$auth2}{" +
               lookup +
               "}}}}\n"
               "  server_set_id = $auth1\n"
               "plain:\n  driver = plaintext\n  public_name = PLAIN\n  server_prompts = :\n"
               "  server_condition = ${if and{{!eq{$auth2}{}}{eq{$auth3}{" +
               plain_lookup +
               "}}}}\n"
               "  server_set_id = $auth2\n"
               "cram:\n  driver = cram_md5\n  public_name = CRAM-MD5\n"
               "  server_secret = " +
               lookup +
               "\n"
               "  server_set_id = $auth1\n");
  return process_.Start({"exim4", "-C", config_.string(), "-bdf", "-oX",
                         std::to_string(port_) + ":" + std::to_string(tls_port_)},
                        folder / "exim.out", port_, error);
}

std::vector<std::string> SmtpTestServer::MessageIds() const {
  std::vector<std::string> ids;
  std::error_code ec;
  for (const auto& entry : fs::recursive_directory_iterator(folder_ / "spool" / "input", ec)) {
    const std::string name = entry.path().filename().string();
    if (name.ends_with("-H")) ids.push_back(name.substr(0, name.size() - 2));
  }
  // Exim's ids begin with the time of arrival in base 62, so their order is arrival order.
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::string SmtpTestServer::LastMessage() const {
  const auto ids = MessageIds();
  if (ids.empty()) return {};
  return Capture({"exim4", "-C", config_.string(), "-Mvc", ids.back()}, nullptr);
}

bool Pop3TestServer::Start(const fs::path& folder, std::string* error) {
  const bool root = ::geteuid() == 0;
  const std::string user = UserName();
  // Dovecot's log-in processes refuse to run as root: they take its own unprivileged users,
  // which must be able to reach the run folder.
  const std::string login_user = root ? "dovenull" : user;
  const std::string internal_user = root ? "dovecot" : user;
  for (const char* sub : {"run", "state", "home"}) fs::create_directories(folder / sub);
  fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
  fs::permissions(folder / "home", fs::perms::all);
  WriteAll(folder / "passwd", std::string(kMailUser) + ":{PLAIN}" + kMailPassword + "::::::\n" +
                                  kLongMailUser + ":{PLAIN}" + kLongMailPassword + "::::::\n");
  port_ = FreeLoopbackPort();
  const std::string mail_user = root ? "dovecot" : user;
  WriteAll(
      folder / "dovecot.conf",
      "base_dir = " + (folder / "run").string() +
          "\n"
          "state_dir = " +
          (folder / "state").string() +
          "\n"
          "log_path = " +
          (folder / "dovecot.log").string() +
          "\n"
          "protocols = pop3\n"
          "listen = 127.0.0.1\n"
          "ssl = no\n"
          "disable_plaintext_auth = no\n"
          "auth_mechanisms = plain apop\n"
          "auth_failure_delay = 0\n"
          "first_valid_uid = 1\n"
          "default_login_user = " +
          login_user +
          "\n"
          "default_internal_user = " +
          internal_user +
          "\n"
          "mail_location = maildir:" +
          (folder / "home" / "%u" / "Maildir").string() +
          "\n"
          "passdb {\n  driver = passwd-file\n  args = " +
          (folder / "passwd").string() +
          "\n}\n"
          "userdb {\n  driver = static\n  args = uid=" +
          mail_user + " gid=" + mail_user + " home=" + (folder / "home" / "%u").string() +
          "\n}\n"
          "service pop3-login {\n  inet_listener pop3 {\n    address = 127.0.0.1\n    port = " +
          std::to_string(port_) +
          "\n  }\n}\n"
          "service anvil {\n  chroot =\n}\n");
  return process_.Start({"dovecot", "-F", "-c", (folder / "dovecot.conf").string()},
                        folder / "dovecot.out", port_, error);
}

std::string ParseMailWithPython(const std::string& message, const fs::path& attachments) {
  char name[] = "/tmp/quorvane-mail-XXXXXX";
  const int fd = ::mkstemp(name);
  if (fd < 0) return "cannot write a temporary file";
  ::close(fd);
  WriteAll(name, message);
  // The system's interpreter when there is one: version managers' shims take a second to start.
  const std::string python = fs::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3";
  std::vector<std::string> argv = {python, QUORVANE_PARSE_MAIL_SCRIPT, name};
  if (!attachments.empty()) argv.push_back(attachments.string());
  const std::string view = Capture(argv, nullptr);
  ::unlink(name);
  return view;
}

}  // namespace quorvane::testing
