// The compiler-specific spellings the library keeps, each behind a macro with a plain fallback
// for compilers without it; no other source spells them. CPPUTIL_PLAIN=1 (the CMake option
// INSTALL_CPPUTIL_PLAIN) chooses every fallback, so that CI builds and tests them.
#ifndef INSTALL_CPPUTIL_SRC_COMPILER_HPP
#define INSTALL_CPPUTIL_SRC_COMPILER_HPP

#if defined(CPPUTIL_PLAIN) && CPPUTIL_PLAIN
#define CPPUTIL_HAS_CPP_ATTRIBUTE(x) 0
#elif defined(__has_cpp_attribute)
#define CPPUTIL_HAS_CPP_ATTRIBUTE(x) __has_cpp_attribute(x)
#else
#define CPPUTIL_HAS_CPP_ATTRIBUTE(x) 0
#endif

/// A function rarely called: placed apart from the hot code, its callers laid out for the path
/// that does not call it.
#if CPPUTIL_HAS_CPP_ATTRIBUTE(gnu::cold)
#define CPPUTIL_ATTRIBUTE_COLD [[gnu::cold]]
#else
#define CPPUTIL_ATTRIBUTE_COLD
#endif

/// Never inlined: keeps a rare path's stack frame and saved registers out of its caller.
#if CPPUTIL_HAS_CPP_ATTRIBUTE(gnu::noinline)
#define CPPUTIL_ATTRIBUTE_NOINLINE [[gnu::noinline]]
#else
#define CPPUTIL_ATTRIBUTE_NOINLINE
#endif

/// 1 where a speed path that a budget needs may take its fast form; 0 under CPPUTIL_PLAIN, so
/// that the plain loop beside it is built and tested too.
#if defined(CPPUTIL_PLAIN) && CPPUTIL_PLAIN
#define CPPUTIL_FAST_PATHS 0
#else
#define CPPUTIL_FAST_PATHS 1
#endif

#endif  // INSTALL_CPPUTIL_SRC_COMPILER_HPP
