/// PROGRAM ARGUMENTS...: runs the program with the simulated microphones that VELMO_SIM names, and
/// ends with its exit code. simulator/README.md has more.

#include "simulator/model/exitCodes.h"
#include "simulator/model/runProgram.h"

#include <cstdio>
#include <exception>

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PROGRAM [ARGUMENT...]\n", argv[0]);
        return sim::exitUsage;
    }
    try {
        return sim::runProgram(argv);
    } catch (const std::exception &fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return sim::exitSystem;
    }
}
