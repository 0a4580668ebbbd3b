// Names of the files in a chassis's run folder, for those who make them and those who look for them.
#pragma once

namespace chassis {

/// Socket at which `chassis capture` asks for the frames of a point.
inline constexpr const char *capture_socket = "capture";
/// The chassis's own log (journal.h).
inline constexpr const char *chassis_log = "chassis.log";
/// What the daemon writes on standard output and error.
inline constexpr const char *daemon_log = "tesk.log";

}  // namespace chassis
