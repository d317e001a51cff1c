// tests/common/common_test.cpp: the common layer: auto_ptr, the stream classes,
// BDate, BTime, BDateTime and Base64Coder.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "xml/common/common.h"

namespace {

// ---------------------------------------------------------------------------------
// auto_ptr

int g_destroyed = 0;

struct Counted {
  ~Counted() { ++g_destroyed; }
};

// Copy, move and assignment hand the pointer over, empty the source and free only a
// replaced object; the last owner frees exactly once.
TEST(AutoPtr, CopyAndAssignmentTransferOwnership) {
  g_destroyed = 0;
  Counted* raw = new Counted;
  {
    Corvane::auto_ptr<Counted> a(raw);
    Corvane::auto_ptr<Counted> b(a);
    EXPECT_EQ(nullptr, a.get());
    EXPECT_EQ(raw, b.get());
    Corvane::auto_ptr<Counted> c;
    c = b;
    EXPECT_EQ(nullptr, b.get());
    EXPECT_EQ(raw, c.get());
    Corvane::auto_ptr<Counted> d(new Counted);
    d = c;
    EXPECT_EQ(1, g_destroyed);
    EXPECT_EQ(nullptr, c.get());
    EXPECT_EQ(raw, d.get());
    Corvane::auto_ptr<Counted>& same = d;
    d = same;
    EXPECT_EQ(raw, d.get());
    Corvane::auto_ptr<Counted> e(std::move(d));
    EXPECT_EQ(nullptr, d.get());
    EXPECT_EQ(raw, &*e);
    EXPECT_EQ(raw, e.operator->());
    EXPECT_EQ(1, g_destroyed);
  }
  EXPECT_EQ(2, g_destroyed);
}

// reset keeps the held object when given it again, frees it for another pointer;
// release hands it out without freeing.
TEST(AutoPtr, ResetAndRelease) {
  g_destroyed = 0;
  Counted* first = new Counted;
  Corvane::auto_ptr<Counted> p(first);
  p.reset(first);
  EXPECT_EQ(0, g_destroyed);
  EXPECT_EQ(first, p.get());
  p.reset(new Counted);
  EXPECT_EQ(1, g_destroyed);
  Counted* kept = p.release();
  EXPECT_EQ(nullptr, p.get());
  p.reset();
  EXPECT_EQ(1, g_destroyed);
  delete kept;
  EXPECT_EQ(2, g_destroyed);
}

// ArrayDelete destroys every element; BasicDelete frees fundamental-type buffers with
// array delete (a mismatch shows under AddressSanitizer).
TEST(AutoPtr, DeletePolicies) {
  g_destroyed = 0;
  {
    Corvane::auto_ptr<Counted, Corvane::ArrayDelete<Counted>> array(new Counted[5]);
    array.reset(new Counted[3]);
    EXPECT_EQ(5, g_destroyed);
  }
  EXPECT_EQ(8, g_destroyed);

  Corvane::auto_ptr<char> text(new char[64]);
  std::strcpy(text.get(), "buffer");
  text.reset(new char[8]);
  Corvane::auto_ptr<char16_t> wide(new char16_t[4]);
  wide.reset();
  EXPECT_EQ(nullptr, wide.get());
}

// ---------------------------------------------------------------------------------
// Stream interfaces

class StringSink : public OutputStream {
 public:
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    text.append(static_cast<const char*>(data), count);
    return count;
  }
  std::string text;
};

// Counts upwards from 'a'; reports its destruction so deletion through the base shows.
class CountingSource : public InputStream {
 public:
  CountingSource(unsigned int size, bool* destroyed) : size_(size), destroyed_(destroyed) {}
  ~CountingSource() override { *destroyed_ = true; }
  unsigned int CurPos() const override { return pos_; }
  unsigned int ReadBytes(void* buffer, unsigned int count) override {
    unsigned int n = 0;
    for (; n < count && pos_ < size_; ++n, ++pos_) {
      static_cast<char*>(buffer)[n] = static_cast<char>('a' + pos_);
    }
    return n;
  }
  unsigned int Size() const override { return size_; }

 private:
  unsigned int size_;
  unsigned int pos_ = 0;
  bool* destroyed_;
};

// A sink that overrides only WriteBytes is complete: the base Flush answers true.
TEST(OutputStream, SinkOverridingOnlyWriteBytes) {
  StringSink sink;
  OutputStream& out = sink;
  EXPECT_EQ(2u, out.WriteBytes("ab", 2));
  out.WriteBytes("c\0d", 3);
  EXPECT_TRUE(out.Flush());
  EXPECT_EQ(std::string("abc\0d", 5), sink.text);
}

// A user source is read through the base and deleted through it.
TEST(InputStream, UserSourceThroughBase) {
  bool destroyed = false;
  std::unique_ptr<InputStream> in(new CountingSource(5, &destroyed));
  char buffer[8];
  EXPECT_EQ(3u, in->ReadBytes(buffer, 3));
  EXPECT_EQ(3u, in->CurPos());
  EXPECT_EQ(2u, in->ReadBytes(buffer + 3, 8));
  EXPECT_EQ(0u, in->ReadBytes(buffer, 8));
  EXPECT_EQ(std::string("abcde"), std::string(buffer, 5));
  EXPECT_EQ(5u, in->Size());
  in.reset();
  EXPECT_TRUE(destroyed);
}

// ---------------------------------------------------------------------------------
// Memory streams

// Text is read in chunks with the position following; the end reads 0 repeatedly.
TEST(InputMemStream, ReadsTextInChunks) {
  InputMemStream in("hello world");
  EXPECT_EQ(11u, in.Size());
  char buffer[4];
  std::string got;
  const unsigned int expected[] = {4, 4, 3, 0, 0};
  for (unsigned int want : expected) {
    const unsigned int n = in.ReadBytes(buffer, sizeof buffer);
    EXPECT_EQ(want, n);
    got.append(buffer, n);
    EXPECT_EQ(got.size(), in.CurPos());
  }
  EXPECT_EQ("hello world", got);
}

// A null text and null data read as empty streams.
TEST(InputMemStream, NullReadsEmpty) {
  InputMemStream text(static_cast<const char*>(nullptr));
  InputMemStream data(nullptr, 10);
  char buffer[4];
  for (InputMemStream* in : {&text, &data}) {
    EXPECT_EQ(0u, in->Size());
    EXPECT_EQ(0u, in->ReadBytes(buffer, sizeof buffer));
    EXPECT_EQ(0u, in->CurPos());
  }
}

// (data, size) includes zero bytes and reads the caller's bytes in place.
TEST(InputMemStream, DataWithZerosIsNotCopied) {
  char bytes[] = {'a', '\0', 'b', '\0', 'c'};
  InputMemStream in(bytes, 4);
  bytes[2] = 'X';
  char buffer[10] = {};
  EXPECT_EQ(4u, in.Size());
  EXPECT_EQ(4u, in.ReadBytes(buffer, sizeof buffer));
  EXPECT_EQ(std::string("a\0X\0", 4), std::string(buffer, 4));
  EXPECT_EQ(4u, in.CurPos());
  EXPECT_EQ(0u, in.ReadBytes(buffer, sizeof buffer));
}

// Bytes are appended in call order, zeros included; clear() starts over.
TEST(OutputMemStream, AppendsInOrderAndClears) {
  OutputMemStream out;
  EXPECT_EQ(2u, out.WriteBytes("ab", 2));
  EXPECT_EQ(1u, out.WriteBytes("\0", 1));
  out.WriteBytes("cd", 2);
  const std::string expected("ab\0cd", 5);
  EXPECT_EQ(expected, out.str());
  ASSERT_EQ(5u, out.size());
  EXPECT_EQ(0, std::memcmp(expected.data(), out.data(), 5));
  out.clear();
  EXPECT_EQ(0u, out.size());
  out.WriteBytes("x", 1);
  EXPECT_EQ("x", out.str());
}

// ---------------------------------------------------------------------------------
// File streams

// A byte pattern with zeros and no short period, so lost or reordered blocks show.
std::string Pattern(std::size_t size) {
  std::string s(size, '\0');
  for (std::size_t i = 0; i < size; ++i) s[i] = static_cast<char>(i * 131 + i / 251);
  return s;
}

// Writes data in pieces that fill the 64 KiB buffer exactly, overflow it, bypass it
// (65536 and larger) and then, for the rest, in many 7-byte pieces.
void WriteInPieces(OutputStream& out, const std::string& data) {
  const std::size_t sizes[] = {1, 65535, 13, 2, 70000, 100, 65536, 7, 200000, 3};
  std::size_t pos = 0;
  for (std::size_t size : sizes) {
    out.WriteBytes(data.data() + pos, static_cast<unsigned int>(size));
    pos += size;
  }
  for (; pos < data.size(); pos += 7) {
    const std::size_t size = std::min<std::size_t>(7, data.size() - pos);
    out.WriteBytes(data.data() + pos, static_cast<unsigned int>(size));
  }
}

std::string ReadAll(InputFileStream& in) {
  std::string got;
  char buffer[4096];
  while (const unsigned int n = in.ReadBytes(buffer, sizeof buffer)) got.append(buffer, n);
  return got;
}

class FileStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/common_test.XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(name));
    dir_ = name;
  }
  void TearDown() override {
    for (const std::string& path : paths_) std::remove(path.c_str());
    rmdir(dir_.c_str());
  }
  std::string Path(const char* name) {
    paths_.push_back(dir_ + "/" + name);
    return paths_.back();
  }
  // Reads path back through InputFileStream and checks its size and position.
  std::string ReadBack(const std::string& path) {
    InputFileStream in(path.c_str());
    EXPECT_TRUE(in.IsOpen());
    const unsigned int size = in.Size();
    std::string got = ReadAll(in);
    EXPECT_EQ(got.size(), size);
    EXPECT_EQ(got.size(), in.CurPos());
    EXPECT_FALSE(in.Failed());
    return got;
  }

  std::string dir_;
  std::vector<std::string> paths_;
};

// Path, FILE* and descriptor targets all receive every byte in order; the destructor
// flushes, and a stream that does not own its FILE* or descriptor leaves it open.
TEST_F(FileStreamTest, WritesEveryTargetInOrder) {
  const std::string data = Pattern(600000);
  {
    SCOPED_TRACE("path");
    const std::string path = Path("path.bin");
    {
      OutputFileStream out(path.c_str());
      ASSERT_TRUE(out.IsOpen());
      WriteInPieces(out, data);
      EXPECT_FALSE(out.Failed());
    }
    EXPECT_EQ(data, ReadBack(path));
  }
  {
    SCOPED_TRACE("FILE*");
    const std::string path = Path("file.bin");
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(nullptr, file);
    {
      OutputFileStream out(file);
      WriteInPieces(out, data);
      EXPECT_TRUE(out.Flush());
    }
    EXPECT_EQ(4u, std::fwrite("tail", 1, 4, file));
    EXPECT_EQ(0, std::fclose(file));
    EXPECT_EQ(data + "tail", ReadBack(path));
  }
  {
    SCOPED_TRACE("descriptor");
    const std::string path = Path("fd.bin");
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    {
      OutputFileStream out(fd);
      WriteInPieces(out, data);
    }
    EXPECT_EQ(4, ::write(fd, "tail", 4));
    EXPECT_EQ(0, ::close(fd));
    EXPECT_EQ(data + "tail", ReadBack(path));
  }
}

// Owned descriptors and FILE*s are closed on destruction; a pipe has no size.
TEST_F(FileStreamTest, OwnedPipeEndsAreClosed) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  {
    OutputFileStream out(fds[1], true);
    out.WriteBytes("hello", 5);
  }
  errno = 0;
  const bool closed = fcntl(fds[1], F_GETFD) == -1 && errno == EBADF;
  EXPECT_TRUE(closed);
  if (!closed) ::close(fds[1]);

  FILE* file = fdopen(fds[0], "rb");
  ASSERT_NE(nullptr, file);
  {
    InputFileStream in(file, true);
    EXPECT_EQ(0u, in.Size());
    EXPECT_EQ("hello", ReadAll(in));
  }
  errno = 0;
  EXPECT_EQ(-1, fcntl(fds[0], F_GETFD));
  EXPECT_EQ(EBADF, errno);
}

// A path that cannot be opened gives closed streams that fail quietly on use.
TEST_F(FileStreamTest, UnopenablePathFailsQuietly) {
  const std::string missing = dir_ + "/no/such/file";
  errno = 0;
  OutputFileStream out(missing.c_str());
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(out.IsOpen());
  const std::string data = Pattern(70000);
  out.WriteBytes(data.data(), 10);
  out.WriteBytes(data.data(), 70000);
  EXPECT_FALSE(out.Flush());
  EXPECT_TRUE(out.Failed());

  errno = 0;
  InputFileStream in(missing.c_str());
  EXPECT_EQ(ENOENT, errno);
  EXPECT_FALSE(in.IsOpen());
  char buffer[4];
  EXPECT_EQ(0u, in.ReadBytes(buffer, sizeof buffer));
  EXPECT_EQ(0u, in.Size());
}

// Writes that the target refuses (a closed descriptor, a FILE* open for reading, no
// FILE*) set Failed and are not thrown.
TEST_F(FileStreamTest, RefusedWritesSetFailed) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  ::close(fds[0]);
  ::close(fds[1]);
  {
    OutputFileStream out(fds[1]);
    out.WriteBytes("abc", 3);
    EXPECT_FALSE(out.Flush());
    EXPECT_TRUE(out.Failed());
  }
  {
    const std::string path = Path("readonly.bin");
    FILE* create = std::fopen(path.c_str(), "wb");
    ASSERT_NE(nullptr, create);
    std::fclose(create);
    OutputFileStream out(std::fopen(path.c_str(), "rb"), true);
    out.WriteBytes("abc", 3);
    EXPECT_FALSE(out.Flush());
    EXPECT_TRUE(out.Failed());
  }
  {
    OutputFileStream out(static_cast<FILE*>(nullptr));
    EXPECT_FALSE(out.IsOpen());
    out.WriteBytes("abc", 3);
    EXPECT_FALSE(out.Flush());
    EXPECT_TRUE(out.Failed());
  }
}

// ---------------------------------------------------------------------------------
// BDate

// Validity follows the calendar: month 1 to 12, real days, leap years, year 1 to 9999.
TEST(BDate, Validity) {
  struct Case {
    unsigned int year, month, day;
    bool valid;
  };
  const Case cases[] = {
      {0, 0, 0, false},     {2009, 0, 1, false},  {2009, 13, 1, false}, {2000, 2, 29, true},
      {2024, 2, 29, true},  {1900, 2, 29, false}, {2023, 2, 29, false}, {2023, 2, 28, true},
      {2009, 4, 31, false}, {2009, 4, 30, true},  {2009, 12, 31, true}, {2009, 1, 32, false},
      {2009, 1, 0, false},  {1, 1, 1, true},      {9999, 12, 31, true}, {0, 1, 1, false},
      {10000, 1, 1, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.valid, BDate(c.year, c.month, c.day).IsValid())
        << c.year << "-" << c.month << "-" << c.day;
  }
  EXPECT_FALSE(BDate().IsValid());
  // Fields too large to store give the default date.
  EXPECT_EQ(BDate(), BDate(65536, 1, 1));
  EXPECT_EQ(BDate(), BDate(2009, 256, 1));
  EXPECT_EQ(BDate(), BDate(2009, 1, 256));
}

// The getters return the fields; GetValue packs them, restores the date and orders.
TEST(BDate, FieldsValueAndOrder) {
  const BDate d(2009, 3, 7);
  EXPECT_EQ(2009u, d.GetYear());
  EXPECT_EQ(3u, d.GetMonth());
  EXPECT_EQ(7u, d.GetDay());
  EXPECT_EQ((2009u << 16) | (3u << 8) | 7u, d.GetValue());
  const BDate copy(d.GetValue());
  EXPECT_EQ(d, copy);
  EXPECT_EQ(2009u, copy.GetYear());
  const BDate ordered[] = {BDate(), BDate(2009, 3, 7), BDate(2009, 3, 8), BDate(2009, 4, 1),
                           BDate(2010, 1, 1)};
  for (std::size_t i = 1; i < sizeof ordered / sizeof ordered[0]; ++i) {
    EXPECT_TRUE(ordered[i - 1] < ordered[i]) << i;
    EXPECT_FALSE(ordered[i] < ordered[i - 1]) << i;
    EXPECT_NE(ordered[i - 1], ordered[i]) << i;
  }
}

// operator>> reads YYYY-MM-DD and YYYYMMDD after white space; anything else, or a
// day that does not exist, gives an invalid date and the fail state.
TEST(BDate, ReadFromStream) {
  struct Case {
    const char* text;
    unsigned int value;  // 0: the read fails
  };
  const Case cases[] = {
      {"2009-03-07", 0x07D90307u}, {"20090307", 0x07D90307u}, {" \t\n2009-03-07", 0x07D90307u},
      {"2024-02-29", 0x07E8021Du}, {"2009-02-30", 0},         {"20091301", 0},
      {"2009-3-7", 0},             {"2009/03/07", 0},         {"2009-03-07x", 0},
      {"2009-0a-07", 0},           {"+009-03-07", 0},         {"garbage", 0},
      {"", 0},                     {"0000-01-01", 0},
  };
  for (const Case& c : cases) {
    std::istringstream in(c.text);
    BDate d(1999, 1, 1);
    in >> d;
    if (c.value != 0) {
      EXPECT_FALSE(in.fail()) << c.text;
      EXPECT_EQ(c.value, d.GetValue()) << c.text;
    } else {
      EXPECT_TRUE(in.fail()) << c.text;
      EXPECT_FALSE(d.IsValid()) << c.text;
    }
  }
  std::istringstream two("2009-03-07 20100102");
  BDate first, second;
  EXPECT_TRUE(static_cast<bool>(two >> first >> second));
  EXPECT_EQ(BDate(2009, 3, 7), first);
  EXPECT_EQ(BDate(2010, 1, 2), second);
}

// operator<< writes YYYY-MM-DD with zero padding, and reads back.
TEST(BDate, WriteToStream) {
  std::ostringstream out;
  out << BDate(2009, 3, 7) << ' ' << BDate(33, 1, 2);
  EXPECT_EQ("2009-03-07 0033-01-02", out.str());
  std::istringstream in(out.str());
  BDate a, b;
  in >> a >> b;
  EXPECT_EQ(BDate(2009, 3, 7), a);
  EXPECT_EQ(BDate(33, 1, 2), b);
}

// ---------------------------------------------------------------------------------
// BTime and BDateTime

// Validity by fields and from milliseconds since midnight, with the getters.
TEST(BTime, ValidityAndFields) {
  struct Case {
    int hour, minute, second;
    bool valid;
  };
  const Case cases[] = {{25, 0, 0, false}, {24, 0, 0, false}, {23, 59, 59, true},
                        {0, 0, 0, true},   {-1, 0, 0, false}, {12, 60, 0, false},
                        {12, 0, 60, false}, {12, -1, 0, false}, {12, 0, -1, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.valid, BTime(c.hour, c.minute, c.second).IsValid())
        << c.hour << ":" << c.minute << ":" << c.second;
  }
  EXPECT_FALSE(BTime().IsValid());

  struct MsCase {
    unsigned int ms;
    int hour, minute, second, millisecond;
  };
  const MsCase ms_cases[] = {{0, 0, 0, 0, 0},
                             {86399999, 23, 59, 59, 999},
                             {45296789, 12, 34, 56, 789},
                             {61001, 0, 1, 1, 1}};
  for (const MsCase& c : ms_cases) {
    const BTime t(c.ms);
    EXPECT_TRUE(t.IsValid()) << c.ms;
    EXPECT_EQ(c.hour, t.GetHour()) << c.ms;
    EXPECT_EQ(c.minute, t.GetMinute()) << c.ms;
    EXPECT_EQ(c.second, t.GetSecond()) << c.ms;
    EXPECT_EQ(c.millisecond, t.GetMillisecond()) << c.ms;
  }
  EXPECT_FALSE(BTime(86400000u).IsValid());
  EXPECT_EQ(BTime(12, 34, 56), BTime(45296000u));
  EXPECT_NE(BTime(12, 34, 56), BTime(45296789u));
  EXPECT_EQ(0, BTime(12, 34, 56).GetMillisecond());
}

// operator<< writes HH:MM:SS and adds .mmm only for a non-zero millisecond.
TEST(BTime, WriteToStream) {
  std::ostringstream out;
  out << BTime(9, 5, 3) << ' ' << BTime(45296789u) << ' ' << BTime(5u) << ' ' << BTime(1000u);
  EXPECT_EQ("09:05:03 12:34:56.789 00:00:00.005 00:00:01", out.str());
}

// A date-time holds both parts and is valid only when both are.
TEST(BDateTime, Parts) {
  EXPECT_FALSE(BDateTime().IsValid());
  BDateTime dt(BDate(2009, 3, 7), BTime(12, 0, 0));
  EXPECT_TRUE(dt.IsValid());
  EXPECT_EQ(BDate(2009, 3, 7), dt.GetDate());
  EXPECT_EQ(BTime(12, 0, 0), dt.GetTime());
  BDateTime other = dt;
  other.SetTime(BTime(25, 0, 0));
  EXPECT_FALSE(other.IsValid());
  EXPECT_NE(dt, other);
  other.SetTime(BTime(12, 0, 0));
  EXPECT_EQ(dt, other);
  other.SetDate(BDate(2009, 13, 1));
  EXPECT_FALSE(other.IsValid());
}

// The bias follows TZ and counts minutes westwards (zones east of Greenwich are
// negative, half-hour zones included).
TEST(BDateTime, TimeZoneBiasFollowsTz) {
  const char* old = std::getenv("TZ");
  const std::string saved = old != nullptr ? old : "";
  struct Case {
    const char* tz;
    long bias;
  };
  const Case cases[] = {
      {"UTC", 0}, {"UTC-1", -60}, {"EST5", 300}, {"IST-5:30", -330}, {"NST3:30", 210}};
  for (const Case& c : cases) {
    setenv("TZ", c.tz, 1);
    tzset();
    long bias = 12345;
    EXPECT_TRUE(BDateTime::GetTimeZoneBias(bias)) << c.tz;
    EXPECT_EQ(c.bias, bias) << c.tz;
  }
  if (old != nullptr) {
    setenv("TZ", saved.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

// ---------------------------------------------------------------------------------
// Base64Coder

std::string Encode(const std::string& bytes) {
  ACE_CString out("stale contents");
  Base64Coder().Encode(out, reinterpret_cast<const unsigned char*>(bytes.data()),
                       static_cast<unsigned int>(bytes.size()));
  return std::string(out.c_str(), out.length());
}

// Decodes from a heap copy of exactly text's length, so a read past it shows under
// AddressSanitizer.
std::string Decode(const std::string& text) {
  std::unique_ptr<char[]> copy(new char[text.size() + 1]);
  std::memcpy(copy.get(), text.data(), text.size());
  unsigned int count = 999;
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> bytes =
      Base64Coder().Decode(copy.get(), static_cast<unsigned int>(text.size()), count);
  EXPECT_NE(nullptr, bytes.get());
  return std::string(bytes.get(), count);
}

// The RFC 4648 vectors, and the two last alphabet characters, both ways.
TEST(Base64Coder, KnownVectors) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {std::string("\0\0\0", 3), "AAAA"},
      {"\xfb\xff", "+/8="},
      {"\xff\xff\xff", "////"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.second, Encode(c.first)) << c.second;
    EXPECT_EQ(c.first, Decode(c.second)) << c.second;
  }
}

// Every byte value, at every length up to 256, round-trips padded and unpadded.
TEST(Base64Coder, AllBytesRoundTrip) {
  std::string bytes(256, '\0');
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<char>(255 - i);
  for (std::size_t n = 0; n <= bytes.size(); ++n) {
    const std::string data = bytes.substr(0, n);
    const std::string text = Encode(data);
    ASSERT_EQ((n + 2) / 3 * 4, text.size()) << n;
    EXPECT_EQ(data, Decode(text)) << n;
    EXPECT_EQ(data, Decode(text.substr(0, text.find('=')))) << n;
  }
}

// Decoding skips white space and foreign bytes, stops at '=' and drops a lone sextet.
TEST(Base64Coder, DecodeTolerance) {
  const std::pair<std::string, std::string> cases[] = {
      {"Zm9v\r\nYmFy", "foobar"},
      {" Z m 9 v\tY g = = ", "foob"},
      {"Zm9v!*\xff\x80YmFy", "foobar"},
      {"Zg==Zm9v", "f"},
      {"Zm9v=YmFy", "foo"},
      {"Zm9vY", "foo"},
      {"Z", ""},
      {"=Zm9v", ""},
      {"\r\n", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(c.second, Decode(c.first)) << c.first;
}

// Decode reads only length bytes, and a null text of length 0 gives an empty,
// non-null buffer.
TEST(Base64Coder, DecodeLengthAndNullText) {
  unsigned int count = 999;
  Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> bytes =
      Base64Coder().Decode("Zm9vYmFy", 4, count);
  EXPECT_EQ("foo", std::string(bytes.get(), count));
  count = 999;
  bytes = Base64Coder().Decode(nullptr, 0, count);
  EXPECT_NE(nullptr, bytes.get());
  EXPECT_EQ(0u, count);
}

}  // namespace
