// norvane-redact: the command-line front end over the same engine and model rules as the app.

#include "cli/commands.h"

#include <unistd.h>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return norvane::cli::run(args, norvane::cli::Console{std::cout, std::cerr, isatty(STDERR_FILENO) == 1},
                             norvane::cli::commandLineServices());
}
