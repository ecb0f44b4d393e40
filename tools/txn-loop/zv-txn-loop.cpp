// zv-txn-loop: a merchant application in miniature that runs a series of
// transactions in one process through the exported C API, for the leak
// check, the load test and the fault tests.
//
//   zv-txn-loop --cert FILE --password PW [--ca FILE] [--port N]
//               [--count N] [--log FILE] [--plan STEP,STEP,...]
//
// Transaction i runs step i modulo the plan's length. A step is KIND or
// KIND@PORT, the port defaulting to --port. Kinds:
//   approve   PURCHASE with an approving card
//   decline   PURCHASE with a card the gateway declines
//   refund    REFUND with an approving card
//   notype    no TRANSACTIONTYPE: fails locally after the handshake
// Handles are reused through flushBundle for ten transactions, then
// cleaned up. --log switches the debug log on, into FILE.
//
// Prints one line per failed transaction ("txn <i>: <ERROR>"), then the
// summary "transactions=N completed=N approved=N declined=N failed=N"
// (completed: execute returned 1; failed: it returned 0). Exits 0 once
// the run is over, 2 on a bad command line.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zelvanclient.h"

namespace {

struct Step {
  std::string kind;
  std::string port;
};

struct Options {
  std::string cert, password, ca, port, log;
  long count = 1;
  std::vector<Step> plan;
};

[[noreturn]] void usage(const char* why) {
  std::fprintf(stderr, "zv-txn-loop: %s\n", why);
  std::fprintf(stderr,
               "usage: zv-txn-loop --cert FILE --password PW [--ca FILE] [--port N] [--count N]\n"
               "                   [--log FILE] [--plan KIND[@PORT],...]\n");
  std::exit(2);
}

std::vector<Step> parsePlan(const std::string& text) {
  std::vector<Step> plan;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    size_t at = item.find('@');
    Step step{item.substr(0, at), at == std::string::npos ? "" : item.substr(at + 1)};
    if (step.kind != "approve" && step.kind != "decline" && step.kind != "refund" && step.kind != "notype")
      usage(("unknown step kind: " + step.kind).c_str());
    plan.push_back(step);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return plan;
}

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string option = argv[i];
    if (i + 1 >= argc) usage(("missing value for " + option).c_str());
    std::string value = argv[++i];
    if (option == "--cert") options.cert = value;
    else if (option == "--password") options.password = value;
    else if (option == "--ca") options.ca = value;
    else if (option == "--port") options.port = value;
    else if (option == "--count") options.count = std::atol(value.c_str());
    else if (option == "--log") options.log = value;
    else if (option == "--plan") options.plan = parsePlan(value);
    else usage(("unknown option " + option).c_str());
  }
  if (options.cert.empty() || options.password.empty()) usage("--cert and --password are required");
  if (options.plan.empty()) options.plan.push_back({"approve", ""});
  for (Step& step : options.plan) {
    if (step.port.empty()) step.port = options.port;
    if (step.port.empty()) usage("a step has no port");
  }
  return options;
}

// Fills the bundle for one step, settings first as an application does.
void fill(txn* t, const Options& options, const Step& step) {
  setServers(t, "127.0.0.1");
  setPort(t, step.port.c_str());
  put_ClientID(t, "10000001");
  put_CertificatePath(t, options.cert.c_str());
  put_CertificatePassword(t, options.password.c_str());
  if (!options.ca.empty()) put(t, "_CAFILE", options.ca.c_str());
  if (step.kind != "notype") put(t, "TRANSACTIONTYPE", step.kind == "refund" ? "REFUND" : "PURCHASE");
  put(t, "CARDDATA", step.kind == "decline" ? "4000000000000002" : "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "CVC2", "123");
  put(t, "AMOUNT", "12.50");
}

}  // namespace

int main(int argc, char** argv) {
  Options options = parseOptions(argc, argv);
  long completed = 0, approved = 0, declined = 0, failed = 0;
  txn* t = nullptr;
  for (long i = 0; i < options.count; ++i) {
    if (i % 10 == 0) {
      if (t) cleanup(t);
      t = newBundle();
      if (!options.log.empty()) {
        put(t, "DEBUG", "ON");
        put(t, "LOGFILE", options.log.c_str());
      }
    } else {
      flushBundle(t);  // keeps the log file and the debug setting
    }
    fill(t, options, options.plan[i % options.plan.size()]);

    if (execute(t)) {
      ++completed;
    } else {
      ++failed;
      const char* error = get(t, "ERROR");
      std::printf("txn %ld: %s\n", i, error ? error : "(no ERROR)");
    }
    const char* result = get(t, "RESULT");
    if (result && std::strcmp(result, "0") == 0) ++approved;
    if (result && std::strcmp(result, "1") == 0) ++declined;
    // The whole bundle, as an application might log it; the caller frees it.
    std::free(get(t, "THEWORKS"));
  }
  if (t) cleanup(t);
  std::printf("transactions=%ld completed=%ld approved=%ld declined=%ld failed=%ld\n", options.count, completed,
              approved, declined, failed);
  free_client();
  return 0;
}
