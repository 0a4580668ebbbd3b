#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "opal/board.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_l2switch.h"

static_assert(sizeof(sockaddr_ll) == 20);

char lnx_eth_if[TESK_DEVICE_NAME_BYTES];
int sock_mgmt;
int sock_inband;
boolean tesk_l2_init_done = false;

namespace {

int open_socket(const char *caller, const char *device) {
  const int descriptor = socket(AF_PACKET, SOCK_RAW, htons(TESK_FRAME_PROTOCOL));
  if (descriptor < 0) {
    TESK_ERR_AS(caller, "%s:Error creating RAW socket for device [%s]\n", caller, device);
  }
  return descriptor;
}

boolean make_nonblocking(const char *caller, int descriptor, const char *device) {
  const int flags = fcntl(descriptor, F_GETFL, 0);
  if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0) {
    TESK_ERR_AS(caller, "%s:Error Setting socket in Non-Block mode[%s]\n (%d)", caller, device, errno);
    return false;
  }
  return true;
}

boolean bind_to_device(const char *caller, int descriptor, const char *device) {
  ifreq request = {};
  (void)snprintf(request.ifr_name, sizeof request.ifr_name, "%s", device);
  if (ioctl(descriptor, SIOCGIFINDEX, &request) < 0) {
    TESK_ERR_AS(caller, "%s:Error getting Interface index for [%s]\n", caller, device);
    return false;
  }
  sockaddr_ll address = {};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(TESK_FRAME_PROTOCOL);
  address.sll_ifindex = request.ifr_ifindex;
  if (bind(descriptor, (const sockaddr *)&address, sizeof address) < 0) {
    TESK_ERR_AS(caller, "%s:Error binding raw socket to interface[%s]\n", caller, device);
    return false;
  }
  return true;
}

const char *management_device() {
  const platform_runtime_param_t *board = &platform_runtime_param_array[get_platform_runtime_index()];
  return vorlund_platform ? board->name2 : board->name;
}

}  // namespace

rcode_t tesk_l2switch_init() {
  sock_inband = 0;
  sock_mgmt = 0;
  const int inband = open_socket(__func__, TESK_INBAND_DEVICE);
  if (inband < 0) {
    return TESK_RC_SOCKET;
  }
  if (!make_nonblocking(__func__, inband, TESK_INBAND_DEVICE)) {
    return TESK_RC_SOCKET; /* the descriptor stays open on this path */
  }
  if (!bind_to_device(__func__, inband, TESK_INBAND_DEVICE)) {
    (void)close(inband);
    return TESK_RC_SOCKET;
  }
  const char *device = management_device();
  (void)snprintf(lnx_eth_if, sizeof lnx_eth_if, "%s", device); /* a longer name is cut for the traces */
  const int management = open_socket(__func__, device);
  if (management < 0) {
    (void)close(inband);
    return TESK_RC_SOCKET;
  }
  if (!make_nonblocking(__func__, management, device) || !bind_to_device(__func__, management, device)) {
    (void)close(inband);
    (void)close(management);
    return TESK_RC_SOCKET;
  }
  sock_inband = inband;
  sock_mgmt = management;
  tesk_l2_init_done = true;
  return TESK_RC_SUCCESS;
}
