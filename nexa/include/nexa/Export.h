#pragma once
// Symbol visibility of the base runtime library (libnexa83.so): everything is hidden unless marked.

#if defined(NEXA_BUILDING)
#define NEXA_API __attribute__((visibility("default")))
#else
#define NEXA_API
#endif
