#define _XOPEN_SOURCE 700
#include "platform/tool/kav_tool.h"

#include <errno.h>
#include <ftw.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/tool/source_date_epoch.h"

int KavIsStrNullOrEmpty(const char* text) { return text == NULL || text[0] == '\0'; }

int KavIsFileOrDirExists(const char* path) {
  struct stat st;
  if (KavIsStrNullOrEmpty(path)) return 0;
  return lstat(path, &st) == 0;
}

int KavIsFileExists(const char* path) {
  struct stat st;
  if (KavIsStrNullOrEmpty(path)) return 0;
  return stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

char* KavGetRunDirectory(const char* path) {
  if (path == NULL) return NULL;
  // Cut at the last separator, so a trailing one names the directory
  // itself: "a/b/" -> "a/b".
  const char* slash = strrchr(path, '/');
  if (slash == NULL) return strdup(".");
  if (slash == path) return strdup("/");
  return strndup(path, (size_t)(slash - path));
}

int KavMkdir(const char* path) {
  if (KavIsStrNullOrEmpty(path)) return -1;
  return mkdir(path, 0755) == 0 ? 0 : -1;
}

static int RemoveEntry(const char* path, const struct stat* st, int flag, struct FTW* ftw) {
  (void)st;
  (void)ftw;
  // FTW_PHYS reports links as FTW_SL: remove the link, never its target.
  // An unreadable directory (FTW_DNR) can still go if it is empty.
  if (flag == FTW_DP || flag == FTW_DNR) return rmdir(path) == 0 ? 0 : -1;
  return unlink(path) == 0 ? 0 : -1;
}

int KavDeleteDir(const char* path) {
  struct stat st;
  if (KavIsStrNullOrEmpty(path)) return -1;
  if (lstat(path, &st) != 0) return -1;
  if (!S_ISDIR(st.st_mode)) return unlink(path) == 0 ? 0 : -1;
  return nftw(path, RemoveEntry, 32, FTW_DEPTH | FTW_PHYS) == 0 ? 0 : -1;
}

char* KavGetLocalCurrentTime(const char* format, int size) {
  if (format == NULL || size <= 0) return NULL;
  // With SOURCE_DATE_EPOCH set, that instant stands for "now", in UTC rather
  // than local time so that the same input makes the same book on any
  // machine; an instant too far out to be a date falls back to the clock.
  time_t epoch;
  struct tm when;
  if (!KavSourceDateEpoch(&epoch) || gmtime_r(&epoch, &when) == NULL) {
    time_t now = time(NULL);
    if (localtime_r(&now, &when) == NULL) return NULL;
  }
  char* text = calloc((size_t)size, 1);
  if (text == NULL) return NULL;
  if (strftime(text, (size_t)size, format, &when) == 0 && format[0] != '\0') {
    free(text);
    return NULL;
  }
  return text;
}
