// tests/common/common_test.cpp: the common layer: auto_ptr, the stream classes,
// BDate, BTime, BDateTime and Base64Coder.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "xml/common/common.h"

namespace {

int g_destroyed = 0;

struct Counted {
  ~Counted() { ++g_destroyed; }
};

// Copy, move and assignment hand the pointer over and empty the source; assignment and
// reset free the old object unless given it again; release frees nothing; ArrayDelete
// destroys every element and BasicDelete<char> frees new[] buffers (checked by ASan).
TEST(AutoPtr, OwnershipAndDeletePolicies) {
  g_destroyed = 0;
  {
    Counted* raw = new Counted;
    Corvane::auto_ptr<Counted> a(raw), b(a), c, d(new Counted);
    c = b;
    d = c;
    d = static_cast<Corvane::auto_ptr<Counted>&>(d);
    d.reset(raw);
    Corvane::auto_ptr<Counted> e(std::move(d));
    EXPECT_TRUE(!a.get() && !b.get() && !c.get() && !d.get() && &*e == raw && g_destroyed == 1);
    delete e.release();
    e.reset(new Counted);
  }
  EXPECT_EQ(3, g_destroyed);
  Corvane::auto_ptr<Counted, Corvane::ArrayDelete<Counted>>(new Counted[5]).reset(new Counted[3]);
  EXPECT_EQ(11, g_destroyed);
  Corvane::auto_ptr<char>(new char[64]).reset(new char[8]);
}

struct StringSink : OutputStream {
  unsigned int WriteBytes(const void* data, unsigned int count) override {
    text.append(static_cast<const char*>(data), count);
    return count;
  }
  std::string text;
};

// A sink overriding only WriteBytes works through the base; InputMemStream reads in
// chunks with the position following and keeps zero bytes.
TEST(Streams, UserSinkAndMemoryInput) {
  StringSink sink;
  OutputStream& out = sink;
  EXPECT_TRUE(out.WriteBytes("a\0b", 3) == 3 && out.Flush() && sink.text == std::string("a\0b", 3));
  InputMemStream in("hello world");
  char buffer[8];
  std::string got;
  for (unsigned int want : {4u, 4u, 3u, 0u, 0u}) {
    EXPECT_EQ(want, in.ReadBytes(buffer, 4));
    EXPECT_EQ(got.append(buffer, want).size(), in.CurPos());
  }
  EXPECT_EQ("hello world", got);
  EXPECT_EQ(std::string("a\0b\0", 4),
            std::string(buffer, InputMemStream("a\0b\0c", 4).ReadBytes(buffer, sizeof buffer)));
}

// Pieces that fill, overflow and bypass the 64 KiB buffer, then small ones of every size
// up to 17, arrive in order in memory, through a path and through a descriptor, which the
// stream flushes on destruction and leaves open; unopenable paths and bad descriptors
// fail quietly.
TEST(OutputStreams, PiecesArriveInOrderOrFailQuietly) {
  std::string data(230000, '\0');
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 131 + i / 251);
  const std::size_t sizes[] = {1, 65535, 13, 2, 70000, 65536};
  char path[] = "/tmp/common_test.XXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  char buffer[4096];
  OutputMemStream mem;
  for (const bool viaFd : {false, true}) {
    OutputFileStream* out = viaFd ? new OutputFileStream(fd) : new OutputFileStream(path);
    for (std::size_t pos = 0, i = 0, n; pos < data.size(); pos += n, ++i) {
      n = std::min(i < 6 ? sizes[i] : i % 18, data.size() - pos);
      viaFd ? out->append(&data[pos], n) : void(out->WriteBytes(&data[pos], n));
      mem.WriteBytes(&data[pos], n);
    }
    delete out;
    EXPECT_EQ(viaFd ? 4 : 0, viaFd ? ::write(fd, "tail", 4) : 0);
    InputFileStream in(path);
    std::string got;
    while (const unsigned int n = in.ReadBytes(buffer, sizeof buffer)) got.append(buffer, n);
    EXPECT_TRUE(got == (viaFd ? data + "tail" : data)) << viaFd << " " << got.size();
    EXPECT_TRUE(in.Size() == got.size() && in.CurPos() == got.size()) << in.Size();
  }
  EXPECT_TRUE(mem.str() == data + data) << mem.size();
  EXPECT_TRUE(::close(fd) == 0 && unlink(path) == 0);
  // An unopenable path and a closed descriptor give streams that fail quietly.
  errno = 0;
  OutputFileStream out("/nonexistent-dir/file");
  EXPECT_EQ(ENOENT, errno);
  out.WriteBytes("abc", 3);
  out.WriteBytes(std::string(70000, 'x').data(), 70000);
  EXPECT_TRUE(!out.Flush() && !out.IsOpen() && out.Failed());
  EXPECT_EQ(0u, InputFileStream("/nonexistent-dir/file").ReadBytes(buffer, sizeof buffer));
  const int bad = ::open("/dev/null", O_WRONLY);
  ASSERT_EQ(0, ::close(bad));
  OutputFileStream closed(bad);
  closed.WriteBytes("abc", 3);
  EXPECT_TRUE(!closed.Flush() && closed.Failed());
}

// Validity follows the calendar (leap years, days per month) for years 1 to 9999 and
// fields too large to store give the default date; operator>> reads YYYY-MM-DD or
// YYYYMMDD after white space and fails with an invalid date on anything else;
// operator<< writes YYYY-MM-DD.
TEST(BDate, ValidityAndStreams) {
  const std::tuple<unsigned int, unsigned int, unsigned int, bool> cases[] = {
      {2009, 0, 1, false},  {2009, 13, 1, false}, {2000, 2, 29, true},   {2024, 2, 29, true},
      {1900, 2, 29, false}, {2023, 2, 29, false}, {2023, 2, 28, true},   {2009, 4, 31, false},
      {2009, 4, 30, true},  {2009, 12, 31, true}, {2009, 1, 32, false},  {2009, 1, 0, false},
      {1, 1, 1, true},      {9999, 12, 31, true}, {0, 1, 1, false},      {10000, 1, 1, false}};
  for (const auto& [y, m, d, valid] : cases)
    EXPECT_EQ(valid, BDate(y, m, d).IsValid()) << y << "-" << m << "-" << d;
  EXPECT_TRUE(!BDate().IsValid() && BDate(65536, 1, 1) == BDate());
  const std::pair<const char*, unsigned int> texts[] = {  // 0: the read fails
      {"2009-03-07", 0x07D90307u}, {"20090307", 0x07D90307u}, {" \t\n2009-03-07", 0x07D90307u},
      {"2024-02-29", 0x07E8021Du}, {"2009-02-30", 0}, {"20091301", 0}, {"2009-3-7", 0},
      {"2009/03/07", 0}, {"2009-03-07x", 0}, {"2009-0a-07", 0}, {"+009-03-07", 0},
      {"garbage", 0}, {"", 0}, {"0000-01-01", 0}};
  for (const auto& [text, value] : texts) {
    std::istringstream in(text);
    BDate d(1999, 1, 1);
    in >> d;
    EXPECT_TRUE(in.fail() == (value == 0) && (d.IsValid() ? d.GetValue() : 0u) == value) << text;
  }
  std::ostringstream out;
  out << BDate(2009, 3, 7) << ' ' << BDate(33, 1, 2);
  EXPECT_EQ("2009-03-07 0033-01-02", out.str());
}

// BTime validity by fields and from milliseconds, HH:MM:SS[.mmm] output; the zone bias
// follows TZ and counts minutes westwards, half-hour zones included.
TEST(BDateTime, TimeValidityOutputAndZoneBias) {
  const std::tuple<int, int, int, bool> cases[] = {
      {24, 0, 0, false},  {23, 59, 59, true}, {0, 0, 0, true},    {-1, 0, 0, false},
      {12, 60, 0, false}, {12, 0, 60, false}, {12, -1, 0, false}, {12, 0, -1, false}};
  for (const auto& [h, m, s, valid] : cases)
    EXPECT_EQ(valid, BTime(h, m, s).IsValid()) << h << ":" << m << ":" << s;
  EXPECT_FALSE(BTime().IsValid() || BTime(86400000u).IsValid());
  std::ostringstream out;
  out << BTime(9, 5, 3) << ' ' << BTime(45296789u) << ' ' << BTime(5u) << ' ' << BTime(86399999u);
  EXPECT_EQ("09:05:03 12:34:56.789 00:00:00.005 23:59:59.999", out.str());
  const std::string saved = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
  const std::pair<const char*, long> zones[] = {
      {"UTC", 0}, {"UTC-1", -60}, {"EST5", 300}, {"IST-5:30", -330}, {"NST3:30", 210}};
  for (const auto& [tz, expected] : zones) {
    setenv("TZ", tz, 1);
    tzset();
    long bias = 12345;
    EXPECT_TRUE(BDateTime::GetTimeZoneBias(bias) && bias == expected) << tz << " " << bias;
  }
  saved.empty() ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
  tzset();
}

std::string Encode(const std::string& bytes) {
  ACE_CString out("stale contents");
  Base64Coder().Encode(out, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  return std::string(out.c_str(), out.length());
}

// Decodes the first length bytes of a heap copy of exactly the text, so that a read past
// them shows under AddressSanitizer.
std::string Decode(const std::string& text, std::size_t length = std::string::npos) {
  const Corvane::auto_ptr<char, Corvane::ArrayDelete<char>> copy(new char[text.size()]);
  std::copy(text.begin(), text.end(), copy.get());
  unsigned int count = 999;
  const auto bytes = Base64Coder().Decode(copy.get(), std::min(length, text.size()), count);
  return bytes.get() == nullptr ? "<null>" : std::string(bytes.get(), count);
}

// RFC 4648 vectors and the last two alphabet characters both ways ('=': text only
// decodes); decoding skips white space and foreign bytes, stops at '=', drops a lone
// sextet and reads only length bytes; a null text of length 0 gives a non-null buffer.
TEST(Base64Coder, VectorsDecodeRulesAndRoundTrip) {
  const std::tuple<std::string, std::string, char> cases[] = {
      {"", "", '='}, {"f", "Zg==", '='}, {"fo", "Zm8=", '='}, {"foo", "Zm9v", '='},
      {"foob", "Zm9vYg==", '='}, {"fooba", "Zm9vYmE=", '='}, {"foobar", "Zm9vYmFy", '='},
      {std::string(3, '\0'), "AAAA", '='}, {"\xfb\xff", "+/8=", '='}, {"\xff\xff\xff", "////", '='},
      {"foobar", "Zm9v\r\nYmFy", 0}, {"foob", " Z m 9 v\tY g = = ", 0}, {"f", "Zg==Zm9v", 0},
      {"foobar", "Zm9v!*\xff\x80YmFy", 0}, {"foo", "Zm9v=YmFy", 0}, {"foo", "Zm9vY", 0},
      {"", "Z", 0}, {"", "=Zm9v", 0}, {"", "\r\n", 0}};
  for (const auto& [bytes, text, both] : cases) {
    EXPECT_EQ(text, both ? Encode(bytes) : text) << text;
    EXPECT_EQ(bytes, Decode(text)) << text;
  }
  EXPECT_EQ("foo", Decode("Zm9vYmFy", 4));
  unsigned int count = 999;
  EXPECT_TRUE(Base64Coder().Decode(nullptr, 0, count).get() != nullptr && count == 0);
  // Every byte value, at every length up to 256, round-trips padded and unpadded.
  std::string all(256, '\0');
  for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(255 - i);
  for (std::size_t n = 0; n <= all.size(); ++n) {
    const std::string text = Encode(all.substr(0, n));
    ASSERT_EQ((n + 2) / 3 * 4, text.size()) << n;
    EXPECT_EQ(all.substr(0, n), Decode(text)) << n;
    EXPECT_EQ(all.substr(0, n), Decode(text.substr(0, text.find('=')))) << n;
  }
}

}  // namespace
