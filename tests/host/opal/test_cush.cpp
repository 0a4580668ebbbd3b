#include "opal/cush.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

#include "host/bus/services.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

constexpr bus::Address shell_address{0, 95};
constexpr std::uint32_t vlan_list = 0x13030007;

class CushTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    drain_queue();
  }
  void TearDown() override {
    for (qbus_msg_ref_t &message : held_) qbus_drop(queue(), &message);
  }
  qbus_msg_ref_t *arrive(bus::Bytes payload, bus::Kind kind = bus::Kind::request) {
    EXPECT_TRUE(shell_.send(bus::address::tesk, kind, bus::opcode::cush_command, 12, payload));
    std::optional<qbus_msg_ref_t> message = take_message();
    EXPECT_TRUE(message);
    return &held_.emplace_back(message.value_or(qbus_msg_ref_t{}));
  }
  cmd_rx_handle_t *handle_of(qbus_msg_ref_t *message) {
    scratch_ = std::make_unique<std::byte[]>(cmd_req_handle_get_1(message));
    return cmd_req_handle_get_2(message, scratch_.get());
  }
  cmd_rx_handle_t *request(std::uint32_t id, bool is_del = false,
                           const std::vector<bus::AttributeView> &attributes = {}) {
    return handle_of(arrive(bus::encode_command({id, is_del, attributes})));
  }
  /// @return the decoded answer; its views point into `answer_`
  bus::CommandAnswerView answer() {
    const std::optional<bus::Message> message = receive(shell_);
    EXPECT_TRUE(message);
    if (!message) return {};
    EXPECT_EQ(message->kind, bus::Kind::response);
    EXPECT_EQ(message->token, 12u);
    answer_ = *message;
    const std::optional<bus::CommandAnswerView> view = bus::decode_command_answer(answer_.payload);
    EXPECT_TRUE(view);
    return view.value_or(bus::CommandAnswerView{});
  }
  bool nothing_more() { return !wait_readable(shell_.fd(), std::chrono::milliseconds(0)); }

  bus::Socket shell_ = bind(shell_address);
  std::deque<qbus_msg_ref_t> held_;
  std::unique_ptr<std::byte[]> scratch_;
  bus::Message answer_;
};

TEST_F(CushTest, ARequestShowsItsCommandFormAndAttributes) {
  const cush_int_multi_range_t list{0, 1, {{100, 105}}};
  cmd_rx_handle_t *handle = request(
      3, true,
      {{1, bus::AttributeKind::value, {}}, {vlan_list, bus::AttributeKind::value, bus::bytes_of(list)}});
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(cmd_req_cmdId_getnext(handle), 3u);
  EXPECT_EQ(cmd_req_cmdId_getnext(handle), 0u);
  EXPECT_EQ(cmd_req_action_is_del(handle), 1);
  void *value = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(cmd_req_attr_get(handle, vlan_list, &value, &length), 0);
  EXPECT_EQ(length, sizeof list);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(value) % 8, 0u);
  EXPECT_EQ(static_cast<cush_int_multi_range_t *>(value)->range[0].upper_int, 105u);
  void *untouched = &length;
  EXPECT_NE(cmd_req_attr_get(handle, 99, &untouched, &length), 0);
  EXPECT_EQ(untouched, &length);
  EXPECT_EQ(length, sizeof list);
}

TEST_F(CushTest, EveryTruncationIsRefusedAndANokWithoutHandleAnswersIt) {
  const std::uint32_t value = 1;
  const bus::Payload payload =
      bus::encode_command({3, false, {{vlan_list, bus::AttributeKind::value, bus::bytes_of(value)}}});
  for (std::size_t size = 0; size < payload.size(); ++size) {
    qbus_msg_ref_t *message = arrive(bus::Bytes(payload).first(size));
    EXPECT_GT(cmd_req_handle_get_1(message), 0u);
    EXPECT_EQ(handle_of(message), nullptr) << size;
    EXPECT_EQ(cmd_rsp_send_nok(nullptr, 0, "%s", "Can't get handle"), 0);
    EXPECT_EQ(answer().text, "Can't get handle");
    EXPECT_NE(cmd_rsp_send_nok(nullptr, 0, "%s", "again"), 0) << "one answer only";
  }
}

TEST_F(CushTest, ARequestWithoutScratchAreaIsAnsweredByANokWithoutHandle) {
  EXPECT_GT(cmd_req_handle_get_1(arrive(bus::encode_command({3, false, {}}))), 0u);
  EXPECT_EQ(cmd_rsp_send_nok(nullptr, 0, "%s", "no memory"), 0);
  EXPECT_EQ(answer().text, "no memory");
  EXPECT_NE(cmd_rsp_send_nok(nullptr, 0, "%s", "again"), 0) << "one answer only";
  EXPECT_TRUE(nothing_more());
}

TEST_F(CushTest, ARequestWithAHandleIsNotRefusedWithoutIt) {
  cmd_rx_handle_t *handle = request(3);
  EXPECT_NE(cmd_rsp_send_nok(nullptr, 0, "%s", "whose"), 0);
  EXPECT_EQ(cmd_rsp_send_ok(handle), 0);
  EXPECT_TRUE(answer().ok);
  EXPECT_TRUE(nothing_more());
}

TEST_F(CushTest, ANoticeIsNoCommand) {
  EXPECT_EQ(handle_of(arrive(bus::encode_command({3, false, {}}), bus::Kind::notice)), nullptr);
  EXPECT_NE(cmd_rsp_send_nok(nullptr, 0, "%s", "x"), 0);
}

TEST_F(CushTest, AnswersOkOnce) {
  cmd_rx_handle_t *handle = request(3);
  EXPECT_EQ(cmd_rsp_send_ok(handle), 0);
  EXPECT_TRUE(answer().ok);
  EXPECT_NE(cmd_rsp_send_ok(handle), 0);
  EXPECT_NE(cmd_rsp_send_nok(handle, 0, "late"), 0);
  EXPECT_TRUE(nothing_more());
}

TEST_F(CushTest, AnswersNokWithATextOfAtMostOneKilobyte) {
  EXPECT_EQ(cmd_rsp_send_nok(request(3), 0, "Invalid CIN VLAN %d", 4095), 0);
  bus::CommandAnswerView refused = answer();
  EXPECT_FALSE(refused.ok);
  EXPECT_EQ(refused.text, "Invalid CIN VLAN 4095");
  const std::string text(3000, 'x');
  EXPECT_EQ(cmd_rsp_send_nok(request(3), 0, "%s", text.c_str()), 0);
  EXPECT_EQ(answer().text, text.substr(0, 1023));
}

TEST_F(CushTest, AnswersWithAttributesInTheOrderTheyWereAdded) {
  alignas(8) std::array<char, 4097> buffer{};
  cmd_rsp_t *response = cmd_rsp_init(request(1), buffer.data() + 1, 4096);
  ASSERT_NE(response, nullptr);
  for (std::uint32_t number = 0; number < 105; ++number)
    EXPECT_EQ(cmd_rsp_attr_add(response, 0x14C20004 + number % 5, &number, sizeof number), 0) << number;
  EXPECT_EQ(cmd_rsp_send(response), 0);
  const bus::CommandAnswerView sent = answer();
  EXPECT_TRUE(sent.ok);
  ASSERT_EQ(sent.attributes.size(), 105u);
  EXPECT_EQ(sent.attributes[104].id, 0x14C20004u + 104 % 5);
  EXPECT_EQ(bus::record_of<std::uint32_t>(sent.attributes[104].value), 104u);
}

TEST_F(CushTest, AFullResponseTakesNoMoreAndStaysInItsBuffer) {
  std::vector<char> buffer(256);
  cmd_rsp_t *response = cmd_rsp_init(request(1), buffer.data(), static_cast<uint32_t>(buffer.size()));
  ASSERT_NE(response, nullptr);
  const std::uint32_t value = 1;
  std::size_t added = 0;
  while (cmd_rsp_attr_add(response, 1, &value, sizeof value) == 0) ASSERT_LT(++added, 11u);
  EXPECT_GT(added, 8u);
  EXPECT_NE(cmd_rsp_attr_add(response, 1, &value, 0xffffffff), 0);
  EXPECT_EQ(cmd_rsp_send(response), 0);
  EXPECT_EQ(answer().attributes.size(), added);
  EXPECT_EQ(cmd_rsp_init(request(1), buffer.data(), 8), nullptr);
  EXPECT_EQ(cmd_rsp_init(nullptr, buffer.data(), 256), nullptr);
}

TEST_F(CushTest, RejectedRangesTravelWithTheNok) {
  cmd_rx_handle_t *handle = request(3);
  cmd_mrange_t *ranges = cmd_mrange_create(vlan_list);
  ASSERT_NE(ranges, nullptr);
  EXPECT_EQ(cmd_mrange_range_add(ranges, 5, 9), 0);
  EXPECT_EQ(cmd_mrange_range_add(ranges, 4000, 4000), 0);
  EXPECT_EQ(cmd_rsp_error_set(handle, ranges), 0);
  EXPECT_EQ(cmd_rsp_send_nok(handle, 0, "some failed"), 0);
  const bus::CommandAnswerView refused = answer();
  ASSERT_EQ(refused.attributes.size(), 1u);
  EXPECT_EQ(refused.attributes[0].id, vlan_list);
  EXPECT_EQ(refused.attributes[0].kind, bus::AttributeKind::rejected_range);
  const auto pairs = bus::record_of<std::array<std::uint32_t, 4>>(refused.attributes[0].value);
  EXPECT_EQ(pairs, (std::array<std::uint32_t, 4>{5, 9, 4000, 4000}));
}

TEST_F(CushTest, ARangeListHolds64RangesUntilTheRequestIsAnswered) {
  cmd_rx_handle_t *handle = request(3);
  cmd_mrange_t *ranges = cmd_mrange_create(vlan_list);
  for (std::uint32_t number = 0; number < CUSH_RANGE_ENTRIES; ++number)
    EXPECT_EQ(cmd_mrange_range_add(ranges, number, number), 0);
  EXPECT_NE(cmd_mrange_range_add(ranges, 64, 64), 0);
  EXPECT_NE(cmd_mrange_range_add(nullptr, 1, 1), 0);
  EXPECT_EQ(cmd_rsp_send_ok(handle), 0);
  EXPECT_TRUE(answer().attributes.empty()) << "a list that was not attached does not travel";
  EXPECT_NE(cmd_rsp_error_set(handle, ranges), 0) << "released with the answer";
}

TEST_F(CushTest, AHandleWhoseMessageIsGoneFindsNothing) {
  cmd_rx_handle_t *handle = request(3);
  ASSERT_NE(handle, nullptr);
  qbus_drop(queue(), &held_.back());
  void *value = nullptr;
  uint32_t length = 0;
  EXPECT_NE(cmd_req_attr_get(handle, vlan_list, &value, &length), 0);
  EXPECT_EQ(cmd_req_action_is_del(handle), 0);
  EXPECT_NE(cmd_rsp_send_ok(handle), 0);
}

TEST_F(CushTest, RegistersItsTreeAndItsBackEnd) {
  Service registry = Service::answering(bus::address::cush, bus::Result{RCODE_SUCCESS});
  EXPECT_EQ(cush_register_parse_tree(queue(), "tesk"), 0);
  const auto tree = bus::record_of<bus::Registration>(registry.request()->payload);
  ASSERT_TRUE(tree);
  EXPECT_EQ(bus::text_of(tree->name), "tesk");
  EXPECT_EQ(tree->queue, bus::address::tesk);
  EXPECT_EQ(cmd_backend_init(queue()), 0);
  const std::optional<bus::Message> backend = registry.request();
  EXPECT_EQ(backend->opcode, bus::opcode::backend_init);
  EXPECT_EQ(bus::record_of<bus::Registration>(backend->payload)->queue, bus::address::tesk);
  EXPECT_EQ(static_cast<rcode_t>(cush_register_parse_tree(queue(), std::string(32, 'x').c_str())),
            RCODE_INVALID);
  EXPECT_EQ(static_cast<rcode_t>(cush_register_parse_tree(-1, "tesk")), RCODE_INVALID);
}

}  // namespace
}  // namespace opal::test
