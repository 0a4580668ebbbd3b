// The sandbox's user namespace, when the chassis is started by root.
//
// bubblewrap maps one user into the sandbox. For an ordinary user there is no more to have; but programs
// that drop root's privileges to a user of their own (tcpdump, for one) then fail. Root may map every user to
// itself, and does: being root inside gives no more rights outside than with one user.
#pragma once

#include "host/system/descriptor.h"

namespace chassis {

/// @return a user namespace with all of this one's users and groups in it; nothing when this user may not
/// make it
host::Descriptor make_full_user_namespace();

}  // namespace chassis
