/* Frames as on the wire, written byte by byte, without helpers of the daemon or the platform: what a test
 * expects must not come from the code that it tests. */
#pragma once

#include <array>
#include <cstdint>

#include "tests/standin/system.h"

using Mac = std::array<uint8_t, 6>;

/** Addresses in the tests: the management module, two blades, and groups. */
constexpr Mac amm_mac = {0x02, 0, 0, 0, 0, 0xaa};
constexpr Mac blade_mac = {0x02, 0, 0, 0, 0, 0x01};
constexpr Mac other_mac = {0x02, 0, 0, 0, 0, 0x02};
constexpr Mac broadcast_mac = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
constexpr Mac group_mac = {0x01, 0x00, 0x5e, 0, 0, 0x05};

/** A frame of `size` bytes with an 802.1Q tag of priority 7 and the drop-eligible bit set; the rest is filled
 * with a pattern. */
standin::Bytes tagged_frame(const Mac &destination, const Mac &source, uint16_t vlan, size_t size = 60);

/** The same without a tag; the frame type is IPv4. */
standin::Bytes untagged_frame(const Mac &destination, const Mac &source, size_t size = 60);

/** A frame as the ASIC sends it to the CPU: with a to-host header that has CE and tags-present set. */
standin::Bytes from_asic(uint8_t ingress_port, const standin::Bytes &frame);
