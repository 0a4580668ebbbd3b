/* The platform's services, as far as a test sets them up: supervisor and timer, board, interface
 * manager, port-channels, port-index service, in-band driver, VLAN manager, feature registry.
 *
 * What they answer by default: card id 82; a handshake that works; a heartbeat timeout of 30 s; every
 * port present; a destination index equal to the port number of the interface index; no port-channel;
 * no excluding feature; no prefix of files. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/platform/message.h"

namespace standin {

/** The board that the daemon finds itself on; 83 also selects its row of run-time parameters. */
void on_board(uint16_t card_id);

/** Row of the run-time parameters whose device names do not fit 8 characters. */
constexpr int64_t long_names_row = 2;

/** Interface index of a physical port, counted from 0. */
uint32_t ethernet(uint32_t port);

/** Interface index of a port-channel. */
uint32_t port_channel(uint32_t channel);

/** Makes a port-channel known: its first operational port (0 for none) and its members in order. */
void channel_has(uint32_t channel, uint32_t first_operational, const std::vector<uint32_t> &members);

/** Whether the port-index service was last asked to redirect a VLAN's traffic, and did not release it
 * since. */
bool is_redirected(int32_t vlan);

/** The daemon's timer expires. */
void timer_expires();

/** Payload of a VLAN manager's deletion notice. */
Bytes deleted_vlans(const std::vector<int32_t> &vlans);

void reset_services();

}  // namespace standin
