// The log file and its rotations hold every message once, in order, whatever is in it.

#include "core/log_file.hpp"
#include "support/input.hpp"
#include "support/require.hpp"
#include "support/temp_folder.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

namespace
{

constexpr size_t stamp_size = 18; // "[20-Nov 21:43:24] "

/** The messages of a file that exists. */
using Messages = std::optional<std::vector<std::string>>;

void check(const std::string& path, const Messages& expected)
{
    std::ifstream file(path, std::ios::binary);
    REQUIRE(file.is_open() == expected.has_value());
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    size_t at = 0;
    for (size_t i = 0; expected && i < expected->size(); ++i) {
        const std::string& message = (*expected)[i];
        REQUIRE(text.compare(at, 1, "[") == 0 && text.compare(at + stamp_size - 2, 2, "] ") == 0);
        REQUIRE(text.compare(at + stamp_size, message.size(), message) == 0);
        at += stamp_size + message.size();
    }
    REQUIRE(at == text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const kex::fuzz::TempFolder folder;
    kex::fuzz::Input input(data, size);
    const auto limit = static_cast<int32_t>(input.byte() % 8);
    const bool rotate = input.byte() % 4 != 0;
    kex::LogFile log(folder.file("log"), "no such user", limit, rotate);
    std::array<Messages, 3> files{std::vector<std::string>{}, {}, {}}; // current, first, latest
    for (bool first = true; !input.empty();) {
        if (rotate && files[0]->size() > static_cast<size_t>(limit)) {
            files[first ? 1 : 2] = std::exchange(files[0], std::vector<std::string>{});
            first = false;
        }
        files[0]->push_back(std::string(input.short_block().c_str()));
        log.write("%s", files[0]->back().c_str());
    }
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string path = folder.file(i == 0 ? "log" : "log." + std::to_string(i - 1));
        check(path, files[i]);
        std::filesystem::remove(path);
    }
    return 0;
}
