// xml/xmlexception.h: the library's exception family (namespace XmlException).
//
// Every failure a caller must handle outside the element tree is one of these:
// ParserError (a document that does not parse, a text that does not convert),
// SystemError (an entity the directory lacks, a failing system call) and
// ValidatorMissingException (the document layer has no schema validator). Each carries
// one narrow message, returned by what() and owned by the exception; copies keep their
// own message. Catch them as XmlException::XmlExceptionBase or std::exception.
#ifndef CORVANE_XML_XMLEXCEPTION_H
#define CORVANE_XML_XMLEXCEPTION_H

#include <exception>

#include <ace/SString.h>
#include <xercesc/util/XercesDefs.hpp>

#include "xml/export.h"

namespace XmlException {

// The base of the family; what() is the concrete class's message.
class CORVANE_XML_API XmlExceptionBase : public std::exception {
 public:
  XmlExceptionBase() noexcept = default;
  // Copies only the std::exception part.
  XmlExceptionBase(const XmlExceptionBase& other) noexcept : std::exception(other) {}
  XmlExceptionBase& operator=(const XmlExceptionBase& other) noexcept {
    std::exception::operator=(other);
    return *this;
  }
  ~XmlExceptionBase() override;
  const char* what() const noexcept override = 0;
};

// A document that did not parse, or a text that did not convert.
class CORVANE_XML_API ParserError : public XmlExceptionBase {
 public:
  // The message is a copy of message.
  explicit ParserError(const ACE_CString& message);
  // The message is the zero-terminated UTF-16 text in the system code page
  // (Windows-1252); null gives "".
  explicit ParserError(const XMLCh* message);
  // "\nError at file <systemId>, line <line>, char <column>\n  Message: <message>\n".
  ParserError(const XMLCh* systemId, unsigned long line, unsigned long column,
              const XMLCh* message);
  ParserError(const ParserError& other);
  ParserError& operator=(const ParserError& other);
  ~ParserError() override;
  const char* what() const noexcept override;

 private:
  ACE_CString message_;
};

// A failing system call or a missing external entity.
class CORVANE_XML_API SystemError : public XmlExceptionBase {
 public:
  explicit SystemError(const ACE_CString& message);
  explicit SystemError(const XMLCh* message);
  // "<operation>: <subject> failed: <strerror(errno)>.\n", with errno as it is now:
  //   SystemError("open", "a.xml") -> "open: a.xml failed: No such file or directory.\n"
  SystemError(const ACE_CString& operation, const ACE_CString& subject);
  SystemError(const SystemError& other);
  SystemError& operator=(const SystemError& other);
  ~SystemError() override;
  const char* what() const noexcept override;

 private:
  ACE_CString message_;
};

// The document layer has no schema validator to validate with.
class CORVANE_XML_API ValidatorMissingException : public XmlExceptionBase {
 public:
  explicit ValidatorMissingException(const ACE_CString& message);
  explicit ValidatorMissingException(const XMLCh* message);
  ValidatorMissingException(const ValidatorMissingException& other);
  ValidatorMissingException(ValidatorMissingException&& other);
  ValidatorMissingException& operator=(const ValidatorMissingException& other);
  ValidatorMissingException& operator=(ValidatorMissingException&& other);
  ~ValidatorMissingException() override;
  const char* what() const noexcept override;

 private:
  ACE_CString message_;
};

}  // namespace XmlException

#endif  // CORVANE_XML_XMLEXCEPTION_H
