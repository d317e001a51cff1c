// Tests of the XML date-time text: LocalTimeToXMLDateTime and Xml's date and time readers.
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "xml/xml.h"
#include "xml/xmlstringconversion.h"

namespace {

// Sets TZ for the life of the object.
class ZoneScope {
 public:
  explicit ZoneScope(const char* tz) {
    const char* old = std::getenv("TZ");
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv("TZ", tz, 1);
    tzset();
  }
  ~ZoneScope() {
    if (had_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  bool had_;
  std::string old_;
};

const BDateTime kWhen(BDate(2009, 3, 7), BTime(14, 5, 9));

std::string text(const BDateTime& when, bool zone) {
  return LocalTimeToXMLDateTime(when, zone).c_str();
}

TEST(LocalTimeToXMLDateTime, WritesTheZoneOffsetForEveryBias) {
  struct Case {
    const char* tz;  // POSIX TZ: the offset is west of Greenwich, like the bias
    const char* suffix;
  };
  for (const Case& c : {Case{"UTC0", "+00:00"}, Case{"CET-1", "+01:00"}, Case{"IST-5:30", "+05:30"},
                        Case{"EST5", "-05:00"}, Case{"NST3:30", "-03:30"}, Case{"XXX0:30", "-00:30"},
                        Case{"YYY-0:45", "+00:45"}, Case{"ZZZ-13", "+13:00"}}) {
    ZoneScope zone(c.tz);
    EXPECT_EQ(std::string("2009-03-07T14:05:09") + c.suffix, text(kWhen, true)) << c.tz;
    EXPECT_EQ("2009-03-07T14:05:09", text(kWhen, false)) << c.tz;
  }
}

TEST(LocalTimeToXMLDateTime, InvalidPartsAndPadding) {
  // An invalid date gives nothing, even with a valid time; an invalid time is midnight.
  EXPECT_EQ("", text(BDateTime(BDate(2009, 13, 1), BTime(14, 5, 9)), true));
  EXPECT_EQ("", text(BDateTime(), false));
  EXPECT_EQ("2009-03-07T00:00:00", text(BDateTime(BDate(2009, 3, 7), BTime(25, 0, 0)), false));
  EXPECT_EQ("0042-01-02T03:04:05", text(BDateTime(BDate(42, 1, 2), BTime(3, 4, 5)), false));
}

BDateTime readDateTime(const char16_t* s) {
  BDateTime when(BDate(1999, 1, 1), BTime(1, 1, 1));  // overwritten
  Xml::GetDateTime(s, when);
  return when;
}

TEST(XmlGetDateTime, ReadsBothPatternsAndFractions) {
  const BDateTime expected(BDate(2009, 3, 7), BTime(14, 5, 9));
  EXPECT_EQ(expected, readDateTime(u"03/07/2009 14:05:09"));
  EXPECT_EQ(expected, readDateTime(u"20090307 140509"));
  EXPECT_EQ(expected, readDateTime(u"03/07/2009 140509"));
  EXPECT_EQ(expected, readDateTime(u"20090307 14:05:09"));
  // Milliseconds are the digits after the point, unscaled.
  EXPECT_EQ(BTime(14 * 3600000u + 5 * 60000u + 9250u), readDateTime(u"03/07/2009 14:05:09.250").GetTime());
  EXPECT_EQ(BTime(14 * 3600000u + 5 * 60000u + 9005u), readDateTime(u"20090307 140509.5").GetTime());
  // Fields add up as milliseconds since midnight.
  EXPECT_EQ(BTime(11, 15, 0), readDateTime(u"20090307 10:75:00").GetTime());
}

TEST(XmlGetDateTime, TextWithoutSpaceTakesTheTimeFromItsStart) {
  const BDateTime when = readDateTime(u"20090307");
  EXPECT_EQ(BDate(2009, 3, 7), when.GetDate());
  EXPECT_EQ(BTime(20, 9, 3), when.GetTime());  // HHMMSS out of "200903"
}

TEST(XmlGetDateTime, ShortOrBrokenTextsGiveInvalidParts) {
  for (const char16_t* s : {u"", u"2009030", u"03/07/200", u"0", u"03/"}) {
    BDate date(2000, 1, 1);
    Xml::GetDate(s, date);
    EXPECT_FALSE(date.IsValid());
  }
  for (const char16_t* s : {u"", u"14050", u"x 14:05:0", u"1405", u"20090307 14:05:09"}) {
    BTime time(1, 2, 3);
    Xml::GetTime(s, time);
    if (std::u16string(s) == u"20090307 14:05:09") {
      EXPECT_TRUE(time.IsValid());
    } else {
      EXPECT_FALSE(time.IsValid()) << std::string(s, s + std::char_traits<char16_t>::length(s));
    }
  }
  BDateTime when(BDate(2000, 1, 1), BTime(1, 2, 3));
  Xml::GetDateTime(nullptr, when);
  EXPECT_FALSE(when.GetDate().IsValid());
  EXPECT_FALSE(when.GetTime().IsValid());
  // Not numbers, a month 13, a 25th hour, a point in the date with no fraction place.
  EXPECT_FALSE(readDateTime(u"2009xx07 140509").GetDate().IsValid());
  EXPECT_FALSE(readDateTime(u"20091307 140509").GetDate().IsValid());
  EXPECT_FALSE(readDateTime(u"20090307 250000").GetTime().IsValid());
  EXPECT_FALSE(readDateTime(u"2009.307 140509").GetTime().IsValid());
  // What the writer writes is not a form the readers take.
  EXPECT_NE(BDateTime(BDate(2009, 3, 7), BTime(14, 5, 9)), readDateTime(u"2009-03-07T14:05:09"));
}

}  // namespace
