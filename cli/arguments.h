#pragma once
// The one argument parser of norvane-redact: the same rules for every command. Options may
// stand anywhere, `--` ends them, a value is the next argument whatever it looks like, and
// every usage error is printed as "norvane-redact: <why>" followed by the command's usage.

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace norvane::cli {

struct OptionRule {
    std::string name;   // "--find"
    std::string alias;  // "-o", or empty
    bool takesValue = false;
    bool once = false;  // may be given at most once
};

struct CommandRules {
    std::string usage;  // printed after every usage error
    std::vector<OptionRule> options;
    std::size_t positionals = 0;          // at least this many
    std::size_t optionalPositionals = 0;  // and at most this many more
};

struct ParsedArguments {
    std::vector<std::string> positionals;
    std::vector<std::pair<std::string, std::string>> options;  // by name, in command-line order

    bool has(std::string_view name) const;
    std::vector<std::string> values(std::string_view name) const;
};

// Nothing, after printing why, when the arguments break the rules.
std::optional<ParsedArguments> parseArguments(const CommandRules& rules, const std::vector<std::string>& args,
                                              std::ostream& err);

// A usage error found after parsing, printed the same way.
void printUsageError(std::ostream& err, const CommandRules& rules, std::string_view why);

}  // namespace norvane::cli
