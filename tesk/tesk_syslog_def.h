/* The daemon's syslog facility, as the trace facility wants it described. */
#pragma once

#include "opal/tracekit.h"

enum { LOG_TESK = 4408 };

extern const tracekit_syslog_facility_t syslog_fac_LOG_TESK;
