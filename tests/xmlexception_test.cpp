// tests/xmlexception_test.cpp: the exception family's messages and copies, and the
// parser runtime's start and stop (Xml::initialize, Xml::finalize).
#include "xml/xmlexception.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <xercesc/util/PlatformUtils.hpp>

#include "support/throws.h"
#include "xml/xml.h"

namespace {

using namespace XmlException;

// For each class: UTF-16 messages in Windows-1252, copies and moves outliving the source, bases.
template <class T>
void checkShared() {
  EXPECT_STREQ("caf\xE9 \x80\x9F ??? !",
               T(u"caf\u00E9 \u20AC\u0178 \u0081\u4E2D\U0001F600 !").what());
  EXPECT_STREQ("", T(static_cast<const XMLCh*>(nullptr)).what());
  EXPECT_EQ(std::string(513, '\xE9'), T(std::u16string(513, u'\u00E9').c_str()).what());
  auto source = std::make_unique<T>(ACE_CString("first\n"));
  T copy(*source), assigned(ACE_CString("old")), moveAssigned(u"old");
  assigned = *source;
  moveAssigned = T(u"moved");
  const T moved(std::move(*source));
  source.reset();
  EXPECT_EQ("first\n first\n first\n moved", std::string(copy.what()) + " " + assigned.what() +
                                                 " " + moved.what() + " " + moveAssigned.what());
  EXPECT_THROW_WHAT(throw T(ACE_CString("as base")), XmlExceptionBase, "as base");
  EXPECT_THROW_WHAT(throw T(u"as std"), std::exception, "as std");
}

// Messages and copies; the position message, converted to Windows-1252, null parts empty.
TEST(ParserError, MessagesCopiesAndPosition) {
  checkShared<ParserError>();
  EXPECT_STREQ("\nError at file d\xE9j\xE0.xml, line 3, char 14\n  Message: End \x80 ?\n",
               ParserError(u"d\u00E9j\u00E0.xml", 3, 14, u"End \u20AC \u4E2D").what());
  EXPECT_EQ("\nError at file , line " + std::to_string(ULONG_MAX) + ", char 0\n  Message: \n",
            std::string(ParserError(nullptr, ULONG_MAX, 0, nullptr).what()));
}

// Messages and copies; the operation message renders errno as it was at construction.
TEST(SystemError, MessagesCopiesAndErrno) {
  checkShared<SystemError>();
  errno = ENOENT;
  const SystemError missing{ACE_CString("open"), ACE_CString("a.xml")};
  errno = 12345;
  const SystemError unknown{ACE_CString("read"), ACE_CString("")};
  EXPECT_STREQ("open: a.xml failed: No such file or directory.\n", missing.what());
  EXPECT_STREQ("read:  failed: Unknown error 12345.\n", unknown.what());
}

// Message constructors, copies and moves, catching as bases.
TEST(ValidatorMissingException, MessagesAndCopies) { checkShared<ValidatorMissingException>(); }

// In a child: load and a second initialize start once, so one finalize stops it for good.
TEST(XmlDeathTest, InitializeOnceFinalizeForGood) {
  const auto running = [] { return xercesc::XMLPlatformUtils::fgMemoryManager != nullptr; };
  ASSERT_TRUE(running());
  const auto child = [&] {
    Xml::initialize();
    Xml::finalize();
    if (running()) std::_Exit(1);  // not stopped
    Xml::initialize();
    std::_Exit(running() ? 2 : 0);  // 2: restarted
  };
  EXPECT_EXIT(child(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
