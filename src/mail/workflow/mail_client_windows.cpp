// Simple MAPI of the default mail client: the library named by the client's registry entry,
// loaded when a message is handed over. Built on Windows only.
#include <memory>
#include <string>
#include <vector>

// <windows.h> first: <mapi.h> uses its types without including it.
#include <windows.h>
// clang-format off
#include <mapi.h>
// clang-format on

#include "mail/workflow/mail_client.h"

namespace quorvane::mail {
namespace {

constexpr const char* kClientsKey = "Software\\Clients\\Mail";

// Our texts are UTF-8; Simple MAPI reads the system's code page.
std::string ToCodePage(const std::string& utf8) {
  if (utf8.empty()) return {};
  const int wide_size =
      MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(wide_size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wide.data(),
                      wide_size);
  const int size =
      WideCharToMultiByte(CP_ACP, 0, wide.data(), wide_size, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), wide_size, text.data(), size, nullptr, nullptr);
  return text;
}

bool ReadRegistryText(const std::string& key, const char* value, std::string* out) {
  char buffer[1024];
  DWORD size = sizeof buffer;
  if (RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), value, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ,
                   nullptr, buffer, &size) != ERROR_SUCCESS) {
    return false;
  }
  *out = buffer;
  return !out->empty();
}

// The default client's MAPI library, from the default value of the clients key and the
// "DLLPath" value of the client's own key. Empty when there is no default client.
std::string DefaultClientLibrary() {
  std::string client;
  std::string library;
  if (!ReadRegistryText(kClientsKey, nullptr, &client)) return {};
  if (!ReadRegistryText(std::string(kClientsKey) + "\\" + client, "DLLPath", &library)) return {};
  return library;
}

struct LibraryCloser {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};

// An entry point of the client's library as its real type. The detour through a function
// taking nothing is the one cast between function types that compilers accept silently.
template <typename Function>
Function Entry(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

}  // namespace

ClientResult SendThroughMailClient(const ClientMessage& message, std::string* error) {
  const std::string path = DefaultClientLibrary();
  if (path.empty()) return ClientResult::kNoClient;
  std::unique_ptr<std::remove_pointer_t<HMODULE>, LibraryCloser> library(
      LoadLibraryA(path.c_str()));
  if (!library) return ClientResult::kNoClient;
  const auto logon = Entry<LPMAPILOGON>(library.get(), "MAPILogon");
  const auto logoff = Entry<LPMAPILOGOFF>(library.get(), "MAPILogoff");
  const auto send = Entry<LPMAPISENDMAIL>(library.get(), "MAPISendMail");
  const auto resolve = Entry<LPMAPIRESOLVENAME>(library.get(), "MAPIResolveName");
  const auto free_buffer = Entry<LPMAPIFREEBUFFER>(library.get(), "MAPIFreeBuffer");
  if (logon == nullptr || logoff == nullptr || send == nullptr || resolve == nullptr ||
      free_buffer == nullptr) {
    return ClientResult::kNoClient;
  }

  LHANDLE session = 0;
  ULONG code = logon(0, nullptr, nullptr, MAPI_LOGON_UI, 0, &session);
  if (code != SUCCESS_SUCCESS) {
    *error = "The mail program refused the log-on (MAPI error " + std::to_string(code) + ")";
    return ClientResult::kFailed;
  }
  // Recipients the client can resolve go as it knows them; the others as typed, for the user
  // to correct in the client's window.
  std::vector<std::string> names;
  std::vector<std::string> addresses;
  std::vector<lpMapiRecipDesc> resolved;
  std::vector<MapiRecipDesc> recipients;
  for (const std::string& to : message.to) {
    names.push_back(ToCodePage(to));
    addresses.push_back("SMTP:" + names.back());
  }
  for (size_t i = 0; i < names.size(); ++i) {
    lpMapiRecipDesc found = nullptr;
    if (resolve(session, 0, names[i].data(), 0, 0, &found) == SUCCESS_SUCCESS && found != nullptr) {
      resolved.push_back(found);
      MapiRecipDesc recipient = *found;
      recipient.ulRecipClass = MAPI_TO;
      recipients.push_back(recipient);
    } else {
      MapiRecipDesc recipient{};
      recipient.ulRecipClass = MAPI_TO;
      recipient.lpszName = names[i].data();
      recipient.lpszAddress = addresses[i].data();
      recipients.push_back(recipient);
    }
  }
  std::string subject = ToCodePage(message.subject);
  std::string body = ToCodePage(message.body);
  const std::u8string file_utf8 = message.attachment.u8string();
  std::string file = ToCodePage(std::string(file_utf8.begin(), file_utf8.end()));
  std::string title = ToCodePage(message.attachment_title);
  MapiFileDesc attachment{};
  attachment.nPosition = static_cast<ULONG>(-1);
  attachment.lpszPathName = file.data();
  attachment.lpszFileName = title.data();
  MapiMessage mapi_message{};
  mapi_message.lpszSubject = subject.data();
  mapi_message.lpszNoteText = body.data();
  mapi_message.nRecipCount = static_cast<ULONG>(recipients.size());
  mapi_message.lpRecips = recipients.empty() ? nullptr : recipients.data();
  mapi_message.nFileCount = 1;
  mapi_message.lpFiles = &attachment;
  code = send(session, 0, &mapi_message, MAPI_DIALOG | MAPI_LOGON_UI, 0);
  for (lpMapiRecipDesc found : resolved) free_buffer(found);
  logoff(session, 0, 0, 0);
  if (code == SUCCESS_SUCCESS || code == MAPI_USER_ABORT) return ClientResult::kHandedOver;
  *error = "The mail program could not take the message (MAPI error " + std::to_string(code) + ")";
  return ClientResult::kFailed;
}

}  // namespace quorvane::mail
