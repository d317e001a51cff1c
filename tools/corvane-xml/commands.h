// tools/corvane-xml/commands.h: the subcommands of corvane-xml. Each takes the arguments
// after its name and returns the exit status; errors are thrown (see common.h).
#ifndef CORVANE_XML_TOOLS_COMMANDS_H
#define CORVANE_XML_TOOLS_COMMANDS_H

#include <string>
#include <vector>

namespace tool {

int runTree(const std::vector<std::string>& args, bool verbose);
int runStudy(const std::vector<std::string>& args, bool verbose);
int runRecords(const std::vector<std::string>& args, bool verbose);
int runValidate(const std::vector<std::string>& args, bool verbose);
int runSelect(const std::vector<std::string>& args, bool verbose);
int runEscape(const std::vector<std::string>& args, bool verbose);
int runUnescape(const std::vector<std::string>& args, bool verbose);

}  // namespace tool

#endif  // CORVANE_XML_TOOLS_COMMANDS_H
