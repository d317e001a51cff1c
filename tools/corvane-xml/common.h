// tools/corvane-xml/common.h: what the subcommands of corvane-xml share: option parsing,
// opening inputs ("-" is standard input), the exit statuses, error lines, and the capture
// of the library's log lines (shown only with --verbose, but read for error locations).
#ifndef CORVANE_XML_TOOLS_COMMON_H
#define CORVANE_XML_TOOLS_COMMON_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <ace/Log_Msg_Callback.h>

#include "xml/common/common.h"

namespace tool {

// Exit statuses.
constexpr int kOk = 0;
constexpr int kInvalid = 1;  // the document is invalid or does not parse
constexpr int kUsage = 2;    // bad command line, unreadable file

// A usage error: reported with the subcommand's usage line, exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// A document error: one line on standard error, exit status 1.
struct DocumentError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// A file that cannot be opened or read: exit status 2.
struct FileError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The command line of one subcommand: options (--name value, --flag) and operands.
class Arguments {
 public:
  // flags: options without a value; valued: options that take one. Anything else that
  // begins with "--" is a usage error; "-" alone is an operand.
  Arguments(const std::vector<std::string>& args, const std::vector<std::string>& flags,
            const std::vector<std::string>& valued);
  bool has(const std::string& option) const;
  std::string value(const std::string& option, const std::string& fallback) const;
  const std::vector<std::string>& operands() const { return operands_; }
  // Throws UsageError unless there are exactly n operands.
  void expectOperands(std::size_t n) const;

 private:
  std::vector<std::pair<std::string, std::string>> options_;
  std::vector<std::string> operands_;
};

// An input file, or standard input for "-". Throws FileError when it cannot be opened.
std::unique_ptr<InputFileStream> openInput(const std::string& path);
// The whole content of a file or of standard input.
std::string readAll(const std::string& path);
// How a file is named in messages: "<stdin>" for "-".
std::string displayName(const std::string& path);

// Captures the library's log lines while it lives; echoes them to standard error when
// verbose. Nothing else reaches standard error from the library.
class LogLines : public ACE_Log_Msg_Callback {
 public:
  explicit LogLines(bool verbose);
  ~LogLines() override;
  void log(ACE_Log_Record& record) override;
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  bool verbose_;
  std::vector<std::string> lines_;
  ACE_Log_Msg_Callback* oldCallback_;
  unsigned long oldFlags_;
};

// "FILE:LINE:COLUMN: message" out of the SAX framework's fatal-error log line among lines,
// or "FILE: fallback" when there is none.
std::string locate(const std::string& file, const std::vector<std::string>& lines,
                   const std::string& fallback);

// Windows-1252 text (what the library's narrow strings hold) as UTF-8, for the terminal.
std::string toUtf8(const char* cp1252, std::size_t length);
std::string toUtf8(const std::string& cp1252);

}  // namespace tool

#endif  // CORVANE_XML_TOOLS_COMMON_H
