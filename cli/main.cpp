// norvane-redact: the command-line front end over the same engine and model rules as the app.

#include "cli/commands.h"

#include <unistd.h>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    // Debian's Tesseract runs several times slower on few cores unless OpenMP is held to one
    // thread, and it reads this only once, on first use.
    setenv("OMP_THREAD_LIMIT", "1", 1);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return norvane::cli::run(args, norvane::cli::Console{std::cout, std::cerr, isatty(STDERR_FILENO) == 1},
                             norvane::cli::commandLineServices());
}
