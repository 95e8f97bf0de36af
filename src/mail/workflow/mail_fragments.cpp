#include "mail/workflow/mail_fragments.h"

#include <cctype>

namespace quorvane::mail {
namespace {

std::string_view FileName(MailFragment fragment) {
  switch (fragment) {
    case MailFragment::kAlbumIntro:
      return "album_intro.html";
    case MailFragment::kAlbumResized:
      return "album_resized.html";
    case MailFragment::kSendAsIs:
      return "send_as_is.html";
    case MailFragment::kResizeRecommended:
      return "resize_recommended.html";
    case MailFragment::kServerFits:
      return "server_fits.html";
    case MailFragment::kServerTooLarge:
      return "server_too_large.html";
    case MailFragment::kAlbumMailBody:
      return "album_mail_body.txt";
    case MailFragment::kTestMailBody:
      return "test_mail_body.txt";
    case MailFragment::kWizardPage:
      return "wizard_page.html";
    case MailFragment::kDefaultMailClient:
      return "default_mail_client.html";
  }
  return {};
}

std::string LowerTagName(std::string_view tag) {
  size_t begin = tag.starts_with('/') ? 1 : 0;
  std::string name;
  for (size_t i = begin; i < tag.size() && std::isalnum(static_cast<unsigned char>(tag[i])); ++i) {
    name += static_cast<char>(std::tolower(static_cast<unsigned char>(tag[i])));
  }
  return name;
}

}  // namespace

std::string_view FragmentText(MailFragment fragment) {
  const std::string_view name = FileName(fragment);
  for (size_t i = 0; i < internal::kFragmentFileCount; ++i) {
    if (name == internal::kFragmentFiles[i].name) return internal::kFragmentFiles[i].text;
  }
  return {};
}

std::string ReplacePlaceholder(std::string text, std::string_view placeholder,
                               std::string_view value) {
  if (placeholder.empty()) return text;
  for (size_t at = text.find(placeholder); at != std::string::npos;
       at = text.find(placeholder, at + value.size())) {
    text.replace(at, placeholder.size(), value);
  }
  return text;
}

std::string WizardPage(std::string_view html_content, std::string_view gui_font) {
  // The content goes in last, so a placeholder-like text in it is left as it is.
  std::string page = ReplacePlaceholder(std::string(FragmentText(MailFragment::kWizardPage)),
                                        "{DEFAULT_GUI_FONT}", gui_font);
  return ReplacePlaceholder(std::move(page), "{HTML_CONTENT}", html_content);
}

std::string HtmlToText(std::string_view html) {
  std::string text;
  bool blank_pending = false;
  auto add_space = [&] {
    if (!text.empty() && text.back() != '\n' && text.back() != ' ') blank_pending = true;
  };
  auto end_line = [&] {
    blank_pending = false;
    while (!text.empty() && text.back() == ' ') text.pop_back();
    if (!text.empty() && text.back() != '\n') text += '\n';
  };
  for (size_t i = 0; i < html.size(); ++i) {
    const char c = html[i];
    if (c == '<') {
      const size_t close = html.find('>', i);
      if (close == std::string_view::npos) break;
      const std::string name = LowerTagName(html.substr(i + 1, close - i - 1));
      if (name == "p" || name == "tr" || name == "br" || name == "h3" || name == "table" ||
          name == "li") {
        end_line();
      } else if (name == "td") {
        add_space();
      }
      i = close;
    } else if (c == '\n' || c == '\r' || c == '\t' || c == ' ') {
      add_space();
    } else {
      if (blank_pending) text += ' ';
      blank_pending = false;
      if (c == '&') {
        static constexpr std::pair<std::string_view, char> kEntities[] = {
            {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&nbsp;", ' '}};
        bool decoded = false;
        for (const auto& [entity, value] : kEntities) {
          if (html.substr(i).starts_with(entity)) {
            text += value;
            i += entity.size() - 1;
            decoded = true;
            break;
          }
        }
        if (decoded) continue;
      }
      text += c;
    }
  }
  end_line();
  return text;
}

}  // namespace quorvane::mail
