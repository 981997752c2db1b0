#pragma once

/// @file
/// Import/export marker of the system services.
///
/// A library that implements the services is compiled with KOZAV_SERVICES_IMPLEMENTATION, which marks their
/// symbols as exported. Callers that link the implementation statically (the tests) define
/// KOZAV_SERVICES_STATIC; all others see imported symbols.

#if defined(KOZAV_SERVICES_STATIC)
#define KOZAV_SERVICES_API
#elif defined(_WIN32)
#if defined(KOZAV_SERVICES_IMPLEMENTATION)
#define KOZAV_SERVICES_API __declspec(dllexport)
#else
#define KOZAV_SERVICES_API __declspec(dllimport)
#endif
#else
#define KOZAV_SERVICES_API __attribute__((visibility("default")))
#endif
