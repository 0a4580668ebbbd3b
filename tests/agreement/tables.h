/* The daemon's tables beside the model's state. */
#pragma once

#include <string>

#include "tests/model/model.h"

namespace model {

/** @return a line for each difference; empty when there is none */
std::string differences(Model &model);

}  // namespace model
