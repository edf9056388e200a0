#pragma once

// Import and export of the libraries' functions. Each library is built with its own *_BUILD
// defined; everybody else imports.

#if defined(_WIN32)
#define KELD_EXPORT __declspec(dllexport)
#if defined(_MSC_VER)
#define KELD_IMPORT __declspec(dllimport)
#else
// Only functions are imported: a call through the import library finds them in a module as well as
// in the program itself, where tests link the objects.
#define KELD_IMPORT
#endif
#else
#define KELD_EXPORT __attribute__((visibility("default")))
#define KELD_IMPORT __attribute__((visibility("default")))
#endif

#ifdef KELD_SE_BUILD
#define KELD_SE_API KELD_EXPORT
#else
#define KELD_SE_API KELD_IMPORT
#endif

#ifdef KELD_BASE_BUILD
#define KELD_BASE_API KELD_EXPORT
#else
#define KELD_BASE_API KELD_IMPORT
#endif

#ifdef KELD_QSK_BUILD
#define KELD_QSK_API KELD_EXPORT
#else
#define KELD_QSK_API KELD_IMPORT
#endif

#ifdef MERVANE_BUILD
#define MV_API KELD_EXPORT
#else
#define MV_API KELD_IMPORT
#endif

// A class that is thrown from one module to another: on Linux its type must be visible, on Windows
// types are compared by name.
#if defined(_WIN32)
#define KELD_THROWN
#else
#define KELD_THROWN KELD_EXPORT
#endif

// A function that an implementation of the platform may lack: on Linux its address is null then. On
// Windows it is looked up by name, so that no import binds it.
#if defined(MERVANE_BUILD) || defined(_WIN32)
#define MV_OPTIONAL_API MV_API
#else
#define MV_OPTIONAL_API KELD_IMPORT __attribute__((weak))
#endif
