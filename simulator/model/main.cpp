/// PROGRAM ARGUMENTS...: runs the program with simulated microphones plugged in, as
/// VELMO_SIM says, and ends with its exit code.  simulator/README.md tells the rest.

#include "simulator/model/runProgram.h"

#include <cstdio>
#include <exception>

namespace {

// Numbers of sysexits.h.
constexpr int exitUsage = 64;
constexpr int exitSystem = 71;

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PROGRAM [ARGUMENT...]\n", argv[0]);
        return exitUsage;
    }
    try {
        return sim::runProgram(argv);
    } catch (const std::exception &fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return exitSystem;
    }
}
