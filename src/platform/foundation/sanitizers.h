// Which sanitizers this is compiled with. GCC and Clang say it in different ways.
#pragma once

#if defined(__has_feature)
#define VX_HAS_FEATURE(name) __has_feature(name)
#else
#define VX_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || VX_HAS_FEATURE(address_sanitizer)
#define VX_ADDRESS_SANITIZER 1
#else
#define VX_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || VX_HAS_FEATURE(thread_sanitizer)
#define VX_THREAD_SANITIZER 1
#else
#define VX_THREAD_SANITIZER 0
#endif
