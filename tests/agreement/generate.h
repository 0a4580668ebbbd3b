/* Random sequences that reach interesting states.
 *
 * Numbers come from small pools, so that events meet: the same few ports, VLANs that share a chain, stations
 * that share a chain. Weights let a sequence fill up to 14 CIN VLANs and all ports; the odd ones (an unknown
 * interface, a VLAN that cannot be one, a stale token) are rare enough not to drown the rest. */
#pragma once

#include <rapidcheck.h>

#include "tests/model/event.h"

namespace model {

/** Sequences of up to this many events. */
rc::Gen<Sequence> sequences(int longest);

}  // namespace model
