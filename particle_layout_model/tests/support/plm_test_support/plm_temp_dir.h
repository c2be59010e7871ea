#pragma once

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

namespace PlmTest
{

// A fresh directory under the system's temporary folder, removed with all its content when
// the object goes.
class TempDir
{
public:
    TempDir()
    {
        std::string pattern =
            (boost::filesystem::temp_directory_path() / "plm_test_XXXXXX").string();
        if (!mkdtemp(&pattern[0]))
            throw std::runtime_error("can't make a temporary directory");
        path_ = pattern;
    }
    ~TempDir()
    {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const boost::filesystem::path& path() const { return path_; }
    boost::filesystem::path operator/(const boost::filesystem::path& relative) const
    {
        return path_ / relative;
    }

private:
    boost::filesystem::path path_;
};

inline std::vector<uint8_t> readBytes(const boost::filesystem::path& file)
{
    std::ifstream in(file.string(), std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

inline void writeBytes(const boost::filesystem::path& file, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(file.string(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

}  // namespace PlmTest
