#include "host/system/failure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "tests/host/system/results.h"

namespace host {
namespace {

Result<int> even(int number) {
  if (number % 2 != 0) return failure("odd");
  return number;
}

Result<std::unique_ptr<int>> half(int number) {
  Result<int> whole = even(number);
  if (!whole) return failed(std::move(whole));
  return std::make_unique<int>(*whole / 2);
}

TEST(Failure, StandsWhereTheValueWouldBe) {
  EXPECT_EQ(even(4), 4);
  const Result<int> odd = even(3);
  ASSERT_FALSE(odd);
  EXPECT_EQ(odd.error().what, "odd");
  EXPECT_FALSE(odd.error().cause);
}

TEST(Failure, IsHandedOnAsAResultOfAnotherType) {
  EXPECT_EQ(**half(8), 4);
  EXPECT_EQ(test::sentence_of(half(3)), "odd");
}

TEST(Failure, OfNothingIsTheResultOfWhatYieldsNothing) {
  const Result<> done;
  EXPECT_TRUE(done);
  const Result<> full = failure(errno_cause(ENOBUFS));
  ASSERT_FALSE(full);
  EXPECT_EQ(full.error().cause, std::errc::no_buffer_space);
  EXPECT_EQ(full.error().what, "");
}

TEST(Failure, OfASystemCallHasErrnoAsItsCause) {
  errno = EACCES;
  const Result<> bare = errno_failure();
  EXPECT_EQ(bare.error().cause, std::errc::permission_denied);
  EXPECT_EQ(bare.error().what, "");
  errno = ENOENT;
  const Result<> told = errno_failure("/dev/net/tun cannot be opened");
  EXPECT_EQ(told.error().cause, std::errc::no_such_file_or_directory);
  EXPECT_EQ(told.error().what, "/dev/net/tun cannot be opened: No such file or directory");
}

TEST(Failure, ChoosesTheExitStatus) {
  EXPECT_EQ(exit_status(Failure("the disk is full")), 1);
  EXPECT_EQ(exit_status(Failure("the disk is full", errno_cause(ENOSPC))), 1);
  EXPECT_EQ(exit_status(Failure("--vlan: \"x\" is not a number", not_understood())), 2);
}

// The cause's number is not mistaken for an errno of the same number.
TEST(Failure, OfWordsIsNoSystemCalls) {
  EXPECT_NE(not_understood(), errno_cause(not_understood().value()));
  EXPECT_EQ(exit_status(Failure("", errno_cause(not_understood().value()))), 1);
}

}  // namespace
}  // namespace host
