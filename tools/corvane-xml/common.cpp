// tools/corvane-xml/common.cpp: shared parts of the subcommands.
#include "common.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include <ace/Log_Msg.h>
#include <ace/Log_Record.h>

namespace tool {

Arguments::Arguments(const std::vector<std::string>& args, const std::vector<std::string>& flags,
                     const std::vector<std::string>& valued) {
  auto in = [](const std::vector<std::string>& list, const std::string& s) {
    for (const std::string& item : list) {
      if (item == s) return true;
    }
    return false;
  };
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
      if (in(flags, a)) {
        options_.emplace_back(a, "");
      } else if (in(valued, a)) {
        if (i + 1 == args.size()) throw UsageError("option " + a + " needs a value");
        options_.emplace_back(a, args[++i]);
      } else {
        throw UsageError("unknown option " + a);
      }
    } else {
      operands_.push_back(a);
    }
  }
}

bool Arguments::has(const std::string& option) const {
  for (const auto& o : options_) {
    if (o.first == option) return true;
  }
  return false;
}

std::string Arguments::value(const std::string& option, const std::string& fallback) const {
  std::string result = fallback;
  for (const auto& o : options_) {
    if (o.first == option) result = o.second;  // the last one counts
  }
  return result;
}

void Arguments::expectOperands(std::size_t n) const {
  if (operands_.size() != n) {
    throw UsageError("expected " + std::to_string(n) + " operand" + (n == 1 ? "" : "s") +
                     ", got " + std::to_string(operands_.size()));
  }
}

std::string displayName(const std::string& path) { return path == "-" ? "<stdin>" : path; }

std::unique_ptr<InputFileStream> openInput(const std::string& path) {
  std::unique_ptr<InputFileStream> in = path == "-" ? std::make_unique<InputFileStream>(stdin)
                                                    : std::make_unique<InputFileStream>(path.c_str());
  if (!in->IsOpen()) throw FileError(path + ": " + std::strerror(errno));
  return in;
}

std::string readAll(const std::string& path) {
  std::unique_ptr<InputFileStream> in = openInput(path);
  std::string bytes;
  char block[65536];
  for (unsigned int n; (n = in->ReadBytes(block, sizeof block)) > 0;) bytes.append(block, n);
  if (in->Failed()) throw FileError(displayName(path) + ": read error");
  return bytes;
}

LogLines::LogLines(bool verbose)
    : verbose_(verbose),
      oldCallback_(ACE_Log_Msg::instance()->msg_callback()),
      oldFlags_(ACE_Log_Msg::instance()->flags()) {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->msg_callback(this);
  log->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  log->clr_flags(ACE_Log_Msg::STDERR);
}

LogLines::~LogLines() {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->msg_callback(oldCallback_);
  log->clr_flags(log->flags());
  log->set_flags(oldFlags_);
}

void LogLines::log(ACE_Log_Record& record) {
  lines_.emplace_back(record.msg_data());
  if (verbose_) {
    std::string line = lines_.back();
    if (line.empty() || line.back() != '\n') line += '\n';
    std::cerr << line << std::flush;
  }
}

namespace {

// The digits at text[at...], advancing at past them; false when there are none.
bool digitsAt(const std::string& text, std::size_t& at, std::string& digits) {
  const std::size_t start = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  digits = text.substr(start, at - start);
  return at > start;
}

// The message between marker and the line's closing ".\n".
bool messageAfter(const std::string& line, std::size_t at, const char* marker, std::string& message) {
  const std::size_t length = std::strlen(marker);
  if (line.compare(at, length, marker) != 0 || line.size() < at + length + 2 ||
      line.compare(line.size() - 2, 2, ".\n") != 0) {
    return false;
  }
  message = line.substr(at + length, line.size() - 2 - (at + length));
  return true;
}

}  // namespace

std::string locate(const std::string& file, const std::vector<std::string>& lines,
                   const std::string& fallback) {
  // "... in file <id>, line <n>, col <n>. Message: <message>.\n", or, without a location,
  // "... Fatal Error (Parsing Incomplete). Message: <message>.\n".
  for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
    const std::string& line = *it;
    std::string lineNo, column, message;
    for (std::size_t at = line.rfind(", line "); at != std::string::npos && at > 0;
         at = line.rfind(", line ", at - 1)) {
      std::size_t p = at + 7;
      if (digitsAt(line, p, lineNo) && line.compare(p, 6, ", col ") == 0 &&
          digitsAt(line, p += 6, column) && messageAfter(line, p, ". Message: ", message)) {
        return displayName(file) + ":" + lineNo + ":" + column + ": " + message;
      }
    }
    const char* unlocated = "Fatal Error (Parsing Incomplete)";
    const std::size_t at = line.find(unlocated);
    if (at != std::string::npos &&
        messageAfter(line, at + std::strlen(unlocated), ". Message: ", message)) {
      return displayName(file) + ": " + message;
    }
  }
  return displayName(file) + ": " + fallback;
}

std::string toUtf8(const char* text, std::size_t length) {
  // Windows-1252's 0x80-0x9F; the five undefined codes keep their Latin-1 meaning.
  static const char16_t high[32] = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  std::string out;
  out.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    const unsigned char b = static_cast<unsigned char>(text[i]);
    const char32_t c = b >= 0x80 && b < 0xA0 ? high[b - 0x80] : b;
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

std::string toUtf8(const std::string& text) { return toUtf8(text.data(), text.size()); }

}  // namespace tool
