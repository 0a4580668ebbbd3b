// Which trace categories are printed and which are recorded, inside the platform library.
//
// Until the program has registered its categories, everything is printed and recorded, so that a failed
// start is never silent. Registration switches printing off; the program then switches on what it wants.
// The debug store keeps the switches that an operator sets from outside. At the next start, the recording
// switches apply from the registration on. The printing switches apply from the first message on, because
// the program sets its own at the end of its start-up.
//
// The program calls both checks for every frame, so each is a compare and a load.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "opal/kvs.h"

namespace opal::trace {

inline constexpr std::uint32_t first_category = 100;
inline constexpr std::uint32_t category_end = 256;

/// One flag for each category; those past the end are neither printed nor recorded.
struct Switches {
  std::array<std::uint8_t, category_end> not_printed{};
  std::array<std::uint8_t, category_end> not_recorded{};
  std::uint32_t last_asked = 0;  ///< category of the last tracekit_chk_int; a dbgprint belongs to it
};
extern Switches switches;

void set_printed(std::uint32_t category, bool on);
void set_recorded(std::uint32_t category, bool on);

/// An operator's switches for one category, as the debug store keeps them: key "trace.101", value two
/// bytes.
struct SavedSwitch {
  std::uint8_t print = 0;
  std::uint8_t record = 1;
};
rcode_t save_switch(kvs_service_t store, std::uint32_t category, SavedSwitch saved);
/// @return nothing when none is saved
std::optional<SavedSwitch> load_switch(kvs_service_t store, std::uint32_t category);

/// Reports a failure of the facility itself on standard error, and in syslog when the program's facility
/// record lets critical messages pass.
void report_failure(const std::string &what);

}  // namespace opal::trace
