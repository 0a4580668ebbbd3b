#include "tests/standin/system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <ostream>

#include "tests/standin/module.h"
#include "tests/standin/script.h"

extern "C" {
int __real_socket(int domain, int type, int protocol);
int __real_bind(int descriptor, const sockaddr *address, socklen_t length);
int __real_fcntl(int descriptor, int command, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);
ssize_t __real_read(int descriptor, void *buffer, size_t size);
ssize_t __real_write(int descriptor, const void *buffer, size_t size);
int __real_close(int descriptor);
int __real_open(const char *path, int flags, ...);
int __real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __real_system(const char *command);
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __real_abort();

int __wrap_socket(int domain, int type, int protocol);
int __wrap_bind(int descriptor, const sockaddr *address, socklen_t length);
int __wrap_fcntl(int descriptor, int command, ...);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
ssize_t __wrap_read(int descriptor, void *buffer, size_t size);
ssize_t __wrap_write(int descriptor, const void *buffer, size_t size);
int __wrap_close(int descriptor);
int __wrap_open(const char *path, int flags, ...);
int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int __wrap_system(const char *command);
[[noreturn]] void __wrap_exit(int status);
[[noreturn]] void __wrap_abort();
}

namespace standin {

namespace {

struct WakeUp {
  std::vector<int> readable;
  int error_number = 0;
};

struct System {
  int next_socket = first_socket;
  std::map<int, std::deque<Bytes>> to_read;
  std::map<int, std::vector<Bytes>> written;
  std::deque<WakeUp> wake_ups;
  std::jmp_buf *way_out = nullptr;  // into run(), while it runs a piece
  Ending ending{};
};

System the_system;
bool engaged = false;

/** Jumps from the daemon back to run(). An exception cannot: the daemon is compiled without them, and its
 * headers declare that exit and abort throw none. Nothing between here and run() has a destructor. */
[[noreturn]] void leave(Ending ending) {
  if (the_system.way_out == nullptr) {
    std::fprintf(stderr, "the daemon would have ended; let run() call what may end it\n");
    __real_abort();
  }
  the_system.ending = ending;
  std::longjmp(*the_system.way_out, 1);
}

std::string shown_set(const fd_set *set) {
  std::string text;
  for (int descriptor = 0; set != nullptr && descriptor < FD_SETSIZE; ++descriptor) {
    if (!FD_ISSET(descriptor, set)) continue;
    if (!text.empty()) text += ' ';
    text += std::to_string(descriptor);
  }
  return "{" + text + "}";
}

std::string shown_select(const fd_set *read, const fd_set *write, const fd_set *except,
                         const timeval *timeout) {
  return "read " + shown_set(read) + (write != nullptr ? " write " + shown_set(write) : "") +
         (except != nullptr ? " except " + shown_set(except) : "") +
         (timeout != nullptr ? " with a timeout" : "");
}

/** The result of a select; nothing if it would wait forever. */
std::optional<int> woken(const Operation &select, int count, fd_set *read, fd_set *write, fd_set *except,
                         timeval *timeout) {
  const Answer answer = call(select, count, shown_select(read, write, except, timeout));
  if (answer.has_result()) return answer.returns(-1);
  if (the_system.wake_ups.empty()) return std::nullopt;
  const WakeUp wake_up = std::move(the_system.wake_ups.front());
  the_system.wake_ups.pop_front();
  if (wake_up.error_number != 0) {  // the sets stay as they are, as with the system call
    errno = wake_up.error_number;
    return answer.returns(-1);
  }
  FD_ZERO(read);
  for (const int descriptor : wake_up.readable) FD_SET(descriptor, read);
  return answer.returns(static_cast<int>(wake_up.readable.size()));
}

std::string shown_address(const sockaddr *address, socklen_t length) {
  sockaddr_ll link{};
  std::memcpy(&link, address, std::min<size_t>(length, sizeof link));
  const std::string text = "family " + std::to_string(link.sll_family) + ", protocol " +
                           shown(hex(ntohs(link.sll_protocol))) + ", interface " +
                           std::to_string(link.sll_ifindex);
  const bool is_clear = link.sll_hatype == 0 && link.sll_pkttype == 0 && link.sll_halen == 0 &&
                        std::ranges::all_of(link.sll_addr, [](uint8_t byte) { return byte == 0; });
  return "{" + text + (is_clear ? "}" : ", rest not cleared}");
}

std::string shown_status_flags(int flags) {
  switch (flags) {
    case O_RDWR:
      return "O_RDWR";
    case O_RDWR | O_NONBLOCK:
      return "O_RDWR|O_NONBLOCK";
    default:
      return shown(hex(flags));
  }
}

int interface_index(const Operation &ioctl, int descriptor, ifreq *request) {
  const std::string name(request->ifr_name, strnlen(request->ifr_name, IFNAMSIZ));
  const auto *bytes = reinterpret_cast<const uint8_t *>(request);
  const bool is_clear =
      std::all_of(bytes + name.size(), bytes + sizeof *request, [](uint8_t byte) { return byte == 0; });
  const Answer answer = call(ioctl, descriptor, std::string("SIOCGIFINDEX"),
                             shown(name.c_str()) + (is_clear ? "" : ", rest not cleared"));
  if (!answer.has_result()) request->ifr_ifindex = name == "inb0" ? 5 : 6;
  return answer.returns(0);
}

/** Captures printed text: redirects standard output to a file in memory while this object lives. */
class Capture {
 public:
  Capture() : file_(memfd_create("printed", MFD_CLOEXEC)), saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    dup2(file_, STDOUT_FILENO);
  }
  ~Capture() {
    restore();
    __real_close(file_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;

  std::string text() {
    restore();
    return arrived();
  }

  /** The text that has left the buffer. */
  std::string arrived() const {
    std::string content(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
    const ssize_t got = pread(file_, content.data(), content.size(), 0);
    content.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return content;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    __real_close(saved_);
    saved_ = -1;
  }

  int file_;
  int saved_;
};

}  // namespace

std::ostream &operator<<(std::ostream &stream, const Ending &ending) {
  static const char *const names[] = {"returned", "exited", "aborted", "waiting"};
  return stream << names[static_cast<size_t>(ending.how)] << '(' << ending.status << ')';
}

Ending run(const std::function<int()> &piece) {
  std::jmp_buf here;
  the_system.way_out = &here;
  if (setjmp(here) == 0) the_system.ending = returned(piece());
  the_system.way_out = nullptr;
  return the_system.ending;
}

std::string printed_by(const std::function<void()> &piece) {
  Capture capture;
  piece();
  return capture.text();
}

std::string printed_at_once_by(const std::function<void()> &piece) {
  const Capture capture;
  piece();
  return capture.arrived();
}

void wakes(std::initializer_list<int> readable) { the_system.wake_ups.push_back({readable, 0}); }

void wake_fails(int error_number) { the_system.wake_ups.push_back({{}, error_number}); }

void arrives(int descriptor, Bytes frame) { the_system.to_read[descriptor].push_back(std::move(frame)); }

size_t waiting_frames(int descriptor) { return the_system.to_read[descriptor].size(); }

std::vector<Bytes> &written(int descriptor) { return the_system.written[descriptor]; }

bool is_engaged() { return engaged; }
void engage() { engaged = true; }
void disengage() { engaged = false; }

void reset_system() { the_system = {}; }

void verify_system() {
  if (!the_system.wake_ups.empty())
    ADD_FAILURE() << the_system.wake_ups.size() << " scripted wake-ups of select never happened";
}

}  // namespace standin

using namespace standin;

int __wrap_socket(int domain, int type, int protocol) {
  if (!engaged) return __real_socket(domain, type, protocol);
  const Answer answer = call("socket", domain, type, hex(ntohs(static_cast<uint16_t>(protocol))));
  return answer.returns(answer.has_result() ? -1 : the_system.next_socket++);
}

int __wrap_bind(int descriptor, const sockaddr *address, socklen_t length) {
  if (!engaged) return __real_bind(descriptor, address, length);
  return call("bind", descriptor, shown_address(address, length), length).returns(0);
}

int __wrap_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int argument = command == F_GETFL ? 0 : va_arg(arguments, int);
  va_end(arguments);
  if (!engaged) return __real_fcntl(descriptor, command, argument);
  if (command == F_GETFL) return call("fcntl", descriptor, std::string("F_GETFL")).returns(O_RDWR);
  const std::string name = command == F_SETFL ? "F_SETFL" : std::to_string(command);
  return call("fcntl", descriptor, name, shown_status_flags(argument)).returns(0);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (!engaged) return __real_ioctl(descriptor, request, argument);
  const Operation ioctl = "ioctl";
  if (request == SIOCGIFINDEX) return interface_index(ioctl, descriptor, static_cast<ifreq *>(argument));
  return module_request(ioctl, descriptor, static_cast<uint32_t>(request), argument);
}

ssize_t __wrap_read(int descriptor, void *buffer, size_t size) {
  if (!engaged) return __real_read(descriptor, buffer, size);
  const Answer answer = call("read", descriptor, size);
  if (answer.has_result()) return answer.returns<ssize_t>(-1);
  std::deque<Bytes> &frames = the_system.to_read[descriptor];
  if (frames.empty()) {
    errno = EAGAIN;
    return answer.returns<ssize_t>(-1);
  }
  const Bytes frame = std::move(frames.front());
  frames.pop_front();
  const size_t length = std::min(frame.size(), size);
  std::copy_n(frame.begin(), length, static_cast<uint8_t *>(buffer));
  return answer.returns(static_cast<ssize_t>(length));
}

ssize_t __wrap_write(int descriptor, const void *buffer, size_t size) {
  if (!engaged) return __real_write(descriptor, buffer, size);
  const auto *bytes = static_cast<const uint8_t *>(buffer);
  the_system.written[descriptor].emplace_back(bytes, bytes + size);
  return call("write", descriptor, size).returns(static_cast<ssize_t>(size));
}

int __wrap_close(int descriptor) {
  if (!engaged) return __real_close(descriptor);
  return call("close", descriptor).returns(0);
}

int __wrap_open(const char *path, int flags, ...) {
  if (!engaged) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
  }
  return call("open", path, flags == O_RDONLY ? std::string("O_RDONLY") : shown(hex(flags)))
      .returns(module_descriptor);
}

int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
  if (!engaged) return __real_select(count, read, write, except, timeout);
  const std::optional<int> result = woken("select", count, read, write, except, timeout);
  if (!result) leave(standin::waiting());
  return *result;
}

int __wrap_system(const char *command) {
  if (!engaged) return __real_system(command);
  return call("system", command).returns(0);
}

void __wrap_exit(int status) {
  if (!engaged) __real_exit(status);
  note_call("exit");
  leave(exited(status));
}

void __wrap_abort() {
  if (!engaged) __real_abort();
  note_call("abort");
  leave(aborted());
}
