/* The system calls of the daemon.
 *
 * The linker routes socket, bind, fcntl, ioctl, read, write, close, open, select, system, exit and abort
 * here (--wrap). During a test no call reaches the machine: descriptors are numbers of the stand-in, frames
 * wait in a queue for each descriptor, written frames are kept, and the kernel module records what it
 * receives. Between tests the calls go to the real system, because the test framework in the same program
 * needs them.
 *
 * exit and abort end the daemon by a jump into run(). So does a select for which no wake-up is scripted:
 * that is how a test leaves the endless loop. run() returns how the daemon ended as an Ending. */
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace standin {

using Bytes = std::vector<uint8_t>;

/** Descriptors: the message queue, the kernel module, and the sockets in the order of opening. */
constexpr int queue_descriptor = 30;
constexpr int module_descriptor = 31;
constexpr int first_socket = 41;
constexpr int second_socket = 42;

/** How a piece of the daemon ended. */
struct Ending {
  enum class How { returned, exited, aborted, waiting };
  How how;
  int status = 0;
  bool operator==(const Ending &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Ending &ending);

inline Ending returned(int status) { return {Ending::How::returned, status}; }
inline Ending exited(int status) { return {Ending::How::exited, status}; }
inline Ending aborted() { return {Ending::How::aborted}; }

/** The daemon reached a select for which no wake-up was scripted. */
inline Ending waiting() { return {Ending::How::waiting}; }

/** Runs a piece of the daemon until it returns, exits, aborts or would wait forever. */
Ending run(const std::function<int()> &piece);

/** Runs a piece of the daemon. @return what it printed on standard output */
std::string printed_by(const std::function<void()> &piece);

/** The same, without output that is still in a buffer when the piece ends. */
std::string printed_at_once_by(const std::function<void()> &piece);

/** Makes the next select report these descriptors as readable. */
void wakes(std::initializer_list<int> readable);

/** Makes the next select fail. */
void wake_fails(int error_number);

/** Queues a frame to be read from a descriptor. A read returns the frames in order, then EAGAIN. */
void arrives(int descriptor, Bytes frame);

/** Number of frames that wait to be read from a descriptor. */
size_t waiting_frames(int descriptor);

/** Frames written to a descriptor, in order. The test may clear the list. */
std::vector<Bytes> &written(int descriptor);

/** The bytes of the record in the last request to the kernel module. */
const Bytes &last_module_record();

/** Counters that the kernel module has for a port; without them the request fails with ENODEV. */
struct Counters {
  uint32_t tx_ucast, tx_mcast, rx_ucast, rx_mcast;
};
void module_counts(uint32_t if_index, Counters counters);

/** Whether a test runs, so that the calls of this program are the daemon's. */
bool is_engaged();
void engage();
void disengage();

void reset_system();
void verify_system();

}  // namespace standin
