// Names of the files in the run folder of a chassis, for the code that makes them and the code that finds
// them.
#pragma once

namespace chassis {

/// The socket on which `chassis capture` requests the frames of a point.
inline constexpr const char *capture_socket = "capture";
/// The chassis's own log (journal.h).
inline constexpr const char *chassis_log = "chassis.log";
/// What the daemon writes to standard output and standard error.
inline constexpr const char *daemon_log = "tesk.log";

}  // namespace chassis
