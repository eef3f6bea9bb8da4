#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace kex::test
{

/** A folder of its own for a test, removed with all that is in it. */
class TempDir
{
  public:
    TempDir() : path_(testing::TempDir() + "/kex-XXXXXX"), owner_(getpid())
    {
        if (mkdtemp(path_.data()) == nullptr) {
            std::abort();
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir()
    {
        // A forked child that ends with exit() destroys its copies too.
        if (getpid() == owner_) {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
    pid_t owner_;
};

/** All of a file; empty when there is none. */
inline std::string content(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void fill(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

/** The number of descriptors that this process has open, the one that counts them included. */
inline std::ptrdiff_t open_descriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return std::distance(begin(open), end(open));
}

} // namespace kex::test
