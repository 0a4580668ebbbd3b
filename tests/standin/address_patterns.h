/* Station addresses in patterns that networks have, and in some that are rare. An address is a function of
 * the pattern and a number below 2^22. Different numbers have different addresses; all are unicast. */
#pragma once

#include <array>
#include <cstdint>

struct AddressPattern {
  const char *name;
  std::array<uint8_t, 6> (*address)(uint32_t number);
};

namespace address_pattern {

using Mac = std::array<uint8_t, 6>;

inline Mac mac_of(uint64_t value) {
  Mac mac;
  for (unsigned i = 0; i < 6; ++i) mac[i] = static_cast<uint8_t>(value >> (40 - 8 * i));
  return mac;
}

/** Maps each number of `bits` bits to a different one, in no visible order. */
inline uint64_t shuffled(uint64_t number, unsigned bits) {
  const uint64_t mask = (uint64_t{1} << bits) - 1;
  for (const uint64_t odd : {0xbf58476d1ce4e5b9U, 0x94d049bb133111ebU, 0xd6e8feb86659fd93U}) {
    number = number * odd & mask;
    number ^= number >> (bits / 2);
  }
  return number;
}

inline Mac step(uint32_t number, uint32_t width) { return mac_of(0x020000000000 + uint64_t{number} * width); }

inline Mac consecutive(uint32_t number) { return step(number, 1); }
inline Mac steps_of_2(uint32_t number) { return step(number, 2); }
inline Mac steps_of_16(uint32_t number) { return step(number, 16); }
inline Mac steps_of_256(uint32_t number) { return step(number, 256); }
inline Mac one_vendor(uint32_t number) { return mac_of(uint64_t{0x00a0c9} << 24 | shuffled(number, 24)); }

/** Varies seven bits of the first byte, because the eighth marks group addresses. */
inline Mac many_vendors(uint32_t number) {
  const uint64_t prefix = shuffled(number, 23);
  return mac_of((prefix >> 16) << 41 | (prefix & 0xffff) << 24 | 0x334455);
}
inline Mac random(uint32_t number) {
  const uint64_t value = shuffled(number, 47);
  return mac_of((value >> 40) << 41 | (value & 0xffffffffff));
}
inline Mac one_chain(uint32_t number) { return mac_of(uint64_t{0x02} << 40 | shuffled(number, 35) << 5 | 5); }

}  // namespace address_pattern

inline constexpr AddressPattern address_patterns[] = {
    {"consecutive", address_pattern::consecutive}, {"steps_of_2", address_pattern::steps_of_2},
    {"steps_of_16", address_pattern::steps_of_16}, {"steps_of_256", address_pattern::steps_of_256},
    {"one_vendor", address_pattern::one_vendor},   {"many_vendors", address_pattern::many_vendors},
    {"random", address_pattern::random},           {"one_chain", address_pattern::one_chain}};

/** Table sizes to test and measure with. */
inline constexpr uint32_t address_counts[] = {20, 250, 256, 440, 890, 1000, 10'000, 100'000};
