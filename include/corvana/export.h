#pragma once

// Symbols are hidden by default (-fvisibility=hidden); only what carries this macro is part of the ABI.
#if defined(CORVANA_STATIC_DEFINE)
#define CORVANA_EXPORT
#elif defined(__GNUC__)
#define CORVANA_EXPORT __attribute__((visibility("default")))
#else
#define CORVANA_EXPORT
#endif
