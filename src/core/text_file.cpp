#include "core/text_file.hpp"

#include <cstdlib>

namespace kex
{

std::optional<int> write_setting(const std::string& path, const std::string& value)
{
    const Stream file(std::fopen(path.c_str(), "we"));
    if (!file) {
        return std::nullopt;
    }
    return std::fprintf(file.get(), "%s\n", value.c_str());
}

FirstLine read_first_line(const std::string& path)
{
    const Stream file(std::fopen(path.c_str(), "re"));
    if (!file) {
        return {false, false, false, {}};
    }
    char* line = nullptr;
    size_t capacity = 0;
    const ssize_t length = getline(&line, &capacity, file.get());
    const std::unique_ptr<char, decltype(&std::free)> owner(line, std::free);
    if (length < 0) {
        return {true, false, false, {}};
    }
    std::string text(line, static_cast<size_t>(length));
    const bool line_feed = text.ends_with('\n');
    if (line_feed) {
        text.pop_back();
    }
    return {true, true, line_feed, std::move(text)};
}

} // namespace kex
