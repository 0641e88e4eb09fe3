#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/failure.h"
#include "cli/option_table.h"

namespace cli {
namespace {

/// Letters to insert, remove or replace to make one of the other.
size_t distance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t change = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, change});
        }
    }
    return row[b.size()];
}

/// The option that was probably meant; null where none is near.
const Option* nearestOption(const std::string& name) {
    const Option* nearest = nullptr;
    size_t least = std::max(size_t{1}, name.size() / 3) + 1; // further away is another word
    for (const Option& option : optionTable()) {
        const bool isBeginning = name.size() > 1 && std::string(option.name).starts_with(name);
        const size_t d = isBeginning ? 0 : distance(name, option.name);
        if (!option.hidden && d < least) {
            least = d;
            nearest = &option;
        }
    }
    return nearest;
}

[[noreturn]] void throwUnknown(const std::string& given, const Option* meant) {
    throw UsageError(
        "there is no option " + given +
        (meant != nullptr ? std::string("; did you mean --") + meant->name + "?" : ""));
}

const Option* findOption(const std::string& name) {
    for (const Option& option : optionTable())
        if (name == option.name)
            return &option;
    return nullptr;
}

const Option* findLetter(char letter) {
    for (const Option& option : optionTable())
        if (option.letter == letter)
            return &option;
    return nullptr;
}

UsageError missing(const Option& option) {
    return UsageError(std::string("--") + option.name + ": " + option.argument + " is missing");
}

/// Throws for the first option that is unknown, which says more than whatever else is wrong. Whether word is
/// an option whose argument is the next word.
bool checkKnown(const std::string& word) {
    const size_t equals = word.find('=');
    if (word.starts_with("--")) {
        const std::string name = word.substr(2, equals == word.npos ? equals : equals - 2);
        const Option* const option = findOption(name);
        if (option == nullptr)
            throwUnknown("--" + name, nearestOption(name));
        if (option->argument == nullptr && equals != word.npos)
            throw UsageError("--" + name + " takes no value");
        if (option->argument != nullptr && equals + 1 == word.size())
            throw missing(*option); // the parser would take the next word
        return option->argument != nullptr && equals == word.npos;
    }
    // Long names after one dash would be read as letters.
    if (const Option* const meant =
            word.size() > 2 ? findOption(word.substr(1, equals - 1)) : nullptr)
        throwUnknown(word.substr(0, equals), meant);
    for (size_t i = 1; i < word.size(); i++) {
        const Option* const option = findLetter(word[i]);
        if (option == nullptr)
            throwUnknown(std::string("-") + word[i], nullptr);
        if (option->argument != nullptr)
            return i + 1 == word.size();
    }
    return false;
}

void checkKnown(int argc, char** argv) {
    bool isArgument = false;
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        if (isArgument)
            isArgument = false;
        else if (word == "--")
            break;
        else if (word.size() > 1 && word[0] == '-')
            isArgument = checkKnown(word);
    }
}

/// The parser's complaint in this command's words: an option that stands last without its argument.
UsageError parseFailure(const CLI::ParseError& error) {
    const std::string text = error.what();
    for (const Option& option : optionTable())
        if (option.argument != nullptr && text.starts_with(std::string("--") + option.name + ":"))
            return missing(option);
    return UsageError(text);
}

} // namespace

Given readCommandLine(int argc, char** argv, std::vector<std::string>& inputs) {
    checkKnown(argc, argv);
    Given given;
    CLI::App app;
    app.set_help_flag();
    app.allow_extras();
    for (const Option& option : optionTable()) {
        const std::string name = option.name;
        const std::string flags =
            (option.letter != '\0' ? std::string("-") + option.letter + "," : "") + "--" + name;
        if (option.argument == nullptr)
            app.add_flag_function(flags, [&given, name](int64_t) { given[name] = ""; });
        else
            app.add_option_function<std::string>(
                   flags, [&given, name](const std::string& value) { given[name] = value; })
                ->take_last();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        throw parseFailure(error);
    }
    inputs = app.remaining();
    if (const auto mark = std::find(inputs.begin(), inputs.end(), "--"); mark != inputs.end())
        inputs.erase(mark);
    return given;
}

} // namespace cli
