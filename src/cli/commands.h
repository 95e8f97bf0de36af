// The nouns of quorvane-cli. Each takes the arguments after its noun and returns an exit
// code (command_line.h).
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quorvane::cli {

struct Command {
  std::string_view noun;
  std::string (*usage)();  // one line per verb: --help and every usage error read them here
  int (*run)(std::span<const std::string> args);
};

// The usage lines of the commands that begin with `prefix` as whole words ("album add",
// "settings"), joined by " | ": what a usage error shows.
std::string UsageOf(std::string_view prefix);

int RunAlbumCommand(std::span<const std::string> args);
// The verbs of "album" that work on photos (album_photos_command.cpp).
int CreateAlbumCommand(std::span<const std::string> args);
int AddPhotosCommand(std::span<const std::string> args);
int RemovePhotosCommand(std::span<const std::string> args);
int ExportPhotoCommand(std::span<const std::string> args);
int MovePhotosCommand(std::span<const std::string> args);
int CopyPhotosCommand(std::span<const std::string> args);
int RunArchiveCommand(std::span<const std::string> args);
int RunEditCommand(std::span<const std::string> args);
int RunEditFileCommand(std::span<const std::string> args);
// The edit operations of the edit command table, one line each, for --help; and the usage
// lines of edit and edit-file, whose value options come from the same table.
std::string EditOperationsHelp();
std::string EditUsageLine();
std::string EditFileUsageLine();
int RunLibraryCommand(std::span<const std::string> args);
int RunMailCommand(std::span<const std::string> args);
// "mail estimate", "mail album" and "mail test" (mail_album_command.cpp); args[0] is the verb.
int RunMailWorkflowCommand(std::span<const std::string> args);
int RunPhotoCommand(std::span<const std::string> args);
int RunPrintCommand(std::span<const std::string> args);
int RunSearchCommand(std::span<const std::string> args);
int RunSettingsCommand(std::span<const std::string> args);
int RunThumbsCommand(std::span<const std::string> args);
int RunXmlCommand(std::span<const std::string> args);
int RunWebCommand(std::span<const std::string> args);
std::string WebUsage();

inline constexpr Command kCommands[] = {
    {"album",
     [] {
       return std::string(
           "album show <folder|file.qvo>\n"
           "album set <album> [--title T] [--description D] [--date YYYY-MM-DD|none] "
           "[--title-image FILE] [--var NAME=VALUE]...\n"
           "album create <folder|file.qvo> [--title T]\n"
           "album add <album> <files...> [--at N] [--cell WxH]\n"
           "album remove <album> <number...>\n"
           "album export <album> <number> <dest-folder> [--fit WxH] [--thumbnail]\n"
           "album move <album> <number...> --to N\n"
           "album copy <album> <number...> <other-album>\n"
           "album save-as <album> <new-folder|new.qvo>");
     },
     RunAlbumCommand},
    {"archive",
     [] {
       return std::string(
           "archive pack <album-folder> <file.qvo> [--level 0-9] [--deflate-jpeg]\n"
           "archive unpack <file.qvo> <folder>");
     },
     RunArchiveCommand},
    {"edit", EditUsageLine, RunEditCommand},
    {"edit-file", EditFileUsageLine, RunEditFileCommand},
    {"library",
     [] {
       return std::string(
           "library list [--sort 0..3] [--library DIR]\n"
           "library create <name> [--description D] [--date YYYY-MM-DD] [--library DIR]\n"
           "library delete <name> [--yes] [--library DIR]");
     },
     RunLibraryCommand},
    {"mail",
     [] {
       return std::string(
           "mail send --server HOST[:PORT] [--method 0..3] [--security none|starttls|tls] "
           "[--user U] [--password-file F] [--pop3 HOST[:PORT]] [--pop3-user U] [--apop] "
           "--from ADDR [--from-name NAME] --to ADDR [--to ADDR]... [--cc ADDR]... "
           "[--bcc ADDR]... --subject S (--body TEXT | --body-file F) [--attach FILE]...\n"
           "mail estimate <album> [--resize as-is|800x600|640x480|WxH]\n"
           "mail album <album-folder-or-.qvo> --to ADDR [--to ADDR]... "
           "[--resize as-is|800x600|640x480|WxH] [--via smtp|client] [--strip-private]\n"
           "mail test --to ADDR");
     },
     RunMailCommand},
    {"photo",
     [] {
       return std::string(
           "photo set <album> <number> [--caption T] [--description D] [--keywords K] "
           "[--date YYYY-MM-DD|none]");
     },
     RunPhotoCommand},
    {"print", [] { return std::string("print <album> <out.pdf> [--template NAME|PATH]"); },
     RunPrintCommand},
    {"search",
     [] {
       return std::string(
           "search <text> [--title] [--description] [--keywords] [--library DIR|--album "
           "ALBUM...] [--keep]\n"
           "search --saved");
     },
     RunSearchCommand},
    {"settings",
     [] { return std::string("settings show\nsettings get <key>\nsettings set <key> <value>"); },
     RunSettingsCommand},
    {"thumbs",
     [] {
       return std::string(
           "thumbs <folder> [--cell WxH] [--cache DIR] [--out DIR] [--workers N] [--exif-preview]");
     },
     RunThumbsCommand},
    {"web", WebUsage, RunWebCommand},
    {"xml", [] { return std::string("xml check <file> [--flags N]"); }, RunXmlCommand},
};

}  // namespace quorvane::cli
