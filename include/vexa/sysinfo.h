/* Build and machine information. */
#ifndef VEXA_SYSINFO_H
#define VEXA_SYSINFO_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Keys: "compilation_date", "version", "cpu_name", "cpu_threads", "total_ram",
 * "hostname"; anything else gives "Invalid string parameter". Per-thread buffer. */
VEXA_API const char *vexa_const_str(const char *key);

#ifdef __cplusplus
}
#endif

#endif
