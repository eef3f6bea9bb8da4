// Settings are written as one value and a line feed, and first lines are read as they stand.

#include "core/text_file.hpp"
#include "support/input.hpp"
#include "support/recorded_files.hpp"
#include "support/require.hpp"

namespace
{

using namespace kex;

void check_writing(const std::string& value, const fuzz::FileScript& script)
{
    fuzz::file_script = [&](const std::string& path, const std::string& mode) {
        REQUIRE(path == "/setting" && mode == "we");
        return script;
    };
    const auto length = write_setting("/setting", value);
    const std::string line = std::string(value.c_str()) + "\n"; // the text ends at a NUL byte
    const auto files = fuzz::take_written_files();
    REQUIRE(length.has_value() == script.opens);
    REQUIRE(files.size() == (script.opens ? 1 : 0));
    if (script.opens) {
        REQUIRE(script.room < line.size() || *length == static_cast<int>(line.size()));
        REQUIRE(files[0].content == line.substr(0, script.room));
    }
}

void check_reading(const fuzz::FileScript& script)
{
    fuzz::file_script = [&](const std::string& path, const std::string& mode) {
        REQUIRE(path == "/file" && mode == "re");
        return script;
    };
    const FirstLine line = read_first_line("/file");
    const size_t end = script.content.find('\n');
    REQUIRE(line.opened == script.opens);
    REQUIRE(line.read == (script.opens && !script.content.empty()));
    REQUIRE(line.line_feed == (line.read && end != std::string::npos));
    REQUIRE(line.text == (line.read ? script.content.substr(0, end) : ""));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    fuzz::FileScript script;
    script.opens = input.byte() % 8 != 7;
    const uint8_t room = input.byte();
    script.room = room == 0 ? std::string::npos : room - 1U;
    script.content = input.rest();
    check_writing(script.content, script);
    check_reading(script);
    fuzz::file_script = nullptr;
    REQUIRE(fuzz::open_streams() == 0);
    return 0;
}
