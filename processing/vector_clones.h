// Pixel loops written for the compiler's vectoriser are built for AVX-512,
// AVX2 and the x86-64 baseline; the processor picks one when the program
// starts. Whole-number results are the same whichever runs.
#pragma once

#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
#define LUMETRA_VECTOR_CLONES \
  __attribute__((target_clones("arch=x86-64-v4", "avx2", "default")))
#else
#define LUMETRA_VECTOR_CLONES
#endif
