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

int open_socket(const char *device, tesk_place_t place = tesk_here()) {
  const int descriptor = socket(AF_PACKET, SOCK_RAW, htons(TESK_FRAME_PROTOCOL));
  if (descriptor < 0) {
    TESK_ERR_AT(place, "%s:Error creating RAW socket for device [%s]\n", place.function, device);
  }
  return descriptor;
}

boolean make_nonblocking(int descriptor, const char *device, tesk_place_t place = tesk_here()) {
  const int flags = fcntl(descriptor, F_GETFL, 0);
  if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0) {
    TESK_ERR_AT(place, "%s:Error Setting socket in Non-Block mode[%s]\n (%d)", place.function, device, errno);
    return false;
  }
  return true;
}

boolean bind_to_device(int descriptor, const char *device, tesk_place_t place = tesk_here()) {
  ifreq request = {};
  (void)snprintf(request.ifr_name, sizeof request.ifr_name, "%s", device);
  if (ioctl(descriptor, SIOCGIFINDEX, &request) < 0) {
    TESK_ERR_AT(place, "%s:Error getting Interface index for [%s]\n", place.function, device);
    return false;
  }
  sockaddr_ll address = {};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(TESK_FRAME_PROTOCOL);
  address.sll_ifindex = request.ifr_ifindex;
  if (bind(descriptor, (const sockaddr *)&address, sizeof address) < 0) {
    TESK_ERR_AT(place, "%s:Error binding raw socket to interface[%s]\n", place.function, device);
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
  const int inband = open_socket(TESK_INBAND_DEVICE);
  if (inband < 0) {
    return TESK_RC_SOCKET;
  }
  if (!make_nonblocking(inband, TESK_INBAND_DEVICE)) {
    return TESK_RC_SOCKET; /* the descriptor stays open on this path */
  }
  if (!bind_to_device(inband, TESK_INBAND_DEVICE)) {
    (void)close(inband);
    return TESK_RC_SOCKET;
  }
  const char *device = management_device();
  (void)snprintf(lnx_eth_if, sizeof lnx_eth_if, "%s", device); /* traces show a longer name truncated */
  const int management = open_socket(device);
  if (management < 0) {
    (void)close(inband);
    return TESK_RC_SOCKET;
  }
  if (!make_nonblocking(management, device) || !bind_to_device(management, device)) {
    (void)close(inband);
    (void)close(management);
    return TESK_RC_SOCKET;
  }
  sock_inband = inband;
  sock_mgmt = management;
  tesk_l2_init_done = true;
  return TESK_RC_SUCCESS;
}
