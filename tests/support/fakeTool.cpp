/// A stand-in for the DSP vendor's tool on all platforms. It does what the lines of
/// "ktTool.plan" in its folder say:
///
///   print TEXT       writes TEXT, in which \r and \n stand for those characters
///   count N          writes "1/N%", "2/N%" ... "N/N%", each followed by \r\n
///   arguments FILE   writes its arguments to FILE, one a line
///   await FILE       waits until FILE exists
///   crash            crashes
///   exit CODE
///
/// FILE is in the tool's folder.

#include "tests/support/binaryOutput.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

namespace {

constexpr int exitBadPlan = 78;
constexpr auto pollPause = std::chrono::milliseconds(10);

std::string unescaped(const std::string &text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 1 < text.size();
        result += !escape ? text[i] : text[++i] == 'r' ? '\r' : '\n';
    }
    return result;
}

void write(const std::string &bytes)
{
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    binaryOutput();
    const std::string self = argv[0];
    const std::string folder = self.substr(0, self.find_last_of("/\\") + 1);
    std::ifstream plan(folder + "ktTool.plan", std::ios::binary);
    std::string line;
    while (std::getline(plan, line)) {
        const std::size_t blank = line.find(' ');
        const std::string command = line.substr(0, blank);
        const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (command == "print") {
            write(unescaped(argument));
        } else if (command == "count") {
            std::string all;
            for (int i = 1; i <= std::stoi(argument); ++i)
                all += std::to_string(i) + '/' + argument + "%\r\n";
            write(all);
        } else if (command == "arguments") {
            std::ofstream file(folder + argument, std::ios::binary);
            for (int i = 1; i < argc; ++i)
                file << argv[i] << '\n';
        } else if (command == "await") {
            while (!std::ifstream(folder + argument))
                std::this_thread::sleep_for(pollPause);
        } else if (command == "crash") {
            std::abort();
        } else if (command == "exit") {
            return std::stoi(argument);
        } else {
            return exitBadPlan;
        }
    }
    return 0;
}
