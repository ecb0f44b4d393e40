#include "Connection.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

// A message this long without an end marker is not from a client.
constexpr size_t kMaxMessageBytes = 1 << 20;

// Bytes that no client can read as a reply: no "NAME=value" line and no
// end marker, with NUL and high bytes mixed in.
const std::string kGarbage("\x16\x03\x01\x00\x00<html>\x00\xff\xfe garbage, not a gateway reply\r\n\x01\x02", 47);

const char* statusText(IoStatus status) {
  switch (status) {
    case IoStatus::kOk:
      return "ok";
    case IoStatus::kClosed:
      return "closed by the client";
    case IoStatus::kStopped:
      return "simulator stopping";
    case IoStatus::kTimedOut:
      return "idle time-out";
    case IoStatus::kFailed:
      break;
  }
  return "failed";
}

}  // namespace

void ServerContext::log(const char* format, ...) const {
  if (!options.verbose) return;
  char line[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  std::fprintf(stderr, "gateway-sim: %s\n", line);
}

Connection::Connection(ServerContext& context, int fd, long number)
    : m_context(context), m_fd(fd), m_number(number), m_fault(Fault::kNone) {
  long limit = context.options.faultConnections;
  if (limit < 0 || number <= limit) m_fault = context.options.fault;
}

void Connection::run() {
  m_context.stats.increment(SimStats::kConnections);
  if (m_fault == Fault::kNoTls) {
    m_context.stats.increment(SimStats::kFaults);
    m_context.log("connection %ld: closed without TLS (no-tls)", m_number);
    close(m_fd);
    return;
  }
  TlsStream stream(SSL_new(m_context.tls), m_fd, m_context.stopping,
                   m_context.options.idleTimeoutSeconds * 1000);
  IoStatus status = stream.accept();
  if (status != IoStatus::kOk) {
    m_context.stats.increment(SimStats::kHandshakesFailed);
    m_context.log("connection %ld: handshake %s %s", m_number, statusText(status), stream.lastError().c_str());
    return;
  }
  bool resumed = stream.sessionReused();
  m_context.stats.increment(resumed ? SimStats::kHandshakesResumed : SimStats::kHandshakesFull);
  m_context.log("connection %ld: %s handshake", m_number, resumed ? "resumed" : "full");
  for (;;) {
    std::string message;
    status = stream.readMessage(&message, kMaxMessageBytes);
    if (status != IoStatus::kOk) {
      m_context.log("connection %ld: %s %s", m_number, statusText(status), stream.lastError().c_str());
      return;
    }
    if (!handle(stream, message)) {
      m_context.log("connection %ld: closed by the simulator", m_number);
      return;
    }
  }
}

bool Connection::handle(TlsStream& stream, const std::string& text) {
  Fields request = parseMessage(text);
  std::string type = fieldOf(request, "TRANSACTIONTYPE");
  m_context.stats.countMessage(type);
  m_context.recorder.record(text);
  m_context.log("connection %ld: %s message, TXNREFERENCE [%s]", m_number, type.c_str(),
                fieldOf(request, "TXNREFERENCE").c_str());
  Gateway& gateway = m_context.gateway;
  if (upperCase(type) == "STATUS") {
    return respond(stream, Phase::kStatus, nextStatusFault(), [&] { return gateway.status(request); });
  }
  if (m_reference.empty()) {
    return respond(stream, Phase::kFirst, m_fault, [&] { return gateway.open(request, &m_reference); });
  }
  std::string reference;
  reference.swap(m_reference);
  long settleAfterMs = m_context.options.settleAfterMs;
  if (settleAfterMs >= 0) {
    // The gateway lost the client: the decision is made, recorded later,
    // and never sent.
    ReplyFields reply = gateway.complete(reference, request, settleAfterMs);
    countReply(Phase::kFinal, reply);
    m_context.stats.increment(SimStats::kFaults);
    m_context.log("connection %ld: final response dropped, settling in %ld ms", m_number, settleAfterMs);
    return false;
  }
  return respond(stream, Phase::kFinal, m_fault, [&] { return gateway.complete(reference, request); });
}

bool Connection::respond(TlsStream& stream, Phase phase, Fault fault, const std::function<ReplyFields()>& answer) {
  const bool first = phase != Phase::kFinal;  // a first reply, or the one reply to a STATUS
  const bool final = phase != Phase::kFirst;
  SimStats& stats = m_context.stats;
  bool faulted = fault == Fault::kSlow ||
                 (first && (fault == Fault::kFirstError || fault == Fault::kFirstNoReference ||
                            fault == Fault::kGarbage || fault == Fault::kFirstNul)) ||
                 (final && (fault == Fault::kCloseBeforeFinal || fault == Fault::kFinalNever ||
                            fault == Fault::kFinalNoResult));
  if (faulted) {
    stats.increment(SimStats::kFaults);
    m_context.log("connection %ld: fault %s", m_number, faultName(fault));
  }
  if (first && fault == Fault::kGarbage) {
    stream.write(kGarbage);
    return false;
  }
  ReplyFields reply;
  if (first && fault == Fault::kFirstError) {
    reply = Gateway::errorReply("SIMULATED GATEWAY ERROR", "The simulator was told to refuse this request.");
  } else if (first && fault == Fault::kFirstNoReference) {
    reply = {{"RESPONSETEXT", "SIMULATED REPLY WITHOUT REFERENCE"}};
  } else {
    reply = answer();
  }
  countReply(phase, reply);
  if (final && fault == Fault::kCloseBeforeFinal) return false;
  if (final && fault == Fault::kFinalNever) {
    stream.holdUntilClosed();
    return false;
  }
  const SimOptions& options = m_context.options;
  reply.insert(reply.end(), options.extraReplyFields.begin(), options.extraReplyFields.end());
  if (final && fault == Fault::kFinalNoResult) {
    // Everything of the decision but the decision itself.
    reply.erase(std::remove_if(reply.begin(), reply.end(),
                               [](const auto& field) { return field.first == "RESULT" || field.first == "ERROR"; }),
                reply.end());
  }
  std::string text = formatMessage(reply);
  if (first && fault == Fault::kFirstNul) {
    // The NUL goes at the end of the last field, before the end marker.
    text.insert(text.size() - kEndMarkerLength, 1, '\0');
  }
  IoStatus status = fault == Fault::kSlow ? stream.writeInPieces(text, options.chunkBytes, options.chunkDelayMs)
                                          : stream.write(text);
  return status == IoStatus::kOk;
}

void Connection::countReply(Phase phase, const ReplyFields& reply) {
  SimStats& stats = m_context.stats;
  if (!replyField(reply, "ERROR").empty()) {
    stats.increment(SimStats::kErrors);
  } else if (phase == Phase::kFinal) {
    bool approved = replyField(reply, "RESULT") == kResultApproved;
    stats.increment(approved ? SimStats::kApproved : SimStats::kDeclined);
  }
}

Fault Connection::nextStatusFault() {
  long number = ++m_context.statusRequests;
  long limit = m_context.options.statusFaultCount;
  return limit < 0 || number <= limit ? m_context.options.statusFault : Fault::kNone;
}
