#include <unistd.h>

#include "host/bus/socket.h"

namespace opal::bus {

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) close(fd_);
    fd_ = other.release();
  }
  return *this;
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) close(fd_);
}

}  // namespace opal::bus
