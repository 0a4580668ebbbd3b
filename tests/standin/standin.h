/* The recording stand-in for the platform: everything that a test of the daemon needs.
 *
 * The daemon's own sources are linked against this library in place of a platform. It answers every
 * operation of include/opal and every system call that the daemon makes, keeps a record of them, and
 * lets a test script results and failures. See record.h for assertions, script.h for scripts, and the other
 * headers for each part of the platform.
 *
 * A test is begin(), given state, event, expectations, end(). The fixture of tests/unit calls begin() and
 * end(). */
#pragma once

#include "tests/standin/failures.h"  // IWYU pragma: export
#include "tests/standin/memory.h"    // IWYU pragma: export
#include "tests/standin/message.h"   // IWYU pragma: export
#include "tests/standin/module.h"    // IWYU pragma: export
#include "tests/standin/record.h"    // IWYU pragma: export
#include "tests/standin/script.h"    // IWYU pragma: export
#include "tests/standin/services.h"  // IWYU pragma: export
#include "tests/standin/shell.h"     // IWYU pragma: export
#include "tests/standin/store.h"     // IWYU pragma: export
#include "tests/standin/system.h"    // IWYU pragma: export
#include "tests/standin/trace.h"     // IWYU pragma: export

namespace standin {

/** Begins a test on a fresh platform. */
void begin();

/** Fails the test for everything that it leaves behind: lines not asserted, scripts not used, blocks not
 * freed, references not dropped. The daemon's tables must have been emptied before. */
void end();

}  // namespace standin
