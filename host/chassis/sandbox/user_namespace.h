// The sandbox's user namespace, when root starts the chassis.
//
// bubblewrap maps one user into the sandbox. An ordinary user may not map more. But then programs that drop
// root's privileges to a user of their own (tcpdump, for example) fail. Root may map every user to itself, and
// does: root inside then has no more rights outside than with one mapped user.
#pragma once

#include "host/system/descriptor.h"

namespace chassis {

/// @return a user namespace with all users and groups of the present one; nothing when this user may not make
/// it
host::Descriptor make_full_user_namespace();

}  // namespace chassis
