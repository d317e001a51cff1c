// xml/xmlexception.cpp: the exception family and the parser runtime's start and stop.
#include "xml/xmlexception.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include "xml/detail/charsets.h"
#include "xml/xml.h"

namespace XmlException {

namespace {

ACE_CString fromWide(const XMLCh* text) {
  ACE_CString out;
  if (text != nullptr) corvane_xml_detail::wideToAnsi(text, out);
  return out;
}

}  // namespace

XmlExceptionBase::~XmlExceptionBase() = default;

ParserError::ParserError(const ACE_CString& message) : message_(message) {}
ParserError::ParserError(const XMLCh* message) : message_(fromWide(message)) {}

ParserError::ParserError(const XMLCh* systemId, unsigned long line, unsigned long column,
                         const XMLCh* message) {
  std::ostringstream text;
  const ACE_CString id = fromWide(systemId);
  const ACE_CString what = fromWide(message);
  text << "\nError at file " << id.c_str() << ", line " << line << ", char " << column
       << "\n  Message: " << what.c_str() << "\n";
  const std::string s = text.str();
  message_.set(s.data(), s.size(), true);
}

ParserError::ParserError(const ParserError& other) : XmlExceptionBase(other), message_(other.message_) {}
ParserError& ParserError::operator=(const ParserError& other) {
  XmlExceptionBase::operator=(other);
  message_ = other.message_;
  return *this;
}
ParserError::~ParserError() = default;
const char* ParserError::what() const noexcept { return message_.c_str(); }

SystemError::SystemError(const ACE_CString& message) : message_(message) {}
SystemError::SystemError(const XMLCh* message) : message_(fromWide(message)) {}

SystemError::SystemError(const ACE_CString& operation, const ACE_CString& subject) {
  const int error = errno;
  message_ = operation;
  message_ += ": ";
  message_ += subject;
  message_ += " failed: ";
  message_ += std::strerror(error);
  message_ += ".\n";
}

SystemError::SystemError(const SystemError& other) : XmlExceptionBase(other), message_(other.message_) {}
SystemError& SystemError::operator=(const SystemError& other) {
  XmlExceptionBase::operator=(other);
  message_ = other.message_;
  return *this;
}
SystemError::~SystemError() = default;
const char* SystemError::what() const noexcept { return message_.c_str(); }

ValidatorMissingException::ValidatorMissingException(const ACE_CString& message) : message_(message) {}
ValidatorMissingException::ValidatorMissingException(const XMLCh* message) : message_(fromWide(message)) {}
ValidatorMissingException::ValidatorMissingException(const ValidatorMissingException& other)
    : XmlExceptionBase(other), message_(other.message_) {}
// Moves copy: ACE strings have no move.
ValidatorMissingException::ValidatorMissingException(ValidatorMissingException&& other)
    : XmlExceptionBase(other), message_(other.message_) {}
ValidatorMissingException& ValidatorMissingException::operator=(const ValidatorMissingException& other) {
  XmlExceptionBase::operator=(other);
  message_ = other.message_;
  return *this;
}
ValidatorMissingException& ValidatorMissingException::operator=(ValidatorMissingException&& other) {
  return *this = static_cast<const ValidatorMissingException&>(other);
}
ValidatorMissingException::~ValidatorMissingException() = default;
const char* ValidatorMissingException::what() const noexcept { return message_.c_str(); }

}  // namespace XmlException

// ---------------------------------------------------------------------------------
// Start and stop of the parser runtime.

namespace {

// Process-wide, set without locks: load and unload run before and after any other use
// of the library in the process.
bool gInitialized = false;
bool gFinalized = false;

}  // namespace

void Xml::initialize() {
  if (gInitialized) return;
  try {
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr,
                                          nullptr, nullptr);  // default memory manager
  } catch (const xercesc::XMLException& e) {
    char* message = xercesc::XMLString::transcode(e.getMessage());
    std::cerr << "Error during initialization! :\n" << (message != nullptr ? message : "") << std::endl;
    xercesc::XMLString::release(&message);
  }
  gInitialized = true;
}

void Xml::finalize() {
  if (gFinalized) return;
  xercesc::XMLPlatformUtils::Terminate();
  gFinalized = true;
}

namespace {

// The library starts the runtime when it is loaded and stops it when it is unloaded.
__attribute__((constructor)) void loadLibrary() { Xml::initialize(); }
__attribute__((destructor)) void unloadLibrary() {
  try {
    Xml::finalize();
  } catch (...) {
  }
}

}  // namespace
