// Loader of the kernel module: `instteskklm start`. On the virtual chassis, the chassis itself serves the
// module's device, so there is nothing to load. The loader checks that the device exists and answers as a
// newly loaded module would. Exit status: 0, 1 when the device does not answer, 2 for a wrong command line.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tesk/kspace/teskk.h"

int main(int count, char **words) {
  if (count != 2 || std::strcmp(words[1], "start") != 0) {
    std::fputs("usage: instteskklm start\n", stderr);
    return 2;
  }
  const int device = open(TESKK_DEVICE, O_RDONLY | O_CLOEXEC);
  teskk_port_counters_t counters{};
  // No port has index 0: a working device refuses it with EINVAL; a plain file does not know the request.
  const bool answers =
      device >= 0 && ioctl(device, TESKK_GET_PORT_COUNTERS, &counters) < 0 && errno == EINVAL;
  if (!answers)
    std::fprintf(stderr, "instteskklm: %s does not answer: %s\n", TESKK_DEVICE, std::strerror(errno));
  if (device >= 0) close(device);
  return answers ? 0 : 1;
}
