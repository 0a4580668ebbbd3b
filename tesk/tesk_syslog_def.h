/* The description of the daemon's syslog facility for the trace facility. */
#pragma once

#include "opal/tracekit.h"

enum { LOG_TESK = 4408 };

extern const tracekit_syslog_facility_t syslog_fac_LOG_TESK;
