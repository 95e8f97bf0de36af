// Reading a crash record, filling the error report, and the list of reports not yet offered.
#include "crash/crash_report.h"

#include <algorithm>
#include <system_error>

#include "platform/file_util.h"
#include "xml/entities.h"

namespace quorvane::crash {

namespace internal {
extern const char kErrorReportTemplate[];
}  // namespace internal

std::filesystem::path CrashReportRoot(const std::filesystem::path& data_folder) {
  return data_folder / "CrashReports";
}

bool ReadCrashRecord(const std::filesystem::path& folder, CrashRecord* record, std::string* error) {
  std::string text;
  if (!platform::ReadWholeFile(folder / kRecordFileName, &text, error)) return false;
  *record = CrashRecord();
  size_t at = 0;
  bool saw_signal = false;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    const std::string_view line(text.data() + at, end - at);
    at = end + 1;
    if (line == "Backtrace:") {
      if (at < text.size()) record->backtrace = text.substr(at);
      break;
    }
    const size_t colon = line.find(": ");
    if (colon == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, colon);
    std::string value(line.substr(colon + 2));
    if (name == "Signal") {
      record->signal = std::move(value);
      saw_signal = true;
    } else if (name == "Address") {
      record->address = std::move(value);
    } else if (name == "Time") {
      record->time = std::move(value);
    } else if (name == "Version") {
      record->version = std::move(value);
    } else if (name == "Process") {
      record->process = std::move(value);
    } else if (name == "Exception") {
      record->exception = std::move(value);
    } else if (name == "Album") {
      record->albums.push_back(std::move(value));
    }
  }
  if (!saw_signal) {
    *error = "\"" + (folder / kRecordFileName).string() + "\" is not a crash record.";
    return false;
  }
  return true;
}

std::string FillErrorReport(const CrashRecord& record, std::string_view threads,
                            const std::filesystem::path& folder) {
  std::string albums;
  for (const std::string& album : record.albums) {
    albums += "<p>" + xml::EncodeEntities(album) + "</p>\n";
  }
  if (albums.empty()) albums = "<p>(none)</p>";
  const std::pair<std::string_view, std::string> values[] = {
      {"{Version}", xml::EncodeEntities(record.version)},
      {"{Time}", xml::EncodeEntities(record.time)},
      {"{Signal}", xml::EncodeEntities(record.signal)},
      {"{Address}", xml::EncodeEntities(record.address.empty() ? "(none)" : record.address)},
      {"{Exception}", xml::EncodeEntities(record.exception.empty() ? "(none)" : record.exception)},
      {"{Process}", xml::EncodeEntities(record.process)},
      {"{Folder}", xml::EncodeEntities(folder.string())},
      {"{Albums}", albums},
      {"{Backtrace}", xml::EncodeEntities(record.backtrace)},
      {"{Threads}", xml::EncodeEntities(threads)},
  };
  // One pass per placeholder over the template only: a value that happens to hold "{Time}"
  // (an album's name) is never replaced in turn.
  std::string report = internal::kErrorReportTemplate;
  std::string out;
  size_t at = 0;
  while (at < report.size()) {
    const size_t open = report.find('{', at);
    if (open == std::string::npos) break;
    out.append(report, at, open - at);
    const auto match = std::find_if(std::begin(values), std::end(values), [&](const auto& v) {
      return report.compare(open, v.first.size(), v.first) == 0;
    });
    if (match == std::end(values)) {
      out += '{';
      at = open + 1;
    } else {
      out += match->second;
      at = open + match->first.size();
    }
  }
  if (at < report.size()) out.append(report, at);
  return out;
}

bool CompleteCrashReport(const std::filesystem::path& folder, int pid, std::string* error) {
  CrashRecord record;
  if (!ReadCrashRecord(folder, &record, error)) return false;
  // A report without the other threads first, in case the debugger hangs or is killed.
  const std::filesystem::path report = folder / kReportFileName;
  if (!platform::WriteFileAtomically(report, FillErrorReport(record, "", folder), error)) {
    return false;
  }
  std::string stacks, why;
  if (!CollectThreadStacks(pid, 45, &stacks, &why)) stacks = why;
  return platform::WriteFileAtomically(folder / kThreadsFileName, stacks, error) &&
         platform::WriteFileAtomically(report, FillErrorReport(record, stacks, folder), error);
}

bool LoadErrorReport(const std::filesystem::path& folder, std::string* html, std::string* error) {
  std::error_code code;
  if (std::filesystem::exists(folder / kReportFileName, code)) {
    return platform::ReadWholeFile(folder / kReportFileName, html, error);
  }
  CrashRecord record;
  if (!ReadCrashRecord(folder, &record, error)) return false;
  std::string threads, ignored;
  if (!platform::ReadWholeFile(folder / kThreadsFileName, &threads, &ignored)) threads.clear();
  *html = FillErrorReport(record, threads, folder);
  return true;
}

bool CopyCrashReport(const std::filesystem::path& folder, const std::filesystem::path& destination,
                     std::filesystem::path* copied_to, std::string* error) {
  const std::filesystem::path target = destination / folder.filename();
  std::error_code code;
  std::filesystem::create_directories(target, code);
  if (code) {
    *error = "Unable to create \"" + target.string() + "\": " + code.message();
    return false;
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder, code)) {
    if (!entry.is_regular_file(code) || entry.path().filename() == kSeenFileName) continue;
    if (!platform::CopyFileAtomically(entry.path(), target / entry.path().filename(), error)) {
      return false;
    }
  }
  if (code) {
    *error = "Unable to read \"" + folder.string() + "\": " + code.message();
    return false;
  }
  *copied_to = target;
  return true;
}

std::vector<std::filesystem::path> UnseenCrashReports(const std::filesystem::path& root) {
  std::vector<std::filesystem::path> found;
  std::error_code code;
  for (const auto& entry : std::filesystem::directory_iterator(root, code)) {
    const std::filesystem::path& folder = entry.path();
    if (std::filesystem::is_regular_file(folder / kRecordFileName, code) &&
        !std::filesystem::exists(folder / kSeenFileName, code)) {
      found.push_back(folder);
    }
  }
  // Folder names begin with the crash's time, so their order is the crashes' order.
  std::sort(found.begin(), found.end());
  return found;
}

bool MarkCrashReportSeen(const std::filesystem::path& folder, std::string* error) {
  return platform::WriteFileAtomically(folder / kSeenFileName, "", error);
}

}  // namespace quorvane::crash
