#include <string.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_qbus.h"

qbus_queue_t tesk_qbus_q;

rcode_t tesk_qbus_send(uint32_t opcode, const void *payload, uint32_t length, qbus_addr_t destination,
                       qbus_msg_ref_t *reply) {
  qbus_msg_ref_t reference = {};
  rcode_t result = TESK_RC_SUCCESS;
  if (fu_qbus_send(tesk_qbus_q, destination, opcode, payload, length, &reference, 0, 0) != 0) {
    const int error = qbus_errno_get(tesk_qbus_q);
    TESK_CTRL("Qbus send error rc = %d [%s]\n", error, strerror(error));
    result = (rcode_t)error;
  } else if (reply != nullptr) {
    *reply = reference;
  } else {
    (void)qbus_drop(tesk_qbus_q, &reference);
  }
  TESK_CTRL("Sent qbus %s\n", qbus_opc_name_get(opcode));
  return result;
}
