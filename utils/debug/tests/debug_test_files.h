#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

// A temporary folder for log files, removed with its contents.
class TempDir
{
public:
    TempDir()
    {
        char pattern[] = "/tmp/debug_tests.XXXXXX";
        const char* made = ::mkdtemp(pattern);
        if (made == nullptr)
            throw std::runtime_error("mkdtemp failed");
        path_ = made;
    }
    ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The line of the file that holds `needle`, empty when none does.
inline std::string lineWith(const std::string& contents, const std::string& needle)
{
    std::istringstream in(contents);
    std::string line;
    while (std::getline(in, line))
        if (line.find(needle) != std::string::npos)
            return line;
    return {};
}
