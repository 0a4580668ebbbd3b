/* The two ASIC headers, byte by byte. */
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "opal/kestrix_th_fh_hdr.h"

namespace {

using Ten = std::array<uint8_t, 10>;

Ten bytes_of(const kestrix_fh_hdr_t &header) {
  Ten bytes;
  std::memcpy(bytes.data(), &header, bytes.size());
  return bytes;
}

kestrix_th_hdr_t to_host(const Ten &bytes) {
  kestrix_th_hdr_t header;
  std::memcpy(&header, bytes.data(), sizeof header);
  return header;
}

kestrix_fh_hdr_t cleared() {
  kestrix_fh_hdr_t header;
  std::memset(&header, 0xff, sizeof header);
  kestrix_fh_clear(&header);
  return header;
}

TEST(FromHostHeader, IsTenZeroBytesWhenCleared) {
  EXPECT_EQ(sizeof(kestrix_fh_hdr_t), 10u);
  EXPECT_EQ(bytes_of(cleared()), Ten{});
}

TEST(FromHostHeader, HoldsTheSolVlan) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_ce(&header);
  kestrix_fh_set_vlan(&header, 4095);
  EXPECT_EQ(bytes_of(header), (Ten{0xfd, 0x3f, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, SplitsTheVlanAfterItsSixthBit) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_vlan(&header, 0x041);
  EXPECT_EQ(bytes_of(header), (Ten{0x04, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, KeepsCeAndMultiDestinationWhenTheVlanIsWritten) {
  kestrix_fh_hdr_t header;
  std::memset(&header, 0xff, sizeof header);
  kestrix_fh_set_vlan(&header, 0);
  EXPECT_EQ(bytes_of(header), (Ten{0x03, 0xc0, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
}

TEST(FromHostHeader, HoldsTheFullPortMaskBesideTagsPresent) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_tagged(&header);
  kestrix_fh_set_ltl(&header, 0xfffff);
  EXPECT_EQ(bytes_of(header), (Ten{0, 0xc0, 0xff, 0xff, 0x43, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, SplitsThePortMaskOverFourBytes) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_ltl(&header, 1u << 1 | 1u << 2 | 1u << 10 | 1u << 19);
  EXPECT_EQ(bytes_of(header), (Ten{0, 0x80, 0x01, 0x01, 0x02, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, TakesOnlyTheLowTwentyBitsOfAPortMask) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_ltl(&header, 0xffffffff);
  EXPECT_EQ(bytes_of(header), (Ten{0, 0xc0, 0xff, 0xff, 0x03, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, KeepsItsNeighboursWhenThePortMaskIsWritten) {
  kestrix_fh_hdr_t header;
  std::memset(&header, 0xff, sizeof header);
  kestrix_fh_set_ltl(&header, 0);
  EXPECT_EQ(bytes_of(header), (Ten{0xff, 0x3f, 0, 0, 0xfc, 0xff, 0xff, 0xff, 0xff, 0xff}));
}

TEST(FromHostHeader, MarksAFloodedFrame) {
  kestrix_fh_hdr_t header = cleared();
  kestrix_fh_set_mc(&header);
  EXPECT_EQ(bytes_of(header), (Ten{0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(FromHostHeader, IsReadBackAsItWasWritten) {
  for (uint32_t port = 0; port < 20; ++port) {
    kestrix_fh_hdr_t header = cleared();
    kestrix_fh_set_ce(&header);
    kestrix_fh_set_tagged(&header);
    kestrix_fh_set_vlan(&header, static_cast<uint16_t>(3 + 200 * port));
    kestrix_fh_set_ltl(&header, 1u << port);
    EXPECT_EQ(kestrix_fh_vlan(&header), 3 + 200 * port);
    EXPECT_EQ(kestrix_fh_ltl(&header), 1u << port);
    EXPECT_EQ(kestrix_fh_ce(&header), 1);
    EXPECT_EQ(kestrix_fh_mc(&header), 0);
    EXPECT_EQ(kestrix_fh_tagged(&header), 1);
  }
}

TEST(ToHostHeader, HasItsFlagsInBytesOneAndTwo) {
  EXPECT_EQ(sizeof(kestrix_th_hdr_t), 10u);
  const kestrix_th_hdr_t none = to_host({0xff, 0xfe, 0xdf, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(kestrix_th_ce(&none), 0);
  EXPECT_EQ(kestrix_th_tagged(&none), 0);
  const kestrix_th_hdr_t both = to_host({0, 0x01, 0x20, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(kestrix_th_ce(&both), 1);
  EXPECT_EQ(kestrix_th_tagged(&both), 1);
}

TEST(ToHostHeader, PutsTheIngressPortTogetherFromTwoBytes) {
  const auto ingress = [](const Ten &bytes) {
    const kestrix_th_hdr_t header = to_host(bytes);
    return static_cast<int>(kestrix_th_ingress_plid(&header));
  };
  EXPECT_EQ(ingress({0, 0, 0, 0x3f, 0xf8, 0, 0, 0, 0, 0}), 0) << "the neighbouring bits are not the port's";
  EXPECT_EQ(ingress({0, 0, 0, 0x40, 0, 0, 0, 0, 0, 0}), 1);
  EXPECT_EQ(ingress({0, 0, 0, 0xc0, 0, 0, 0, 0, 0, 0}), 3);
  EXPECT_EQ(ingress({0, 0, 0, 0, 0x01, 0, 0, 0, 0, 0}), 4);
  EXPECT_EQ(ingress({0, 0, 0, 0, 0x05, 0, 0, 0, 0, 0}), 20);
  EXPECT_EQ(ingress({0, 0, 0, 0xc0, 0x07, 0, 0, 0, 0, 0}), 31);
}

TEST(ToHostHeader, SplitsTheVlanAfterItsFifthBit) {
  const kestrix_th_hdr_t header = to_host({0, 0, 0, 0, 0x08, 0x81, 0, 0, 0, 0});
  EXPECT_EQ(kestrix_th_vlan(&header), 0x021);
}

TEST(ToHostHeader, IsAllZeroesOnceItWasCleared) {
  kestrix_th_hdr_t header = to_host({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff});
  kestrix_th_clear(&header);
  EXPECT_EQ(std::memcmp(&header, Ten{}.data(), KESTRIX_HDR_BYTES), 0);
}

TEST(ToHostHeader, IsReadBackAsItWasWritten) {
  for (uint8_t port = 0; port < 32; ++port) {
    kestrix_th_hdr_t header;
    kestrix_th_clear(&header);
    kestrix_th_set_ce(&header);
    kestrix_th_set_tagged(&header);
    kestrix_th_set_ingress_plid(&header, port);
    kestrix_th_set_vlan(&header, 4095);
    EXPECT_EQ(kestrix_th_ingress_plid(&header), port);
    EXPECT_EQ(kestrix_th_vlan(&header), 4095);
    EXPECT_EQ(kestrix_th_ce(&header), 1);
    EXPECT_EQ(kestrix_th_tagged(&header), 1);
  }
}

}  // namespace
