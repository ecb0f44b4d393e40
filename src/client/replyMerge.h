#ifndef ZELVAN_REPLYMERGE_H_
#define ZELVAN_REPLYMERGE_H_

#include "EngineStatus.h"
#include "txn.h"

// Merges a gateway message (its text form, end marker included) into the
// transaction's bundle, parsed exactly as BMap::addAll() parses it, but
// taking only the fields the gateway may set: a field that names a local
// setting (a name beginning with "_") or the connection settings
// (SERVERCOUNT, SERVERPORT, SERVER followed by digits) is ignored, so that
// a reply can never redirect the status checks or change which
// certificate or CA file the next connection uses. The number of ignored
// fields is logged, never their values. A null text merges nothing. When
// answer is not null, notes in it which of ERROR, RESULT and TXNREFERENCE
// the message carried. Only TransactionRecord calls it: it writes the
// bundle.
void mergeReply(txn* t, const char* text, GatewayAnswer* answer = nullptr);

// True for the names of the fields a reply may not set.
bool isLocalSetting(const char* name);

#endif  // ZELVAN_REPLYMERGE_H_
