#include "opal/rcgen.h"

#include <gtest/gtest.h>

#include "host/bus/services.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

constexpr bus::Address config_address{0, 94};

class RcgenTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    drain_queue();
  }
  qbus_msg_ref_t arrive(bus::Bytes payload) {
    EXPECT_TRUE(asker_.send(bus::address::tesk, bus::Kind::request, bus::opcode::rcgen_generate, 6, payload));
    return take_message().value_or(qbus_msg_ref_t{});
  }
  static bus::Generate wanted() {
    bus::Generate request{};
    request.config_type = RCGEN_CFG_STARTUP;
    request.display_type = RCGEN_DISPLAY_ALL;
    bus::set_text(request.startup_uri_prefix, "file:///startup/");
    request.vlans.size = VLAN_BITSET_BYTES;
    bitset_set_bit(&request.vlans, 10);
    return request;
  }
  bus::GeneratedView answer() {
    const std::optional<bus::Message> message = receive(asker_);
    EXPECT_TRUE(message);
    answer_ = message.value_or(bus::Message{});
    const std::optional<bus::GeneratedView> view = bus::decode_generated(answer_.payload);
    EXPECT_TRUE(view);
    return view.value_or(bus::GeneratedView{});
  }
  bus::Socket asker_ = bind(config_address);
  bus::Message answer_;
};

TEST_F(RcgenTest, ARequestShowsWhatItAsksFor) {
  const bus::Generate request = wanted();
  qbus_msg_ref_t message = arrive(bus::bytes_of(request));
  EXPECT_EQ(rcgen_cfg_type_get(&message), RCGEN_CFG_STARTUP);
  EXPECT_EQ(rcgen_cfg_display_type_get(&message), RCGEN_DISPLAY_ALL);
  EXPECT_STREQ(rcgen_startup_cfg_uri_prefix_get(&message), "file:///startup/");
  vlan_bitset_t vlans{VLAN_BITSET_BYTES, {}};
  bitset_set_bit(&vlans, 3);
  EXPECT_EQ(rcgen_req_vlan_list_get(&message, &vlans), 0);
  EXPECT_EQ(bitset_first_bit(&vlans), 3);
  EXPECT_EQ(bitset_next_bit(&vlans, 3), 10);
  EXPECT_EQ(bitset_next_bit(&vlans, 10), -1);
  qbus_drop(queue(), &message);
}

TEST_F(RcgenTest, LinesComeUnderTheirVlansWithTheElementsNumbers) {
  const bus::Generate request = wanted();
  qbus_msg_ref_t message = arrive(bus::bytes_of(request));
  rcgen_hdl_t *handle = rcgen_hdl_init(&message);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(rcgen_elem_add(handle, 738, 1, 11), 0);
  EXPECT_EQ(rcgen_elem_property_set(handle, 1, 2), 0);
  EXPECT_EQ(rcgen_elem_dependency_add(handle, 1, 383, 2), 0);
  EXPECT_NE(rcgen_elem_property_set(handle, 9, 2), 0);
  std::string line = "cin\n";
  EXPECT_EQ(rcgen_elem_vlan_key_str_add_indent(handle, 1, 10, line.c_str(), 1), 0);
  line = "changed";
  EXPECT_NE(rcgen_elem_vlan_key_str_add_indent(handle, 1, 4096, "x", 1), 0);
  EXPECT_NE(rcgen_elem_vlan_key_str_add_indent(handle, 1, -1, "x", 1), 0);
  EXPECT_EQ(rcgen_respond(handle, queue(), &message), 0);
  qbus_drop(queue(), &message);
  const bus::GeneratedView generated = answer();
  EXPECT_EQ(generated.head.rcode, RCODE_SUCCESS);
  EXPECT_EQ(generated.head.uuid, 738u);
  EXPECT_EQ(generated.head.element, 1u);
  EXPECT_EQ(generated.head.kind, 11u);
  EXPECT_EQ(generated.head.property, 2u);
  EXPECT_EQ(generated.head.after_uuid, 383u);
  EXPECT_EQ(generated.head.after_element, 2u);
  ASSERT_EQ(generated.lines.size(), 1u);
  EXPECT_EQ(generated.lines[0].vlan, 10);
  EXPECT_EQ(generated.lines[0].indent, 1);
  EXPECT_EQ(generated.lines[0].text, "cin\n");
  EXPECT_NE(rcgen_respond(handle, queue(), &message), 0) << "the handle is released";
}

TEST_F(RcgenTest, AFailedAnswerCarriesItsTextAndNoLines) {
  const bus::Generate request = wanted();
  qbus_msg_ref_t message = arrive(bus::bytes_of(request));
  rcgen_hdl_t *handle = rcgen_hdl_init(&message);
  rcgen_elem_add(handle, 738, 1, 11);
  rcgen_elem_vlan_key_str_add_indent(handle, 1, 10, "cin\n", 1);
  EXPECT_EQ(rcgen_set_response_status(handle, RCODE_NOT_FOUND, "Failed to read"), 0);
  EXPECT_EQ(rcgen_respond(handle, queue(), &message), 0);
  qbus_drop(queue(), &message);
  const bus::GeneratedView generated = answer();
  EXPECT_EQ(generated.head.rcode, RCODE_NOT_FOUND);
  EXPECT_EQ(bus::text_of(generated.head.text), "Failed to read");
  EXPECT_TRUE(generated.lines.empty());
}

TEST_F(RcgenTest, EveryVlanFitsOneAnswer) {
  const bus::Generate request = wanted();
  qbus_msg_ref_t message = arrive(bus::bytes_of(request));
  rcgen_hdl_t *handle = rcgen_hdl_init(&message);
  rcgen_elem_add(handle, 738, 1, 11);
  for (vlan_id_t vlan = 0; vlan <= 4095; ++vlan)
    EXPECT_EQ(rcgen_elem_vlan_key_str_add_indent(handle, 1, vlan, "no cin\n", 1), 0);
  EXPECT_EQ(rcgen_respond(handle, queue(), &message), 0);
  qbus_drop(queue(), &message);
  EXPECT_EQ(answer().lines.size(), 4096u);
}

TEST_F(RcgenTest, AnAnswerTooLargeForOneMessageFailsInWords) {
  const bus::Generate request = wanted();
  qbus_msg_ref_t message = arrive(bus::bytes_of(request));
  rcgen_hdl_t *handle = rcgen_hdl_init(&message);
  rcgen_elem_add(handle, 738, 1, 11);
  for (vlan_id_t vlan = 0; vlan <= 4095; ++vlan)
    rcgen_elem_vlan_key_str_add_indent(handle, 1, vlan, "a line that is much longer than it has to be\n", 1);
  EXPECT_EQ(rcgen_respond(handle, queue(), &message), 0);
  qbus_drop(queue(), &message);
  EXPECT_EQ(answer().head.rcode, RCODE_TOO_LARGE);
}

TEST_F(RcgenTest, AMalformedRequestAsksForNothingAndIsAnsweredInvalid) {
  const bus::Generate good = wanted();
  std::vector<bus::Payload> wrong;
  for (const int size : {0, 4, 8, 264, 783})
    wrong.emplace_back(bus::bytes_of(good).begin(), bus::bytes_of(good).begin() + size);
  bus::Generate request = wanted();
  request.vlans.size = 1 << 30;
  wrong.emplace_back(bus::bytes_of(request).begin(), bus::bytes_of(request).end());
  request = wanted();
  std::memset(request.startup_uri_prefix, 'x', sizeof request.startup_uri_prefix);
  wrong.emplace_back(bus::bytes_of(request).begin(), bus::bytes_of(request).end());
  for (const bus::Payload &payload : wrong) {
    qbus_msg_ref_t message = arrive(payload);
    vlan_bitset_t vlans{VLAN_BITSET_BYTES, {}};
    EXPECT_NE(rcgen_req_vlan_list_get(&message, &vlans), 0);
    EXPECT_EQ(bitset_first_bit(&vlans), -1);
    EXPECT_EQ(rcgen_cfg_type_get(&message), 0);
    EXPECT_STREQ(rcgen_startup_cfg_uri_prefix_get(&message), "");
    EXPECT_EQ(rcgen_respond(rcgen_hdl_init(&message), queue(), &message), 0);
    qbus_drop(queue(), &message);
    EXPECT_EQ(answer().head.rcode, RCODE_INVALID);
  }
}

TEST_F(RcgenTest, RegistersTheQueue) {
  Service service = Service::answering(bus::address::rcgen, bus::Result{RCODE_SUCCESS});
  const rcgen_options_t options{0};
  EXPECT_EQ(rcgen_srv_init(queue(), &options), 0);
  EXPECT_EQ(bus::record_of<bus::Registration>(service.request()->payload)->queue, bus::address::tesk);
}

}  // namespace
}  // namespace opal::test
