#pragma once
// The interface of the kern83 library is what is marked KERN83_API; everything else stays inside it.
// Linux: symbol visibility (everything else is hidden). Windows: the DLL exports the marked names, and
// programs import them through its import library; code linked with the library's objects directly
// (the tests) defines KERN83_STATIC.

#if defined(_WIN32)
#if defined(KERN83_BUILDING)
#define KERN83_API __declspec(dllexport)
#elif defined(KERN83_STATIC)
#define KERN83_API
#else
#define KERN83_API __declspec(dllimport)
#endif
#elif defined(KERN83_BUILDING)
#define KERN83_API __attribute__((visibility("default")))
#else
#define KERN83_API
#endif
