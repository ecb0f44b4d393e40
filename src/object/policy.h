#ifndef ZELVAN_POLICY_H_
#define ZELVAN_POLICY_H_

// Every time bound and retry count of the library, in one place, each
// named for what it bounds. It sits in the lowest layer because the
// sockets, the SSL layer and the client all wait on something; no other
// file defines a bound of its own. A deadline for a whole payment
// (Deadline.h) can only shorten these waits.

// The socket's receive and send time-out, set before connecting.
constexpr int kSocketTimeoutMs = 5000;
// One TCP connect to one address of a server.
constexpr int kConnectTimeoutMs = 5000;
// How long an HTTP proxy may take to answer a request for a tunnel to the
// gateway (it connects to the gateway before it answers).
constexpr int kProxyAnswerTimeoutMs = 10000;
// The longest answer head (status line and headers) read from a proxy.
constexpr int kProxyAnswerHeadBytes = 8192;
// One TLS handshake with a connected server.
constexpr int kHandshakeTimeoutMs = 5000;
// Reading one gateway message, in whole seconds (the reader's clock).
constexpr int kReadTimeoutSeconds = 30;
// One wait for data between two reads of a message.
constexpr int kReadWaitMs = 5000;
// Reads attempted for one message before giving up.
constexpr int kReadAttempts = 5000;
// The shortest wait a socket accepts for a connect or for data.
constexpr int kShortestSocketWaitMs = 500;
// How long a caller waits for the SSL context pool before giving up.
constexpr int kPoolLockGiveUpMs = 5000;
// Waits for the session store's lock byte, and the pause between two.
constexpr int kStoreLockWaits = 500;
constexpr int kStoreLockWaitMs = 2;
// Before its first sleep a waiter gives up the processor this many times,
// trying the byte after each: a holder keeps it for a memory copy, so one
// that was preempted finishes as soon as it runs again, and nobody sleeps.
constexpr int kStoreLockYields = 50;
// The same from inside OpenSSL's session callbacks, which run up to three
// times a connection: behind a lock left by a crashed process they give
// up after a few milliseconds, costing one full handshake at most.
constexpr int kStoreCallbackLockWaits = 5;
// The longest deadline a payment can be given; longer ones are cut to it
// (a year: no payment waits that long, and the clock's count cannot
// overflow).
constexpr long long kLongestDeadlineMs = 365LL * 24 * 3600 * 1000;
// How long a process trusts its verdict on a stored session's gateway
// certificate before verifying it again, so that a certificate that
// expires while its session is still stored is noticed.
constexpr int kStoredSessionVerdictSeconds = 600;
// A gateway that refused this many offered sessions in a row is offered
// none for kResumptionPauseSeconds; then one session is offered again, so
// that a gateway that starts resuming is noticed.
constexpr int kResumptionRefusalsBeforePause = 3;
constexpr int kResumptionPauseSeconds = 300;
// Status checks a purchase or refund with an unknown outcome runs at
// least. A check that brings no final decision is followed by another
// after a pause, kStatusFirstPauseMs first, each pause kStatusPauseGrowth
// times the one before; beyond kStatusChecks, checks go on while the
// status window lasts (counted from the first check; _STATUSWINDOW sets
// it, 0 runs the kStatusChecks back to back).
constexpr int kStatusChecks = 3;
constexpr int kStatusWindowMs = 8000;
constexpr int kStatusFirstPauseMs = 500;
constexpr int kStatusPauseGrowth = 2;

#endif  // ZELVAN_POLICY_H_
