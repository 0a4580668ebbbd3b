// Loader of the kernel module: `instteskklm start`. On the virtual chassis the module's device is served by
// the chassis itself, so that there is nothing to load: the loader checks that the device is there and
// answers, as a module that was just loaded would. Exit status 0, 1 when it does not answer, 2 for other
// words.
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
  // An index of no port: a device that works refuses it with EINVAL; a plain file does not know the request.
  const bool answers =
      device >= 0 && ioctl(device, TESKK_GET_PORT_COUNTERS, &counters) < 0 && errno == EINVAL;
  if (!answers)
    std::fprintf(stderr, "instteskklm: %s does not answer: %s\n", TESKK_DEVICE, std::strerror(errno));
  if (device >= 0) close(device);
  return answers ? 0 : 1;
}
