/* Bit sets of any size.
 *
 * A bit set is a record that begins with a signed 32-bit count of bytes, followed by that many bytes
 * of bits: bit n is bit (n % 8), counted from the least significant, of byte n / 8. The size word
 * must be written before any routine but bitset_copy sees the record. A bit outside the set is never
 * set: setting or clearing it does nothing, testing it yields false. A size below 0 counts as 0.
 *
 * The routines take untyped pointers because sets of different lengths share them. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { VLAN_BITSET_BYTES = 512 };

/** One bit for each VLAN, 0 to 4095; `size` is always 512. */
typedef struct vlan_bitset {
  int32_t size;
  uint8_t bits[VLAN_BITSET_BYTES];
} vlan_bitset_t;

/** Clears every bit; `size` stays. */
void bitset_clear(void *bitset);

void bitset_set_bit(void *bitset, uint32_t bit);

void bitset_clear_bit(void *bitset, uint32_t bit);

/** @return 1 when the bit is set, else 0 */
int bitset_is_bit_set(const void *bitset, uint32_t bit);

/** @return the lowest set bit, -1 when there is none */
int32_t bitset_first_bit(const void *bitset);

/** @return the lowest set bit above `bit`, -1 when there is none */
int32_t bitset_next_bit(const void *bitset, int32_t bit);

/** @return 1 when no bit from `first` to `last`, both included, is set, else 0 */
int bitset_is_range_free(const void *bitset, uint32_t first, uint32_t last);

/**
 * Copies the bits of one set into another. Where the sizes differ, the common bytes are copied and
 * the destination's remaining bytes are cleared; the destination's `size` stays.
 */
void bitset_copy(void *destination, const void *source);

/**
 * Prints a set as ascending ranges, "1-3,7,4095"; an empty set prints as "". A text longer than the
 * buffer comes in chunks: the routine keeps the position between calls (one rendering at a time).
 * @param buffer receives one NUL-terminated chunk; a range is never split across chunks
 * @param size bytes in `buffer`, at least 16
 * @param first 1 starts the rendering, 0 continues it
 * @param done set to 1 with the last chunk, else to 0
 * @return characters written, without the NUL
 */
int bitset_snprintf(char *buffer, size_t size, const void *bitset, int first, int *done);

#ifdef __cplusplus
}
#endif
