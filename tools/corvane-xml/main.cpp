// tools/corvane-xml/main.cpp: corvane-xml, a command-line window onto the documents the
// library reads and writes. See usage() below, or run `corvane-xml --help`.
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "commands.h"
#include "common.h"
#include "xml/corvane_xml.h"

namespace tool {

namespace {

const char* const kProgram = "corvane-xml";

struct Command {
  int (*run)(const std::vector<std::string>&, bool);
  const char* usage;   // the operands and options
  const char* help;    // what it does
};

const std::map<std::string, Command>& commands() {
  static const std::map<std::string, Command> table = {
      {"tree",
       {runTree, "tree FILE [--order key|weight] [--prefix P] [--dump]",
        "Reads an element tree document and writes it back in its XML form, children in key\n"
        "order (default) or weight order, tags prefixed with P; --dump prints the tree's dump\n"
        "instead.\n"}},
      {"study",
       {runStudy, "study FILE [--types TYPES]",
        "Reads a study document and prints one line per builder call in document order: the\n"
        "call, the tag in hexadecimal, the operation (+ - *) and the values. TYPES maps tags to\n"
        "value types, one 'TAG TYPE' per line (TYPE: string wide long ulong float skip; '#'\n"
        "comments); tags it does not name read as narrow text.\n"}},
      {"records",
       {runRecords, "records FILE",
        "Reads a patient hard-delete tree (an element tree document) and prints its records\n"
        "as an indented outline: patient, orders, exams, studies. Exit status 1 when the\n"
        "patient record is incomplete.\n"}},
      {"validate",
       {runValidate, "validate DOC SCHEMA",
        "Validates DOC against the XML Schema document SCHEMA with the document layer and\n"
        "prints 'valid', or 'invalid' and the validation error. Exit status 1 when DOC is\n"
        "invalid, does not parse, or SCHEMA is not a schema.\n"}},
      {"select",
       {runSelect, "select DOC XPATH",
        "Prints the markup of every node the XPath 1.0 expression selects, one per line.\n"
        "Relative expressions start at the root element; '//name' searches the document.\n"}},
      {"escape",
       {runEscape, "escape",
        "Escapes standard input for XML text and attributes, to standard output. Bytes are\n"
        "narrow (Windows-1252) text; zero bytes are dropped.\n"}},
      {"unescape",
       {runUnescape, "unescape",
        "Undoes the library's escapes (&lt; &gt; &amp; &apos; &quot; &#xA; &#xD;), standard\n"
        "input to standard output; anything else stands as it is.\n"}},
  };
  return table;
}

void usage(std::ostream& out) {
  out << "usage: " << kProgram << " [--verbose] COMMAND [ARGS]\n\nCommands:\n";
  for (const auto& c : commands()) out << "  " << kProgram << " " << c.second.usage << "\n";
  out << "\nFILE may be - for standard input. '" << kProgram
      << " COMMAND --help' describes a command.\n"
         "Exit status: 0 success, 1 invalid document or parse error, 2 usage or file error.\n"
         "--verbose shows the library's own log lines on standard error.\n";
}

void readTree(const std::string& path, QVS::Element& root, bool verbose) {
  std::unique_ptr<InputFileStream> in = openInput(path);
  LogLines logs(verbose);
  try {
    QVS::XmlUtils::streamIn(*in, root, displayName(path).c_str());
  } catch (const XmlException::XmlExceptionBase& e) {
    throw DocumentError(locate(path, logs.lines(), e.what()));
  }
  if (in->Failed()) throw FileError(displayName(path) + ": read error");
}

}  // namespace

int runTree(const std::vector<std::string>& args, bool verbose) {
  Arguments a(args, {"--dump"}, {"--order", "--prefix"});
  a.expectOperands(1);
  const std::string order = a.value("--order", "key");
  if (order != "key" && order != "weight") throw UsageError("--order takes key or weight");
  QVS::Element root;
  readTree(a.operands()[0], root, verbose);
  if (a.has("--dump")) {
    std::cout << "key = " << toUtf8(root.key().c_str(), root.key().length());
    for (const QVS::Attribute& attribute : root.attributes()) {
      std::cout << " <" << toUtf8(attribute.first.c_str(), attribute.first.length()) << ", "
                << toUtf8(attribute.second.c_str(), attribute.second.length()) << ">";
    }
    std::cout << " value = ";
    if (root.hasValue()) {
      std::ostringstream dump;
      root.value().dump(dump, 0);
      std::cout << toUtf8(dump.str());
    }
    std::cout << "\n" << std::flush;
    return kOk;
  }
  OutputFileStream out(stdout);
  QVS::XmlUtils::streamOut(root, out, order == "key" ? QVS::XmlUtils::ByKey : QVS::XmlUtils::ByWeight,
                           a.value("--prefix", "").c_str());
  if (!out.Flush() || out.Failed()) throw FileError("<stdout>: write error");
  return kOk;
}

namespace {

std::string field(const char* name, const ACE_CString& value) {
  return std::string(" ") + name + "=" + toUtf8(value.c_str(), value.length());
}

}  // namespace

int runRecords(const std::vector<std::string>& args, bool verbose) {
  Arguments a(args, {}, {});
  a.expectOperands(1);
  const std::string& path = a.operands()[0];
  QVS::Element root;
  readTree(path, root, verbose);
  XmlPatientHardDeleteInfo patient;
  LogLines logs(verbose);
  const bool complete = patient.readQVS(root);
  std::cout << "Patient" << field("MRN", patient.getPatientMRN())
            << field("FirstName", patient.getPatientFirstName())
            << field("LastName", patient.getPatientLastName())
            << field("DateOfBirth", patient.getPatientDateOfBirth())
            << field("Sex", patient.getPatientSex())
            << field("IsDeleted", patient.getPatientIsDeleted()) << "\n";
  for (const XmlOrderHardDeleteInfo& order : patient.getPatientOrders()) {
    std::cout << "  Order" << field("PlacerOrderID", order.getOrderPlacerOrderID())
              << field("FillerOrderID", order.getOrderFillerOrderID())
              << field("AccessionNumber", order.getOrderAccessionNumber())
              << field("IsDeleted", order.getOrderIsDeleted()) << "\n";
    for (const XmlExamHardDeleteInfo& exam : order.getOrderExams()) {
      std::cout << "    Exam" << field("AccessionNumber", exam.getExamAccessionNumber())
                << field("IsDeleted", exam.getExamIsDeleted()) << "\n";
      for (const XmlStudyHardDeleteInfo& study : exam.getExamStudies()) {
        std::cout << "      Study" << field("StudyUID", study.getStudyUID())
                  << field("NoOfInstances", study.getStudyNoOfInstances())
                  << field("IsDeleted", study.getStudyIsDeleted()) << "\n";
      }
    }
  }
  std::cout << std::flush;
  if (!complete) {
    std::string why = "the patient element has no IsDeleted attribute";
    for (const std::string& line : logs.lines()) {
      if (line.compare(0, 24, "XmlPatientHardDeleteInfo") == 0) {
        why = line.substr(0, line.find_last_not_of("\n") + 1);
      }
    }
    throw DocumentError(displayName(path) + ": patient record incomplete: " + why);
  }
  return kOk;
}

}  // namespace tool

int main(int argc, char** argv) {
  using namespace tool;
  std::vector<std::string> args(argv + 1, argv + argc);
  bool verbose = false;
  for (auto it = args.begin(); it != args.end();) {
    if (*it == "--verbose") {
      verbose = true;
      it = args.erase(it);
    } else {
      ++it;
    }
  }
  if (args.empty()) {
    usage(std::cerr);
    return kUsage;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    usage(std::cout);
    return kOk;
  }
  const auto command = commands().find(args[0]);
  if (command == commands().end()) {
    std::cerr << kProgram << ": unknown command '" << args[0] << "'\n";
    usage(std::cerr);
    return kUsage;
  }
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  for (const std::string& a : rest) {
    if (a == "--help" || a == "-h") {
      std::cout << "usage: " << kProgram << " " << command->second.usage << "\n\n"
                << command->second.help;
      return kOk;
    }
  }
  try {
    return command->second.run(rest, verbose);
  } catch (const UsageError& e) {
    std::cerr << kProgram << " " << args[0] << ": " << e.what() << "\nusage: " << kProgram << " "
              << command->second.usage << "\n";
    return kUsage;
  } catch (const FileError& e) {
    std::cerr << kProgram << ": " << e.what() << "\n";
    return kUsage;
  } catch (const DocumentError& e) {
    std::cerr << kProgram << ": " << e.what() << "\n";
    return kInvalid;
  } catch (const std::exception& e) {
    std::cerr << kProgram << ": " << e.what() << "\n";
    return kInvalid;
  }
}
