#include "host/system/descriptor.h"

#include <unistd.h>

namespace host {

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

}  // namespace host
