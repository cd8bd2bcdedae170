/// A stand-in for the DSP vendor's tool on all platforms. In the current folder it writes its
/// arguments to "arguments", one a line, and prints the file "printed". It crashes if
/// "crash" is part of that.

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char *argv[])
{
    std::ofstream arguments("arguments", std::ios::binary);
    for (int i = 1; i < argc; ++i)
        arguments << argv[i] << '\n';
    std::ifstream file("printed", std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    std::cout << text << std::flush;
    if (text.find("crash") != std::string::npos)
        std::abort();
    return 0;
}
