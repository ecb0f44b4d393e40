#include "SimOptions.h"

#include <getopt.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

struct FaultEntry {
  Fault fault;
  const char* name;
};

constexpr FaultEntry kFaults[] = {
    {Fault::kNone, "none"},
    {Fault::kFirstError, "first-error"},
    {Fault::kFirstNoReference, "first-no-reference"},
    {Fault::kCloseBeforeFinal, "close-before-final"},
    {Fault::kFinalNever, "final-never"},
    {Fault::kSlow, "slow"},
    {Fault::kGarbage, "garbage"},
    {Fault::kNoTls, "no-tls"},
    {Fault::kFinalNoResult, "final-no-result"},
    {Fault::kFirstNul, "first-nul"},
};

bool parseNumber(const std::string& text, long min, long max, long* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long parsed = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || parsed < min || parsed > max) return false;
  *value = parsed;
  return true;
}

}  // namespace

bool faultFromName(const std::string& name, Fault* fault) {
  for (const FaultEntry& entry : kFaults) {
    if (name == entry.name) {
      *fault = entry.fault;
      return true;
    }
  }
  return false;
}

const char* faultName(Fault fault) {
  for (const FaultEntry& entry : kFaults) {
    if (entry.fault == fault) return entry.name;
  }
  return "?";
}

const char* usageText() {
  return "usage: zelvan-gateway-sim --cert FILE --key FILE [options]\n"
         "  --cert FILE               server certificate, PEM\n"
         "  --key FILE                server private key, PEM (unencrypted)\n"
         "  --ca FILE                 require client certificates verified against FILE\n"
         "  --port N                  port to listen on; 0 (default) picks a free one\n"
         "  --bind ADDR               IPv4 or IPv6 address to listen on (default 127.0.0.1)\n"
         "  --no-resume               refuse TLS session resumption\n"
         "  --no-tickets              resume by session ID only, no session tickets\n"
         "  --tls13-only              refuse TLS 1.2 (TLS 1.2 and 1.3 by default)\n"
         "  --require-sni NAME        refuse clients that do not send server name NAME\n"
         "  --record FILE             append every message received to FILE\n"
         "  --stats FILE              keep the counters in FILE, rewritten on each change\n"
         "  --fault NAME              misbehave on connections and non-STATUS requests\n"
         "  --fault-connections N     apply --fault to the first N connections only\n"
         "  --status-fault NAME       misbehave on STATUS requests\n"
         "  --status-fault-count N    apply --status-fault to the first N STATUS requests only\n"
         "  --chunk-bytes N           piece size for the slow fault (default 3)\n"
         "  --chunk-delay-ms N        pause between pieces for the slow fault (default 50)\n"
         "  --idle-timeout SECONDS    close a connection silent this long (default 120)\n"
         "  --settle-after MS         drop every final response and record its decision MS\n"
         "                            milliseconds later; STATUS says not completed until then\n"
         "  --reply-field NAME=VALUE  add this field to every reply (repeatable)\n"
         "  --verbose                 describe every connection and message on stderr\n"
         "  -h, --help                print this text\n"
         "  -V, --version             print the version\n"
         "Values go as --opt VALUE or --opt=VALUE. A bad command line exits with 64.\n"
         "Faults: none, first-error, first-no-reference, close-before-final, final-never,\n"
         "        slow, garbage, final-no-result, first-nul, no-tls (not for --status-fault)\n";
}

namespace {

// getopt_long's codes for the options; those with a short form use its letter.
enum OptionCode {
  kOptCert = 256,
  kOptKey,
  kOptCa,
  kOptPort,
  kOptBind,
  kOptNoResume,
  kOptNoTickets,
  kOptTls13Only,
  kOptRequireSni,
  kOptReplyField,
  kOptRecord,
  kOptStats,
  kOptFault,
  kOptFaultConnections,
  kOptStatusFault,
  kOptStatusFaultCount,
  kOptChunkBytes,
  kOptChunkDelayMs,
  kOptIdleTimeout,
  kOptSettleAfter,
  kOptVerbose,
  kOptHelp = 'h',
  kOptVersion = 'V',
};

constexpr option kLongOptions[] = {
    {"cert", required_argument, nullptr, kOptCert},
    {"key", required_argument, nullptr, kOptKey},
    {"ca", required_argument, nullptr, kOptCa},
    {"port", required_argument, nullptr, kOptPort},
    {"bind", required_argument, nullptr, kOptBind},
    {"no-resume", no_argument, nullptr, kOptNoResume},
    {"no-tickets", no_argument, nullptr, kOptNoTickets},
    {"tls13-only", no_argument, nullptr, kOptTls13Only},
    {"require-sni", required_argument, nullptr, kOptRequireSni},
    {"reply-field", required_argument, nullptr, kOptReplyField},
    {"record", required_argument, nullptr, kOptRecord},
    {"stats", required_argument, nullptr, kOptStats},
    {"fault", required_argument, nullptr, kOptFault},
    {"fault-connections", required_argument, nullptr, kOptFaultConnections},
    {"status-fault", required_argument, nullptr, kOptStatusFault},
    {"status-fault-count", required_argument, nullptr, kOptStatusFaultCount},
    {"chunk-bytes", required_argument, nullptr, kOptChunkBytes},
    {"chunk-delay-ms", required_argument, nullptr, kOptChunkDelayMs},
    {"idle-timeout", required_argument, nullptr, kOptIdleTimeout},
    {"settle-after", required_argument, nullptr, kOptSettleAfter},
    {"verbose", no_argument, nullptr, kOptVerbose},
    {"help", no_argument, nullptr, kOptHelp},
    {"version", no_argument, nullptr, kOptVersion},
    {nullptr, 0, nullptr, 0},
};

// The long name of the option with code, for messages.
std::string optionName(int code) {
  for (const option& entry : kLongOptions) {
    if (entry.name != nullptr && entry.val == code) return std::string("--") + entry.name;
  }
  return "?";
}

}  // namespace

bool parseOptions(int argc, char** argv, SimOptions* options, std::string* error) {
  // getopt_long keeps its place in globals: start afresh, and keep its own
  // messages off, since the caller prints the error with the usage.
  optind = 0;
  opterr = 0;
  int code;
  while ((code = getopt_long(argc, argv, ":hV", kLongOptions, nullptr)) != -1) {
    std::string value = optarg != nullptr ? optarg : "";
    long number = 0;
    auto numberIn = [&](long min, long max) {
      if (parseNumber(value, min, max, &number)) return true;
      *error = "bad number for " + optionName(code) + ": " + value;
      return false;
    };
    switch (code) {
      case kOptCert: options->certFile = value; break;
      case kOptKey: options->keyFile = value; break;
      case kOptCa: options->caFile = value; break;
      case kOptBind: options->bindAddress = value; break;
      case kOptRecord: options->recordFile = value; break;
      case kOptStats: options->statsFile = value; break;
      case kOptNoResume: options->noResume = true; break;
      case kOptNoTickets: options->noTickets = true; break;
      case kOptTls13Only: options->tls13Only = true; break;
      case kOptRequireSni: options->requireSni = value; break;
      case kOptVerbose: options->verbose = true; break;
      case kOptHelp: options->help = true; break;
      case kOptVersion: options->version = true; break;
      case kOptPort:
        if (!numberIn(0, 65535)) return false;
        options->port = static_cast<int>(number);
        break;
      case kOptFaultConnections:
        if (!numberIn(0, LONG_MAX)) return false;
        options->faultConnections = number;
        break;
      case kOptStatusFaultCount:
        if (!numberIn(0, LONG_MAX)) return false;
        options->statusFaultCount = number;
        break;
      case kOptChunkBytes:
        if (!numberIn(1, 1 << 20)) return false;
        options->chunkBytes = static_cast<int>(number);
        break;
      case kOptChunkDelayMs:
        if (!numberIn(0, 60000)) return false;
        options->chunkDelayMs = static_cast<int>(number);
        break;
      case kOptIdleTimeout:
        if (!numberIn(1, 86400)) return false;
        options->idleTimeoutSeconds = static_cast<int>(number);
        break;
      case kOptSettleAfter:
        if (!numberIn(0, 86400000)) return false;
        options->settleAfterMs = number;
        break;
      case kOptReplyField: {
        size_t equals = value.find('=');
        if (equals == 0 || equals == std::string::npos) {
          *error = "--reply-field takes NAME=VALUE: " + value;
          return false;
        }
        options->extraReplyFields.emplace_back(value.substr(0, equals), value.substr(equals + 1));
        break;
      }
      case kOptFault:
      case kOptStatusFault: {
        Fault fault;
        if (!faultFromName(value, &fault)) {
          *error = "unknown fault for " + optionName(code) + ": " + value;
          return false;
        }
        if (code == kOptFault) {
          options->fault = fault;
        } else if (fault == Fault::kNoTls) {
          *error = "no-tls happens before a request is read; use it with --fault";
          return false;
        } else {
          options->statusFault = fault;
        }
        break;
      }
      case ':':
        *error = "missing value after " + (optopt != 0 ? optionName(optopt) : std::string(argv[optind - 1]));
        return false;
      default:
        // optopt names a bad short option; a bad long one is the word just passed.
        *error = "unknown option " +
                 (optopt != 0 ? std::string("-") + static_cast<char>(optopt) : std::string(argv[optind - 1]));
        return false;
    }
  }
  if (optind < argc) {
    *error = std::string("unexpected argument ") + argv[optind];
    return false;
  }
  if (!options->help && !options->version && (options->certFile.empty() || options->keyFile.empty())) {
    *error = "--cert and --key are required";
    return false;
  }
  return true;
}
