// quorvane-cli xml: parse an XML file with the album store's reader and write it back.
#include <iostream>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "platform/file_util.h"
#include "platform/number_text.h"
#include "xml/xml_document.h"

namespace quorvane::cli {
namespace {

constexpr OptionSpec kCheckOptions[] = {{"--flags", true}};

}  // namespace

int RunXmlCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("xml check");
  if (args.empty() || args[0] != "check") return UsageError("expected \"check\"", usage);
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args.subspan(1), kCheckOptions, &parsed, &error)) {
    return UsageError(error, usage);
  }
  if (parsed.positional.size() != 1) return UsageError("expected one file", usage);
  unsigned flags = 0;
  if (const std::string* text = parsed.Value("--flags")) {
    int64_t value = 0;
    if (!platform::ParseInteger(*text, 0, 127, &value)) {
      return UsageError("--flags takes a number from 0 to 127", usage);
    }
    flags = static_cast<unsigned>(value);
  }

  std::string bytes;
  if (!platform::ReadWholeFile(parsed.positional[0], &bytes, &error)) return Failure(error);
  xml::XmlDocument document;
  document.set_parse_flags(flags);
  xml::ByteBuffer input;
  input.Adopt(std::move(bytes));
  document.Parse(input);
  xml::ByteBuffer output;
  xml::WriteXml(document, output, xml::kWriteQuoteAttributes);
  std::cout << output.bytes();
  return std::cout.flush() ? kExitOk : kExitFailure;
}

}  // namespace quorvane::cli
