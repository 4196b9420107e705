#ifndef KAV_EPUB_PLATFORM_TOOL_SOURCE_DATE_EPOCH_H_
#define KAV_EPUB_PLATFORM_TOOL_SOURCE_DATE_EPOCH_H_

// The build time that reproducible builds agree on: the environment variable
// SOURCE_DATE_EPOCH, seconds since 1970 as plain decimal digits. Shared by
// the companions so that the identifier and the archive read it alike.

#include <stdlib.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// Nonzero, with the instant in *epoch, when SOURCE_DATE_EPOCH holds a
// non-negative integer that fits a time_t; 0 when it is unset or anything
// else (a sign, spaces, a fraction), and the caller keeps using the clock.
static inline int KavSourceDateEpoch(time_t* epoch) {
  const char* text = getenv("SOURCE_DATE_EPOCH");
  if (text == NULL || *text == '\0') return 0;
  // Eighteen digits always fit the count; longer ones, and counts that a
  // time_t cannot hold, are refused rather than wrapped.
  long long value = 0;
  int digits = 0;
  for (; *text != '\0'; ++text) {
    if (*text < '0' || *text > '9' || ++digits > 18) return 0;
    value = value * 10 + (*text - '0');
  }
  if ((long long)(time_t)value != value) return 0;
  *epoch = (time_t)value;
  return 1;
}

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_TOOL_SOURCE_DATE_EPOCH_H_
