/* Operations that are not imitated: the real one runs, unless a test scripts its result. */
#pragma once

#include <type_traits>

#include "tests/standin/script.h"

namespace standin {

/** Runs the real operation. If a result is scripted, returns that instead; a pointer is then null. */
template <class Result, class... Parameters>
Result real_unless_scripted(const Operation &operation, Result (*real)(Parameters...),
                            std::type_identity_t<Parameters>... arguments) {
  const Answer answer = quiet(operation);
  if constexpr (std::is_void_v<Result>) {
    if (!answer.has_result()) real(arguments...);
  } else if constexpr (std::is_pointer_v<Result>) {
    return answer.returns_pointer(answer.has_result() ? nullptr : real(arguments...));
  } else {
    return answer.returns(answer.has_result() ? Result() : real(arguments...));
  }
}

}  // namespace standin
