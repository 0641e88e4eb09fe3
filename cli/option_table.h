// The command's options: one table, of which the parser, --help, the man page and the shells' completions are
// made.
#ifndef VELA_CLI_OPTION_TABLE_H
#define VELA_CLI_OPTION_TABLE_H

#include <cstdint>
#include <span>
#include <string>

namespace cli {

/// What completes an option's argument.
enum class Completes { nothing, files, folders, words };

struct Option {
    const char* name;     // without dashes
    char letter;          // '\0': none
    const char* argument; // null: a flag
    const char* group;
    const char* help;
    Completes completes = Completes::nothing;
    const char* words = ""; // separated by spaces
    bool hidden = false;    // taken, but not shown
};

std::span<const Option> optionTable();

std::string helpText();                           // at most 80 columns
std::string manPage();                            // velajpeg.1
std::string completion(const std::string& shell); // bash, zsh or fish; empty for another one

} // namespace cli

#endif
