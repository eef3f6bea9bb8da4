#pragma once

#include "support/require.hpp"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kex::fuzz
{

/** A folder of its own, removed with all that is in it. */
class TempFolder
{
  public:
    TempFolder() : path_((std::filesystem::temp_directory_path() / "kex-XXXXXX").string())
    {
        REQUIRE(mkdtemp(path_.data()) != nullptr);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { std::filesystem::remove_all(path_); }

    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace kex::fuzz
