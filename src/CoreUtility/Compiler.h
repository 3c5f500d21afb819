// What some compilers can be told, and the others do without. Nothing here changes a result.
#pragma once

#if defined(__GNUC__)
#define ZK_ALWAYS_INLINE [[gnu::always_inline]] inline
// A path that is seldom taken: kept out of line, so that its caller can live in registers.
#define ZK_RARE [[gnu::cold, gnu::noinline]]
// The signature of the function it stands in, as log lines show it.
#define ZK_SIGNATURE __PRETTY_FUNCTION__
#else
#define ZK_ALWAYS_INLINE inline
#define ZK_RARE
#define ZK_SIGNATURE __func__
#endif

// A global that is constructed before a host's own.
#if defined(__GNUC__) && !defined(__APPLE__)
#define ZK_EARLY __attribute__((init_priority(101)))
#else
#define ZK_EARLY
#endif
