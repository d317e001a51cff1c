// xml/common/streams.cpp: the stream interfaces and the memory and file streams.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "xml/common/common.h"

InputStream::~InputStream() = default;

OutputStream::~OutputStream() = default;
bool OutputStream::Flush() { return true; }

// ---------------------------------------------------------------------------------

InputMemStream::InputMemStream(const char* text)
    : data_(text != nullptr ? text : ""),
      size_(text != nullptr ? static_cast<unsigned int>(std::strlen(text)) : 0u),
      pos_(0) {}

InputMemStream::InputMemStream(const void* data, unsigned int size)
    : data_(data != nullptr ? static_cast<const char*>(data) : ""),
      size_(data != nullptr ? size : 0u),
      pos_(0) {}

unsigned int InputMemStream::CurPos() const { return pos_; }

unsigned int InputMemStream::ReadBytes(void* buffer, unsigned int count) {
  const unsigned int left = size_ - pos_;
  const unsigned int n = count < left ? count : left;
  if (n > 0) std::memcpy(buffer, data_ + pos_, n);
  pos_ += n;
  return n;
}

unsigned int InputMemStream::Size() const { return size_; }

// ---------------------------------------------------------------------------------

OutputMemStream::OutputMemStream() noexcept : begin_(nullptr), end_(nullptr), capacity_(nullptr) {}

OutputMemStream::~OutputMemStream() { std::free(begin_); }

unsigned int OutputMemStream::WriteBytes(const void* data, unsigned int count) {
  append(data, count);
  return count;
}

unsigned int OutputMemStream::writeLarge(const void* data, unsigned int count) {
  if (static_cast<std::size_t>(capacity_ - end_) < count) grow(count);
  if (count > 0) std::memcpy(end_, data, count);
  end_ += count;
  return count;
}

void OutputMemStream::reserve(std::size_t bytes) {
  if (bytes > static_cast<std::size_t>(capacity_ - begin_)) grow(bytes - size());
}

void OutputMemStream::grow(std::size_t needed) {
  const std::size_t used = size();
  std::size_t room = static_cast<std::size_t>(capacity_ - begin_);
  if (room < 256) room = 256;
  while (room - used < needed) room *= 2;
  char* grown = static_cast<char*>(std::realloc(begin_, room));
  if (grown == nullptr) throw std::bad_alloc();
  begin_ = grown;
  end_ = grown + used;
  capacity_ = grown + room;
}

// ---------------------------------------------------------------------------------

InputFileStream::InputFileStream(const char* path)
    : file_(path != nullptr ? std::fopen(path, "rb") : nullptr),
      owns_(true),
      failed_(false),
      pos_(0) {}

InputFileStream::InputFileStream(FILE* file, bool owns)
    : file_(file), owns_(owns), failed_(false), pos_(0) {}

InputFileStream::~InputFileStream() {
  if (file_ != nullptr && owns_) std::fclose(file_);
}

unsigned int InputFileStream::CurPos() const { return pos_; }

unsigned int InputFileStream::ReadBytes(void* buffer, unsigned int count) {
  if (file_ == nullptr || failed_ || count == 0) return 0;
  const std::size_t n = std::fread(buffer, 1, count, file_);
  if (n < count && std::ferror(file_)) failed_ = true;
  pos_ += static_cast<unsigned int>(n);
  return static_cast<unsigned int>(n);
}

unsigned int InputFileStream::Size() const {
  if (file_ == nullptr) return 0;
  struct stat st;
  if (fstat(fileno(file_), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
  if (st.st_size > static_cast<off_t>(std::numeric_limits<unsigned int>::max())) {
    return std::numeric_limits<unsigned int>::max();
  }
  return static_cast<unsigned int>(st.st_size);
}

// ---------------------------------------------------------------------------------

OutputFileStream::OutputFileStream(const char* path)
    : file_(nullptr), fd_(-1), owns_(true), failed_(false), used_(0), buffer_(nullptr) {
  if (path != nullptr) fd_ = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ >= 0) {
    buffer_ = new char[kBufferSize];
  } else {
    failed_ = true;
  }
}

OutputFileStream::OutputFileStream(FILE* file, bool owns)
    : file_(file), fd_(-1), owns_(owns), failed_(false), used_(0),
      buffer_(new char[kBufferSize]) {}

OutputFileStream::OutputFileStream(int fd, bool owns)
    : file_(nullptr), fd_(fd), owns_(owns), failed_(false), used_(0),
      buffer_(new char[kBufferSize]) {}

OutputFileStream::~OutputFileStream() {
  Flush();
  if (owns_) {
    if (file_ != nullptr) std::fclose(file_);
    if (fd_ >= 0) ::close(fd_);
  }
  delete[] buffer_;
}

bool OutputFileStream::writeOut(const char* data, std::size_t count) {
  if (failed_ || !IsOpen()) {
    failed_ = true;
    return false;
  }
  if (file_ != nullptr) {
    if (std::fwrite(data, 1, count, file_) != count) failed_ = true;
    return !failed_;
  }
  while (count > 0) {
    const ssize_t n = ::write(fd_, data, count);
    if (n < 0) {
      if (errno == EINTR) continue;
      failed_ = true;
      return false;
    }
    data += n;
    count -= static_cast<std::size_t>(n);
  }
  return true;
}

unsigned int OutputFileStream::WriteBytes(const void* data, unsigned int count) {
  // A stream that is not open (which has no buffer when its path failed to open) or
  // has failed drops the bytes.
  if (failed_ || !IsOpen()) {
    failed_ = true;
    return 0;
  }
  const char* bytes = static_cast<const char*>(data);
  if (count <= kBufferSize - used_) {
    std::memcpy(buffer_ + used_, bytes, count);
    used_ += count;
    return count;
  }
  // The piece does not fit: empty the buffer, then keep a small rest or write a large
  // piece straight through.
  if (!Flush()) return 0;
  if (count < kBufferSize) {
    std::memcpy(buffer_, bytes, count);
    used_ = count;
    return count;
  }
  return writeOut(bytes, count) ? count : 0;
}

bool OutputFileStream::Flush() {
  if (used_ > 0) {
    const bool ok = writeOut(buffer_, used_);
    used_ = 0;
    if (!ok) return false;
  }
  if (file_ != nullptr && !failed_ && std::fflush(file_) != 0) failed_ = true;
  return !failed_;
}
