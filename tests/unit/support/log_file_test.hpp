#pragma once

#include "core/log_file.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

namespace kex::test
{

/** The one user that a test program of the log file knows. */
inline constexpr const char* known_owner = "kexowner";
inline constexpr uid_t known_uid = 4242;
inline constexpr gid_t known_gid = 4343;

/**
 * Log files in a folder of their own, under a clock that stands still and with a user data base
 * that has known_owner only. Giving a file away needs privileges, so it is noted and not done.
 */
class LogFileTest : public testing::Test
{
  protected:
    static constexpr int32_t usual_max = 1500;

    LogFileTest();
    LogFileTest(const LogFileTest&) = delete;
    LogFileTest& operator=(const LogFileTest&) = delete;
    ~LogFileTest() override;

    LogFile make(int32_t max_messages = usual_max, bool rotate = true) const
    {
        return {path, "nobody-of-this-name", max_messages, rotate};
    }

    /** The texts of a file's lines behind their stamps, which have to be that of the clock. */
    static std::vector<std::string> texts(const std::string& file);

    static void set_clock(time_t now);
    /** "uid:gid" for each file given away. */
    static std::vector<std::string> given_to();
    static int owner_lookups();

    TempDir folder;
    std::string path = folder.file("kex.log");
};

/** 5 March 2024, 07:08:09 UTC: a one-digit day, hour and minute. */
inline constexpr time_t still_time = 1709622489;
inline constexpr const char* still_stamp = "[05-Mar 07:08:09] ";

} // namespace kex::test
