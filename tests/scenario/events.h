/* What reaches the daemon from outside. One function for each kind of message builds the payload that the
 * sending service would send. It uses the record in the platform's headers where there is one, and otherwise
 * writes the bytes; it never uses the daemon's own records. */
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/standin/message.h"
#include "tests/standin/system.h"

using Numbers = std::vector<uint32_t>;
using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

/** Kinds of configuration requests. */
constexpr int32_t get_request = 1, set_request = 3, delete_request = 4;

/** Subjects of debug requests. */
constexpr uint8_t packets = 0, control_flow = 1, everything = 2;

standin::Message line_card_online();
standin::Message port_up(uint32_t if_index, const Numbers &vlans);
standin::Message port_down(uint32_t if_index, const Numbers &vlans);
standin::Message forwarding(uint32_t if_index, const Numbers &vlans);
standin::Message vlans_deleted(const std::vector<int32_t> &vlans);
standin::Message redirection_made(uint32_t token);
standin::Message redirection_released(uint32_t token);
standin::Message feature_set_answer();
standin::Message feature_unset_answer();
standin::Message debug_request(int32_t kind, uint8_t about);
standin::Message enable_request(bool on);
standin::Message add_cin(const Ranges &vlans);
standin::Message remove_cin(const Ranges &vlans);
standin::Message show_cin();
standin::Message show_all_counters();
standin::Message show_counters_of(const Ranges &interfaces);
standin::Message running_configuration(const Numbers &vlans, bool with_defaults = false);
standin::Message startup_configuration(const Numbers &vlans);
