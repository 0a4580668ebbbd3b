/* Running-configuration text: "cin" and "no cin" under the requested VLANs. */
#include "tesk/tesk_cli.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"
#include "tests/unit/tables.h"

namespace {

const char *const callback = "tesk_rcgencb_cfg_gen";

constexpr int running = 1, startup = 2;

Line trace(const std::string &text) { return control(callback, text); }

/** The first lines of every answer. */
Lines described(int configuration, int display) {
  return {"rcgen_elem_add(738, 1, 11)", "rcgen_elem_property_set(1, 2)",
          "rcgen_elem_dependency_add(1, 383, 2)",
          trace(format("info: rcgen type %d, display type %d\n", configuration, display))};
}

/** The walk over a store that holds this many VLANs. */
Lines listed(uint32_t handle, uint32_t vlans) {
  Lines walk = {Line(format("kvs_move2location(%u, 1)", handle))};
  for (uint32_t i = 0; i < vlans; ++i) walk.push_back(Line(format("kvs_move2location(%u, 3)", handle)));
  walk.push_back(vlans == 0
                     ? error_of("tesk_kvs_cin_vlan_config_get", ": No CIN VLAN configuration found in KVS\n")
                     : control_of("tesk_kvs_cin_vlan_config_get",
                                  format(": %u CIN VLAN configuration found in KVS\n", vlans)));
  return walk;
}

Line compared(uint32_t vlan, uint32_t cin) { return trace(format("checking vid[%u] cin[%u]\n", vlan, cin)); }

Lines line_added(uint32_t vlan, const char *text) {
  return lines(format("rcgen_elem_vlan_key_str_add_indent(1, %u, '%s\n', 1)", vlan, text),
               trace(format("ascii_cmd[%s\n] [%u]\n", text, vlan)));
}

/** The running store is open with handle 1 and holds VLANs 20 and 10, in this order. */
class ConfigurationText : public DaemonTest {
 protected:
  ConfigurationText() {
    tesk_qbus_q = queue_descriptor;
    tesk_kvs_cfg = open_store(running_store);
    store_cin_vlans(running_store, {20, 10});
  }

  static void asked(const Generation &generation) {
    qbus_msg_ref_t message = hold(message_of_generation(generation));
    tesk_rcgencb_cfg_gen(&message);
  }

  const Line comparing = trace("checking cin in vlan_bmp\n");
  const Line responded = "rcgen_respond(30, message 0x1def)";
  const Line done = trace("Done handling ASCII config.");
  const Lines running_listed = lines(listed(1, 2), trace("Running_cfg cin_ct[2]"));
};

TEST_F(ConfigurationText, SaysCinUnderEachCinVlanThatWasAskedFor) {
  asked({.vlans = {30, 20, 10}});
  expect(lines(described(running, 0), running_listed, comparing, compared(10, 20), compared(10, 10),
               line_added(10, "cin"), compared(20, 20), line_added(20, "cin"), compared(30, 20),
               compared(30, 10), responded, done));
}

TEST_F(ConfigurationText, IsAnsweredBeforeItsListIsFreed) {
  asked({.vlans = {10}});
  EXPECT_EQ(blocks_when_answered(), live_blocks() + 1);
  ignore_rest();
}

TEST_F(ConfigurationText, SaysNothingOfACinVlanThatWasNotAskedFor) {
  asked({.vlans = {10}});
  expect(lines(described(running, 0), running_listed, comparing, compared(10, 20), compared(10, 10),
               line_added(10, "cin"), responded, done));
}

TEST_F(ConfigurationText, OfNoVlansIsAnEmptyAnswer) {
  asked({.vlans = {}});
  expect(lines(described(running, 0), running_listed, comparing, responded, done));
}

TEST_F(ConfigurationText, SaysNoCinUnderTheOthersInDisplayTypeFour) {
  asked({.vlans = {10, 30, 4095}, .display = 4});
  expect(lines(described(running, 4), running_listed, comparing, compared(10, 20), compared(10, 10),
               line_added(10, "cin"), compared(30, 20), compared(30, 10), line_added(30, "no cin"),
               compared(4095, 20), compared(4095, 10), line_added(4095, "no cin"), responded, done));
}

TEST_F(ConfigurationText, SaysNothingUnderTheOthersInAnyOtherDisplayType) {
  for (const int display : {-1, 0, 1, 2, 3, 5}) {
    asked({.vlans = {30}, .display = display});
    expect(lines(described(running, display), running_listed, comparing, compared(30, 20), compared(30, 10),
                 responded, done));
  }
}

TEST_F(ConfigurationText, OfAnEmptyStoreComparesNothing) {
  store(running_store).records.clear();
  asked({.vlans = {10}, .display = 4});
  expect(lines(described(running, 4), listed(1, 0), trace("Running_cfg cin_ct[0]"), comparing,
               line_added(10, "no cin"), responded, done));
}

TEST_F(ConfigurationText, OfTheStartupConfigurationComesFromItsStore) {
  store_cin_vlans(startup_store, {30});
  asked({.vlans = {10, 30}, .configuration = startup, .display = 4});
  expect(lines(described(startup, 4), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')", listed(2, 1), trace("Startup config KVS cin_ct[1]\n"),
               comparing, compared(10, 30), line_added(10, "no cin"), compared(30, 30), line_added(30, "cin"),
               "kvs_close(2)", responded, done));
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u) << "the handle is this request's own";
}

TEST_F(ConfigurationText, OfAStartupStoreThatDoesNotOpenIsAnError) {
  asked({.vlans = {10}, .configuration = startup, .display = 4});
  expect(lines(described(startup, 4), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')",
               error(callback, format("Failed to open startup config KVS[startup:tesk_startup_cfg] [%d]\n",
                                      static_cast<int32_t>(RCODE_NOT_FOUND))),
               "rcgen_set_response_status(0x40010004, 'Failed to read Startup cfg for Tesk')", responded));
}

TEST_F(ConfigurationText, OfAStartupStoreIsJudgedByTheCodeOfItsOpening) {
  when("kvs_open").once().returns(55).gives(0xffffffff);
  asked({.vlans = {10}, .configuration = startup, .display = 4});
  expect(lines(described(startup, 4), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')",
               error(callback, "Failed to open startup config KVS[startup:tesk_startup_cfg] [-1]\n"),
               "rcgen_set_response_status(0xffffffff, 'Failed to read Startup cfg for Tesk')", responded));
  when("kvs_open").once().returns(0).gives(RCODE_SUCCESS);
  asked({.vlans = {10}, .configuration = startup});
  expect(lines(described(startup, 0), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')", listed(0, 0), trace("Startup config KVS cin_ct[0]\n"),
               comparing, responded, done));
}

TEST_F(ConfigurationText, OfTheStartupConfigurationIsFoundUnderItsPrefix) {
  when("overseer_file_prefix_get").returns(1);
  store_cin_vlans("startup:100%d-tesk_startup_cfg", {30});
  asked({.vlans = {30}, .configuration = startup});
  EXPECT_EQ(count_of("kvs_open('startup:100%d-tesk_startup_cfg')"), 1u);
  EXPECT_EQ(count_of("rcgen_elem_vlan_key_str_add_indent(1, 30, 'cin\n', 1)"), 1u);
  ignore_rest();
}

TEST_F(ConfigurationText, ComparesSignedNumbers) {
  store(running_store).records.clear();
  store_cin_vlans(running_store, {-1});
  asked({.vlans = {4095}});
  expect_end({comparing, trace("checking vid[4095] cin[-1]\n"), responded, done});
}

TEST_F(ConfigurationText, OfTheStartupConfigurationClosesItsStoreWhenMemoryIsShort) {
  store_cin_vlans(startup_store, {30});
  fail_allocation(1);
  asked({.vlans = {30}, .configuration = startup});
  expect(lines(described(startup, 0), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')",
               error_of("tesk_kvs_cin_vlan_config_get", ":Failed to allocate memory for KVS CIN VLAN list\n"),
               trace("Startup config KVS cin_ct[0]\n"), comparing, "kvs_close(2)", responded, done));
}

TEST_F(ConfigurationText, IsAnsweredOnceThoughTheServiceRefusesEachPart) {
  for (const char *operation :
       {"rcgen_elem_add", "rcgen_elem_property_set", "rcgen_elem_dependency_add",
        "rcgen_elem_vlan_key_str_add_indent", "rcgen_set_response_status", "rcgen_respond", "kvs_close"})
    when(operation).returns(5);
  asked({.vlans = {30}, .configuration = startup, .display = 4});
  EXPECT_EQ(count_of("rcgen_set_response_status(0x40010004, 'Failed to read Startup cfg for Tesk')"), 1u);
  expect_end({responded});
  store_cin_vlans(startup_store, {30});
  asked({.vlans = {30}, .configuration = startup, .display = 4});
  expect(lines(described(startup, 4), trace("rcgen_uri_prefix_p[startup:]"),
               "kvs_open('startup:tesk_startup_cfg')", listed(2, 1), trace("Startup config KVS cin_ct[1]\n"),
               comparing, compared(30, 30), line_added(30, "cin"), "kvs_close(2)", responded, done));
}

TEST_F(ConfigurationText, OfARequestThatNamesNoVlansInGoodFormIsEmpty) {
  when("rcgen_req_vlan_list_get").returns(RCODE_INVALID);
  asked({.vlans = {10, 20}});
  expect(lines(described(running, 0), running_listed, comparing, responded, done));
}

TEST_F(ConfigurationText, OfAnyOtherConfigurationHasNoCinVlans) {
  for (const int configuration : {0, 3, -1}) {
    asked({.vlans = {10}, .configuration = configuration, .display = 4});
    expect(lines(described(configuration, 4), comparing, line_added(10, "no cin"), responded, done));
  }
}

TEST_F(ConfigurationText, IsAnsweredWithoutCinVlansWhenMemoryIsShort) {
  fail_allocation(1);
  asked({.vlans = {10}});
  expect(lines(described(running, 0),
               error_of("tesk_kvs_cin_vlan_config_get", ":Failed to allocate memory for KVS CIN VLAN list\n"),
               trace("Running_cfg cin_ct[0]"), comparing, responded, done));
}

TEST_F(ConfigurationText, OfAFullStoreComparesThirtyTwoVlans) {
  store(running_store).records.clear();
  for (int32_t vlan = 101; vlan <= 140; ++vlan) store_cin_vlans(running_store, {vlan});
  asked({.vlans = {132, 133}, .display = 4});
  EXPECT_EQ(count_of("rcgen_elem_vlan_key_str_add_indent(1, 132, 'cin\n', 1)"), 1u);
  EXPECT_EQ(count_of("rcgen_elem_vlan_key_str_add_indent(1, 133, 'no cin\n', 1)"), 1u);
  EXPECT_EQ(count_of(compared(133, 132)), 1u);
  ignore_rest();
}

}  // namespace
