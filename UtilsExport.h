#pragma once

// Export macros. X_API marks what library X exports: in X itself it exports, in a consumer that
// defines X_IMPORTS (the installed CMake packages do) it imports, and elsewhere it is empty, so
// that the objects of the library also link with stand-ins for the platform libraries.
#if defined(_WIN32)
#define UTILS_DECL_EXPORT __declspec(dllexport)
#define UTILS_DECL_IMPORT __declspec(dllimport)
#define UTILS_DECL_INLINE_EXPORT __declspec(dllexport)
#define UTILS_SHARED_TYPE
#else
#define UTILS_DECL_EXPORT __attribute__((visibility("default")))
#define UTILS_DECL_IMPORT
#define UTILS_DECL_INLINE_EXPORT __attribute__((visibility("default"), used))
// A type that several of our libraries throw and catch: its type information is one and the same.
#define UTILS_SHARED_TYPE __attribute__((visibility("default")))
#endif

#if defined(UTILS_EXPORTS)
#define UTILS_API UTILS_DECL_EXPORT
// For members defined inside their class: exported although callers may have copies of their own.
#define UTILS_INLINE_API UTILS_DECL_INLINE_EXPORT
#elif defined(UTILS_IMPORTS)
#define UTILS_API UTILS_DECL_IMPORT
#define UTILS_INLINE_API
#else
#define UTILS_API
#define UTILS_INLINE_API
#endif

#if defined(VXACORE_EXPORTS)
#define VXACORE_API UTILS_DECL_EXPORT
#elif defined(VXACORE_IMPORTS)
#define VXACORE_API UTILS_DECL_IMPORT
#else
#define VXACORE_API
#endif

#if defined(SPDRIVER_EXPORTS)
#define SPDRIVER_API UTILS_DECL_EXPORT
#elif defined(SPDRIVER_IMPORTS)
#define SPDRIVER_API UTILS_DECL_IMPORT
#else
#define SPDRIVER_API
#endif

#if defined(CMMNSP_EXPORTS)
#define CMMNSP_API UTILS_DECL_EXPORT
#elif defined(CMMNSP_IMPORTS)
#define CMMNSP_API UTILS_DECL_IMPORT
#else
#define CMMNSP_API
#endif
