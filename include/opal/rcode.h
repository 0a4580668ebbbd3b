/* Result codes. Every service that can fail answers with one of these, or with an errno where its
 * header says so; the numbers below 4096 that are not listed here are errno values. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** 0 is success, everything else a failure. */
typedef uint32_t rcode_t;

enum {
  RCODE_SUCCESS = 0,
  RCODE_TIMED_OUT = 0x40010001u,   /**< the service did not answer within the timeout */
  RCODE_UNAVAILABLE = 0x40010002u, /**< the service is not running */
  RCODE_INVALID = 0x40010003u,     /**< an argument is outside what the service accepts */
  RCODE_NOT_FOUND = 0x40010004u,   /**< no such interface, VLAN, record or store */
  RCODE_EXISTS = 0x40010005u,      /**< it already exists */
  RCODE_TOO_LARGE = 0x40010006u,   /**< over a size limit */
  RCODE_CORRUPT = 0x40010007u,     /**< stored or received bytes are damaged or malformed */
  RCODE_NO_MEMORY = 0x40010008u,   /**< out of memory, descriptors or table slots */
  RCODE_IO = 0x40010009u,          /**< the system refused a read, write or rename */
  RCODE_REFUSED = 0x4001000au      /**< the service understood the request and refused it */
};

/**
 * Text of a result code.
 * @param rcode any value, known or not
 * @return a static, never null string; unknown codes read "unknown result code"
 */
const char *rcode2str(rcode_t rcode);

#ifdef __cplusplus
}
#endif
