#include "opal/rcode.h"

const char *rcode2str(rcode_t rcode) {
  switch (rcode) {
    case RCODE_SUCCESS:
      return "success";
    case RCODE_TIMED_OUT:
      return "the service did not answer in time";
    case RCODE_UNAVAILABLE:
      return "the service is not running";
    case RCODE_INVALID:
      return "invalid argument";
    case RCODE_NOT_FOUND:
      return "not found";
    case RCODE_EXISTS:
      return "already exists";
    case RCODE_TOO_LARGE:
      return "too large";
    case RCODE_CORRUPT:
      return "corrupt data";
    case RCODE_NO_MEMORY:
      return "out of memory";
    case RCODE_IO:
      return "input or output error";
    case RCODE_REFUSED:
      return "refused by the service";
    default:
      return "unknown result code";
  }
}
