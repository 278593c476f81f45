// A program under one of several names. In the current folder it appends its name and arguments as
// a line to the file "calls", and prints the file "NAME.N.txt" of its Nth call, or else "NAME.txt".
// It fails, as the tools that it stands for may.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    const std::string name = std::filesystem::path(argv[0]).stem().string();
    std::ofstream calls("calls", std::ios::app | std::ios::binary);
    calls << name;
    for (int i = 1; i < argc; ++i)
        calls << " " << argv[i];
    calls << std::endl;

    int count = 0;
    std::ifstream record("calls");
    for (std::string line; std::getline(record, line);)
        count += line.substr(0, line.find(' ')) == name ? 1 : 0;
    std::ifstream output(name + "." + std::to_string(count) + ".txt", std::ios::binary);
    if (!output)
        output.open(name + ".txt", std::ios::binary);
    std::cout << output.rdbuf();
    return 3;
}
