/* The platform's services, where a test can set them up: supervisor and timer, board, interface
 * manager, port-channels, port-index service, in-band driver, VLAN manager, feature registry.
 *
 * Their default answers: card id 82; a handshake that succeeds; a heartbeat timeout of 30 s; every
 * port present; a destination index equal to the port number of the interface index; no port-channel;
 * no excluding feature; no file prefix. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/standin/message.h"

namespace standin {

/** Sets the board that the daemon runs on; 83 also selects its row of run-time parameters. */
void on_board(uint16_t card_id);

/** Row of the run-time parameters whose device names are too long for 8 characters. */
constexpr int64_t long_names_row = 2;

/** Interface index of a physical port, counted from 0. */
uint32_t ethernet(uint32_t port);

/** Interface index of a port-channel. */
uint32_t port_channel(uint32_t channel);

/** Defines a port-channel: its first operational port (0 for none) and its members in order. */
void channel_has(uint32_t channel, uint32_t first_operational, const std::vector<uint32_t> &members);

/** Whether the port-index service redirects a VLAN's traffic: it was asked to, and has not been asked to
 * release it since. */
bool is_redirected(int32_t vlan);

/** Lets the daemon's timer expire. */
void timer_expires();

/** Payload of a VLAN manager's deletion notice. */
Bytes deleted_vlans(const std::vector<int32_t> &vlans);

void reset_services();

}  // namespace standin
