/* quvclr: definitions shared by every public header. Compiles as C99 and as C++. */
#ifndef QUVCLR_COMMON_H
#define QUVCLR_COMMON_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QUV_API __attribute__((visibility("default")))
#else
#define QUV_API
#endif

#ifdef __cplusplus
#define QUV_EXTERN_C_BEGIN extern "C" {
#define QUV_EXTERN_C_END }
#else
#define QUV_EXTERN_C_BEGIN
#define QUV_EXTERN_C_END
#endif

/* Compile-time checks of record layouts. */
#if defined(__cplusplus)
#define QUV_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define QUV_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#else
#define QUV_ASSERT_JOIN2(a, b) a##b
#define QUV_ASSERT_JOIN(a, b) QUV_ASSERT_JOIN2(a, b)
/* Each check names its own typedef: line numbers repeat across headers. */
#ifdef __COUNTER__
#define QUV_ASSERT_ID __COUNTER__
#else
#define QUV_ASSERT_ID __LINE__
#endif
#define QUV_STATIC_ASSERT(cond, msg) \
    typedef char QUV_ASSERT_JOIN(quv_static_assert_, QUV_ASSERT_ID)[(cond) ? 1 : -1]
#endif

/* Wide text is UTF-16: 16-bit code units, the same bytes as char16_t. */
#ifdef __cplusplus
typedef char16_t ClrWChar;
#else
typedef uint_least16_t ClrWChar;
#endif
QUV_STATIC_ASSERT(sizeof(ClrWChar) == 2, "ClrWChar is a 16-bit code unit");

/* Result of nearly every call: 1 is success, negative values are failures. */
typedef int32_t ClrStatus;

#endif
