#include "debugLog.h"

#include <sys/time.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "BObject.h"

int tranId = 1234;
int isDebugOn = 0;
int isDebugToStdOut = 0;
// Compatibility: the transaction-less log's documented default name, which
// applications look for; on Linux it is a file named with a backslash in
// the working directory.
char theDebugFileName[128] = ".\\ZelvanDebugLog.log";

namespace {

// Guards the transaction-less log's settings and its writes, which every
// thread of the process shares. isDebugOn and tranId are in addition read
// and written atomically, so that the checks before a line is formatted
// need no lock.
std::mutex gDefaultLogGuard;

// Writes one log line: local date and time, milliseconds, the transaction
// number id and the text. The milliseconds are read separately
// from the seconds, so near a second's boundary they may belong to the
// next second.
int writeLine(FILE* out, int id, const char* text) {
  time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  return fprintf(out, "%04d-%02d-%02d %02d:%02d:%02d_%03li\t[%08d]\t%s\r\n", local.tm_year + 1900,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                 getMilliseconds(), id, text ? text : "");
}

int processTranId() { return __atomic_load_n(&tranId, __ATOMIC_RELAXED); }

// The number t's lines carry.
int tranIdOf(const txn* t) { return t->tranId >= 0 ? t->tranId : processTranId(); }

// True when t writes its lines to a log file of its own.
bool hasOpenLogFile(const txn* t) {
  return t->debugOn == 1 && t->debugToStdOut != 1 && t->debugLog != nullptr;
}

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  int n = vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n < 0) return std::string();
  std::string text(static_cast<size_t>(n) + 1, '\0');
  vsnprintf(&text[0], text.size(), format, args);
  text.resize(n);
  return text;
}

}  // namespace

long getMilliseconds() {
  struct timeval now;
  gettimeofday(&now, nullptr);
  return now.tv_usec / 1000;
}

int logDebugMessage(void* handle, const char* text) {
  txn* t = static_cast<txn*>(handle);
  if (t->debugOn != 1) return 0;
  // A transaction whose log file was closed (DEBUG switched off and on
  // again) has no stream left to write to; its lines go to standard
  // output instead of through a stale pointer.
  if (hasOpenLogFile(t)) {
    int written = writeLine(t->debugLog, tranIdOf(t), text);
    fflush(t->debugLog);
    return written;
  }
  if (gVerbose) return writeLine(stdout, tranIdOf(t), text);
  return 0;
}

void setTranId(int id) { __atomic_store_n(&tranId, id, __ATOMIC_RELAXED); }

int getTranId() { return rand(); }

void closeLogFile(txn* t) {
  if (t->debugLog == nullptr) return;
  fclose(t->debugLog);
  t->debugLog = nullptr;
}

void openLogFile(txn* t, const char* path) {
  FILE* file = path != nullptr ? fopen(path, "a+") : nullptr;
  closeLogFile(t);
  t->debugLog = file;
  if (file == nullptr) {
    t->debugToStdOut = 1;
    // Compatibility: the text carries its own line end, so the line ends
    // twice; applications that scan the log match it as it stands.
    logDebugPrintf(t, "Unable to create debugLog file %s. Writing to stdOut instead.\r\n",
                   path != nullptr ? path : "");
    return;
  }
  t->tranId = getTranId();
  setTranId(t->tranId);
  t->debugToStdOut = 0;
  logDebugMessage(t, "----------------------------------");
  logDebugMessage(t, "Writing to Logfile.");
  logDebugPrintf(t, "Setting default Log Location to [%s]", path);
  // A path too long for the transaction-less log's name buffer leaves that
  // log where it was rather than splitting it off to a cut-off path; this
  // transaction's own log is the file just opened either way.
  if (!setDefaultLog(path, t->debugOn, t->debugToStdOut)) {
    logDebugPrintf(t, "Default Log Location unchanged: the path is longer than %zu characters.",
                   sizeof theDebugFileName - 1);
    return;
  }
  logDebugPrintf(t, "Default Log Location is [%s]", path);
  logDebugPrintf(t, "isDebugOn=[%d]; isDebugToStdOut=[%d];", t->debugOn, t->debugToStdOut);
}

bool setDefaultLog(const char* path, int debugOn, int debugToStdOut) {
  size_t n = strlen(path);
  if (n >= sizeof theDebugFileName) return false;
  std::lock_guard<std::mutex> guard(gDefaultLogGuard);
  memcpy(theDebugFileName, path, n + 1);
  __atomic_store_n(&isDebugOn, debugOn, __ATOMIC_RELAXED);
  isDebugToStdOut = debugToStdOut;
  return true;
}

void logDebugMessage(const char* text) {
  if (__atomic_load_n(&isDebugOn, __ATOMIC_RELAXED) == 0) return;
  std::lock_guard<std::mutex> guard(gDefaultLogGuard);
  if (isDebugOn == 0) return;
  if (isDebugToStdOut == 0) {
    // Opened and closed for every line, so that the file is complete even
    // if the process dies; a file that cannot be opened loses the line.
    FILE* file = fopen(theDebugFileName, "a+");
    if (file == nullptr) return;
    writeLine(file, processTranId(), text);
    fflush(file);
    fclose(file);
  } else if (gVerbose) {
    writeLine(stdout, processTranId(), text);
  }
}

int logDebugPrintf(void* handle, const char* format, ...) {
  if (static_cast<txn*>(handle)->debugOn != 1) return 0;
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  return logDebugMessage(handle, text.c_str());
}

void logDebugPrintf(const char* format, ...) {
  if (__atomic_load_n(&isDebugOn, __ATOMIC_RELAXED) == 0) return;
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  logDebugMessage(text.c_str());
}

void logForTransaction(txn* t, const char* text) {
  if (t != nullptr && hasOpenLogFile(t)) {
    logDebugMessage(t, text);
  } else {
    logDebugMessage(text);
  }
}

void logForTransactionPrintf(txn* t, const char* format, ...) {
  bool ownFile = t != nullptr && hasOpenLogFile(t);
  // Nothing to format when the line would go nowhere.
  if (!ownFile && __atomic_load_n(&isDebugOn, __ATOMIC_RELAXED) == 0) return;
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  logForTransaction(t, text.c_str());
}
