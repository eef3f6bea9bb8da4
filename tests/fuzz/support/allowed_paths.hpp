#pragma once

#include <string>

// The files that commands may touch, written down a second time.
namespace kex::fuzz
{

bool may_be_written(const std::string& path);
bool may_be_read(const std::string& path);

/** A file whose content is a frame. */
bool is_frame_file(const std::string& path);

bool is_allowed_program(const std::string& path);
bool is_allowed_unit(const std::string& name);

} // namespace kex::fuzz
