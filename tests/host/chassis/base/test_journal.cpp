#include "host/chassis/base/journal.h"

#include <gtest/gtest.h>

#include <regex>

#include "tests/host/system/files.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

const std::string time_of_day = R"(\d\d:\d\d:\d\d\.\d\d\d )";

TEST(Journal, AddsLinesWithTheTimeOfDayToWhatIsThere) {
  const TemporaryFolder folder;
  const auto file = folder.path() / "log";
  Journal(file).line("the daemon starts");
  Journal(file).line("the daemon ends");
  const std::string written = read_file(file);
  EXPECT_TRUE(std::regex_match(
      written, std::regex(time_of_day + "the daemon starts\n" + time_of_day + "the daemon ends\n")))
      << written;
}

TEST(Journal, KeepsATextWithLineEndsOnOneLine) {
  const TemporaryFolder folder;
  Journal(folder.path() / "log").line("a\nb\r\x1b[1m\xc3\xa4");
  const std::string written = read_file(folder.path() / "log");
  EXPECT_TRUE(std::regex_match(written, std::regex(time_of_day + "a b  \\[1m\xc3\xa4\n"))) << written;
}

TEST(Journal, WritesToStandardErrorWhenThereIsNoFile) {
  testing::internal::CaptureStderr();
  Journal("/dev/null/log").line("the daemon ends");
  const std::string written = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(std::regex_match(written, std::regex(time_of_day + "the daemon ends\n"))) << written;
}

}  // namespace
}  // namespace chassis
