#ifndef ZELVAN_DEBUGLOG_H_
#define ZELVAN_DEBUGLOG_H_

#include "txn.h"

// The client's debug log, and the opening and closing of a transaction's
// log file. Lines read
// "YYYY-MM-DD hh:mm:ss_mmm\t[tranId as 8 digits]\ttext\r\n".

// Number printed in the lines of the transaction-less log and of a
// transaction that never opened a log file; replaced by the random number
// a transaction draws each time it opens a log file (txn::tranId). Starts
// at 1234. Change it with setTranId().
extern int tranId;
// Copies of the debug settings of the last transaction that opened a log
// file; they govern the transaction-less log and are never reset. Change
// them with setDefaultLog() only: threads share them.
extern int isDebugOn;
extern int isDebugToStdOut;
// File the transaction-less log appends to (127 bytes and a NUL).
extern char theDebugFileName[128];

// Sets tranId; safe while other threads write log lines.
void setTranId(int id);

// A new pseudo-random transaction number for the log (rand()).
int getTranId();

// Sends the transaction's log to the file at path, appending, and makes
// that file the transaction-less log's too. A file that was already open
// is closed first: a transaction has one log file at a time. When path
// cannot be opened the log goes to standard output instead, which the log
// says, naming path.
void openLogFile(txn* t, const char* path);

// Closes the transaction's log file, if any, and forgets the stream, so
// that no later call closes it a second time.
void closeLogFile(txn* t);

// Makes path the transaction-less log's file and copies the debug settings
// of the transaction that opened it, all in one step under the log's lock.
// A path longer than theDebugFileName can hold whole changes nothing and
// returns false: the log never writes to a cut-off path.
bool setDefaultLog(const char* path, int debugOn, int debugToStdOut);

// Writes text to the log of a transaction (a txn*) when its DEBUG is on:
// to its log file (flushed at once), or to standard output while gVerbose
// is set. The result carries no meaning.
int logDebugMessage(void* txn, const char* text);

// Writes text for code that has no transaction at hand, following the
// settings copied into isDebugOn/isDebugToStdOut: the line is appended to
// theDebugFileName (opened and closed for every line), or printed on
// standard output while gVerbose is set.
void logDebugMessage(const char* text);

// Writes text for code that works for transaction t but is not bound to
// it (the response reader): to t's log file when t has one open, else
// through the transaction-less log, as logDebugMessage(text). t may be
// null.
void logForTransaction(txn* t, const char* text);

// logDebugMessage() of a printf-style text; the text may be of any length.
int logDebugPrintf(void* txn, const char* format, ...) __attribute__((format(printf, 2, 3)));
void logDebugPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
void logForTransactionPrintf(txn* t, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The millisecond part of the current wall-clock time, 0 to 999.
long getMilliseconds();

#endif  // ZELVAN_DEBUGLOG_H_
