#pragma once

/// What differs between compilers and platforms.

#if defined(_MSC_VER)
#define QVREG_RESTRICT __restrict
#else
#define QVREG_RESTRICT __restrict__
#endif

/// Asks the processor to bring what is at an address nearer.
#if defined(__GNUC__)
#define QVREG_PREFETCH(address) __builtin_prefetch(address)
#else
#define QVREG_PREFETCH(address) static_cast<void>(address)
#endif

/// fread for a stream that one thread uses: the lock that is taken otherwise costs more than the
/// copy of a short record.
#if defined(__GLIBC__)
#define QVREG_FREAD ::fread_unlocked
#else
#define QVREG_FREAD std::fread
#endif

/// Whether std::fma rounds once, as the standard asks. That of mingw-w64's run-time library
/// computes in a longer format and rounds twice.
#if defined(__MINGW32__) && !defined(__FMA__)
#define QVREG_EXACT_FMA false
#else
#define QVREG_EXACT_FMA true
#endif

/// A function so marked is compiled twice, for any x86-64 and for machines with wider vectors and
/// fused multiply-add, and the loader picks one. Both give the same numbers: the library is
/// compiled without contraction of products and sums, and std::fma is exact on either. Not on
/// Windows, where GCC does not align the stack for vectors of 32 bytes (its bug 54412).
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && defined(__ELF__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QVREG_FMA_CLONES __attribute__((target_clones("default", "arch=x86-64-v3")))
#else
#define QVREG_FMA_CLONES
#endif
