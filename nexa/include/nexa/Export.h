#pragma once
// The interface of the base runtime library (libnexa83.so, nexa83.dll) is what is marked NEXA_API.
// Linux: everything else is hidden. Windows: the DLL exports the marked names, and its users import them.

#if defined(_WIN32)
#if defined(NEXA_BUILDING)
#define NEXA_API __declspec(dllexport)
#else
#define NEXA_API __declspec(dllimport)
#endif
#elif defined(NEXA_BUILDING)
#define NEXA_API __attribute__((visibility("default")))
#else
#define NEXA_API
#endif
