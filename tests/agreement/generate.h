/* Random sequences that reach interesting states.
 *
 * Numbers come from small pools, so that events concern the same things: a few ports, VLANs and stations
 * that share a chain. Weights let a sequence reach 14 CIN VLANs and all ports. Odd values (an unknown
 * interface, an impossible VLAN, a stale token) are rare enough not to dominate. */
#pragma once

#include <rapidcheck.h>

#include "tests/model/event.h"

namespace model {

/** Generates sequences of up to this many events. */
rc::Gen<Sequence> sequences(int longest);

}  // namespace model
