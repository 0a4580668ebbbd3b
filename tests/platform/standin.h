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

#include "tests/platform/failures.h"  // IWYU pragma: export
#include "tests/platform/memory.h"    // IWYU pragma: export
#include "tests/platform/message.h"   // IWYU pragma: export
#include "tests/platform/module.h"    // IWYU pragma: export
#include "tests/platform/record.h"    // IWYU pragma: export
#include "tests/platform/script.h"    // IWYU pragma: export
#include "tests/platform/services.h"  // IWYU pragma: export
#include "tests/platform/shell.h"     // IWYU pragma: export
#include "tests/platform/store.h"     // IWYU pragma: export
#include "tests/platform/system.h"    // IWYU pragma: export
#include "tests/platform/trace.h"     // IWYU pragma: export

namespace standin {

/** Begins a test on a fresh platform. */
void begin();

/** Fails the test for everything that it leaves behind: lines not asserted, scripts not used, blocks not
 * freed, references not dropped. The daemon's tables must have been emptied before. */
void end();

}  // namespace standin
