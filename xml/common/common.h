// xml/common/common.h: byte streams, dates and times, Base64 coding and the owning
// pointer that the rest of the library is written against.
//
// InputStream and OutputStream are the abstract byte source and sink every reader and
// writer of the library takes; InputMemStream, OutputMemStream, InputFileStream and
// OutputFileStream are ready-made implementations for callers and tests. BDate, BTime
// and BDateTime are plain calendar values; Base64Coder encodes and decodes RFC 4648
// Base64 (standard alphabet, padded, no line breaks); Corvane::auto_ptr owns one
// pointer with a chosen delete policy. Objects serve one thread at a time; nothing
// here keeps global state.
#ifndef CORVANE_XML_COMMON_COMMON_H
#define CORVANE_XML_COMMON_COMMON_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iosfwd>
#include <string>
#include <type_traits>

#include <ace/SString.h>

#include "xml/export.h"

namespace Corvane {

// BasicDelete<T>: frees with single-object delete. For fundamental types (char,
// char16_t, unsigned short, ...) the library only ever hands out arrays through this
// policy (the conversion functions' text buffers), so for those it frees with array
// delete, which is what their allocation needs.
template <class T>
struct BasicDelete {
  void operator()(T* p) const noexcept {
    if constexpr (std::is_fundamental<T>::value) {
      delete[] p;
    } else {
      delete p;
    }
  }
};

// ArrayDelete<T>: frees with array delete.
template <class T>
struct ArrayDelete {
  void operator()(T* p) const noexcept { delete[] p; }
};

// auto_ptr<T, Policy>: owns one pointer and frees it with Policy when it is replaced
// or destroyed. Copying transfers ownership and leaves the source empty, as the
// standard library's former auto_ptr did.
//
//   Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> buf(new char[16]);
//   Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> other(buf);  // buf is now empty
template <class T, class Policy = BasicDelete<T>>
class auto_ptr {
 public:
  typedef T element_type;

  explicit auto_ptr(T* p = nullptr) noexcept : p_(p) {}
  auto_ptr(auto_ptr& other) noexcept : p_(other.release()) {}
  auto_ptr(auto_ptr&& other) noexcept : p_(other.release()) {}
  ~auto_ptr() { Policy()(p_); }

  // Takes the other's pointer; the one held before is freed unless it is the same.
  auto_ptr& operator=(auto_ptr& other) noexcept {
    reset(other.release());
    return *this;
  }
  auto_ptr& operator=(auto_ptr&& other) noexcept {
    reset(other.release());
    return *this;
  }

  T* get() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  T* operator->() const noexcept { return p_; }

  // Gives up ownership without freeing; the pointer is returned to the caller.
  T* release() noexcept {
    T* p = p_;
    p_ = nullptr;
    return p;
  }

  // Frees the held pointer (unless it is p) and holds p.
  void reset(T* p = nullptr) noexcept {
    if (p != p_) {
      Policy()(p_);
      p_ = p;
    }
  }

 private:
  T* p_;
};

}  // namespace Corvane

// ---------------------------------------------------------------------------------
// Streams

// InputStream: an abstract byte source. An owner deletes a stream through the base.
class CORVANE_XML_API InputStream {
 public:
  virtual ~InputStream();
  // The number of bytes read so far.
  virtual unsigned int CurPos() const = 0;
  // Copies up to count next bytes into buffer; returns how many, 0 at the end.
  virtual unsigned int ReadBytes(void* buffer, unsigned int count) = 0;
  // The total length of the stream, or 0 where it is not known.
  virtual unsigned int Size() const = 0;

 protected:
  InputStream() = default;
  InputStream(const InputStream&) = default;
  InputStream& operator=(const InputStream&) = default;
};

// OutputStream: an abstract byte sink. A sink only has to override WriteBytes.
class CORVANE_XML_API OutputStream {
 public:
  virtual ~OutputStream();
  // Pushes buffered bytes to their destination; true on success. The base has no
  // buffer and answers true.
  virtual bool Flush();
  // Appends count bytes in call order; returns the number accepted. Writers of this
  // library ignore the result.
  virtual unsigned int WriteBytes(const void* data, unsigned int count) = 0;

 protected:
  OutputStream() = default;
  OutputStream(const OutputStream&) = default;
  OutputStream& operator=(const OutputStream&) = default;
};

// InputMemStream: reads bytes the caller keeps alive; nothing is copied.
class CORVANE_XML_API InputMemStream : public InputStream {
 public:
  // Over a zero-terminated text (its terminator excluded); null reads as empty.
  explicit InputMemStream(const char* text);
  // Over size bytes at data, zero bytes included.
  InputMemStream(const void* data, unsigned int size);

  unsigned int CurPos() const override;
  unsigned int ReadBytes(void* buffer, unsigned int count) override;
  unsigned int Size() const override;

 private:
  const char* data_;
  unsigned int size_;
  unsigned int pos_;
};

// OutputMemStream: collects the written bytes in memory, in a buffer that grows by
// doubling.
class CORVANE_XML_API OutputMemStream : public OutputStream {
 public:
  OutputMemStream() noexcept;
  ~OutputMemStream() override;
  OutputMemStream(const OutputMemStream&) = delete;
  OutputMemStream& operator=(const OutputMemStream&) = delete;

  unsigned int WriteBytes(const void* data, unsigned int count) override;
  // What WriteBytes does, without the virtual call: for writers that know the stream's
  // exact type.
  void append(const void* data, std::size_t count) {
    const std::size_t room = static_cast<std::size_t>(capacity_ - end_);
    if (count <= 16 && room >= 16) {
      // Most pieces are short: two overlapping moves instead of a call.
      const char* from = static_cast<const char*>(data);
      if (count >= 8) {
        std::uint64_t a, b;
        std::memcpy(&a, from, 8);
        std::memcpy(&b, from + count - 8, 8);
        std::memcpy(end_, &a, 8);
        std::memcpy(end_ + count - 8, &b, 8);
      } else if (count >= 4) {
        std::uint32_t a, b;
        std::memcpy(&a, from, 4);
        std::memcpy(&b, from + count - 4, 4);
        std::memcpy(end_, &a, 4);
        std::memcpy(end_ + count - 4, &b, 4);
      } else if (count > 0) {
        end_[0] = from[0];
        end_[count / 2] = from[count / 2];
        end_[count - 1] = from[count - 1];
      }
      end_ += count;
    } else {
      writeLarge(data, static_cast<unsigned int>(count));
    }
  }

  // The bytes written so far (not zero-terminated), and their number.
  const char* data() const noexcept { return begin_; }
  std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin_); }
  // A copy of the bytes written so far.
  std::string str() const { return std::string(begin_, size()); }
  // Forgets the bytes but keeps the allocated room.
  void clear() noexcept { end_ = begin_; }
  // Makes room for at least bytes bytes in all.
  void reserve(std::size_t bytes);

 private:
  void grow(std::size_t needed);
  unsigned int writeLarge(const void* data, unsigned int count);

  char* begin_;
  char* end_;
  char* capacity_;
};

// InputFileStream: reads a file, a FILE* or a file descriptor.
class CORVANE_XML_API InputFileStream : public InputStream {
 public:
  // Opens path for reading; IsOpen() tells whether that worked (errno says why not).
  explicit InputFileStream(const char* path);
  // Reads from file; closes it on destruction only when owns is true.
  explicit InputFileStream(FILE* file, bool owns = false);
  ~InputFileStream() override;
  InputFileStream(const InputFileStream&) = delete;
  InputFileStream& operator=(const InputFileStream&) = delete;

  bool IsOpen() const noexcept { return file_ != nullptr; }
  // True once a read failed for another reason than the end of the file.
  bool Failed() const noexcept { return failed_; }

  unsigned int CurPos() const override;
  unsigned int ReadBytes(void* buffer, unsigned int count) override;
  // The file's size when it is a regular file, else 0.
  unsigned int Size() const override;

 private:
  FILE* file_;
  bool owns_;
  bool failed_;
  unsigned int pos_;
};

// OutputFileStream: buffers the written bytes and writes them to a file, a FILE* or a
// file descriptor in large blocks. Destruction flushes; a failed write sets Failed()
// and later bytes are dropped, never thrown.
class CORVANE_XML_API OutputFileStream : public OutputStream {
 public:
  // Creates or truncates path; IsOpen() tells whether that worked (errno says why not).
  // A stream that could not open is Failed() from the start and drops every write.
  explicit OutputFileStream(const char* path);
  // Writes to file; closes it on destruction only when owns is true.
  explicit OutputFileStream(FILE* file, bool owns = false);
  // Writes to the descriptor fd; closes it on destruction only when owns is true.
  explicit OutputFileStream(int fd, bool owns = false);
  ~OutputFileStream() override;
  OutputFileStream(const OutputFileStream&) = delete;
  OutputFileStream& operator=(const OutputFileStream&) = delete;

  bool IsOpen() const noexcept { return file_ != nullptr || fd_ >= 0; }
  bool Failed() const noexcept { return failed_; }

  unsigned int WriteBytes(const void* data, unsigned int count) override;
  bool Flush() override;
  // What WriteBytes does, without the virtual call: for writers that know the stream's
  // exact type.
  void append(const void* data, std::size_t count) {
    if (!failed_ && count <= kBufferSize - used_) {
      std::memcpy(buffer_ + used_, data, count);
      used_ += static_cast<unsigned int>(count);
    } else {
      WriteBytes(data, static_cast<unsigned int>(count));
    }
  }

 private:
  static constexpr unsigned int kBufferSize = 64 * 1024;
  bool writeOut(const char* data, std::size_t count);

  FILE* file_;
  int fd_;
  bool owns_;
  bool failed_;
  unsigned int used_;
  char* buffer_;
};

// ---------------------------------------------------------------------------------
// Dates and times

// BDate: a calendar date (proleptic Gregorian). A default-constructed date is not
// valid; a date is valid when its year is 1 to 9999, its month 1 to 12 and its day
// exists in that month.
class CORVANE_XML_API BDate {
 public:
  BDate() noexcept : value_(0) {}
  // Fields are kept as given (month 13 makes an invalid date). Fields beyond
  // 65535/255/255 cannot be stored and give the default, invalid date.
  BDate(unsigned int year, unsigned int month, unsigned int day) noexcept;
  // The date whose GetValue() is value.
  explicit BDate(unsigned int value) noexcept : value_(value) {}

  bool IsValid() const noexcept;
  unsigned int GetYear() const noexcept { return value_ >> 16; }
  unsigned int GetMonth() const noexcept { return (value_ >> 8) & 0xFFu; }
  unsigned int GetDay() const noexcept { return value_ & 0xFFu; }
  // The single stored value: year << 16 | month << 8 | day. Ordering the values
  // orders the dates.
  unsigned int GetValue() const noexcept { return value_; }

  friend bool operator==(const BDate& a, const BDate& b) noexcept { return a.value_ == b.value_; }
  friend bool operator!=(const BDate& a, const BDate& b) noexcept { return a.value_ != b.value_; }
  friend bool operator<(const BDate& a, const BDate& b) noexcept { return a.value_ < b.value_; }

 private:
  unsigned int value_;
};

// Reads a date written YYYY-MM-DD or YYYYMMDD after optional white space. A text of
// another form, or a date that does not exist, leaves an invalid date in d and sets
// the stream's fail state.
CORVANE_XML_API std::istream& operator>>(std::istream& in, BDate& d);
// Writes YYYY-MM-DD.
CORVANE_XML_API std::ostream& operator<<(std::ostream& out, const BDate& d);

// BTime: a time of day to the millisecond. A default-constructed time is not valid; a
// time is valid when its hour is 0 to 23, minute and second 0 to 59 and millisecond
// 0 to 999, so 25:00:00 is not.
class CORVANE_XML_API BTime {
 public:
  BTime() noexcept : hour_(-1), minute_(0), second_(0), millisecond_(0) {}
  BTime(int hour, int minute, int second) noexcept
      : hour_(hour), minute_(minute), second_(second), millisecond_(0) {}
  // From milliseconds since midnight; 86,400,000 or more gives an invalid time.
  explicit BTime(unsigned int milliseconds) noexcept;

  bool IsValid() const noexcept;
  int GetHour() const noexcept { return hour_; }
  int GetMinute() const noexcept { return minute_; }
  int GetSecond() const noexcept { return second_; }
  int GetMillisecond() const noexcept { return millisecond_; }

  friend bool operator==(const BTime& a, const BTime& b) noexcept {
    return a.hour_ == b.hour_ && a.minute_ == b.minute_ && a.second_ == b.second_ &&
           a.millisecond_ == b.millisecond_;
  }
  friend bool operator!=(const BTime& a, const BTime& b) noexcept { return !(a == b); }

 private:
  int hour_;
  int minute_;
  int second_;
  int millisecond_;
};

// Writes HH:MM:SS, followed by .mmm when the millisecond is not 0.
CORVANE_XML_API std::ostream& operator<<(std::ostream& out, const BTime& t);

// BDateTime: a date part followed by a time part.
class CORVANE_XML_API BDateTime {
 public:
  BDateTime() noexcept = default;
  BDateTime(const BDate& date, const BTime& time) noexcept : date_(date), time_(time) {}

  const BDate& GetDate() const noexcept { return date_; }
  const BTime& GetTime() const noexcept { return time_; }
  void SetDate(const BDate& date) noexcept { date_ = date; }
  void SetTime(const BTime& time) noexcept { time_ = time; }
  bool IsValid() const noexcept { return date_.IsValid() && time_.IsValid(); }

  // The machine's current zone bias in minutes: universal time = local time + bias,
  // positive west of Greenwich (UTC+01:00 gives -60). Taken from the C library's local
  // time, so it follows TZ. Returns false, leaving bias unchanged, when the local
  // time cannot be had.
  static bool GetTimeZoneBias(long& bias);

  friend bool operator==(const BDateTime& a, const BDateTime& b) noexcept {
    return a.date_ == b.date_ && a.time_ == b.time_;
  }
  friend bool operator!=(const BDateTime& a, const BDateTime& b) noexcept { return !(a == b); }

 private:
  BDate date_;
  BTime time_;
};

// ---------------------------------------------------------------------------------
// Base64 (RFC 4648, standard alphabet)

class CORVANE_XML_API Base64Coder {
 public:
  Base64Coder();
  ~Base64Coder();

  // Replaces out with the padded Base64 text of count bytes at data, on one line.
  //   "Man" -> "TWFu", "Ma" -> "TWE=", "" -> "".
  void Encode(ACE_CString& out, const unsigned char* data, unsigned int count);

  // Decodes length bytes of Base64 text. White space and any byte outside the
  // alphabet are skipped; decoding stops at the first '='; a final group of a single
  // character (which carries no whole byte) is dropped. Returns a new buffer (never
  // null, even for no bytes) and sets count to the number of decoded bytes.
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> Decode(const char* text,
                                                             unsigned int length,
                                                             unsigned int& count);
};

#endif  // CORVANE_XML_COMMON_COMMON_H
