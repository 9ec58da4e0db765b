// ZORLAN_HOT marks a function on a path the library keeps fast (a durable
// log write, from the facade down to the file): the compiler optimises it for
// speed and the linker places all such functions together, so that the path
// touches few pages of code. Each such write follows a system call, after
// which little of the path is still cached.
#pragma once

#if defined(__GNUC__)
#define ZORLAN_HOT __attribute__((hot))
#else
#define ZORLAN_HOT
#endif

// ZORLAN_HOT_THREAD_LOCAL marks a small thread-local variable read on such a
// path: it lives in the initial thread-local block, reached without a call
// into the dynamic loader. (A library loaded late with dlopen takes it from
// the loader's reserve, which a few dozen bytes fit.)
#if defined(__GNUC__)
#define ZORLAN_HOT_THREAD_LOCAL __attribute__((tls_model("initial-exec")))
#else
#define ZORLAN_HOT_THREAD_LOCAL
#endif
