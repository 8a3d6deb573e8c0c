#include "cli/arguments.h"

#include <algorithm>

namespace norvane::cli {

bool ParsedArguments::has(std::string_view name) const {
    return std::any_of(options.begin(), options.end(), [&](const auto& option) { return option.first == name; });
}

std::vector<std::string> ParsedArguments::values(std::string_view name) const {
    std::vector<std::string> found;
    for (const auto& [option, value] : options) {
        if (option == name) {
            found.push_back(value);
        }
    }
    return found;
}

void printUsageError(std::ostream& err, const CommandRules& rules, std::string_view why) {
    if (!why.empty()) {
        err << "norvane-redact: " << why << '\n';
    }
    err << rules.usage;
}

std::optional<ParsedArguments> parseArguments(const CommandRules& rules, const std::vector<std::string>& args,
                                              std::ostream& err) {
    ParsedArguments parsed;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            parsed.positionals.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const auto rule = std::find_if(rules.options.begin(), rules.options.end(), [&](const OptionRule& r) {
            return arg == r.name || (!r.alias.empty() && arg == r.alias);
        });
        if (rule == rules.options.end()) {
            printUsageError(err, rules, "unknown option '" + arg + "'");
            return std::nullopt;
        }
        if (rule->once && parsed.has(rule->name)) {
            printUsageError(err, rules, arg + " may be given only once");
            return std::nullopt;
        }
        std::string value;
        if (rule->takesValue) {
            if (i + 1 == args.size()) {
                printUsageError(err, rules, arg + " needs a value");
                return std::nullopt;
            }
            value = args[++i];
        }
        parsed.options.emplace_back(rule->name, std::move(value));
    }
    if (parsed.positionals.size() < rules.positionals ||
        parsed.positionals.size() > rules.positionals + rules.optionalPositionals) {
        printUsageError(err, rules, {});
        return std::nullopt;
    }
    return parsed;
}

}  // namespace norvane::cli
