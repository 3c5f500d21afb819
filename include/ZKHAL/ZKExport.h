/* Marks what libZKHAL exports, and the few compiler attributes that its headers use. */
#ifndef ZKHAL_ZKEXPORT_H
#define ZKHAL_ZKEXPORT_H

#if defined(__GNUC__)
#define ZK_API __attribute__((visibility("default")))
/* Lets the compiler check a printf-style call: position of the format, position of its first argument. */
#define ZK_PRINTF(at, first) __attribute__((format(printf, at, first)))
#else
#define ZK_API
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
