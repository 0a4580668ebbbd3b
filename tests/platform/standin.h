/* The recording stand-in for the platform: everything that a test of the daemon needs.
 *
 * The daemon's own sources are linked against this library in place of a platform. It answers every
 * operation of include/opal and every system call that the daemon makes, keeps a record of them, and
 * lets a test script results and failures. See record.h for what a test asserts, script.h for what it
 * scripts, and the other headers for what each part of the platform offers.
 *
 * One test is begin(), given, event, expectations, end(); the fixture of tests/unit does both ends. */
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

/** Starts a test on a fresh platform. */
void begin();

/** Fails the test for everything that it left: lines that were not asserted, scripts that were not met,
 * blocks not freed, references not dropped. The daemon's tables must have been emptied before. */
void end();

}  // namespace standin
