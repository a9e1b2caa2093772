// tests/support/temp_directory.h - a directory of a test's own, gone with it.

#ifndef FENWIRE_TESTS_SUPPORT_TEMP_DIRECTORY_H
#define FENWIRE_TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempDirectory {
public:
    TempDirectory()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "fenwire-test-XXXXXX";
        path_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~TempDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDirectory(const TempDirectory &) = delete;
    TempDirectory &operator=(const TempDirectory &) = delete;

    const std::string &path() const { return path_; }
    std::string File(const std::string &name) const { return path_ + "/" + name; }
    void Write(const std::string &name, const std::string &contents) const
    {
        std::ofstream(File(name), std::ios::binary) << contents;
    }
    std::string Read(const std::string &name) const
    {
        std::ifstream file(File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string path_;
};

#endif
