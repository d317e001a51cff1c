// tests/xmlexception_test.cpp: the exception family's messages and copies, and the
// parser runtime's start and stop (Xml::initialize, Xml::finalize).
#include "xml/xmlexception.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <xercesc/util/PlatformUtils.hpp>

#include "support/throws.h"
#include "xml/xml.h"

namespace {

using XmlException::ParserError;
using XmlException::SystemError;
using XmlException::ValidatorMissingException;
using XmlException::XmlExceptionBase;

// The constructors and copies the three classes share.
template <class T>
void checkSharedConstructorsAndCopies() {
  EXPECT_STREQ("plain text\n", T(ACE_CString("plain text\n")).what());
  EXPECT_STREQ("", T(ACE_CString("")).what());
  // Windows-1252, "?" for what it lacks: U+0081 (undefined there), U+4E2D, a pair.
  EXPECT_STREQ("caf\xE9 \x80\x9F ??? !",
               T(u"caf\u00E9 \u20AC\u0178 \u0081\u4E2D\U0001F600 !").what());
  EXPECT_STREQ("", T(static_cast<const XMLCh*>(nullptr)).what());
  EXPECT_EQ(std::string(513, '\xE9'), T(std::u16string(513, u'\u00E9').c_str()).what());

  auto source = std::make_unique<T>(ACE_CString("first"));
  const T copy(*source);
  T assigned(ACE_CString("old"));
  assigned = *source;
  source.reset();
  EXPECT_STREQ("first", copy.what());
  EXPECT_STREQ("first", assigned.what());

  EXPECT_THROW_WHAT(throw T(ACE_CString("caught as base")), XmlExceptionBase, "caught as base");
  EXPECT_THROW_WHAT(throw T(u"caught as std"), std::exception, "caught as std");
}

// Message constructors of every class, copies outliving their source, catching as bases.
TEST(ParserError, SharedConstructorsAndCopies) { checkSharedConstructorsAndCopies<ParserError>(); }
TEST(SystemError, SharedConstructorsAndCopies) { checkSharedConstructorsAndCopies<SystemError>(); }
TEST(ValidatorMissingException, SharedConstructorsAndCopies) {
  checkSharedConstructorsAndCopies<ValidatorMissingException>();
}

// Moving copies the message.
TEST(ValidatorMissingException, MoveKeepsTheMessage) {
  ValidatorMissingException source(ACE_CString("no validator"));
  const ValidatorMissingException moved(std::move(source));
  ValidatorMissingException assigned(ACE_CString("old"));
  assigned = ValidatorMissingException(u"no schema");
  EXPECT_STREQ("no validator", moved.what());
  EXPECT_STREQ("no schema", assigned.what());
}

// The position constructor: system id, line, column and message, converted to Windows-1252.
TEST(ParserError, PositionMessage) {
  EXPECT_STREQ(
      "\nError at file file:///a.xml, line 3, char 14\n  Message: Expected end of tag 'b'\n",
      ParserError(u"file:///a.xml", 3, 14, u"Expected end of tag 'b'").what());
  EXPECT_STREQ("\nError at file , line 0, char 0\n  Message: \n",
               ParserError(nullptr, 0, 0, nullptr).what());
  EXPECT_EQ("\nError at file d\xE9j\xE0.xml, line " + std::to_string(ULONG_MAX) +
                ", char 1\n  Message: \x80 ?\n",
            std::string(ParserError(u"d\u00E9j\u00E0.xml", ULONG_MAX, 1, u"\u20AC \u4E2D").what()));
}

// The operation constructor takes errno at construction and renders it with its system text.
TEST(SystemError, OperationMessageFromErrno) {
  const struct { int error; const char *operation, *subject, *expected; } cases[] = {
      {ENOENT, "open", "a.xml", "open: a.xml failed: No such file or directory.\n"},
      {EACCES, "stat", "", "stat:  failed: Permission denied.\n"},
      {0, "", "x", ": x failed: Success.\n"},
      {12345, "read", "b c", "read: b c failed: Unknown error 12345.\n"},
  };
  for (const auto& c : cases) {
    errno = c.error;
    const SystemError error{ACE_CString(c.operation), ACE_CString(c.subject)};
    errno = EINTR;
    EXPECT_STREQ(c.expected, error.what()) << c.error;
  }
}

bool runtimeRunning() { return xercesc::XMLPlatformUtils::fgMemoryManager != nullptr; }

// In a child: load and two initializes start once, so one finalize stops it for good.
TEST(XmlDeathTest, InitializeOnceFinalizeForGood) {
  ASSERT_TRUE(runtimeRunning());
  EXPECT_EXIT(
      {
        Xml::initialize();
        Xml::initialize();
        Xml::finalize();
        const bool stopped = !runtimeRunning();
        Xml::initialize();
        std::fprintf(stderr, "stopped: %d, restarted: %d\n", stopped, runtimeRunning());
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "stopped: 1, restarted: 0");
}

}  // namespace
