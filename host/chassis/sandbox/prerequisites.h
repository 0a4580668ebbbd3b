// What a sandbox needs of the machine.
#pragma once

#include <string>

namespace chassis {

/// Checks each thing that the sandbox needs.
/// @return "" or one sentence that says what is missing and what to do about it
std::string missing_prerequisite();

}  // namespace chassis
