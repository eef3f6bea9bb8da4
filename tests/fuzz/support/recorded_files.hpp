#pragma once

#include <functional>
#include <string>
#include <vector>

// Streams without files: what is read comes from a script, what is written is kept.
namespace kex::fuzz
{

/** What comes of opening a path. */
struct FileScript {
    bool opens = true;
    std::string content;             /**< of a file that is read */
    size_t room = std::string::npos; /**< bytes that can be written */
};

/** Answers each fopen while it is set; without it, files are real. */
extern std::function<FileScript(const std::string& path, const std::string& mode)> file_script;

struct WrittenFile {
    std::string path;
    std::string content;
};

/** The files that were opened for writing since the last call. */
std::vector<WrittenFile> take_written_files();

/** Streams that are open now. */
int open_streams();

} // namespace kex::fuzz
