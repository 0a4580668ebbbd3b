/* The relay's two sockets: how they are opened, and what remains after each failure. */
#include <cerrno>

#include "tesk/tesk_l2switch.h"
#include "tests/unit/daemon_test.h"

namespace {

class RelaySockets : public DaemonTest {
 protected:
  void expect_failure(const Lines &lines, Location location = Location::current()) {
    EXPECT_EQ(tesk_l2switch_init(), 8u);
    EXPECT_FALSE(tesk_l2_init_done);
    EXPECT_EQ(sock_inband, 0);
    EXPECT_EQ(sock_mgmt, 0);
    expect(lines, location);
  }

  /** The first `count` lines of the in-band socket. */
  static Lines inband(size_t count = 5) {
    return first(
        {"socket(17, 3, 0xf102)", "fcntl(41, F_GETFL)", "fcntl(41, F_SETFL, O_RDWR|O_NONBLOCK)",
         "ioctl(41, SIOCGIFINDEX, 'inb0')", "bind(41, {family 17, protocol 0xf102, interface 5}, 20)"},
        count);
  }

  /** The lines of the in-band socket and the first `count` lines of the management socket. */
  static Lines both(size_t count = 5) {
    Lines lines = inband();
    const Lines more =
        first({"socket(17, 3, 0xf102)", "fcntl(42, F_GETFL)", "fcntl(42, F_SETFL, O_RDWR|O_NONBLOCK)",
               "ioctl(42, SIOCGIFINDEX, 'mgmt0')", "bind(42, {family 17, protocol 0xf102, interface 6}, 20)"},
              count);
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
  }

  static Lines first(Lines lines, size_t count) {
    lines.erase(lines.begin() + static_cast<ptrdiff_t>(count), lines.end());
    return lines;
  }

  static Lines with(Lines lines, const Lines &more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
  }

  static Line failure(const std::string &text) {
    return error("tesk_l2switch_init", "tesk_l2switch_init:" + text);
  }
};

TEST_F(RelaySockets, AreOpenedAndBoundInbandFirst) {
  EXPECT_EQ(tesk_l2switch_init(), 0u);
  EXPECT_EQ(sock_inband, first_socket);
  EXPECT_EQ(sock_mgmt, second_socket);
  EXPECT_TRUE(tesk_l2_init_done);
  EXPECT_STREQ(lnx_eth_if, "mgmt0");
  expect(both());
}

TEST_F(RelaySockets, UseTheSecondManagementDeviceOfTheVorlundBoard) {
  on_board(83);
  vorlund_platform = true;
  EXPECT_EQ(tesk_l2switch_init(), 0u);
  EXPECT_STREQ(lnx_eth_if, "mgmt1");
  EXPECT_EQ(count_of("ioctl(42, SIOCGIFINDEX, 'mgmt1')"), 1u);
  ignore_rest();
}

TEST_F(RelaySockets, CutALongDeviceNameButBindToTheWholeOne) {
  when("get_platform_runtime_index").returns(long_names_row);
  EXPECT_EQ(tesk_l2switch_init(), 0u);
  EXPECT_STREQ(lnx_eth_if, "managem");
  EXPECT_EQ(count_of("ioctl(42, SIOCGIFINDEX, 'management0')"), 1u);
  ignore_rest();
}

TEST_F(RelaySockets, MayHaveTheFirstDescriptorOfAll) {
  when("socket").call(1).returns(0);
  EXPECT_EQ(tesk_l2switch_init(), 0u);
  EXPECT_EQ(sock_inband, 0);
  EXPECT_TRUE(tesk_l2_init_done);
  EXPECT_EQ(count_of(failure("Error creating RAW socket for device [inb0]\n")), 0u);
  ignore_rest();
}

TEST_F(RelaySockets, FailWithoutAnInbandSocket) {
  when("socket").call(1).returns(-1).with_errno(EPERM);
  expect_failure(with(inband(1), {failure("Error creating RAW socket for device [inb0]\n")}));
}

TEST_F(RelaySockets, LeakTheInbandSocketThatCannotBeMadeNonBlocking) {
  when("fcntl").call(2).returns(-1).with_errno(EACCES);
  expect_failure(with(inband(3), {failure("Error Setting socket in Non-Block mode[inb0]\n (13)")}));
}

TEST_F(RelaySockets, LeakTheInbandSocketWhoseFlagsCannotBeRead) {
  when("fcntl").call(1).returns(-1).with_errno(EBADF);
  expect_failure(with(inband(2), {failure("Error Setting socket in Non-Block mode[inb0]\n (9)")}));
}

TEST_F(RelaySockets, CloseTheInbandSocketWhoseDeviceIsMissing) {
  when("ioctl").call(1).returns(-1).with_errno(ENODEV);
  expect_failure(with(inband(4), {failure("Error getting Interface index for [inb0]\n"), "close(41)"}));
}

TEST_F(RelaySockets, CloseTheInbandSocketThatCannotBeBound) {
  when("bind").call(1).returns(-1).with_errno(ENODEV);
  expect_failure(with(inband(5), {failure("Error binding raw socket to interface[inb0]\n"), "close(41)"}));
}

TEST_F(RelaySockets, CloseTheInbandSocketWithoutAManagementSocket) {
  when("socket").call(2).returns(-1).with_errno(EPERM);
  expect_failure(with(both(1), {failure("Error creating RAW socket for device [mgmt0]\n"), "close(41)"}));
}

TEST_F(RelaySockets, CloseBothWhenTheManagementSocketCannotBeMadeNonBlocking) {
  when("fcntl").call(4).returns(-1).with_errno(EACCES);
  expect_failure(with(
      both(3), {failure("Error Setting socket in Non-Block mode[mgmt0]\n (13)"), "close(41)", "close(42)"}));
}

TEST_F(RelaySockets, CloseBothWhenTheManagementDeviceIsMissing) {
  when("ioctl").call(2).returns(-1).with_errno(ENODEV);
  expect_failure(
      with(both(4), {failure("Error getting Interface index for [mgmt0]\n"), "close(41)", "close(42)"}));
}

TEST_F(RelaySockets, CloseBothWhenTheManagementSocketCannotBeBound) {
  when("bind").call(2).returns(-1).with_errno(ENODEV);
  expect_failure(
      with(both(5), {failure("Error binding raw socket to interface[mgmt0]\n"), "close(41)", "close(42)"}));
}

TEST_F(RelaySockets, FailTheSameWhenTheyCannotBeClosed) {
  const struct {
    const char *operation;
    unsigned call;
    size_t closed;
  } failures[] = {{"bind", 1, 1}, {"socket", 2, 1}, {"bind", 2, 2}};
  for (const auto &failure : failures) {
    reset_system();
    when(failure.operation).call(failure.call).returns(-1).with_errno(ENODEV);
    when("close").returns(-1).with_errno(EIO);
    EXPECT_EQ(tesk_l2switch_init(), 8u);
    EXPECT_EQ(count_of("close(41)") + count_of("close(42)"), failure.closed) << failure.operation;
    EXPECT_FALSE(tesk_l2_init_done);
    forget();
  }
}

TEST_F(RelaySockets, NameTheManagementDeviceOnceTheInbandSocketIsBound) {
  when("bind").call(1).returns(-1).with_errno(ENODEV);
  EXPECT_EQ(tesk_l2switch_init(), 8u);
  EXPECT_STREQ(lnx_eth_if, "");
  when("socket").call(2).returns(-1).with_errno(EPERM);
  EXPECT_EQ(tesk_l2switch_init(), 8u);
  EXPECT_STREQ(lnx_eth_if, "mgmt0");
  ignore_rest();
}

TEST_F(RelaySockets, ForgetEarlierDescriptorsWhenTheyFail) {
  sock_inband = 7;
  sock_mgmt = 8;
  when("socket").returns(-1).with_errno(EPERM);
  expect_failure(with(inband(1), {failure("Error creating RAW socket for device [inb0]\n")}));
}

}  // namespace
