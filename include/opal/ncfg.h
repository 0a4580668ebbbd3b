/* ncfg: configuration-interface messages, a 112-byte header followed by a body. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Opcodes of the requests to this program: its debug command, and the one that enables it. */
enum { QBUS_OPC_TESK_CFGDBG = 0x20401, QBUS_OPC_TESK_CFGENA = 0x20402 };

/** Kinds of request. */
enum {
  NCFG_GET_REQ = 1,
  NCFG_GETNEXT_REQ = 2,
  NCFG_SET_REQ = 3,
  NCFG_DELETE_REQ = 4,
  NCFG_CFS_GET_REQ = 5,
  NCFG_CFS_GETNEXT_REQ = 6
};

enum { NCFG_HEADER_BYTES = 112 };

/** Header of a request or reply; `data_size` bytes of body follow it. */
typedef struct ncfg_payload {
  int32_t msg_type;
  uint32_t data_size;
  uint32_t return_code;
  char user_name[40];
  char session_id[60];
} ncfg_payload_t;

#ifdef __cplusplus
}
#endif
