/* Frames as they are on the wire, written out byte by byte, without the daemon's or the platform's own
 * helpers: what a test expects must not come from the code that it tests. */
#pragma once

#include <array>
#include <cstdint>

#include "tests/standin/system.h"

using Mac = std::array<uint8_t, 6>;

/** Addresses of the tests: the management module, two blades, and groups. */
constexpr Mac amm_mac = {0x02, 0, 0, 0, 0, 0xaa};
constexpr Mac blade_mac = {0x02, 0, 0, 0, 0, 0x01};
constexpr Mac other_mac = {0x02, 0, 0, 0, 0, 0x02};
constexpr Mac broadcast_mac = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
constexpr Mac group_mac = {0x01, 0x00, 0x5e, 0, 0, 0x05};

/** A frame with an 802.1Q tag of priority 7 and with its drop-eligible bit, `size` bytes in all, filled with
 * a pattern. */
standin::Bytes tagged_frame(const Mac &destination, const Mac &source, uint16_t vlan, size_t size = 60);

/** The same without a tag: an IPv4 frame. */
standin::Bytes untagged_frame(const Mac &destination, const Mac &source, size_t size = 60);

/** A frame as the ASIC passes it up: to-host header with CE and tags-present set. */
standin::Bytes from_asic(uint8_t ingress_port, const standin::Bytes &frame);
