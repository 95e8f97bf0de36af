// Handing a message with one attachment to the user's own mail program, which shows it for the
// user to send: on Windows through Simple MAPI of the default mail client, elsewhere through
// the desktop's `xdg-email`.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvane::mail {

struct ClientMessage {
  std::vector<std::string> to;
  std::string subject;
  std::string body;
  std::filesystem::path attachment;
  std::string attachment_title;  // the name the receiver sees
};

enum class ClientResult {
  kHandedOver,  // the mail program has the message
  kNoClient,    // no default mail program: show the "Default Mail Client" help page
  kFailed,      // *error says why
};

// Blocks until the mail program took the message (it may stay open afterwards). The attachment
// must stay on the disk until the user has sent the message from the mail program.
ClientResult SendThroughMailClient(const ClientMessage& message, std::string* error);

}  // namespace quorvane::mail
