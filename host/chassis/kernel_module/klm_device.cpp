#define FUSE_USE_VERSION 314

#include "host/chassis/kernel_module/klm_device.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fuse_lowlevel.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/system/descriptor.h"

namespace chassis {

struct KlmDevice::State {
  struct EndSession {
    void operator()(fuse_session *session) const { fuse_session_destroy(session); }
  };

  State(PortExists port_exists, Counters counters_of_port)
      : records(std::move(port_exists)), counters(std::move(counters_of_port)) {}
  ~State();
  State(const State &) = delete;
  State &operator=(const State &) = delete;

  KlmRecords records;
  Counters counters;
  std::uint64_t accepted = 0;
  std::uint64_t refused = 0;
  std::filesystem::path file;  ///< the device is mounted over it; empty before mount
  std::unique_ptr<fuse_session, EndSession> session;
  fuse_buf buffer{};  ///< libfuse allocates it once
};

KlmDevice::State::~State() {
  if (!file.empty()) umount2(file.c_str(), MNT_DETACH);
  session.reset();
  std::free(buffer.mem);
}

namespace {

using State = KlmDevice::State;

State &state_of(fuse_req_t request) { return *static_cast<State *>(fuse_req_userdata(request)); }

void describe(fuse_req_t request, fuse_ino_t inode, fuse_file_info *) {
  if (inode != FUSE_ROOT_ID) {
    fuse_reply_err(request, ENOENT);
    return;
  }
  struct stat attributes {};
  attributes.st_ino = FUSE_ROOT_ID;
  attributes.st_mode = S_IFREG | 0600;
  attributes.st_nlink = 1;
  fuse_reply_attr(request, &attributes, 1.0);
}

void open_device(fuse_req_t request, fuse_ino_t, fuse_file_info *info) {
  info->direct_io = 1;
  info->noflush =
      1;  // a dying process would wait for the answer, while this process may be waiting for its death
  fuse_reply_open(request, info);
}

/// Reads the record of a reading request from the caller's memory: FUSE passes its address, not its bytes.
bool read_caller(pid_t pid, void *address, teskk_port_counters_t &record) {
  const iovec here{&record, sizeof record};
  const iovec there{address, sizeof record};
  return process_vm_readv(pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(sizeof record);
}

int read_counters(State &state, fuse_req_t request, void *argument) {
  teskk_port_counters_t record{};
  if (!read_caller(fuse_req_ctx(request)->pid, argument, record)) return EFAULT;
  if (!state.counters(IfIndex{record.if_idx}, record)) return EINVAL;
  ++state.accepted;
  fuse_reply_ioctl(request, 0, &record, sizeof record);
  return 0;
}

int write_record(State &state, fuse_req_t request, unsigned number, std::span<const std::byte> record) {
  if (const int error = state.records.write(number, record); error != 0) return error;
  ++state.accepted;
  fuse_reply_ioctl(request, 0, nullptr, 0);
  return 0;
}

void serve_ioctl(fuse_req_t request, fuse_ino_t, unsigned number, void *argument, fuse_file_info *, unsigned,
                 const void *in, std::size_t in_size, std::size_t out_size) {
  State &state = state_of(request);
  const int error = number == TESKK_GET_PORT_COUNTERS && out_size >= sizeof(teskk_port_counters_t)
                        ? read_counters(state, request, argument)
                        : write_record(state, request, number, {static_cast<const std::byte *>(in), in_size});
  if (error == 0) return;
  ++state.refused;
  fuse_reply_err(request, error);
}

fuse_lowlevel_ops device_operations() {
  fuse_lowlevel_ops operations{};
  operations.getattr = describe;
  operations.open = open_device;
  operations.ioctl = serve_ioctl;
  return operations;
}

std::unique_ptr<fuse_session, State::EndSession> make_session(State *state) {
  std::string program = "chassis";
  char *words[] = {program.data(), nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(1, words);
  const fuse_lowlevel_ops operations = device_operations();
  std::unique_ptr<fuse_session, State::EndSession> session(
      fuse_session_new(&arguments, &operations, sizeof operations, state));
  fuse_opt_free_args(&arguments);
  return session;
}

}  // namespace

KlmDevice::KlmDevice(PortExists port_exists, Counters counters)
    : state_(std::make_unique<State>(std::move(port_exists), std::move(counters))) {}
KlmDevice::~KlmDevice() = default;

host::Result<> KlmDevice::mount(const std::filesystem::path &file) {
  host::Descriptor device(open("/dev/fuse", O_RDWR | O_CLOEXEC | O_NONBLOCK));
  if (!device) return host::errno_failure("/dev/fuse cannot be opened");
  const std::string options = fmt::format("fd={},rootmode=100600,user_id={},group_id={},allow_other",
                                          device.get(), getuid(), getgid());
  if (::mount("klm_tesk", file.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    return host::errno_failure(
        fmt::format("the kernel module's device cannot be mounted over {}", file.string()));
  }
  state_->file = file;
  auto session = make_session(state_.get());
  // A mount point of this form makes libfuse use a descriptor that is already mounted.
  if (!session || fuse_session_mount(session.get(), fmt::format("/dev/fd/{}", device.get()).c_str()) != 0)
    return host::failure("libfuse does not serve the kernel module's device");
  device.release();
  state_->session = std::move(session);
  return {};
}

int KlmDevice::fd() const { return state_->session ? fuse_session_fd(state_->session.get()) : -1; }

void KlmDevice::serve() {
  if (!state_->session) return;
  while (fuse_session_receive_buf(state_->session.get(), &state_->buffer) > 0)
    fuse_session_process_buf(state_->session.get(), &state_->buffer);
}

const KlmMirror &KlmDevice::mirror() const { return state_->records.mirror(); }
void KlmDevice::forget() { state_->records.forget(); }
std::uint64_t KlmDevice::accepted() const { return state_->accepted; }
std::uint64_t KlmDevice::refused() const { return state_->refused; }

}  // namespace chassis
