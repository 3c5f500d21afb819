/* Marks what libZKHAL exports, and the few compiler attributes that its headers use. */
#ifndef ZKHAL_ZKEXPORT_H
#define ZKHAL_ZKEXPORT_H

/* On Windows, programs that use the library as a DLL define ZKHAL_DLL; the CMake and pkg-config packages do it. */
#if defined(_WIN32) && defined(ZKHAL_DLL_EXPORTS)
#define ZK_API __declspec(dllexport)
#elif defined(_WIN32) && defined(ZKHAL_DLL) && !defined(__MINGW32__) /* MinGW's linker imports without being told */
#define ZK_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define ZK_API __attribute__((visibility("default")))
#else
#define ZK_API
#endif

/* Of the virtual robots, whose library is always a static one. */
#if defined(_WIN32)
#define ZK_STATIC_API
#else
#define ZK_STATIC_API ZK_API
#endif

/* Lets the compiler check a printf-style call: position of the format, position of its first argument. */
#if defined(__MINGW32__) && !defined(__clang__)
#define ZK_PRINTF(at, first) __attribute__((format(gnu_printf, at, first)))
#elif defined(__GNUC__)
#define ZK_PRINTF(at, first) __attribute__((format(printf, at, first)))
#else
#define ZK_PRINTF(at, first)
#endif

#ifdef __cplusplus
#define ZK_EXTERN_C_BEGIN extern "C" {
#define ZK_EXTERN_C_END }
#else
#define ZK_EXTERN_C_BEGIN
#define ZK_EXTERN_C_END
#endif

#endif
