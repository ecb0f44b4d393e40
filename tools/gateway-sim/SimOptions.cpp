#include "SimOptions.h"

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
         "  --bind ADDR               IPv4 address to listen on (default 127.0.0.1)\n"
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
         "  --reply-field NAME=VALUE  add this field to every reply (repeatable)\n"
         "  --verbose                 describe every connection and message on stderr\n"
         "  --help                    print this text\n"
         "Faults: none, first-error, first-no-reference, close-before-final, final-never,\n"
         "        slow, garbage, no-tls (not for --status-fault)\n";
}

bool parseOptions(int argc, char** argv, SimOptions* options, std::string* error) {
  for (int i = 1; i < argc; ++i) {
    std::string option = argv[i];
    if (option == "--no-resume") {
      options->noResume = true;
    } else if (option == "--no-tickets") {
      options->noTickets = true;
    } else if (option == "--tls13-only") {
      options->tls13Only = true;
    } else if (option == "--verbose") {
      options->verbose = true;
    } else if (option == "--help") {
      options->help = true;
    } else {
      if (i + 1 >= argc) {
        *error = "missing value after " + option;
        return false;
      }
      std::string value = argv[++i];
      long number = 0;
      auto numberIn = [&](long min, long max) {
        if (parseNumber(value, min, max, &number)) return true;
        *error = "bad number for " + option + ": " + value;
        return false;
      };
      if (option == "--cert") {
        options->certFile = value;
      } else if (option == "--key") {
        options->keyFile = value;
      } else if (option == "--ca") {
        options->caFile = value;
      } else if (option == "--bind") {
        options->bindAddress = value;
      } else if (option == "--require-sni") {
        options->requireSni = value;
      } else if (option == "--record") {
        options->recordFile = value;
      } else if (option == "--stats") {
        options->statsFile = value;
      } else if (option == "--port") {
        if (!numberIn(0, 65535)) return false;
        options->port = static_cast<int>(number);
      } else if (option == "--fault-connections") {
        if (!numberIn(0, LONG_MAX)) return false;
        options->faultConnections = number;
      } else if (option == "--status-fault-count") {
        if (!numberIn(0, LONG_MAX)) return false;
        options->statusFaultCount = number;
      } else if (option == "--chunk-bytes") {
        if (!numberIn(1, 1 << 20)) return false;
        options->chunkBytes = static_cast<int>(number);
      } else if (option == "--chunk-delay-ms") {
        if (!numberIn(0, 60000)) return false;
        options->chunkDelayMs = static_cast<int>(number);
      } else if (option == "--idle-timeout") {
        if (!numberIn(1, 86400)) return false;
        options->idleTimeoutSeconds = static_cast<int>(number);
      } else if (option == "--reply-field") {
        size_t equals = value.find('=');
        if (equals == 0 || equals == std::string::npos) {
          *error = "--reply-field takes NAME=VALUE: " + value;
          return false;
        }
        options->extraReplyFields.emplace_back(value.substr(0, equals), value.substr(equals + 1));
      } else if (option == "--fault" || option == "--status-fault") {
        Fault fault;
        if (!faultFromName(value, &fault)) {
          *error = "unknown fault for " + option + ": " + value;
          return false;
        }
        if (option == "--fault") {
          options->fault = fault;
        } else if (fault == Fault::kNoTls) {
          *error = "no-tls happens before a request is read; use it with --fault";
          return false;
        } else {
          options->statusFault = fault;
        }
      } else {
        *error = "unknown option " + option;
        return false;
      }
    }
  }
  if (!options->help && (options->certFile.empty() || options->keyFile.empty())) {
    *error = "--cert and --key are required";
    return false;
  }
  return true;
}
