// tests/support/logcapture.h: captures the lines logged through ACE_Log_Msg while it lives.
//
//   LogCapture capture;
//   ... code that logs ...
//   ASSERT_EQ(1u, capture.lines().size());
//   EXPECT_EQ(LM_ERROR, capture.lines()[0].priority);
//   EXPECT_EQ("text\n", capture.lines()[0].text);
//   EXPECT_EQ("E text\n", capture.text());
//
// Each line is the record's type() (the ACE_Log_Priority, e.g. LM_ERROR; the record's
// priority() is that value's bit index instead) and its msg_data(): the text exactly as
// the library formatted it, trailing line feed included. msg_data() never carries the
// prefixes of the VERBOSE and VERBOSE_LITE flags (ACE adds them only when it prints a
// record), so the text does not depend on the flags. While capturing, nothing goes to
// standard error; the destructor restores the previous callback and flags, so captures
// nest. The callback belongs to the calling thread's ACE_Log_Msg (one per thread, as in
// ACE): lines logged by other threads are not captured.
#ifndef CORVANE_XML_TESTS_SUPPORT_LOGCAPTURE_H
#define CORVANE_XML_TESTS_SUPPORT_LOGCAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Priority.h>
#include <ace/Log_Record.h>

class LogCapture : public ACE_Log_Msg_Callback {
 public:
  struct Line {
    ACE_Log_Priority priority;
    std::string text;
  };

  LogCapture()
      : log_(ACE_Log_Msg::instance()),
        oldCallback_(log_->msg_callback()),
        oldFlags_(log_->flags()) {
    log_->msg_callback(this);
    log_->set_flags(ACE_Log_Msg::MSG_CALLBACK);
    log_->clr_flags(ACE_Log_Msg::STDERR);
  }
  ~LogCapture() override {
    log_->msg_callback(oldCallback_);
    log_->clr_flags(log_->flags() & ~oldFlags_);
    log_->set_flags(oldFlags_);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  void log(ACE_Log_Record& record) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back({static_cast<ACE_Log_Priority>(record.type()), record.msg_data()});
  }

  // The lines captured so far, oldest first.
  std::vector<Line> lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

  // The lines captured so far as one text, each as "E text", "W text" or "D text"
  // (LM_ERROR, LM_WARNING, LM_DEBUG), "? text" for any other priority.
  std::string text() const {
    std::string out;
    for (const Line& l : lines()) {
      out += l.priority == LM_ERROR ? "E " : l.priority == LM_WARNING ? "W " : l.priority == LM_DEBUG ? "D " : "? ";
      out += l.text;
    }
    return out;
  }

 private:
  ACE_Log_Msg* log_;
  ACE_Log_Msg_Callback* oldCallback_;
  unsigned long oldFlags_;
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

#endif  // CORVANE_XML_TESTS_SUPPORT_LOGCAPTURE_H
