#include "tests/standin/standin.h"

namespace standin {

void begin() {
  reset_record();
  reset_scripts();
  reset_failures();
  reset_memory();
  reset_messages();
  reset_module();
  reset_services();
  reset_shell();
  reset_stores();
  reset_system();
  reset_trace();
  engage();
}

void end() {
  reset_trace();  // the daemon does not free what the facility kept
  disengage();
  verify_record();
  verify_scripts();
  verify_messages();
  verify_shell();
  verify_system();
  verify_memory();
}

}  // namespace standin
