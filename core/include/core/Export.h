#pragma once
// Symbol visibility of libkern83.so: the library's interface is what is marked KERN83_API; everything
// else is hidden.

#if defined(KERN83_BUILDING)
#define KERN83_API __attribute__((visibility("default")))
#else
#define KERN83_API
#endif
