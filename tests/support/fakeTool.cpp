/// A stand-in for the DSP vendor's tool on all platforms. It does what the lines of
/// "ktTool.plan" in its folder say:
///
///   print TEXT       writes TEXT, in which \r stands for that character
///   arguments FILE   writes its arguments to FILE, one a line
///   await FILE       waits until FILE exists
///   crash            crashes
///
/// FILE is in the tool's folder.

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

namespace {

constexpr int exitBadPlan = 78;
constexpr auto pollPause = std::chrono::milliseconds(10);

void print(std::string text)
{
    const std::string escape = "\\r";
    for (auto at = text.find(escape); at != std::string::npos; at = text.find(escape, at))
        text.replace(at, escape.size(), 1, '\r');
    std::cout << text << std::flush;
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string self = argv[0];
    const std::string folder = self.substr(0, self.find_last_of("/\\") + 1);
    std::ifstream plan(folder + "ktTool.plan", std::ios::binary);
    for (std::string command, argument; plan >> command;) {
        std::getline(plan, argument);
        argument.erase(0, 1); // a blank
        if (command == "print") {
            print(argument);
        } else if (command == "arguments") {
            std::ofstream file(folder + argument, std::ios::binary);
            for (int i = 1; i < argc; ++i)
                file << argv[i] << '\n';
        } else if (command == "await") {
            while (!std::ifstream(folder + argument))
                std::this_thread::sleep_for(pollPause);
        } else if (command == "crash") {
            std::abort();
        } else {
            return exitBadPlan;
        }
    }
    return 0;
}
