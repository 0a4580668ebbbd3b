#include "tests/agreement/generate.h"

#include <iterator>

#include "tests/standin/address_patterns.h"

namespace model {

namespace {

using rc::Gen;
namespace gen = rc::gen;

/** All values here are drawn from pools. At the nominal size the whole of each range is drawn from. */
constexpr int nominal_size = 100;

template <class Element>
Gen<std::vector<Element>> up_to(int longest, Gen<Element> element) {
  return gen::resize(longest,
                     gen::container<std::vector<Element>>(gen::resize(nominal_size, std::move(element))));
}

template <class Element, class... Elements>
Gen<Element> any_of(Element first, Elements... others) {
  return gen::elementOf(std::vector<Element>{first, static_cast<Element>(others)...});
}

Gen<bool> mostly(bool usual) { return gen::weightedElement<bool>({{9, usual}, {1, !usual}}); }

/* ---- numbers ---- */

constexpr uint32_t ethernet_base = 0x1a000000;
constexpr uint32_t channel_base = 0x16000000;

Gen<uint32_t> ethernet_port(uint32_t ports) {
  return gen::map(gen::inRange<uint32_t>(0, ports), [](uint32_t port) { return ethernet_base + port; });
}

Gen<uint32_t> channel_number() { return any_of<uint32_t>(1u, 2u, 3u, 35u); }

Gen<uint32_t> interface() {
  const auto channel = gen::map(channel_number(), [](uint32_t number) { return channel_base + number; });
  return gen::weightedOneOf<uint32_t>({{12, ethernet_port(8)},
                                       {8, ethernet_port(20)},
                                       {2, ethernet_port(44)},
                                       {5, channel},
                                       {1, any_of<uint32_t>(0x05000000u, 0x05000001u, 0x07000001u, 0u)}});
}

/** VLANs some of which share a chain: 5, 37, 69 and 101 with each other, 4063 with the SoL VLAN. */
Gen<uint16_t> usual_vlan() {
  return any_of<uint16_t>(3, 5, 37, 69, 100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112, 4063,
                          4094);
}

Gen<uint16_t> vlan() {
  return gen::weightedOneOf<uint16_t>(
      {{30, usual_vlan()}, {3, gen::just<uint16_t>(4095)}, {1, any_of<uint16_t>(0, 1, 2, 200, 3000)}});
}

Gen<Vlans> vlans() {
  return gen::weightedOneOf<Vlans>({{2, gen::just(Vlans{})}, {3, up_to(4, vlan())}, {4, up_to(24, vlan())}});
}

Gen<uint16_t> station_of_any_pattern(uint16_t from, uint16_t to) {
  const auto pattern = gen::inRange<uint16_t>(0, std::size(address_patterns));
  return gen::map(gen::pair(pattern, gen::inRange(from, to)), [](const std::pair<uint16_t, uint16_t> &pair) {
    return static_cast<uint16_t>(pair.first * stations_of_a_pattern + pair.second);
  });
}

Gen<uint16_t> station_number() {
  return gen::weightedOneOf<uint16_t>({{8, any_of<uint16_t>(1, 2, 33, 34, 65, 97)},
                                       {1, station_of_any_pattern(100, 600)},
                                       {1, any_of<uint16_t>(broadcast_station, group_station)}});
}

/* ---- notices ---- */

Gen<Happening> port_state() {
  const auto up = gen::construct<PortReport>(interface(), gen::just<uint8_t>(1), vlans(), up_to(2, vlan()));
  const auto down =
      gen::construct<PortReport>(interface(), gen::just<uint8_t>(2), gen::just(Vlans{}), vlans());
  const auto odd = gen::construct<PortReport>(interface(), any_of<uint8_t>(0, 2, 3, 255), vlans(), vlans());
  const auto report = gen::weightedOneOf<PortReport>({{14, up}, {5, down}, {1, odd}});
  return gen::cast<Happening>(gen::construct<PortState>(up_to(3, report)));
}

Gen<Happening> cbl_change() {
  const auto report = gen::construct<CblReport>(interface(), vlans());
  return gen::cast<Happening>(gen::construct<CblChange>(up_to(4, report)));
}

Gen<Happening> vlans_deleted() {
  const auto known = gen::map(vlan(), [](uint16_t number) { return int32_t{number}; });
  const auto above = gen::map(usual_vlan(), [](uint16_t number) { return int32_t{number} + 0x10000; });
  const auto number =
      gen::weightedOneOf<int32_t>({{12, known}, {2, above}, {1, any_of<int32_t>(-1, 70000, 0x7fffffff)}});
  return gen::cast<Happening>(gen::construct<VlansDeleted>(up_to(3, number)));
}

Gen<Happening> ltl_answer() {
  return gen::cast<Happening>(gen::construct<LtlAnswer>(
      vlan(), gen::weightedElement<uint32_t>({{8, 0}, {1, 1}, {1, 100000}}), mostly(true), mostly(true)));
}

/* ---- commands ---- */

Gen<std::pair<uint32_t, uint32_t>> vlan_range() {
  using Range = std::pair<uint32_t, uint32_t>;
  const auto one = gen::map(usual_vlan(), [](uint16_t number) { return Range{number, number}; });
  const auto run = gen::map(gen::pair(gen::inRange<uint32_t>(98, 112), gen::inRange<uint32_t>(0, 9)),
                            [](const Range &pair) {
                              return Range{pair.first, pair.first + pair.second};
                            });
  const auto odd =
      any_of<Range>(Range{0, 4}, Range{1, 1}, Range{4095, 4095}, Range{4093, 4095}, Range{110, 100},
                    Range{4090, 5000}, Range{5000, 5000}, Range{6000, 0xffffffff});
  return gen::weightedOneOf<Range>({{12, one}, {6, run}, {1, odd}});
}

Gen<Happening> cin_command() {
  const auto is_no_form = gen::weightedElement<bool>({{7, false}, {3, true}});
  const auto has_list = gen::weightedElement<bool>({{30, true}, {1, false}});
  return gen::cast<Happening>(gen::construct<CinCommand>(up_to(4, vlan_range()), is_no_form, has_list));
}

Gen<Happening> show_counters() {
  const auto range = gen::map(gen::pair(interface(), gen::inRange<uint32_t>(0, 6)), [](const auto &pair) {
    return std::pair<uint32_t, uint32_t>{pair.first, pair.first + pair.second};
  });
  return gen::cast<Happening>(gen::construct<ShowCounters>(up_to(5, range)));
}

Gen<Happening> debug_request() {
  const auto body = any_of<std::vector<uint8_t>>(std::vector<uint8_t>{0, 1}, std::vector<uint8_t>{1, 1},
                                                 std::vector<uint8_t>{2, 1}, std::vector<uint8_t>{9, 1},
                                                 std::vector<uint8_t>{0}, std::vector<uint8_t>{},
                                                 std::vector<uint8_t>{1, 0, 0});
  const auto kind = any_of<int32_t>(3, 3, 4, 4, 1, -1);
  return gen::cast<Happening>(
      gen::construct<DebugRequest>(kind, any_of<uint32_t>(2u, 2u, 2u, 1u, 0u, 99u), body));
}

Gen<Happening> enable_request() {
  const auto state = gen::weightedElement<uint32_t>({{6, 1}, {2, 0}, {1, 7}});
  return gen::cast<Happening>(
      gen::construct<EnableRequest>(any_of<int32_t>(3, 4, 1), any_of<uint32_t>(4u, 4u, 8u, 0u), state));
}

Gen<Happening> generation() {
  return gen::cast<Happening>(
      gen::construct<Generation>(any_of<int>(1, 1, 2, 3), any_of<int>(0, 4), vlans()));
}

Gen<Happening> bare_message() {
  const auto opcode = any_of<uint32_t>(0xf407u, 0x20401u, 0x20402u, 0x11003u, 0x11004u, 0x5c22u, 0x1101au,
                                       0x5c2du, 0u, 1u, 0xffffffffu);
  return gen::cast<Happening>(
      gen::construct<BareMessage>(opcode, any_of<uint32_t>(0u, 1u, 3u, 4u, 11u, 100u)));
}

/* ---- surroundings of the daemon ---- */

Gen<Happening> channel_becomes() {
  const auto first =
      gen::weightedOneOf<uint32_t>({{8, ethernet_port(20)}, {1, ethernet_port(44)}, {1, gen::just(0u)}});
  const auto member = gen::weightedOneOf<uint32_t>(
      {{20, ethernet_port(20)},
       {1, any_of<uint32_t>(0x07000001u, 0x1a0000ffu, channel_base + 1, 0x1a000022u)}});
  const auto members =
      gen::weightedOneOf<std::vector<uint32_t>>({{9, up_to(6, member)}, {1, up_to(28, member)}});
  return gen::cast<Happening>(gen::construct<ChannelBecomes>(channel_number(), first, members));
}

Gen<Happening> device_counts() {
  return gen::cast<Happening>(gen::construct<DeviceCounts>(interface(), gen::inRange<uint32_t>(1, 100000)));
}

Gen<Frame> frame() {
  const auto size = gen::weightedOneOf<uint16_t>(
      {{12, any_of<uint16_t>(60, 64, 200)}, {1, any_of<uint16_t>(0, 14, 59, 1518, 2574, 2575, 2600)}});
  const auto ingress = gen::weightedOneOf<uint8_t>({{8, gen::inRange<uint8_t>(0, 8)},
                                                    {4, gen::inRange<uint8_t>(0, 20)},
                                                    {1, gen::inRange<uint8_t>(20, 32)}});
  const auto number = gen::weightedOneOf<uint16_t>({{5, gen::just<uint16_t>(4095)}, {6, vlan()}});
  const auto rarely_not = gen::weightedElement<bool>({{40, true}, {1, false}});
  return gen::construct<Frame>(any_of<bool>(true, false), number, station_number(), station_number(), size,
                               rarely_not, ingress, rarely_not, rarely_not);
}

Gen<Happening> frames_arrive() {
  return gen::cast<Happening>(gen::construct<FramesArrive>(up_to(4, frame())));
}

Gen<Happening> stations_appear() {
  return gen::cast<Happening>(
      gen::construct<StationsAppear>(gen::inRange<uint8_t>(0, 8), station_of_any_pattern(100, 400),
                                     gen::inRange<uint16_t>(100, 300), gen::just<uint16_t>(4095)));
}

template <class Kind>
Gen<Happening> simply() {
  return gen::just<Happening>(Kind{});
}

Gen<Happening> happening() {
  return gen::weightedOneOf<Happening>(
      {{22, port_state()},
       {12, cbl_change()},
       {15, cin_command()},
       {28, frames_arrive()},
       {6, ltl_answer()},
       {2, vlans_deleted()},
       {4, channel_becomes()},
       {4, simply<LineCardOnline>()},
       {2, simply<ShowCin>()},
       {2, show_counters()},
       {3, generation()},
       {2, debug_request()},
       {3, enable_request()},
       {2, bare_message()},
       {2, simply<Save>()},
       {1, stations_appear()},
       {1, device_counts()},
       {1, simply<TraceMessage>()},
       {1, simply<EmptyQueue>()},
       {1, gen::cast<Happening>(gen::construct<UnknownCommand>(any_of<uint32_t>(0u, 4u, 99u)))},
       {1, gen::cast<Happening>(gen::construct<FeatureAnswer>(gen::arbitrary<bool>()))},
       {1, gen::cast<Happening>(gen::construct<SupervisorMessage>(any_of<int>(1, 0, 7)))}});
}

/* ---- what is refused ---- */

Refusal fails(const char *operation, int64_t result) { return {operation, 1, result, {}}; }
Refusal gives(const char *operation, int64_t output) { return {operation, 1, {}, output}; }

Gen<Refusal> refusal() {
  constexpr int64_t timed_out = 0x40010001;
  constexpr int64_t io_error = 0x40010009;
  static const std::vector<Refusal> menu = {
      fails("write", 0),
      fails("write", -1),
      fails("write", 12),
      fails("read", -1),
      fails("ioctl", -1),
      gives("kvs_fetch", io_error),
      fails("kvs_store", io_error),
      fails("kvs_delete", io_error),
      fails("kvs_snapshot", io_error),
      {"kvs_open", 1, 0, io_error},
      gives("kvs_move2location", io_error),
      fails("ltlsvc_lib_ifidx_to_di", timed_out),
      gives("ltlsvc_lib_ifidx_to_di", 255),
      gives("ltlsvc_lib_ifidx_to_di", 300),
      fails("chanagg_get_pc_info", timed_out),
      fails("ltlsvc_send_ltl_alloc", 105),
      fails("ltlsvc_send_ltl_dealloc", 105),
      fails("kinb_tesk_vlan_add", 5),
      fails("kinb_tesk_vlan_del", 5),
      fails("fu_qbus_send", -1),
      fails("qbus_reply", -1),
      fails("vlan_mgr_check_feat", 0),
      {"vlan_feat_create_build_qbus_local", 1, 12, -1},
      {"vlan_feat_delete_build_qbus_local", 1, 12, -1},
      gives("vlan_feat_create_build_qbus_local", 0),
      gives("vlan_feat_delete_build_qbus_local", 0),
      fails("portsvc_parse_l2_protocol_state_change", timed_out),
      fails("vlan_mgr_parse_notification_msg_local", timed_out),
      fails("portsvc_is_ifindex_present", 0),
      fails("cmd_rsp_init", 0),
      fails("cmd_req_handle_get_2", 0),
      fails("cmd_mrange_create", 0),
      fails("socket", -1),
      fails("fcntl", -1),
      fails("bind", -1),
  };
  return gen::map(
      gen::pair(gen::elementOf(menu), gen::weightedElement<unsigned>({{6, 1}, {3, 2}, {2, 3}, {1, 4}})),
      [](std::pair<Refusal, unsigned> choice) {
        choice.first.call = choice.second;
        return choice.first;
      });
}

Gen<Event> event() {
  const auto none = gen::just(std::optional<Refusal>());
  const auto some = gen::map(refusal(), [](Refusal refused) { return std::optional(std::move(refused)); });
  const auto failing = gen::weightedOneOf<unsigned>({{30, gen::just(0u)}, {1, gen::inRange(1u, 5u)}});
  return gen::construct<Event>(happening(),
                               gen::weightedOneOf<std::optional<Refusal>>({{8, none}, {1, some}}), failing);
}

Gen<std::vector<int32_t>> stored_vlans() {
  const auto number = gen::map(vlan(), [](uint16_t stored) { return int32_t{stored}; });
  return gen::weightedOneOf<std::vector<int32_t>>(
      {{3, gen::just(std::vector<int32_t>{})},
       {3, gen::resize(18, gen::unique<std::vector<int32_t>>(gen::resize(nominal_size, number)))}});
}

}  // namespace

Gen<Sequence> sequences(int longest) {
  return gen::construct<Sequence>(gen::weightedElement<uint16_t>({{3, 82}, {1, 83}}), stored_vlans(),
                                  up_to(longest, event()));
}

}  // namespace model
