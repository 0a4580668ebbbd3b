/* Compares the daemon's tables with the model's state. */
#pragma once

#include <string>

#include "tests/model/model.h"

namespace model {

/** @return one line per difference; empty if there is none */
std::string differences(Model &model);

}  // namespace model
