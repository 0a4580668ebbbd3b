/* What is always true of the daemon's tables between two messages.
 *
 *   tables      chains end, entries are live memory, each is in the bucket of its key, no key occurs twice
 *   contexts    an entry's context is live, or absent when the port could not join the SoL VLAN
 *   port map    a slot is empty or holds the context of a port in the table
 *   addresses   a learnt address belongs to a port in the table
 *   count       0 to 14 CIN VLANs
 *   activation  a CIN VLAN that has member ports and is accepted from the management device was announced
 *               to the port-index service
 *   mirror      the kernel module holds the tables' records, no more and no less
 *   dirty       nothing waits to be pushed
 *
 * The mirror may differ where the daemon's own rules allow it: a record that the module refused, until it is
 * sent again; the management port, which is pushed at start-up only; a port whose context failed after it was
 * entered, which stays in the module; VLANs of a port after the fifteenth. Records wait if there are too many
 * for one push, and VLANs also wait for the ports. */
#pragma once

#include <string>
#include <vector>

#include "tests/standin/record.h"

/** @return one sentence for each invariant that is broken; empty if all hold */
std::vector<std::string> broken_invariants();

/** Fails the test for every invariant that is broken. */
void expect_invariants(standin::Location location = standin::Location::current());
