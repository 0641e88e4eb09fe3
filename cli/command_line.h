// The words of the command line as options and inputs.
#ifndef VELA_CLI_COMMAND_LINE_H
#define VELA_CLI_COMMAND_LINE_H

#include <map>
#include <string>
#include <vector>

namespace cli {

/// What was given, by the options' names; of a repeated option the last. Flags have "".
using Given = std::map<std::string, std::string>;

/// By the table of options. Throws UsageError for words that are none of its options.
Given readCommandLine(int argc, char** argv, std::vector<std::string>& inputs);

} // namespace cli

#endif
